// Signing in and granting a bank access, with a default browser that writes down what it is given, and with the way
// back that a browser takes: a second start of the program with an address of its scheme.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

namespace quillmate::fenster_echt {
namespace {

using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::wartenBis;

class Anmeldungen : public EchtesFenster {
protected:
    using Posten = std::vector<std::pair<std::string, std::string>>;

    Anmeldungen() {
        browserEinrichten();
        for (auto const* const pfad : {einloesung, bankseite})
            dienst.antworte(
                pfad,
                {.status = 303,
                 .weitererKopf = "Location: /uebersicht\r\nSet-Cookie: angemeldet=ja; Path=/; HttpOnly; "
                                 "SameSite=Lax\r\n"});
    }

    /// Lets the page go to a start path, and waits for the sheet over the window and for the browser.
    void beginne(std::string const& pfad) {
        dienst.rufe("setTimeout(() => location.href = '" + pfad + "')");
        EXPECT_TRUE(warteAufDialog()) << "no sheet";
        EXPECT_TRUE(warteAufBrowser(dienst.adresse(pfad + "?app=1")));
    }
    /// What the desktop does with an address of the scheme, while the program runs.
    void zweiterStart(std::string const& adresse) const {
        auto const zweites = starte({adresse});
        EXPECT_EQ(zweites->warteAufEnde(), 0);
    }
    [[nodiscard]] std::vector<Posten> abfragenAn(std::string const& pfad) const {
        std::vector<Posten> alle;
        for (auto const& anfrage : dienst.anfragenAn(pfad))
            alle.push_back(anfrage.abfrage);
        return alle;
    }

    static constexpr char const* einloesung = "/auth/app/anmelden";
    static constexpr char const* bankseite = "/bank";
    static constexpr char const* verworfen = "Rückweg verworfen: es läuft keine Anmeldung";
};

TEST_F(Anmeldungen, TheSignInGoesThroughTheDefaultBrowserAndBackIntoTheMainWindowOnce) {
    oeffne();
    beginne("/auth/google/login");
    bildschirm.bild("anmeldung_blatt");
    EXPECT_EQ(dienst.rufe("return location.pathname"), "/uebersicht") << "the page stays where it is";

    zweiterStart("quillmate://anmeldung?merkmal=abc");
    EXPECT_TRUE(dienst.warteAufDokument(2)) << "the way on from the redemption";
    EXPECT_EQ(abfragenAn(einloesung), (std::vector<Posten>{{{"merkmal", "abc"}}}));
    EXPECT_TRUE(warteBisDialogWeg()) << "the sheet stays";
    EXPECT_TRUE(programm->hatZeile("löse Anmeldung ein"));
    auto const seiten = dienst.anfragenAn("/uebersicht");
    ASSERT_EQ(seiten.size(), 2U);
    EXPECT_TRUE(seiten[1].koepfe.contains("cookie")) << "the session of the view is not signed in";

    zweiterStart("quillmate://anmeldung?merkmal=spaet");
    EXPECT_TRUE(programm->warteAufZeile(verworfen));
    EXPECT_EQ(dienst.rufe("return 1"), 1) << "the page was left";
    EXPECT_EQ(abfragenAn(einloesung).size(), 1U);
    EXPECT_EQ(dienst.dokumente(), 2);
    EXPECT_TRUE(dienst.anfragenAn("/auth/google/login").empty()) << "the view itself went there";
    EXPECT_EQ(imBrowser().size(), 1U);
}

TEST_F(Anmeldungen, TheDesktopFindsTheProgramForTheCallbackByItself) {
    oeffne();
    beginne("/auth/google/login");
    // As a browser does: by the scheme alone.
    Programm gio{QUILLMATE_GIO, {"open", "quillmate://anmeldung?merkmal=a%26b"}, umgebung()};
    EXPECT_EQ(gio.warteAufEnde(), 0) << gio.fehlerausgabe();
    EXPECT_TRUE(dienst.warteAufDokument(2));
    EXPECT_EQ(abfragenAn(einloesung), (std::vector<Posten>{{{"merkmal", "a&b"}}}));
    EXPECT_TRUE(warteBisDialogWeg());
    EXPECT_EQ(imBrowser().size(), 1U) << "the browser is not the default program any more";
}

TEST_F(Anmeldungen, ACallbackThatNobodyWaitsForChangesNothing) {
    oeffne();
    zweiterStart("quillmate://anmeldung?merkmal=fremd");
    EXPECT_TRUE(programm->warteAufZeile(verworfen));
    EXPECT_EQ(dienst.rufe("return location.pathname"), "/uebersicht");
    EXPECT_TRUE(abfragenAn(einloesung).empty());
}

TEST_F(Anmeldungen, EscapeEndsTheSignInAndALaterCallbackIsIgnored) {
    oeffne();
    beginne("/auth/google/login");
    bildschirm.taste("Escape");
    EXPECT_TRUE(programm->warteAufZeile("Anmeldung vom Nutzer abgebrochen"));
    EXPECT_TRUE(warteBisDialogWeg());
    zweiterStart("quillmate://anmeldung?merkmal=abc");
    EXPECT_TRUE(programm->warteAufZeile(verworfen));
    EXPECT_EQ(dienst.rufe("return location.pathname"), "/uebersicht");
    EXPECT_TRUE(abfragenAn(einloesung).empty());
}

TEST_F(Anmeldungen, TheSheetsAddressCanBeCopiedIntoAnotherBrowserAndTheSignInGoesOn) {
    oeffne();
    bildschirm.zwischenablageLeeren();
    beginne("/auth/google/login");
    // "Abbrechen" has the keyboard, "Adresse kopieren" is the button before it.
    bildschirm.taste("shift+Tab");
    bildschirm.taste("space");
    EXPECT_TRUE(wartenBis([&] {
        return bildschirm.zwischenablage() == dienst.adresse("/auth/google/login?app=1");
    })) << bildschirm.zwischenablage().value_or("nothing");
    bildschirm.bild("anmeldung_blatt_kopiert");

    zweiterStart("quillmate://anmeldung?merkmal=abc");
    EXPECT_TRUE(dienst.warteAufDokument(2));
    EXPECT_EQ(abfragenAn(einloesung), (std::vector<Posten>{{{"merkmal", "abc"}}}));
    EXPECT_TRUE(warteBisDialogWeg());
}

TEST_F(Anmeldungen, AHugeCallbackIsDroppedAndTheSignInGoesOn) {
    oeffne();
    beginne("/auth/google/login");
    zweiterStart("quillmate://anmeldung?merkmal=" + std::string(100'000, 'x'));
    EXPECT_TRUE(programm->warteAufZeile("Rückweg verworfen: "));
    EXPECT_TRUE(abfragenAn(einloesung).empty());
    zweiterStart("quillmate://anmeldung?merkmal=abc");
    EXPECT_TRUE(dienst.warteAufDokument(2));
    EXPECT_EQ(abfragenAn(einloesung), (std::vector<Posten>{{{"merkmal", "abc"}}}));
    EXPECT_TRUE(warteBisDialogWeg());
}

TEST_F(Anmeldungen, TheBanksCallbackLeadsToTheBankPageWithItsTwoItems) {
    oeffne();
    beginne("/auth/enable-banking/start");
    zweiterStart("quillmate://bank?client=7&bank=ok&x=1");
    EXPECT_TRUE(dienst.warteAufDokument(2));
    EXPECT_EQ(abfragenAn(bankseite), (std::vector<Posten>{{{"client", "7"}, {"bank", "ok"}}}));
    EXPECT_TRUE(warteBisDialogWeg());
    EXPECT_TRUE(programm->hatZeile("Bankfreigabe startet")) << "its address does not belong into the log";
    EXPECT_TRUE(programm->hatZeile("Bankfreigabe kehrt in die App zurück"));
}

} // namespace
} // namespace quillmate::fenster_echt
