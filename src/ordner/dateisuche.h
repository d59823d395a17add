#pragma once

#include "fund.h"
#include "grundlage/ergebnis.h"
#include "ports/uhr.h"
#include "ports/wolke.h"
#include "suchbilanz.h"
#include "suchorte.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// The search for receipt files below a folder.
/// Threads: all operations block and may run on any thread; call them off the main thread.
/// Errors: what cannot be read is passed over and told in Suchbilanz. Without memory the search ends with what it has
/// found so far, the beginning of what it would have found, and says so there. Nothing is thrown but what a callback or a port throws; only
/// std::bad_alloc from a callback during the walk counts as lack of memory, too.
namespace quillmate::Ordner {

using Endungen = std::set<std::string, std::less<>>;

/// Wanted file extensions, lower case.
extern Endungen const endungen;
/// Folder names that are never entered; compared exactly.
extern std::set<std::string, std::less<>> const ausgeschlosseneNamen;
/// Folder-name suffixes that are never entered; compared exactly.
extern std::vector<std::string> const ausgeschlosseneEndungen;

/// Whether a folder of this name is not to be entered.
[[nodiscard]] bool ueberspringen(std::string_view name);

/// What durchsuchen() looks for. The callbacks run on the calling thread, in enumeration order.
struct Suchauftrag {
    std::size_t hoechstens{0};             ///< Stop at this number of finds (not of entries visited).
    std::optional<Endungen> nurEndungen{}; ///< Instead of `endungen`.
    /// Further condition on a file of wanted extension: path and size in bytes (0 when unknown).
    std::function<bool(std::string const& pfad, std::int64_t groesse)> ausserdem{};
    /// Number of finds so far: at every 25th find, and once more at the end.
    std::function<void(std::int64_t anzahl)> jeFund{};
    /// Asked between folders; true ends the search early with what was found so far.
    std::function<bool()> abbrechen{};
    /// Threads that read folders, the calling one included. The result does not depend on it.
    unsigned faeden{2};
    /// Where links to files may lead; null: into `ordner` only. Borrowed for the length of the call.
    Suchorte const* orte{nullptr};
    /// Takes what was left out and why, and whether the search came to its end. Borrowed likewise.
    Suchbilanz* bilanz{nullptr};
};

/// Files of wanted extension below `ordner`, newest change first; files with equal times keep the enumeration
/// order. Enumeration is depth first, the entries of each folder in byte order of their names. With the limit
/// reached, the result holds the first files of that order, not the newest of all.
/// Hidden entries, package contents and folders of ueberspringen() are left out; links to folders are not
/// followed, links to files only where the file lies in a searched place; what is no regular file (pipes, sockets, devices) is no find. The paths begin with `ordner`, made
/// absolute and standardised; one with ".." inside is only made absolute, because after a link ".." does not
/// lead back.
[[nodiscard]] std::vector<Fund> durchsuchen(std::string const& ordner, Suchauftrag const& auftrag);

/// Number of files with one of these extensions and at least `mindestGroesse` bytes; no limit. A file of
/// unknown size counts when `mindestGroesse` is below 1.
/// `abbrechen` is asked between folders and between the portions of a large one; true ends the count early.
/// `faeden` as in Suchauftrag.
/// 0 for a folder that is not there or may not be read.
/// Errors: those that say nothing about the folder: gestoppt (`abbrechen`), keineMittel, zeitAbgelaufen, gestoert.
[[nodiscard]] Ergebnis<std::int64_t> zaehlen(
    std::string const& ordner, Endungen const& nurEndungen, std::int64_t mindestGroesse,
    std::function<bool()> const& abbrechen = {}, unsigned faeden = 2);

/// Placeholders per folder.
inline constexpr std::size_t hoechstensPlatzhalter = 20'000;

/// Paths of the files that are present only as cloud placeholders: ".NAME.icloud" stands for "NAME".
/// `abbrechen` as in Suchauftrag.
[[nodiscard]] std::vector<std::string> platzhalter(
    std::string const& ordner, std::size_t hoechstens = hoechstensPlatzhalter,
    std::function<bool()> const& abbrechen = {});

/// Asks for the download of the files and waits until all exist or the time is over.
/// Returns how many exist; `fortschritt` hears it in each round. `abbrechen` is asked after each pause of two seconds
/// and between the requests; true ends the waiting.
[[nodiscard]] std::int64_t ausDerCloudLaden(
    std::vector<std::string> const& dateien, std::chrono::duration<double> hoechstensSekunden,
    std::function<void(std::int64_t)> const& fortschritt, ports::Wolke& wolke, ports::Uhr& uhr,
    std::function<bool()> const& abbrechen = {});

} // namespace quillmate::Ordner
