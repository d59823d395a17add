#pragma once

#include "bruecke/bruecke.h"
#include "macscan/suchwelt.h"
#include "werkzeug/dialoge.h"
#include "werkzeug/fensterwerk.h"
#include "werkzeug/hauptschleife.h"
#include "werkzeug/programme.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// A bridge with everything around it that its tests take the place of: page, loop, dialogs, search, service.
namespace quillmate::proben {

using werkzeug::wartenBis;

/// One reply as the page would get it.
struct Antwort {
    std::int64_t id;
    Json ergebnis;
};

/// Keeps scans from ending: their readers wait before the first file, which is made here, until they are let go. That
/// is at the latest with this object.
class Lesehalt {
public:
    explicit Lesehalt(werkzeug::Suchwelt& welt) {
        welt.heim.datei("Desktop/rechnung.pdf", "Rechnung 119,00 EUR");
        welt.leser.vorher = [lage = lage_] {
            setze(lage->liest);
            lage->weiter.wait(false);
        };
    }
    ~Lesehalt() { loslassen(); }
    Lesehalt(Lesehalt const&) = delete;
    Lesehalt& operator=(Lesehalt const&) = delete;

    void warteBisGelesenWird() const { lage_->liest.wait(false); }
    void loslassen() { setze(lage_->weiter); }

private:
    struct Lage {
        std::atomic_flag liest;
        std::atomic_flag weiter;
    };
    static void setze(std::atomic_flag& was) {
        was.test_and_set();
        was.notify_all();
    }
    std::shared_ptr<Lage> const lage_{std::make_shared<Lage>()}; ///< Also the readers'.
};

class Brueckenprobe : public testing::Test {
protected:
    Brueckenprobe() { baueBruecke(); }

    void baueBruecke(bruecke::PortalOeffnen portalOeffnen = {}) {
        bruecke.reset();
        bruecke.emplace(
            web, std::move(portalOeffnen),
            bruecke::Brueckenumgebung{
                .schleife = schleife,
                .ordnertafel = tafel,
                .arbeitsfaden = welt.arbeitsfaden,
                .aktualisierer = nachsehen,
                .merkliste = welt.merkliste,
                .suche = suche,
                .umzugLage = [this] { return lage; },
                .start = Adresse::lesen(start).value()});
    }
    /// Somebody who develops the service: scans may serve one on this machine.
    std::string start{"http://127.0.0.1:1/uebersicht"};

    void sende(Json const& nachricht) { bruecke->empfangen(nachricht.dump(), seite); }
    /// Sends one call and waits for nothing.
    void beginne(std::string const& aktion, std::int64_t id, Json daten = Json::object()) {
        daten["aktion"] = aktion;
        daten["id"] = id;
        sende(daten);
    }

    /// The replies so far; a script that is no reply fails the test.
    std::vector<Antwort> antworten() {
        schleife.laufen();
        std::vector<Antwort> alle;
        for (auto const& [funktion, werte] : web->zustellungen) {
            EXPECT_EQ(funktion, "__quillmateAntwort");
            auto const liste = Json::parse(werte);
            EXPECT_EQ(liste.size(), 2U) << werte;
            alle.push_back({liste.at(0).get<std::int64_t>(), liste.at(1)});
        }
        EXPECT_THAT(web->skripte, testing::IsEmpty());
        return alle;
    }

    /// Sends one call and returns its only reply, given at once.
    Json rufe(std::string const& aktion, Json daten = Json::object()) {
        schleife.laufen();
        web->zustellungen.clear();
        beginne(aktion, ++zaehler, std::move(daten));
        auto const alle = antworten();
        EXPECT_EQ(alle.size(), 1U) << aktion;
        if (alle.size() != 1)
            return {};
        EXPECT_EQ(alle.front().id, zaehler);
        return alle.front().ergebnis;
    }

    bool wartenAufAntworten(std::size_t anzahl) {
        return wartenBis([&] {
            schleife.laufen();
            return web->zustellungen.size() >= anzahl;
        });
    }

    /// What a valid scan asks for.
    [[nodiscard]] Json scan() const {
        return {{"client_id", 5}, {"token", "t"}, {"server", welt.service.server().adresse()}};
    }
    [[nodiscard]] Json gezielt() const {
        auto anfrage = scan();
        anfrage["transaction_id"] = 9;
        anfrage["stichworte"] = {"Gärtnerei"};
        anfrage["betrag_texte"] = {"119,00"};
        return anfrage;
    }

    werkzeug::HandSchleife schleife; // before the search, which speaks through it to its end
    werkzeug::Suchwelt welt;
    werkzeug::OrdnertafelAttrappe tafel;
    werkzeug::AktualisiererAttrappe aktualisierer;
    ports::Aktualisierer* nachsehen{&aktualisierer}; ///< What baueBruecke() gives the bridge.
    MacScan::Suche suche{welt.umgebung()};
    bruecke::Umzugslage lage{.ort = "programme", .umzugNoetig = false};
    ports::Webansicht::Empfaenger niemand;
    std::shared_ptr<werkzeug::WebansichtAttrappe> web{
        std::make_shared<werkzeug::WebansichtAttrappe>("web", niemand, std::make_shared<werkzeug::Buch>())};
    ports::Absender seite{
        .ursprung = "https://quillmate.example", .dokument = "https://quillmate.example/belege"};
    std::int64_t zaehler{0};
    std::optional<bruecke::Bruecke> bruecke;
};

inline Json const portalwunsch{{"kennung", "a"}, {"client_id", 1}, {"token", "t"}};
inline Json const fehlerUnbekannt{{"fehler", "unbekannte Aktion"}};

} // namespace quillmate::proben
