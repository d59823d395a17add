// The series itself and what every step ends with. The steps are in schritte.cpp.
#include "fahrt.h"

#include "werkzeug/warten.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <thread>

namespace quillmate::dauer {

namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;
using werkzeug::wartenBis;

/// No search may take longer, whatever is done to it: disturbed transfers give up by then.
constexpr seconds suchfrist{600};

} // namespace

Fahrt::Fahrt(Welt& welt, std::uint64_t saat, Mass mass)
    : welt_(welt)
    , zufall_(saat)
    , mass_(mass)
    , mappe_(welt.heim() + "/Documents/Belege") {}

void Fahrt::vorbereiten() {
    auto const stick = welt_.heim() + "/Medien/Stick";
    auto const quelle = welt_.arbeit() + "/stick";
    fs::create_directories(stick);
    fs::create_directories(quelle);
    einhaengen_ = ::geteuid() == 0 && ::mount(quelle.c_str(), stick.c_str(), nullptr, MS_BIND, nullptr) == 0;
    if (!einhaengen_) {
        fs::remove(stick);
        fs::rename(quelle, stick);
    }
    welt_.sage(einhaengen_ ? "drive: a mount" : "drive: a folder that is moved away (no root)");
    welt_.bestand.dazu(mappe_, mass_.dateien, 60, 0, zufall_);
    welt_.bestand.dazu(stick + "/Belege", 20, 60, 1, zufall_);
    welt_.bestand.achteAuf(stick + "/Belege");
    welt_.dienstStarten();
    welt_.merkeOrdner({stick + "/Belege"});
    if (!welt_.oeffne())
        throw std::runtime_error{"the program does not start at all"};
}

void Fahrt::schritt() {
    unsigned summe = 0;
    for (auto const& art : arten)
        summe += art.gewicht;
    auto wurf = zufall_.unter(summe);
    auto const* gewaehlt = arten.data();
    while (wurf >= gewaehlt->gewicht)
        wurf -= (gewaehlt++)->gewicht;
    ++schritte_;
    auto const beginn = std::chrono::steady_clock::now();
    welt_.sage(fmt::format("{:4} {}", schritte_, gewaehlt->name));
    ++welt_.gezaehlt[fmt::format("Schritt: {}", gewaehlt->name)];
    try {
        welt_.aufDieBeine();
        lauf_ = {};
        (this->*gewaehlt->tun)();
    } catch (std::exception const& fehler) {
        welt_.klage(fmt::format("step {} ({}) broke off: {}", schritte_, gewaehlt->name, fehler.what()));
    }
    laufwerk(true);
    pruefe();
    constexpr int nachleseJeder = 4;
    if (schritte_ % nachleseJeder == 0)
        nachlese();
    welt_.sage(fmt::format(
        "     {:.1f} s", std::chrono::duration<double>(std::chrono::steady_clock::now() - beginn).count()));
}

void Fahrt::pruefe() {
    welt_.leitung.ruhe();
    if (!welt_.warteAufSuchende(suchfrist))
        welt_.klage(fmt::format("a search does not end within {} s", suchfrist.count()));
    if (!wartenBis([&] { return !welt_.leitung.unterwegs(); }, seconds{60}))
        welt_.klage("a request does not end");
    auto const vorgaenge = welt_.leitung.abholen();
    for (auto const& vorgang : vorgaenge)
        if (vorgang.stoerung != Stoerung::keine)
            ++welt_.gezaehlt[fmt::format("Leitung: {}", name(vorgang.stoerung))];
    try {
        for (auto& satz :
             welt_.buch.pruefe(lauf_, vorgaenge, welt_.eingaenge(), welt_.gesehen(), welt_.bestand))
            welt_.klage(std::move(satz));
    } catch (std::exception const& fehler) {
        welt_.klage(fmt::format("the service does not answer the driver: {}", fehler.what()));
    }
    for (auto& satz : welt_.bestand.abweichungen())
        welt_.klage(std::move(satz));
    lauf_ = {};
}

void Fahrt::nachlese() {
    ++welt_.gezaehlt["Nachlese"];
    welt_.aufDieBeine();
    lauf_ = {.art = Lauf::Art::voll, .ungestoert = true};
    try {
        (void)welt_.stopp(false);
        auto const beginn = std::chrono::steady_clock::now();
        auto const anfang = welt_.leitung.rufe(
            fmt::format("return await window.quillmateApp.macScannen({{{}}})", welt_.zugangJs()), suchfrist);
        if (anfang.contains("fehler"))
            welt_.klage("a quiet search is refused: " + anfang.dump());
        (void)welt_.warteAufSuchende(suchfrist);
        auto const bericht = welt_.frage("/clients/1/letzter-bericht");
        auto const gruende = bericht.value("gruende", nlohmann::json::object());
        for (auto const* const grund : {"nichtLesbar", "uebertragungFehlgeschlagen", "zuGross"})
            if (gruende.value(grund, 0) != 0)
                welt_.klage(fmt::format("a quiet search reports {} {}", gruende.value(grund, 0), grund));
        welt_.sage(fmt::format(
            "     Nachlese: {} Dateien, {} hochgeladen, {:.1f} s", bericht.value("gesamt", 0),
            gruende.value("hochgeladen", 0),
            std::chrono::duration<double>(std::chrono::steady_clock::now() - beginn).count()));
    } catch (std::exception const& fehler) {
        welt_.klage(fmt::format("a quiet search broke off: {}", fehler.what()));
    }
    pruefe();
    pruefeGemerkte();
    pruefeVerbrauch();
}

void Fahrt::vergessen(std::string satz) {
    if (!gemerkt_)
        return;
    gemerkt_ = false;
    welt_.klage(std::move(satz));
    laufwerk(false);
}

void Fahrt::pruefeGemerkte() {
    if (!gemerkt_)
        return;
    try {
        auto const liste =
            welt_.leitung.rufe("return await window.quillmateApp.gemerkteOrdner()", seconds{60}).at("ordner");
        if (liste.size() != 1 || liste.at(0).at("ordner") != "Belege")
            vergessen("the remembered folders are not what they were: " + liste.dump());
        else if (laufwerkDa_ && liste.at(0).at("anzahl") != 21)
            welt_.klage("the remembered folder shows other files: " + liste.dump());
    } catch (std::exception const& fehler) {
        welt_.klage(fmt::format("the remembered folders are not told: {}", fehler.what()));
    }
}

void Fahrt::pruefeVerbrauch() {
    if (!welt_.laeuft())
        return;
    auto const nummer = welt_.programm->nummer();
    // Also what ends by itself a while after the last work.
    constexpr std::size_t spielDeskriptoren = 12;
    constexpr std::size_t spielFaeden = 10;
    constexpr std::size_t spielSpeicher_kb = 96 * 1024;
    if (!anfangs_ || anfangs_->first != nummer) {
        anfangs_ = {nummer, verbrauch(nummer)};
        return;
    }
    auto const& alt = anfangs_->second;
    Verbrauch jetzt;
    auto const ruhig = [&] {
        jetzt = verbrauch(nummer);
        return jetzt.deskriptoren <= alt.deskriptoren + spielDeskriptoren &&
               jetzt.faeden <= alt.faeden + spielFaeden &&
               jetzt.speicher_kb <= alt.speicher_kb + spielSpeicher_kb;
    };
    if (!wartenBis(ruhig, seconds{30})) {
        welt_.klage(fmt::format(
            "the program holds more than at first: {} descriptors ({}), {} threads ({}), {} kB ({})",
            jetzt.deskriptoren, alt.deskriptoren, jetzt.faeden, alt.faeden, jetzt.speicher_kb,
            alt.speicher_kb));
        anfangs_->second = jetzt;
    }
    std::string tote;
    if (!wartenBis(
            [&] {
                tote.clear();
                for (auto const& prozess : nachkommen(nummer))
                    if (prozess.zustand == 'Z')
                        tote += fmt::format(" {} ({})", prozess.programm, prozess.nummer);
                return tote.empty();
            },
            seconds{10}))
        welt_.klage("ended processes that nobody waits for:" + tote);
}

void Fahrt::abschluss() {
    nachlese();
    welt_.schliesse();
    if (einhaengen_)
        (void)::umount2((welt_.heim() + "/Medien/Stick").c_str(), MNT_DETACH);
}

void Fahrt::frischeDateien() {
    int const bilder = mass_.bilder && zufall_.mit(30) ? static_cast<int>(zufall_.unter(3)) : 0;
    welt_.bestand.dazu(mappe_, mass_.zuwachs, 70, bilder, zufall_);
    auto const& dateien = welt_.bestand.dateien();
    // And one of the old ones has other content than before.
    std::vector<std::string> belege;
    for (auto const& [pfad, datei] : dateien)
        if (datei.entscheidung == "hochladen" && pfad.starts_with(mappe_))
            belege.push_back(pfad);
    if (!belege.empty())
        welt_.bestand.aendere(zufall_.eins(belege), zufall_);
}

void Fahrt::beginneSuche(std::string const& felder) {
    (void)welt_.stopp(false);
    (void)welt_.leitung.beginne(
        fmt::format("return await window.quillmateApp.macScannen({{{}{}}})", welt_.zugangJs(), felder));
    // Its first request shows that it runs; a search that is over already has been seen, too.
    (void)wartenBis(
        [&] {
            try {
                return welt_.suchStand(seconds{10}).at("schritte").size() > 0;
            } catch (std::exception const&) {
                return !welt_.laeuft();
            }
        },
        seconds{30});
}

void Fahrt::endeSuche() {
    if (!welt_.warteAufSuchende(suchfrist))
        welt_.klage("a search does not end");
}

void Fahrt::warte(int millisekunden) const {
    std::this_thread::sleep_for(std::chrono::milliseconds{millisekunden});
}

bool Fahrt::haltAn(pid_t nummer, char const* wen) {
    if (nummer <= 0 || ::kill(nummer, SIGSTOP) != 0)
        return false;
    ++welt_.gezaehlt[fmt::format("SIGSTOP: {}", wen)];
    auto const dauer =
        500 + static_cast<int>(zufall_.unter(static_cast<std::uint64_t>(mass_.haltHoechstens) * 1000));
    warte(dauer);
    ::kill(nummer, SIGCONT);
    return true;
}

void Fahrt::toeteEinen(std::string_view programm, char const* wort) {
    if (!welt_.laeuft())
        return;
    auto const alle = nachkommen(welt_.programm->nummer(), programm);
    if (alle.empty())
        return;
    if (::kill(zufall_.eins(alle), SIGKILL) == 0)
        ++welt_.gezaehlt[fmt::format("SIGKILL: {}", wort)];
}

void Fahrt::laufwerk(bool da) {
    if (da == laufwerkDa_ || (da && !gemerkt_))
        return;
    auto const stick = welt_.heim() + "/Medien/Stick";
    auto const quelle = welt_.arbeit() + "/stick";
    if (einhaengen_) {
        bool const gut = da ? ::mount(quelle.c_str(), stick.c_str(), nullptr, MS_BIND, nullptr) == 0
                            : ::umount2(stick.c_str(), MNT_DETACH) == 0;
        if (!gut)
            throw std::runtime_error{"the drive does not move"};
    } else {
        fs::rename(da ? quelle : stick, da ? stick : quelle);
    }
    laufwerkDa_ = da;
    if (da)
        welt_.bestand.wiederDa(stick + "/Belege");
    else
        welt_.bestand.fort(stick + "/Belege");
    ++welt_.gezaehlt[da ? "Laufwerk da" : "Laufwerk fort"];
}

} // namespace quillmate::dauer
