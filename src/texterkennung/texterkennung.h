#pragma once

#include "fehlversuche.h"
#include "grundlage/belegdatei.h"
#include "grundlage/ergebnis.h"
#include "leser.h"
#include "zwischenspeicher.h"

#include <optional>
#include <string>

namespace quillmate::Texterkennung {

/// What is known of a file's text. Text and no text are findings about its bytes, and kept. A Fehler is neither: the file
/// is not readable now, and nothing may be concluded from it. Its kind is helferGestorben where the installation is
/// broken and nobody can read here (then `satz` is a sentence for people), and abgelehnt for a file that is left alone
/// because every reader dies over it.
using Textbefund = Ergebnis<std::optional<std::string>>;

/// Whether the fault is that of the installation, which the user has to be told.
[[nodiscard]] bool installationGestoert(Fehler const& fehler) noexcept;

/// Turns a receipt file into plain text: looks into the cache, otherwise opens the file and has it read.
/// Threads: any number at once.
/// Ownership: borrows `leser` and `speicher`, which must outlive this object.
class Erkenner {
public:
    Erkenner(Leser& leser, Zwischenspeicher const& speicher)
        : leser_(leser)
        , speicher_(speicher)
        , fehlversuche_(speicher.zwischenspeicherOrdner() + ".fehlversuche") {}

    /// The text of a PDF or image, at most hoechstensZeichen characters; nothing for a file without text, of
    /// another type, or that can never be read. The finding is cached for this version of the file.
    [[nodiscard]] Textbefund text(std::string const& pfad);
    /// The same for a file that is open already: that descriptor is what is read. Nothing of a file that changes
    /// meanwhile is cached. `abbrechen` is asked now and then, also while readers are at work; true ends the reading with
    /// Fehlerart::gestoppt.
    [[nodiscard]] Textbefund text(Belegdatei& datei, Abbruchfrage const& abbrechen = {});
    /// The same for a scan's second and last attempt: a reader that dies this time too is counted, and after
    /// Fehlversuche::genug scans the file is no longer read.
    [[nodiscard]] Textbefund letzterVersuch(Belegdatei& datei, Abbruchfrage const& abbrechen = {});

private:
    enum class Versuch { irgendeiner, letzter };
    [[nodiscard]] Textbefund versuche(Belegdatei& datei, Versuch versuch, Abbruchfrage const& abbrechen);
    [[nodiscard]] Textbefund lesen(
        Belegdatei& datei, Dateiart art, std::string const& schluessel, Versuch versuch,
        Abbruchfrage const& abbrechen);

    Leser& leser_;
    Zwischenspeicher const& speicher_;
    Fehlversuche fehlversuche_;
};

} // namespace quillmate::Texterkennung
