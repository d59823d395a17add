#pragma once

#include "welt.h"
#include "zufall.h"

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quillmate::dauer {

/// The series of steps: what is done next, what is done to it meanwhile, and the look at everything afterwards.
/// The same seed gives the same steps; what happens at the same moment is the machine's.
class Fahrt {
public:
    struct Mass {
        int dateien{300};      ///< Text PDFs beside the samples, at the start.
        int haltHoechstens{4}; ///< Seconds that a process stands still at most.
        int zuwachs{12};       ///< New files before a search.
        bool bilder{true};     ///< New pictures too; each takes a second or more to read.
    };
    Fahrt(Welt& welt, std::uint64_t saat, Mass mass);

    void vorbereiten();
    /// One step and the comparison with the model.
    void schritt();
    /// Nothing is disturbed, and then nothing may be missing.
    void nachlese();
    /// Ends the program and looks at what is left.
    void abschluss();
    [[nodiscard]] int schritte() const noexcept { return schritte_; }

private:
    using Art = void (Fahrt::*)();
    struct Schrittart {
        unsigned gewicht;
        char const* name;
        Art tun;
    };
    static std::array<Schrittart, 14> const arten;

    // Steps
    void sucheMitStoerungen();
    void sucheMitToetungen();
    void sucheMitStillstand();
    void sucheMitStopp();
    void sucheUndSchliessen();
    void sucheUndToeten();
    void sucheUndDienstweg();
    void sucheUndLaufwerkWeg();
    void sucheBeiVollerPlatte();
    void gezielt();
    void bildersuche();
    void download();
    void portal();
    void umbauen();

    // Helpers
    void frischeDateien();
    void beginneSuche(std::string const& felder = {});
    void endeSuche();
    void pruefe();
    void pruefeVerbrauch();
    void pruefeGemerkte();
    /// The remembered folder is not remembered any more: said once, and the drive stays away.
    void vergessen(std::string satz);
    bool haltAn(pid_t nummer, char const* wen);
    void toeteEinen(std::string_view programm, char const* wort);
    void laufwerk(bool da);
    void warte(int millisekunden) const;

    Welt& welt_;
    Zufall zufall_;
    Mass mass_;
    Lauf lauf_;
    int schritte_{0};
    bool laufwerkDa_{true};
    bool gemerkt_{true};
    bool einhaengen_{false}; ///< As root a drive is a mount; else a folder that is moved away.
    std::string mappe_;      ///< The folder of the new files.
    std::optional<std::pair<pid_t, Verbrauch>>
        anfangs_; ///< Of the program that runs, when it was first at rest.
};

} // namespace quillmate::dauer
