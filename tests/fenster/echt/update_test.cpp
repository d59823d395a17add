// A whole update as a person has it: the built program twice, as build N in the user's Applications folder and as N+1 in
// a signed archive, a list of versions over https, the window, the helper, the restart.
#include "aktualisierung/werkbank.h"
#include "demo/portalzertifikat.h"
#include "echtes_fenster.h"
#include "grundlage/datei.h"
#include "werkzeug/https_faden.h"
#include "werkzeug/warten.h"

#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>

namespace quillmate::fenster_echt {
namespace {

using werkzeug::wartenBis;

namespace fs = std::filesystem;

/// Runs a tool to its end.
void fuehreAus(std::vector<std::string> argumente) {
    std::vector<char*> zeiger;
    for (auto& argument : argumente)
        zeiger.push_back(argument.data());
    zeiger.push_back(nullptr);
    auto const kind = ::fork();
    if (kind == 0) {
        ::execv(zeiger[0], zeiger.data());
        ::_exit(127);
    }
    int ausgang = 0;
    ::waitpid(kind, &ausgang, 0);
    if (ausgang != 0)
        throw std::runtime_error{argumente[0]};
}

std::string ersetzt(std::string const& text, std::string const& schluessel, std::string const& wert) {
    return std::regex_replace(
        text, std::regex{"(<key>" + schluessel + "</key>\\s*<string>)[^<]*"}, "$01" + wert);
}

class Updates : public EchtesFenster {
protected:
    static constexpr auto alt = "5001";
    static constexpr auto neu = "5002";

    Updates() {
        std::signal(SIGPIPE, SIG_IGN);
        ordner.datei("pruef.pem", zertifikat->pem());
        baue(app, alt);
        baue(naechstes, neu);
        server.seite("/archiv", {});
        veroeffentliche();
    }
    void TearDown() override {
        for (auto const nummer : laufende())
            ::kill(nummer, SIGKILL);
        EchtesFenster::TearDown();
    }

    /// The built bundle under this number. Its program shows by its last bytes which one it is.
    void baue(std::string const& ziel, std::string const& nummer) const {
        auto const original = fs::canonical(QUILLMATE_PROGRAMM).parent_path().parent_path();
        fs::create_directories(ziel + "/Contents/Linux");
        fs::copy(original / "Resources", ziel + "/Contents/Resources", fs::copy_options::recursive);
        for (auto const* const name : {"quillmate", "quillmate-leser"})
            fuehreAus(
                {QUILLMATE_STRIP, "-o", ziel + "/Contents/Linux/" + name,
                 (original / "Linux" / name).string()});
        std::ofstream{ziel + "/Contents/Linux/quillmate", std::ios::app | std::ios::binary} << "Bau "
                                                                                            << nummer;
        auto info = werkzeug::inhaltVon((original / "Info.plist").string());
        info = ersetzt(ersetzt(info, "CFBundleVersion", nummer), "CFBundleShortVersionString", "9." + nummer);
        info.insert(
            info.rfind("</dict>"), "<key>SUFeedURL</key><string>" + server.adresse("/appcast.xml") +
                                       "</string><key>SUPublicEDKey</key><string>" + h.eins.oeffentlich() +
                                       "</string>");
        std::ofstream{ziel + "/Contents/Info.plist"} << info;
    }
    /// What lies at `naechstes`, signed, in a list of this number that is good for `gueltig`.
    void veroeffentliche(std::uint64_t ausgabe = 17, std::chrono::hours gueltig = std::chrono::hours{24}) {
        std::vector<werkzeug::Eintrag> eintraege;
        for (auto const& e : fs::recursive_directory_iterator{fs::path{naechstes}.parent_path()}) {
            auto const name = fs::relative(e.path(), fs::path{naechstes}.parent_path()).string();
            if (e.is_directory())
                eintraege.push_back({.name = name + '/', .art = AE_IFDIR, .rechte = 0755});
            else
                eintraege.push_back(
                    {.name = name,
                     .inhalt = werkzeug::inhaltVon(e.path().string()),
                     .rechte = static_cast<unsigned>(e.status().permissions())});
        }
        h.setzeArchiv(werkzeug::archivAus(eintraege));
        liefere("/archiv", h.archiv);
        utsname rechner{};
        ::uname(&rechner);
        auto& eintrag = h.liste.eintraege.at(0);
        eintrag.fassung = neu;
        eintrag.kurzfassung = std::string{"9."} + neu;
        eintrag.architektur = static_cast<char const*>(rechner.machine);
        eintrag.adresse = server.adresse("/archiv");
        liste(ausgabe, gueltig);
    }
    void liefere(std::string const& pfad, std::string const& bytes) {
        server.seite(pfad, {.koerper = bytes, .typ = "application/octet-stream"});
    }
    void liste(std::uint64_t ausgabe, std::chrono::hours gueltig = std::chrono::hours{24}) {
        h.liste.ausgabe = ausgabe;
        h.liste.gueltigBis =
            std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()) + gueltig;
        liefere("/appcast.xml", h.appcast());
    }
    [[nodiscard]] Programm::Umgebung vertrauen() const {
        return {
            {"LD_PRELOAD", QUILLMATE_PRUEFBIBLIOTHEK},
            {"QUILLMATE_PRUEFZERTIFIKAT", ordner.pfad("pruef.pem")}};
    }
    void oeffneAlten() {
        oeffne(vertrauen(), programmIn(app));
        ASSERT_EQ(bauDerSeite(), alt);
    }
    void suche() { dienst.rufe("return await window.quillmateApp.nachUpdatesSuchen()"); }
    /// The program has told its user this, and its window about it has the keyboard.
    [[nodiscard]] bool sagt(std::string const& satz) {
        auto const hier = [&] {
            return bildschirm.fensterMit("Quillmate aktualisieren");
        };
        // Each thing that it tells has a window of its own; the line comes a moment before.
        if (!wartenBis([&] {
                auto const bisheriges = hier();
                auto const da = programm->anzahlZeilen("Aktualisierung: " + satz) > 0;
                if (!da && bisheriges)
                    voriges_ = bisheriges->nummer;
                return da;
            }))
            return false;
        return wartenBis([&] {
            auto const fenster = hier();
            if (!fenster || fenster->nummer == voriges_)
                return false;
            if (bildschirm.tastaturBei() != fenster->nummer)
                bildschirm.tastaturAn(fenster->nummer);
            dieses_ = fenster->nummer;
            return bildschirm.tastaturBei() == fenster->nummer;
        });
    }
    /// Presses the default button of the window that sagt() has found.
    void druecke() {
        auto const weg = [&] {
            return std::ranges::none_of(
                bildschirm.fenster(), [&](XFenster const& eines) { return eines.nummer == dieses_; });
        };
        EXPECT_TRUE(wartenBis([&] {
            // A window that has only just got the keyboard may lose the key.
            bildschirm.tastaturAn(dieses_);
            bildschirm.taste("Return");
            return wartenBis(weg, std::chrono::seconds{2});
        }));
        voriges_ = dieses_;
    }

    [[nodiscard]] static std::string programmIn(std::string const& buendel) {
        return buendel + "/Contents/Linux/quillmate";
    }
    /// What the page is told of the program around it.
    [[nodiscard]] std::string bauDerSeite() {
        return dienst.rufe("return String(window.quillmateApp.build)");
    }
    /// The processes that run the program from the bundle's place, be it the old one or the new one.
    [[nodiscard]] std::vector<pid_t> laufende() const {
        std::vector<pid_t> ergebnis;
        for (auto const& eintrag : fs::directory_iterator{"/proc"}) {
            std::error_code fehler;
            if (fs::read_symlink(eintrag.path() / "exe", fehler)
                    .string()
                    .starts_with(ordner.pfad("home/Applications/")))
                ergebnis.push_back(std::stoi(eintrag.path().filename().string()));
        }
        return ergebnis;
    }
    /// The last bytes of the program file that this process runs.
    [[nodiscard]] static std::string bauDesProzesses(pid_t nummer) {
        auto const bytes = werkzeug::inhaltVon("/proc/" + std::to_string(nummer) + "/exe");
        return bytes.substr(bytes.rfind("Bau "));
    }
    [[nodiscard]] bool nurDasBuendelLiegtDa() const {
        return wartenBis(
            [&] { return std::distance(fs::directory_iterator{ordner.pfad("home/Applications")}, {}) == 1; });
    }
    /// The program goes on as it was: still the old build, from a bundle that nobody touched.
    void nichtsGeschah(std::map<std::string, std::string> const& vorher) {
        druecke();
        EXPECT_TRUE(warteBisDialogWeg());
        EXPECT_TRUE(programm->laeuft());
        EXPECT_EQ(bauDerSeite(), alt);
        EXPECT_EQ(werkzeug::abbild(app), vorher);
        EXPECT_TRUE(nurDasBuendelLiegtDa());
    }

    unsigned long voriges_{0}; ///< Windows of the update, by number.
    unsigned long dieses_{0};
    std::optional<demo::Portalzertifikat> const zertifikat{demo::Portalzertifikat::erzeugen()};
    werkzeug::HttpsFaden server{werkzeug::ausweisAus(zertifikat->zertifikat(), zertifikat->schluessel())};
    werkzeug::Herausgeber h;
    std::string const app{ordner.ordner("home/Applications") + "/Quillmate.app"};
    std::string const naechstes{ordner.pfad("naechstes/Quillmate.app")};
};

TEST_F(Updates, FromBuildNToTheNextWithWindowHelperAndRestart) {
    ASSERT_NO_FATAL_FAILURE(oeffneAlten());
    EXPECT_EQ(bauDesProzesses(programm->nummer()), std::string{"Bau "} + alt);
    suche();
    ASSERT_TRUE(sagt("Angeboten wird die Fassung 9.5002"));
    bildschirm.bild("update_angebot");
    druecke();
    EXPECT_EQ(programm->warteAufEnde(), 0);
    ASSERT_TRUE(dienst.warteAufDokument(2)) << "nobody started the new version";
    ASSERT_TRUE(sagt("Quillmate wurde aktualisiert"));
    bildschirm.bild("update_eingebaut");
    EXPECT_EQ(bauDerSeite(), neu);
    auto const neue = laufende();
    ASSERT_FALSE(neue.empty());
    EXPECT_TRUE(wartenBis([&] {
        auto const alle = laufende();
        return alle.size() == 1 && bauDesProzesses(alle[0]) == std::string{"Bau "} + neu;
    })) << "the helper or the old program still runs";
    EXPECT_EQ(werkzeug::abbild(app), werkzeug::abbild(naechstes));
    EXPECT_TRUE(nurDasBuendelLiegtDa());
    druecke();
    EXPECT_TRUE(warteBisDialogWeg());
    suche();
    ASSERT_TRUE(sagt("Quillmate ist aktuell"));
}

TEST_F(Updates, ATamperedArchiveIsRefusedAndTheProgramGoesOn) {
    auto verdorben = h.archiv;
    verdorben[verdorben.size() / 2] = static_cast<char>(verdorben[verdorben.size() / 2] ^ 1);
    liefere("/archiv", verdorben);
    auto const vorher = werkzeug::abbild(app);
    ASSERT_NO_FATAL_FAILURE(oeffneAlten());
    suche();
    ASSERT_TRUE(sagt("Angeboten wird die Fassung"));
    druecke();
    ASSERT_TRUE(sagt("Das Update wurde abgelehnt"));
    EXPECT_TRUE(programm->hatZeile("Aktualisierung: Das Archiv ist nicht das signierte"));
    nichtsGeschah(vorher);
}

TEST_F(Updates, AnExpiredListOffersNothing) {
    liste(17, std::chrono::hours{-1});
    auto const vorher = werkzeug::abbild(app);
    ASSERT_NO_FATAL_FAILURE(oeffneAlten());
    suche();
    ASSERT_TRUE(sagt("Die Auskunft über Updates ist veraltet"));
    EXPECT_TRUE(programm->hatZeile("Aktualisierung: Die Liste der Fassungen ist abgelaufen"));
    EXPECT_EQ(server.anzahl("GET /archiv"), 0);
    nichtsGeschah(vorher);
}

TEST_F(Updates, AListOfYesterdayIsRefusedAlsoByTheNextStart) {
    auto const vorher = werkzeug::abbild(app);
    auto const eintraege = h.liste.eintraege;
    h.liste.eintraege.clear();
    liste(18);
    ASSERT_NO_FATAL_FAILURE(oeffneAlten());
    suche();
    ASSERT_TRUE(sagt("Quillmate ist aktuell"));
    druecke();
    ASSERT_TRUE(warteBisDialogWeg());
    beende();
    h.liste.eintraege = eintraege;
    liste(17);
    ASSERT_NO_FATAL_FAILURE(oeffneAlten());
    suche();
    ASSERT_TRUE(sagt("Die Auskunft über Updates ist veraltet"));
    EXPECT_TRUE(programm->hatZeile("Aktualisierung: Die Liste der Fassungen ist älter als eine frühere"));
    nichtsGeschah(vorher);
}

TEST_F(Updates, AVersionThatCrashesAtStartIsTakenBackAndItsUserTold) {
    // The entry of the program file leads into its header, where nothing may run.
    constexpr std::streamoff einsprung = 24;
    std::fstream datei{programmIn(naechstes), std::ios::in | std::ios::out | std::ios::binary};
    datei.seekp(einsprung).write("\x10\0\0\0\0\0\0\0", 8);
    datei.close();
    veroeffentliche();
    auto const vorher = werkzeug::abbild(app);
    ASSERT_NO_FATAL_FAILURE(oeffneAlten());
    suche();
    ASSERT_TRUE(sagt("Angeboten wird die Fassung"));
    druecke();
    EXPECT_EQ(programm->warteAufEnde(), 0);
    ASSERT_TRUE(dienst.warteAufDokument(2)) << "the old version was not started again";
    ASSERT_TRUE(sagt("Die neue Fassung ließ sich nicht starten"));
    bildschirm.bild("update_zurueckgenommen");
    EXPECT_TRUE(programm->hatZeile(
        "Aktualisierung: Die neue Fassung startet nicht, die vorige wird wieder eingesetzt"));
    EXPECT_EQ(bauDerSeite(), alt);
    EXPECT_EQ(werkzeug::abbild(app), vorher);
    EXPECT_TRUE(nurDasBuendelLiegtDa());
}

TEST_F(Updates, AServerWithoutATrustedCertificateIsNotHeard) {
    oeffne({}, programmIn(app));
    suche();
    ASSERT_TRUE(sagt("Das Update ist gerade nicht zu bekommen"));
    EXPECT_EQ(server.anzahl("GET /appcast.xml"), 0);
}

} // namespace
} // namespace quillmate::fenster_echt
