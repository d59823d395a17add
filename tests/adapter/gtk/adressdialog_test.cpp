// The dialog for a portal's address, typed into with real keys.
#include "adapter/gtk/adressdialog_gtk.h"
#include "adapter/gtk/programmfenster_gtk.h"
#include "bildschirm.h"
#include "werkzeug/bildschirm.h"
#include "werkzeug/drehen.h"
#include "werkzeug/voreinstellungen.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace quillmate::adapter::gtk {
namespace {

using werkzeug::drehenBis;

class Adresseingabe : public testing::Test {
public:
    static void SetUpTestSuite() { bildschirmBereiten(); }

protected:
    Adresseingabe() {
        haupt.titel("Hauptfenster");
        haupt.zeigen();
        (void)drehenBis(
            [&] { return gtk_window_is_active(haupt.gtkFenster()) != FALSE; }, std::chrono::seconds{1});
    }
    /// Opens the dialog, lets `bedient` use the keyboard on a thread of its own, and gives back what came out.
    std::optional<std::string> frage(std::function<void(fenster_echt::Bildschirm&)> bedient) {
        std::jthread const person{[&] {
            fenster_echt::Bildschirm bildschirm{std::getenv("DISPLAY")};
            auto const dialog = bildschirm.warteAufFenster("Quillmate");
            ASSERT_TRUE(dialog);
            for (int i = 0; i < 200 && bildschirm.tastaturBei() != dialog->nummer; ++i) {
                bildschirm.tastaturAn(dialog->nummer);
                std::this_thread::sleep_for(std::chrono::milliseconds{20});
            }
            bedient(bildschirm);
        }};
        // Should the keys have gone elsewhere, the dialog would wait for ever.
        auto const notende = g_timeout_add_seconds(
            60,
            [](gpointer) -> gboolean {
                gtk_window_close(gtk_application_get_active_window(testanwendung()));
                return G_SOURCE_CONTINUE;
            },
            nullptr);
        auto const ergebnis = adapter::gtk::AdressdialogGtk{testanwendung()}.fragen(
            {.meldung = "Weiteres Anbieterportal öffnen",
             .erklaerung = "Die Adresse wird von dir in der App eingegeben.",
             .beanstandung = "Bitte gib eine vollständige HTTPS-Adresse ein.",
             .beschriftung = "Gib die Adresse des Rechnungsportals ein.",
             .platzhalter = "portal.example/rechnungen",
             .oeffnen = "Portal öffnen",
             .abbrechen = "Abbrechen",
             .bisherige = bisherige,
             .passende =
                 [this](std::string const& text) {
                     std::vector<std::string> passend;
                     for (auto const& adresse : bisherige)
                         if (adresse.contains(text))
                             passend.push_back(adresse);
                     return passend;
                 },
             .entfernen = [this](std::string const& adresse) { entfernt.push_back(adresse); },
             .annehmbar =
                 [](std::string const& text) {
                     return !text.empty();
                 }});
        g_source_remove(notende);
        return ergebnis;
    }

    std::vector<std::string> entfernt;
    std::vector<std::string> const bisherige{
        "https://portal.example/rechnungen", "https://post.example/",
        "https://langes.example/" + std::string(300, 'x') + "/ende"};
    werkzeug::SpeicherVoreinstellungen voreinstellungen;
    adapter::gtk::ProgrammfensterGtk haupt{
        testanwendung(), voreinstellungen,
        ports::Fenstermasse{.breite = 900, .hoehe = 700, .mindestbreite = 100, .mindesthoehe = 100}, false};
};

TEST_F(Adresseingabe, WhatIsTypedStaysWhatItIsAtAnySpeed) {
    for (int const abstand : {15, 60, 180}) {
        SCOPED_TRACE(abstand);
        auto const ergebnis = frage([&](fenster_echt::Bildschirm& bildschirm) {
            for (char const zeichen : std::string{"po.example/neu"}) {
                bildschirm.tippe(std::string{zeichen});
                std::this_thread::sleep_for(std::chrono::milliseconds{abstand});
            }
            bildschirm.taste("Return");
        });
        EXPECT_EQ(ergebnis, "po.example/neu");
    }
}

TEST_F(Adresseingabe, DownAndReturnChooseFromTheHistoryAndReturnOpensIt) {
    auto const ergebnis = frage([](fenster_echt::Bildschirm& bildschirm) {
        bildschirm.tippe("po");
        bildschirm.taste("Down");
        bildschirm.taste("Down");
        bildschirm.bild("adressdialog_verlauf");
        bildschirm.taste("Return");
        bildschirm.taste("Return");
    });
    EXPECT_EQ(ergebnis, "https://post.example/");
}

TEST_F(Adresseingabe, DeleteTakesAnAddressOutOfTheListAndTheTypedTextStays) {
    auto const ergebnis = frage([](fenster_echt::Bildschirm& bildschirm) {
        bildschirm.tippe("po");
        bildschirm.taste("Down");
        bildschirm.taste("Delete");
        bildschirm.bild("adressdialog_entfernt");
        bildschirm.tippe("x");
        bildschirm.taste("Return");
    });
    EXPECT_EQ(ergebnis, "pox");
    EXPECT_EQ(entfernt, std::vector<std::string>{"https://portal.example/rechnungen"});
}

TEST_F(Adresseingabe, EscapeLeavesTheListFirstAndThenTheDialog) {
    EXPECT_EQ(
        frage([](fenster_echt::Bildschirm& bildschirm) {
            bildschirm.bild("adressdialog");
            bildschirm.tippe("po");
            bildschirm.taste("Down");
            bildschirm.taste("Escape");
            bildschirm.tippe("st");
            bildschirm.taste("Return");
        }),
        "post");
    EXPECT_EQ(frage([](fenster_echt::Bildschirm& bildschirm) { bildschirm.taste("Escape"); }), std::nullopt);
}

} // namespace
} // namespace quillmate::adapter::gtk
