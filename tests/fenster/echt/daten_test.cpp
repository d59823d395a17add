// What stays from one run to the next, and who can read it.
#include "echtes_fenster.h"
#include "werkzeug/warten.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>

namespace quillmate::fenster_echt {
namespace {

using werkzeug::wartenBis;

using Daten = EchtesFenster;

TEST_F(Daten, TheWindowComesBackInTheSizeInWhichItWasLeft) {
    oeffne();
    auto const anfangs = hauptfenster();
    bildschirm.groesse(anfangs.nummer, anfangs.breite - 300, anfangs.hoehe - 100);
    auto const hat = [&](int breite, int hoehe) {
        return wartenBis([&] {
            auto const jetzt = hauptfenster();
            return jetzt.breite == breite && jetzt.hoehe == hoehe;
        });
    };
    ASSERT_TRUE(hat(anfangs.breite - 300, anfangs.hoehe - 100));
    // The page learns of it last.
    int const breite = anfangs.breite - 300;
    ASSERT_TRUE(wartenBis([&] { return dienst.rufe("return innerWidth").get<int>() <= breite; }));
    beende();
    oeffne();
    EXPECT_TRUE(hat(anfangs.breite - 300, anfangs.hoehe - 100))
        << hauptfenster().breite << 'x' << hauptfenster().hoehe;
}

TEST_F(Daten, TheContentIsAsLargeAsToldAndTheWindowCannotBeMadeTooSmall) {
    oeffne();
    // Where nothing draws shadows, as here, GTK takes a frame of a few pixels from the content.
    constexpr int rahmen = 12;
    auto const hat = [&](int breite, int hoehe) {
        return wartenBis([&] {
            return std::abs(dienst.rufe("return innerWidth").get<int>() - breite) <= rahmen &&
                   std::abs(dienst.rufe("return innerHeight").get<int>() - hoehe) <= rahmen;
        });
    };
    auto const innen = [&] {
        return dienst.rufe("return innerWidth + ' x ' + innerHeight").get<std::string>();
    };
    EXPECT_TRUE(hat(1280, 860)) << innen();
    bildschirm.groesse(hauptfenster().nummer, 100, 100);
    EXPECT_TRUE(hat(380, 480)) << innen();
    bildschirm.bild("klein");
}

TEST_F(Daten, CookiesAndLocalStorageSurviveARestart) {
    oeffne();
    dienst.rufe("document.cookie = 'anmeldung=ja; max-age=86400'; localStorage.setItem('a', 'b')");
    beende();
    oeffne();
    EXPECT_EQ(dienst.rufe("return document.cookie"), "anmeldung=ja");
    EXPECT_EQ(dienst.rufe("return localStorage.getItem('a')"), "b");
    EXPECT_EQ(dienst.anfragenAn("/uebersicht").at(1).koepfe.at("cookie"), "anmeldung=ja");
}

TEST_F(Daten, WebDataLieInFoldersOfTheUserAlone) {
    oeffne();
    dienst.rufe("document.cookie = 'a=b; max-age=86400'");
    for (auto const* const name :
         {"home/.local/share/de.tandemwerk.quillmate/web", "home/.cache/de.tandemwerk.quillmate/web"}) {
        struct stat angaben {};
        ASSERT_EQ(::stat(ordner.pfad(name).c_str(), &angaben), 0) << name;
        EXPECT_EQ(angaben.st_mode & 0777U, 0700U) << name;
    }
    beende();
    // Nothing lies elsewhere in the home folder.
    for (auto const& eintrag :
         std::filesystem::recursive_directory_iterator{ordner.pfad("home/.local/share")}) {
        auto const teil =
            std::filesystem::relative(eintrag.path(), ordner.pfad("home/.local/share")).string();
        EXPECT_TRUE(teil.starts_with("de.tandemwerk.quillmate") || teil.starts_with("applications")) << teil;
    }
}

TEST_F(Daten, PagesAreToldThatThePersonReadsGerman) {
    oeffne();
    EXPECT_EQ(dienst.rufe("return navigator.language"), "de-DE");
    EXPECT_TRUE(dienst.anfragenAn("/uebersicht").at(0).koepfe.at("accept-language").starts_with("de-DE"));
}

} // namespace
} // namespace quillmate::fenster_echt
