#pragma once

#include "macscan/suche.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/stell_uhr.h"
#include "werkzeug/voreinstellungen.h"
#include "werkzeug/warten.h"

#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace quillmate::werkzeug {

/// "Recognises" a file by taking its bytes for its text; an empty file has no text. Some texts are faults.
class WoertlicherLeser final : public Texterkennung::Leser {
public:
    Texterkennung::Lesung lesenAbbrechbar(
        int deskriptor, Texterkennung::Dateiart art, Abbruchfrage const& abbrechen) override {
        if (!bisAbbruch)
            return lesen(deskriptor, art);
        ++gelesen;
        (void)wartenBis([&] { return abbrechen && abbrechen(); });
        return {.art = Texterkennung::Lesung::Art::gestoppt};
    }
    Texterkennung::Lesung lesen(int deskriptor, Texterkennung::Dateiart) override {
        if (vorher)
            vorher();
        ++gelesen;
        std::string text(100'000, '\0');
        auto const n = ::read(deskriptor, text.data(), text.size());
        text.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
        if (text == "wirft")
            throw std::bad_alloc{};
        if (immerGestoert || text == "stoert")
            return {.art = Texterkennung::Lesung::Art::gestoert, .leserGestorben = true};
        if (text == "einmal gestoert" && ++gestoert == 1)
            return {.art = Texterkennung::Lesung::Art::gestoert};
        if (text == "ohne Leser")
            return {.art = Texterkennung::Lesung::Art::ohneLeser, .grund = "Niemand liest."};
        return {.text = text.empty() ? std::nullopt : std::optional{text}};
    }
    std::function<void()> vorher; ///< Runs first in each reading; set before the search starts.
    std::atomic<int> gelesen{0};
    std::atomic<int> gestoert{0};
    std::atomic<bool> immerGestoert{false};
    std::atomic<bool> bisAbbruch{false}; ///< Reads until nobody wants the answer any more.
};

/// A cloud drive that fetches what it is asked for, or not.
class WolkeAttrappe final : public ports::Wolke {
public:
    bool vorhanden() const override { return true; }
    void anfordern(std::string const& pfad) override {
        angefordert.push_back(pfad);
        if (laedt)
            std::ofstream{pfad} << "geladen";
    }
    std::vector<std::string> angefordert;
    bool laedt{true};
};

/// A service with fixed GET answers by the path's end; everything else is accepted.
class DienstAttrappe {
public:
    void antworte(std::string const& ende, std::string const& koerper) {
        std::lock_guard const schutz{sperre_};
        antworten_[ende] = {.koerper = koerper};
    }
    void antworte(std::string const& ende, HttpAntwort antwort) {
        std::lock_guard const schutz{sperre_};
        antworten_[ende] = std::move(antwort);
    }
    std::function<void()>
        beimHochladen; ///< Runs in each upload, on its connection's thread; set before the search.
    [[nodiscard]] HttpAttrappe const& server() const { return server_; }
    /// File names of all uploads to paths with this end.
    [[nodiscard]] std::multiset<std::string> hochgeladen(
        std::string const& ende = "/local-receipts/upload") const {
        std::multiset<std::string> namen;
        for (auto const& anfrage : server_.anfragenAn(ende)) {
            auto const anfang = anfrage.koerper.find("filename=\"") + 10;
            namen.insert(anfrage.koerper.substr(anfang, anfrage.koerper.find("\"\r\n", anfang) - anfang));
        }
        return namen;
    }

private:
    std::mutex sperre_;
    std::map<std::string, HttpAntwort> antworten_;
    HttpAttrappe server_{[this](HttpAnfrage const& anfrage) {
        if (beimHochladen && anfrage.pfad.ends_with("/upload"))
            beimHochladen();
        std::lock_guard const schutz{sperre_};
        for (auto const& [ende, antwort] : antworten_)
            if (anfrage.pfad.ends_with(ende))
                return antwort;
        return HttpAntwort{.koerper = "{}"};
    }};
};

/// Everything a search works with, in a home folder of the test.
class Suchwelt {
public:
    Suchwelt() {
        for (auto const* const name : {"Desktop", "Documents", "Downloads"})
            heim.ordner(name);
    }

    MacScan::Umgebung umgebung() { return umgebungMit(uhr); }
    /// With another clock than the one that stands still.
    MacScan::Umgebung umgebungMit(ports::Uhr& zeit) {
        return {
            .merkliste = merkliste,
            .standardorte = standardorte,
            .erkenner = erkenner,
            .dienst = dienst,
            .uhr = zeit,
            .arbeitsfaden = arbeitsfaden,
            .wolke = wolkeVorhanden ? static_cast<ports::Wolke&>(wolke) : keineWolke,
            .leser = leserzahl,
            .ortsfrist = ortsfrist};
    }
    [[nodiscard]] dienst::Zugang zugang() const {
        return {.server = service.server().adresse(), .clientId = 5, .token = "t"};
    }

    /// Remembers the folder below the home folder; returns its identifier.
    std::string merke(std::string const& name) {
        auto const pfad = heim.ordner(name);
        lesezeichen.ordner.insert(pfad);
        merkliste.merken(pfad);
        return Ordner::kennung(pfad);
    }

    /// Collects the messages to the page.
    MacScan::Melder melder() {
        return [this](Json const& meldung) {
            std::lock_guard const schutz{sperre};
            meldungen.push_back(meldung);
        };
    }
    [[nodiscard]] std::vector<Json> alleMeldungen() const {
        std::lock_guard const schutz{sperre};
        return meldungen;
    }

    void meldungenVergessen() {
        std::lock_guard const schutz{sperre};
        meldungen.clear();
    }

    OrdnerAufZeit heim;
    DienstAttrappe service;
    SpeicherVoreinstellungen voreinstellungen;
    SpeicherLesezeichen lesezeichen;
    Ordner::Merkliste merkliste{voreinstellungen, lesezeichen};
    FesteStandardorte standardorte{heim.pfad()};
    WoertlicherLeser leser;
    Texterkennung::Zwischenspeicher speicher{heim.pfad("cache/texte")};
    Texterkennung::Erkenner erkenner{leser, speicher};
    dienst::Dienst dienst;
    StellUhr uhr;
    ZaehlenderArbeitsfaden arbeitsfaden;
    ports::KeineWolke keineWolke;
    WolkeAttrappe wolke;
    bool wolkeVorhanden{false};
    int leserzahl{2};
    std::chrono::milliseconds ortsfrist{20'000};

private:
    mutable std::mutex sperre;
    std::vector<Json> meldungen;
};

} // namespace quillmate::werkzeug
