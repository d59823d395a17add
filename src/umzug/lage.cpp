#include "lage.h"

namespace quillmate::Umzug {

namespace {

bool liegtUnter(std::string_view pfad, std::string_view ordner) noexcept {
    return pfad.size() > ordner.size() && pfad.starts_with(ordner) && pfad[ordner.size()] == '/';
}

} // namespace

std::string_view rohwert(Ort ort) noexcept {
    switch (ort) {
    case Ort::programme:
        return "programme";
    case Ort::downloads:
        return "downloads";
    case Ort::dmg:
        return "dmg";
    case Ort::anderswo:
        return "anderswo";
    }
    return "anderswo";
}

bool Lage::umzugNoetig() const noexcept {
    if (versetzt)
        return true;
    switch (ort) {
    case Ort::downloads:
    case Ort::dmg:
        return true;
    case Ort::anderswo:
        return ausgeliefert;
    case Ort::programme:
        return false;
    }
    return false;
}

std::string_view Lage::beschreibung() const noexcept {
    if (ort == Ort::dmg)
        return "direkt aus dem Installationsabbild (DMG)";
    if (ort == Ort::downloads)
        return "aus dem Downloads-Ordner";
    if (ort == Ort::anderswo && !versetzt)
        return "außerhalb des Ordners „Programme“";
    return "von einem Wegwerf-Ort, den macOS für frisch geladene Apps anlegt";
}

std::string_view Lage::folge() const noexcept {
    if (ort == Ort::anderswo && !versetzt)
        return "Dort taucht es nicht im Launchpad auf und ist schnell verlegt.";
    return "Von dort kann es sich nicht aktualisieren und ist nach dem Beenden nicht mehr zu finden.";
}

Ort ortFuer(std::string_view pfad, Ordner const& ordner) noexcept {
    if (pfad.starts_with("/Volumes/"))
        return Ort::dmg;
    if (istWegwerfort(pfad))
        return Ort::downloads; // only downloads are run from such copies
    if (ordner.downloads && liegtUnter(pfad, *ordner.downloads))
        return Ort::downloads;
    if (liegtUnter(pfad, ordner.programme))
        return Ort::programme;
    if (pfad.starts_with(ordner.zuhause) && liegtUnter(pfad.substr(ordner.zuhause.size()), "/Applications"))
        return Ort::programme;
    return Ort::anderswo;
}

bool istWegwerfort(std::string_view pfad) noexcept {
    return pfad.find("/AppTranslocation/") != std::string_view::npos;
}

std::optional<std::string_view> grund(std::string_view pfad, Ordner const& ordner) noexcept {
    switch (ortFuer(pfad, ordner)) {
    case Ort::downloads:
        return "aus dem Downloads-Ordner";
    case Ort::dmg:
        return "direkt aus dem Installationsabbild (DMG)";
    case Ort::programme:
    case Ort::anderswo:
        return std::nullopt;
    }
    return std::nullopt;
}

Lage lage(std::string const& url, ports::Buendelkunde& buendelkunde, Ordner const& ordner) {
    Lage ergebnis{.laufend = url, .original = url, .versetzt = istWegwerfort(url)};
    if (ergebnis.versetzt)
        ergebnis.original = buendelkunde.originalPfad(url).value_or(url);
    ergebnis.ort = ortFuer(ergebnis.original, ordner);
    ergebnis.ausgeliefert = ergebnis.ort == Ort::anderswo && buendelkunde.mitTeamSigniert(ergebnis.original);
    return ergebnis;
}

Lage lage(ports::Buendelkunde& buendelkunde, Ordner const& ordner) {
    return lage(buendelkunde.laufend(), buendelkunde, ordner);
}

std::string zielName(std::string const& url, ports::Buendelkunde& buendelkunde) {
    auto const buendel = buendelkunde.lesen(url);
    // A slash in the name would make it a path that leads out of the folder.
    bool const brauchbar =
        buendel && buendel->name && !buendel->name->empty() && buendel->name->find('/') == std::string::npos;
    return (brauchbar ? *buendel->name : "Quillmate") + ".app";
}

} // namespace quillmate::Umzug
