// The built bundle runs wherever it is put: program, reader and resources find each other.
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

class Buendellauf : public testing::Test {
protected:
    Buendellauf() {
        auto const quelle = fs::path{QUILLMATE_PROGRAMM}.parent_path().parent_path().parent_path();
        fs::create_directories(app + "/Contents/Linux");
        fs::copy(quelle / "Contents/Info.plist", app + "/Contents/Info.plist");
        for (auto const& datei : fs::directory_iterator{quelle / "Contents/Linux"}) {
            // The programs with their debugging data are large; another name is enough where the disk is the same.
            std::error_code fehler;
            auto const ziel = app + "/Contents/Linux/" + datei.path().filename().string();
            fs::create_hard_link(datei.path(), ziel, fehler);
            if (fehler)
                fs::copy_file(datei.path(), ziel);
        }
        ordner.datei(
            "beleg.pdf", "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n2 0 "
                         "obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj\n"
                         "3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 300 200]/Contents 4 0 "
                         "R/Resources<</Font<</F1<</Type/Font"
                         "/Subtype/Type1/BaseFont/Helvetica>>>>>>>>endobj\n4 0 obj<</Length 62>>stream\n"
                         "BT /F1 12 Tf 20 100 Td (Rechnung 4711, Betrag 12,50 EUR) Tj ET\nendstream "
                         "endobj\ntrailer<</Root 1 0 R>>\n");
    }

    /// What the program at that path reads in the document, started from "/" by the shell's word `vor`. Empty when it
    /// could not be started at all.
    std::string liest(std::string const& pfad, std::string const& vor = "exec") const {
        auto const befehl = "cd / && " + vor + " env -i XDG_CACHE_HOME='" + ordner.pfad("cache") + "' '" +
                            pfad + "' --text '" + ordner.pfad("beleg.pdf") + "' 2>/dev/null </dev/null";
        auto* const rohr = ::popen(befehl.c_str(), "r");
        std::string ausgabe;
        std::array<char, 4096> puffer{};
        for (std::size_t n = 0; (n = std::fread(puffer.data(), 1, puffer.size(), rohr)) > 0;)
            ausgabe.append(puffer.data(), n);
        ::pclose(rohr);
        auto const zeile = nlohmann::json::parse(ausgabe, nullptr, false);
        return zeile.is_object() ? zeile["text"].get<std::string>() : std::string{};
    }

    static constexpr auto text = "Rechnung 4711, Betrag 12,50 EUR\n";
    quillmate::werkzeug::OrdnerAufZeit ordner;
    std::string const app{ordner.pfad("Größe und Maß/Mein Quillmate.app")};
    std::string const programm{app + "/Contents/Linux/quillmate"};
};

} // namespace

TEST_F(Buendellauf, FromAFolderWithBlanksAndUmlauts) {
    EXPECT_TRUE(liest(programm).starts_with(text));
}

TEST_F(Buendellauf, ThroughALink) {
    fs::create_directory(ordner.pfad("bin"));
    fs::create_symlink(programm, ordner.pfad("bin/quillmate"));
    EXPECT_TRUE(liest(ordner.pfad("bin/quillmate")).starts_with(text));
}

TEST_F(Buendellauf, FromAReadOnlyMount) {
    auto const punkt = ordner.ordner("Abbild nur lesbar");
    auto const mitMount =
        "unshare -rm sh -c 'mount --bind \"$0\" \"$1\" && mount -o remount,bind,ro \"$1\" && "
        "! touch \"$1/x\" 2>/dev/null && shift && exec \"$@\"' '" +
        fs::path{app}.parent_path().string() + "' '" + punkt + "'";
    if (std::system((mitMount + " true 2>/dev/null").c_str()) != 0)
        GTEST_SKIP() << "this machine allows no mounts";
    EXPECT_TRUE(liest(punkt + "/Mein Quillmate.app/Contents/Linux/quillmate", mitMount).starts_with(text));
}
