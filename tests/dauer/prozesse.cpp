#include "prozesse.h"

#include "werkzeug/ordner_auf_zeit.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace quillmate::dauer {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kurzname = 15; ///< As much of a name as the kernel keeps.

std::vector<Prozess> alle() {
    std::vector<Prozess> gefunden;
    std::error_code fehler;
    for (auto const& eintrag : fs::directory_iterator{"/proc", fehler}) {
        auto const name = eintrag.path().filename().string();
        if (!std::ranges::all_of(name, [](char c) { return c >= '0' && c <= '9'; }))
            continue;
        std::ifstream datei{eintrag.path() / "stat"};
        std::string zeile;
        std::getline(datei, zeile);
        auto const ende = zeile.rfind(')'); // The name before it may hold anything.
        if (ende == std::string::npos || ende + 4 >= zeile.size())
            continue;
        auto programm = fs::read_symlink(eintrag.path() / "exe", fehler);
        if (fehler) // Locked up, and we are not root: the kernel's own short name is open to all.
            programm = zeile.substr(zeile.find('(') + 1, ende - zeile.find('(') - 1);
        gefunden.push_back(
            {.nummer = static_cast<pid_t>(std::stol(name)),
             .eltern = static_cast<pid_t>(std::stol(zeile.substr(ende + 4))),
             .zustand = zeile[ende + 2],
             .programm = programm.filename().string()});
    }
    return gefunden;
}

} // namespace

std::vector<Prozess> mitMarke(std::string const& marke) {
    auto gefunden = alle();
    std::erase_if(gefunden, [&](Prozess const& prozess) {
        auto const umgebung = werkzeug::inhaltVon("/proc/" + std::to_string(prozess.nummer) + "/environ");
        return !umgebung.contains(marke);
    });
    return gefunden;
}

std::vector<Prozess> nachkommen(pid_t wurzel) {
    auto const prozesse = alle();
    std::map<pid_t, pid_t> eltern;
    for (auto const& prozess : prozesse)
        eltern[prozess.nummer] = prozess.eltern;
    std::vector<Prozess> gefunden;
    for (auto const& prozess : prozesse) {
        auto vorfahr = prozess.eltern;
        for (int tiefe = 0; vorfahr > 1 && vorfahr != wurzel && tiefe < 50; ++tiefe)
            vorfahr = eltern.contains(vorfahr) ? eltern[vorfahr] : 0;
        if (vorfahr == wurzel)
            gefunden.push_back(prozess);
    }
    return gefunden;
}

std::vector<pid_t> nachkommen(pid_t wurzel, std::string_view programm) {
    std::vector<pid_t> gefunden;
    for (auto const& prozess : nachkommen(wurzel))
        if (prozess.programm.starts_with(programm.substr(0, kurzname)) && prozess.zustand != 'Z')
            gefunden.push_back(prozess.nummer);
    return gefunden;
}

Verbrauch verbrauch(pid_t nummer) {
    auto const ordner = "/proc/" + std::to_string(nummer);
    Verbrauch werte;
    std::error_code fehler;
    for (auto const& eintrag : fs::directory_iterator{ordner + "/fd", fehler}) {
        (void)eintrag;
        ++werte.deskriptoren;
    }
    std::istringstream zeilen{werkzeug::inhaltVon(ordner + "/status")};
    for (std::string zeile; std::getline(zeilen, zeile);) {
        if (zeile.starts_with("RssAnon:"))
            werte.speicher_kb = std::stoul(zeile.substr(8));
        if (zeile.starts_with("Threads:"))
            werte.faeden = std::stoul(zeile.substr(8));
    }
    return werte;
}

} // namespace quillmate::dauer
