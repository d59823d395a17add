#pragma once

#include "grundlage/belegdatei.h"
#include "grundlage/dateiarten.h"

#include <optional>
#include <string>

namespace quillmate::Texterkennung {

using quillmate::Dateiart;

/// Outcome of reading one file: a finding about its bytes, or a fault that says nothing about them.
struct Lesung {
    enum class Art {
        /// The finding. `text` holds what was found; nothing where there is no text, or where these bytes can never be
        /// read: damaged, locked, or beyond a limit that they would meet again.
        gelesen,
        // The faults. Nothing may be concluded from them; another time the file may be read.
        ohneMotor,  ///< No recognition engine here: language data is missing or cannot be used.
        ohneMittel, ///< Memory, descriptors or processes ran out on this machine.
        ohneLeser, ///< Nobody can read here: the installation is broken, or the system cannot lock a reader up.
        gestoert, ///< Reading failed (EIO), or the process that read was ended by somebody else.
        gestoppt, ///< The program ends.
    };
    Art art{Art::gelesen};
    std::optional<std::string> text{}; ///< UTF-8, at most hoechstensZeichen characters.
    /// Of ohneLeser and ohneMotor: a German sentence for people. Never said by a process that parsed something.
    std::string grund{};
    /// Of gestoert: the process that read it ended. Where that happens again and again, it is the file after all.
    bool leserGestorben{false};
};

/// Port: the engines that parse PDFs and images and recognise text in them. They see an open descriptor and
/// nothing else, so that they can run where no file can be opened: in the locked-up processes of
/// leser/prozess/leser_prozesse.h.
class Leser {
public:
    virtual ~Leser() = default;
    /// Reads one document from the descriptor of a regular file. The caller keeps the descriptor; its offset
    /// may have moved afterwards.
    /// Blocks, from milliseconds to many seconds.
    /// Threads: any number at once; none is started, except that
    /// the decoder of HEIC pictures may run one for as long as it decodes.
    /// Errors: told by the kind of outcome.
    [[nodiscard]] virtual Lesung lesen(int deskriptor, Dateiart art) = 0;
    /// The same, for as long as nobody wants it to end: `abbrechen` is asked a few times a second on the calling thread,
    /// and true ends the reading with `gestoppt`. An engine in this process may read to its end instead.
    [[nodiscard]] virtual Lesung lesenAbbrechbar(
        int deskriptor, Dateiart art, Abbruchfrage const& abbrechen) {
        if (abbrechen && abbrechen())
            return {.art = Lesung::Art::gestoppt};
        return lesen(deskriptor, art);
    }
};

} // namespace quillmate::Texterkennung
