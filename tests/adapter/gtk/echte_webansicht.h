#pragma once

#include "adapter/gtk/webansicht_gtk.h"
#include "bildschirm.h"
#include "fenster/zieldatei.h"
#include "ports/download.h"
#include "werkzeug/drehen.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quillmate::adapter::gtk {

using werkzeug::drehenBis;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::HttpAttrappe;

/// Answers the view as the test says, and writes down what it is told.
struct Mitschrift final : ports::Webansicht::Empfaenger {
    ports::Entscheidung beiNavigation(ports::Webansicht&, ports::Navigation const& navigation) override {
        navigationen.push_back(navigation);
        return navigationAntwort ? navigationAntwort(navigation) : ports::Entscheidung::zulassen;
    }
    ports::Entscheidung beiAntwort(ports::Webansicht&, ports::Antwortkopf const& kopf) override {
        koepfe.push_back(kopf);
        return antwortAntwort ? antwortAntwort(kopf) : ports::Entscheidung::zulassen;
    }
    ports::Webansicht* neuesFenster(
        ports::Webansicht& web, ports::Fensteranfrage const& anfrage,
        VerwandteAnsicht const& verwandte) override {
        fenster.push_back(anfrage);
        gewaehrt.push_back(web.gesteVerbrauchen(anfrage.geste));
        if (beimFenster)
            beimFenster(web);
        if (!fensterErlaubt)
            return nullptr;
        neben = verwandte(*this);
        return neben.get();
    }
    void begonnen(ports::Webansicht&) override { ++begonnene; }
    void geladen(ports::Webansicht& web) override {
        ++fertig;
        zuletzt = web.adresse().value_or("-");
    }
    void fehlgeschlagen(ports::Webansicht&, ports::Ladefehler const& fehler) override {
        fehlschlaege.push_back(fehler);
    }
    void heruntergeladen(ports::Webansicht&, std::shared_ptr<ports::Download> const& download) override {
        download->empfaenger(
            {.ziel = [this](std::string const& vorschlag) -> std::optional<std::string> {
                 vorschlaege.push_back(vorschlag);
                 ziel = fenster::Zieldatei::belegen(zielordner, zielname);
                 if (nachWahl)
                     std::exchange(nachWahl, nullptr)(ziel->pfad());
                 return ziel->pfad();
             },
             .fertig = [this] { ++downloadFertig; },
             .fehlgeschlagen =
                 [this](std::string const& text) {
                     ziel.reset();
                     downloadFehler.push_back(text);
                 }});
    }
    void prozessGestorben(ports::Webansicht&, std::string const& grund) override { tode.push_back(grund); }
    void hinweis(ports::Webansicht&, std::string const& text, std::function<void()> weiter) override {
        hinweise.push_back(text);
        weiter();
    }
    void bestaetigung(
        ports::Webansicht&, std::string const& text, std::function<void(bool)> antwort) override {
        hinweise.push_back(text);
        antwort(ja);
    }
    void eingabe(
        ports::Webansicht&, std::string const& text, std::string const& vorgabe,
        std::function<void(std::optional<std::string>)> antwort) override {
        hinweise.push_back(text + '|' + vorgabe);
        antwort(eingegeben);
    }

    std::function<ports::Entscheidung(ports::Navigation const&)> navigationAntwort;
    std::function<ports::Entscheidung(ports::Antwortkopf const&)> antwortAntwort;
    std::vector<ports::Navigation> navigationen;
    std::vector<ports::Antwortkopf> koepfe;
    std::vector<ports::Fensteranfrage> fenster;
    std::vector<bool> gewaehrt; ///< Whether a person stood behind it, for each of `fenster`.
    bool fensterErlaubt{true};
    std::function<void(ports::Webansicht&)> beimFenster;
    std::unique_ptr<ports::Webansicht> neben;
    int begonnene{0};
    int fertig{0};
    std::string zuletzt;
    std::vector<ports::Ladefehler> fehlschlaege;
    std::string zielordner;
    std::string zielname;
    std::optional<fenster::Zieldatei> ziel;
    std::function<void(std::string const& pfad)> nachWahl; ///< Called once, as soon as a name is claimed.
    std::vector<std::string> vorschlaege;
    int downloadFertig{0};
    std::vector<std::string> downloadFehler;
    std::vector<std::string> tode;
    std::vector<std::string> hinweise;
    bool ja{false};
    std::optional<std::string> eingegeben;
};

/// The sessions of all tests, as a program has them for as long as it runs: the engine does not survive that one ends
/// while processes that draw for it are still going, and the next one begins.
struct Weblager {
    werkzeug::OrdnerAufZeit ordner;
    adapter::gtk::WebSitzungen sitzungen{
        {.daten = ordner.pfad("daten"), .zwischenspeicher = ordner.pfad("cache")}};
};

inline Weblager& weblager() {
    static Weblager lager;
    return lager;
}

/// A view in a real window, with a loopback service for its pages.
class EchteWebansicht : public testing::Test {
protected:
    static void SetUpTestSuite() { bildschirmBereiten(); }

    void oeffnen(
        std::vector<ports::Nutzerskript> skripte = {},
        std::chrono::seconds frist = std::chrono::seconds{60}) {
        web = std::make_unique<adapter::gtk::WebansichtGtk>(
            weblager().sitzungen,
            ports::Webansicht::Einrichtung{
                .skripte = std::move(skripte),
                .nachrichtenname = "quillmate",
                .nachrichten =
                    [this](std::string_view json, ports::Absender const& absender) {
                        nachrichten.emplace_back(std::string{json}, absender);
                    },
                .fremdeSeiten = fremdeSeiten,
                .ladefrist = frist,
                .sendefrist = 3 * frist,
                .haengefrist = haengefrist},
            mitschrift);
        fenster = gtk_window_new();
        gtk_window_set_default_size(GTK_WINDOW(fenster), 600, 400);
        gtk_window_set_child(GTK_WINDOW(fenster), web->widget());
        gtk_window_present(GTK_WINDOW(fenster));
    }
    void TearDown() override {
        if (fenster) {
            gtk_window_set_child(GTK_WINDOW(fenster), nullptr);
            gtk_window_destroy(GTK_WINDOW(fenster));
        }
    }
    void laden(std::string const& pfad) {
        int const vorher = mitschrift.fertig;
        web->laden(dienst.adresse() + pfad, std::chrono::seconds{60});
        ASSERT_TRUE(drehenBis([&] { return mitschrift.fertig > vorher; })) << pfad;
    }
    /// What the expression is in the page, as text.
    std::string wert(std::string const& ausdruck) {
        std::optional<std::optional<std::string>> antwort;
        web->rufen(
            "return String(" + ausdruck + ")", {},
            [&](std::optional<std::string> text, std::string const&) { antwort = text; });
        EXPECT_TRUE(drehenBis([&] { return antwort.has_value(); }));
        return antwort ? antwort->value_or("(nichts)") : "(keine Antwort)";
    }

    werkzeug::OrdnerAufZeit ordner;
    std::map<std::string, HttpAntwort> seiten{
        {"/",
         {.koerper = "<!doctype html><title>Start</title><p>Start",
          .inhaltstyp = "text/html; charset=utf-8"}}};
    std::function<void(HttpAnfrage const&)> beiAnfrage;                        ///< On the server's thread.
    std::function<std::optional<HttpAntwort>(HttpAnfrage const&)> beantworten; ///< Before `seiten`; as above.
    HttpAttrappe dienst{[this](HttpAnfrage const& anfrage) {
        if (beiAnfrage)
            beiAnfrage(anfrage);
        if (auto antwort = beantworten ? beantworten(anfrage) : std::nullopt)
            return *antwort;
        auto const seite = seiten.find(anfrage.pfad);
        return seite == seiten.end()
                   ? HttpAntwort{.status = 404, .koerper = "nein", .inhaltstyp = "text/plain"}
                   : seite->second;
    }};
    Mitschrift mitschrift;
    std::vector<std::pair<std::string, ports::Absender>> nachrichten;
    bool fremdeSeiten{false};
    std::chrono::seconds haengefrist{30};
    GtkWidget* fenster{nullptr};
    std::unique_ptr<adapter::gtk::WebansichtGtk> web;
};

inline HttpAntwort html(std::string const& text) {
    return {.koerper = "<!doctype html>" + text, .inhaltstyp = "text/html; charset=utf-8"};
}

} // namespace quillmate::adapter::gtk
