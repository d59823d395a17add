#pragma once

#include "dienst/dienst.h"
#include "ergebnisse.h"
#include "grundlage/belegdatei.h"
#include "grundlage/ergebnis.h"
#include "texterkennung/texterkennung.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What is to happen with one file. Blocking, free of shared state; any number of threads at once.
namespace quillmate::MacScan {

/// Lower-case hexadecimal SHA-256 of the file's bytes, in constant memory; nothing when it cannot be read or
/// is larger than what is ever sent (hoechsterScanbeleg): the service cannot know such a content, and a
/// sparse file of terabytes would be read for hours.
[[nodiscard]] std::optional<std::string> inhaltspruefsumme(std::string const& pfad);

/// Whether a digest has to be compared at all to answer istBekannt().
[[nodiscard]] bool koennteBekanntSein(
    std::string const& url, dienst::GesehenePfade const& gesehen, dienst::Textmenge const& bekannteHashes);

/// Whether a file is one that the service already has (it has seen the path, and the file still has that content) or
/// knows as no receipt. Reads it at most once; `abbrechen` ends that, and then the file counts as unknown.
[[nodiscard]] bool istBekannt(
    Belegdatei& datei, dienst::GesehenePfade const& gesehen, dienst::Textmenge const& bekannteHashes,
    Abbruchfrage const& abbrechen = {});

/// Whether the service already has exactly this file: it has seen the path, and the file still has the
/// content that the service has for it.
[[nodiscard]] bool darfWegenPfadUebersprungen(std::string const& url, dienst::GesehenePfade const& gesehen);

/// Whether the file's name or text contains one of the keywords, compared in lower case. The keywords are
/// taken as they are.
[[nodiscard]] bool passtZumThema(
    std::string const& url, std::string_view text, std::vector<std::string> const& stichworte);

/// The judgement on a file whose text is known.
[[nodiscard]] Entscheidung entscheidenNachText(
    std::string const& url, std::optional<std::string> const& text,
    std::vector<std::string> const& stichworte);

/// A scan reads a file that is not readable once more at its end.
enum class Leseversuch { erster, letzter };

/// Reads the open file's text and judges it. With `bilderImmer` every image is sent without being read. `abbrechen` is
/// asked now and then while it is read; true ends that with Fehlerart::gestoppt.
/// Errors: the file is not readable now (Texterkennung::Textbefund); it must not be judged, nor sent.
[[nodiscard]] Ergebnis<Entscheidung> entscheiden(
    Belegdatei& datei, std::vector<std::string> const& stichworte, bool bilderImmer,
    Texterkennung::Erkenner& erkenner, Leseversuch versuch = Leseversuch::erster,
    Abbruchfrage const& abbrechen = {});

} // namespace quillmate::MacScan
