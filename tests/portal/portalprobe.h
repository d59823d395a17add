#pragma once

#include "portal/erfassung.h"
#include "portal/portalfenster.h"
#include "werkzeug/dialoge.h"
#include "werkzeug/download.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/fensterwerk.h"
#include "werkzeug/hauptschleife.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/portalleiste.h"
#include "werkzeug/warten.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace quillmate::portalprobe {

using ports::Entscheidung;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::HttpAttrappe;

namespace fs = std::filesystem;

inline constexpr char const* pdfAntwort =
    R"({"ok":true,"daten":"JVBERi0xLjQ=","name":"Rechnung 7","mime":"application/pdf"})";

/// A portal's window without a screen, with a service that the test plays.
class PortalFensterTest : public testing::Test {
protected:
    void oeffnen(std::optional<std::int64_t> buchung = {}) {
        portal = std::make_unique<portal::PortalFenster>(
            portal::PortalFenster::Umgebung{
                .werk = werk,
                .leisten = leisten,
                .dialoge = dialoge,
                .schleife = schleife,
                .ablage = ablage,
                .versand = *versand},
            portal::PortalFenster::Auftrag{
                .ziel =
                    {.kennung = "hetzner",
                     .name = "Hetzner",
                     .adresse = Adresse::lesen("https://accounts.hetzner.example/invoice").value()},
                .clientId = 42,
                .token = "t",
                .basis = Adresse::lesen(server.adresse() + "/uebersicht").value(),
                .transaction = buchung,
                .ereignis = [this](Json const& ereignis) {
                    ereignisse.push_back(ereignis.dump());
                }});
    }
    [[nodiscard]] werkzeug::WebansichtAttrappe& web() const { return *werk.ansichten.at(0); }
    [[nodiscard]] ports::Webansicht::Empfaenger& empfaenger() const { return web().empfaenger(); }
    [[nodiscard]] werkzeug::ProgrammfensterAttrappe& fenster() const { return *werk.fensters.at(0); }

    Entscheidung navigiert(
        std::optional<std::string> adresse, bool alsDownload = false, bool hauptrahmen = true) const {
        return empfaenger().beiNavigation(
            web(), {.adresse = std::move(adresse), .alsDownload = alsDownload, .hauptrahmen = hauptrahmen});
    }
    Entscheidung antwortet(bool darstellbar, std::string contentDisposition = {}) const {
        return empfaenger().beiAntwort(
            web(), {.adresse = "https://portal.example/a",
                    .mimetyp = "application/pdf",
                    .contentDisposition = std::move(contentDisposition),
                    .darstellbar = darstellbar});
    }
    std::shared_ptr<werkzeug::DownloadAttrappe> download() const {
        auto neuer = std::make_shared<werkzeug::DownloadAttrappe>("https://portal.example/r.pdf");
        empfaenger().heruntergeladen(web(), neuer);
        return neuer;
    }
    /// The document at this address takes the place of the one before.
    void zeigt(std::string const& adresse) const {
        web().setzeAdresse(adresse);
        web().zeige(adresse);
        empfaenger().festgeschrieben(web());
    }
    /// Runs the main loop until something is so.
    template<typename Bedingung>
    [[nodiscard]] bool laeuftBis(Bedingung bedingung) {
        return werkzeug::wartenBis([&] {
            schleife.laufen();
            return bedingung();
        });
    }
    [[nodiscard]] bool leer() const { return fs::is_empty(tmp.pfad()); }
    [[nodiscard]] bool inZeilen(std::string const& zeile) const {
        return std::ranges::find(werk.buch->zeilen, zeile) != werk.buch->zeilen.end();
    }

    werkzeug::OrdnerAufZeit tmp;
    HttpAntwort antwort{.koerper = "{}"};
    HttpAttrappe server{[this](HttpAnfrage const&) {
        return antwort;
    }};
    werkzeug::FensterwerkAttrappe werk;
    werkzeug::PortalleistenwerkAttrappe leisten;
    werkzeug::DialogeAttrappe dialoge;
    werkzeug::HandSchleife schleife;
    portal::Portalablage ablage{tmp.pfad()};
    std::unique_ptr<portal::Belegversand> versand = std::make_unique<portal::Belegversand>(ablage);
    std::vector<std::string> ereignisse;
    std::unique_ptr<portal::PortalFenster> portal;
};

using Texte = std::vector<std::string>;

inline std::string ereignis(
    std::string const& status, std::string const& nachricht, std::string const& mehr = {}) {
    return R"({"kennung":"hetzner","status":")" + status + R"(","nachricht":")" + nachricht + "\"" + mehr +
           "}";
}

} // namespace quillmate::portalprobe
