// The terminal scan as a process, against a service under the test's control.
#include "demo/textpdf.h"
#include "grundlage/pruefsumme.h"
#include "leser/prozess/hilfen.h"
#include "texterkennung/zwischenspeicher.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "werkzeug/warten.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace quillmate::werkzeug;
using quillmate::Texterkennung::kinder;
using quillmate::Texterkennung::laeuft;

namespace {

class SuchlaufProzess : public testing::Test {
protected:
    void starte(std::string const& server, std::string const& token = "streng-geheim") {
        kind = ::fork();
        if (kind != 0)
            return;
        ::setenv("HOME", heim.pfad().c_str(), 1);
        for (auto const* const name : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME"})
            ::unsetenv(name);
        int const datei = schirm.empty() ? ::open(heim.pfad("ausgabe").c_str(), O_WRONLY | O_CREAT, 0600)
                                         : ::open(schirm.c_str(), O_RDWR | O_NOCTTY);
        ::dup2(datei, STDOUT_FILENO);
        ::dup2(datei, STDERR_FILENO);
        ::execl(
            QUILLMATE_SUCHLAUF, "quillmate-suchlauf", "--server", server.c_str(), "--client", "1", "--token",
            token.c_str(), nullptr);
        ::_exit(127);
    }
    /// Exit status, or nothing when the process does not end in time.
    std::optional<int> ausgang() {
        int status = 0;
        if (!wartenBis([&] { return ::waitpid(kind, &status, WNOHANG) == kind; })) {
            toeten();
            return std::nullopt;
        }
        kind = -1;
        return WIFEXITED(status) ? std::optional{WEXITSTATUS(status)} : std::nullopt;
    }

    void toeten() {
        ::kill(kind, SIGKILL);
        ::waitpid(kind, nullptr, 0);
        kind = -1;
    }
    void TearDown() override {
        if (kind > 0)
            toeten(); // Of a test that failed.
    }

    OrdnerAufZeit heim;
    std::string schirm; ///< Path of a terminal to write to instead of the file.
    pid_t kind{-1};     ///< -1: none that is not waited for.
};

} // namespace

TEST_F(SuchlaufProzess, TellsTheSummaryAndNeverTheToken) {
    heim.datei("Desktop/a.txt");
    HttpAttrappe server{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = "{}"};
    }};
    starte(server.adresse());
    EXPECT_EQ(ausgang(), 0);
    auto const text = inhaltVon(heim.pfad("ausgabe"));
    EXPECT_NE(text.find("Geprüfte Dateien: 0"), std::string::npos) << text;
    EXPECT_EQ(text.find("streng-geheim"), std::string::npos) << text;
}

TEST_F(SuchlaufProzess, ARefusedAccessIsSaidAtOnceAndEndsWithAnError) {
    heim.datei("Desktop/a.pdf");
    for (int const status : {401, 403, 404}) {
        HttpAttrappe server{[&](HttpAnfrage const&) {
            return HttpAntwort{.status = status, .koerper = R"({"detail":"nein"})"};
        }};
        std::filesystem::remove(heim.pfad("ausgabe"));
        starte(server.adresse());
        EXPECT_EQ(ausgang(), 1) << status;
        EXPECT_TRUE(server.anfragenAn("/upload").empty());
        auto const text = inhaltVon(heim.pfad("ausgabe"));
        EXPECT_NE(text.find("(HTTP " + std::to_string(status) + ")"), std::string::npos) << text;
        EXPECT_EQ(text.find("Geprüfte"), std::string::npos) << text;
    }
}

TEST_F(SuchlaufProzess, AServiceThatIsNotThereIsSaidWithinTenSeconds) {
    heim.datei("Desktop/a.pdf");
    auto const gesagt = [&](std::string const& adresse) {
        std::filesystem::remove(heim.pfad("ausgabe"));
        auto const beginn = std::chrono::steady_clock::now();
        starte(adresse);
        EXPECT_EQ(ausgang(), 1);
        auto const dauer = std::chrono::steady_clock::now() - beginn;
        EXPECT_LT(dauer, std::chrono::seconds{13}) << adresse; // with start and end on a busy machine
        EXPECT_NE(
            inhaltVon(heim.pfad("ausgabe")).find("Der Dienst antwortet nicht: " + adresse), std::string::npos)
            << inhaltVon(heim.pfad("ausgabe"));
    };
    gesagt(toteAdresse());
    HttpAttrappe const stumm{[](HttpAnfrage const&) {
        return HttpAntwort{.haengen = true};
    }};
    gesagt(stumm.adresse());
}

TEST_F(SuchlaufProzess, WhatDidNotArriveMakesItEndWithAnError) {
    heim.datei("Desktop/a.pdf"); // an empty document has no text and is sent
    HttpAttrappe server{[](HttpAnfrage const& anfrage) {
        return anfrage.pfad.ends_with("/upload") ? HttpAntwort{.status = 400} : HttpAntwort{.koerper = "{}"};
    }};
    starte(server.adresse());
    EXPECT_EQ(ausgang(), 1);
    auto const text = inhaltVon(heim.pfad("ausgabe"));
    EXPECT_NE(text.find("Nicht alles ist beim Dienst angekommen"), std::string::npos) << text;
    EXPECT_NE(text.find("Der Dienst lehnt ab (HTTP 400)"), std::string::npos) << text;
}

TEST_F(SuchlaufProzess, LogLinesStandOnLinesOfTheirOwnOnAScreen) {
    heim.datei("Desktop/a.pdf");
    HttpAttrappe server{[](HttpAnfrage const& anfrage) {
        return anfrage.pfad.ends_with("/upload") ? HttpAntwort{.status = 400} : HttpAntwort{.koerper = "{}"};
    }};
    int const herr = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(herr, 0);
    ASSERT_EQ(::grantpt(herr), 0);
    ASSERT_EQ(::unlockpt(herr), 0);
    schirm = ::ptsname(herr);
    starte(server.adresse());
    std::string text;
    std::array<char, 4096> stueck{};
    for (ssize_t n = 0; (n = ::read(herr, stueck.data(), stueck.size())) > 0;) // ends with the last writer
        text.append(stueck.data(), static_cast<std::size_t>(n));
    ::close(herr);
    EXPECT_EQ(ausgang(), 1);
    std::size_t zeilen = 0;
    for (auto stelle = text.find("[Quillmate]"); stelle != std::string::npos;
         stelle = text.find("[Quillmate]", stelle + 1)) {
        auto const davor = text.substr(0, stelle);
        EXPECT_TRUE(davor.ends_with('\n') || davor.ends_with("\033[K")) << text;
        ++zeilen;
    }
    EXPECT_GT(zeilen, 0U) << text;
}

TEST_F(SuchlaufProzess, OneInterruptStopsCleanlyAndASecondEndsACallThatHangs) {
    heim.datei("Desktop/a.pdf"); // an empty document has no text and is sent
    HttpAttrappe server{[](HttpAnfrage const& anfrage) {
        return anfrage.pfad.ends_with("/upload") ? HttpAntwort{.haengen = true}
                                                 : HttpAntwort{.koerper = "{}"};
    }};
    starte(server.adresse());
    ASSERT_TRUE(wartenBis([&] { return !server.anfragenAn("/upload").empty(); }));
    ::kill(kind, SIGINT);
    ASSERT_TRUE(
        wartenBis([&] { return inhaltVon(heim.pfad("ausgabe")).find("angehalten …") != std::string::npos; }));
    ::kill(kind, SIGINT);
    EXPECT_EQ(ausgang(), 130);
}

namespace {

/// A service that keeps what it gets, and tells the next scan so.
class Belegdienst {
public:
    HttpAntwort behandle(HttpAnfrage const& anfrage) {
        std::lock_guard const schutz{sperre_};
        if (anfrage.pfad.ends_with("/seen-paths")) {
            nlohmann::json pfade = nlohmann::json::array();
            nlohmann::json hashes = nlohmann::json::object();
            for (auto const& [pfad, inhalt] : belege_) {
                pfade.push_back(pfad);
                hashes[pfad] = quillmate::hexadezimal(quillmate::sha256(inhalt));
                gemeldet_.emplace(laufVon(anfrage), pfad);
            }
            return {.koerper = nlohmann::json{{"paths", pfade}, {"path_hashes", hashes}}.dump()};
        }
        if (anfrage.pfad.ends_with("/upload")) {
            auto const pfad = teil(anfrage.koerper, "name=\"quellpfad\"");
            if (gemeldet_.contains({laufVon(anfrage), pfad}))
                ueberfluessig_.insert(pfad);
            belege_[pfad] = teil(anfrage.koerper, "name=\"file\"");
        }
        return {.koerper = "{}"};
    }
    /// Contents by path.
    [[nodiscard]] std::map<std::string, std::string> belege() const {
        std::lock_guard const schutz{sperre_};
        return belege_;
    }
    /// Paths that came although this very scan had been told that they are known.
    [[nodiscard]] std::set<std::string> ueberfluessig() const {
        std::lock_guard const schutz{sperre_};
        return ueberfluessig_;
    }

private:
    static std::string laufVon(HttpAnfrage const& anfrage) {
        for (auto const& [name, wert] : anfrage.abfrage)
            if (name == "token")
                return wert;
        return {};
    }
    /// The content of one part of a multipart body.
    static std::string teil(std::string const& koerper, std::string_view kennzeichen) {
        auto const grenze = "\r\n" + koerper.substr(0, koerper.find("\r\n"));
        auto anfang = koerper.find("\r\n\r\n", koerper.find(kennzeichen));
        if (anfang == std::string::npos)
            return {};
        anfang += std::string_view{"\r\n\r\n"}.size();
        return koerper.substr(anfang, koerper.find(grenze, anfang) - anfang);
    }

    mutable std::mutex sperre_; ///< Guards what follows.
    std::map<std::string, std::string> belege_;
    std::set<std::pair<std::string, std::string>> gemeldet_; ///< Scan's token and path.
    std::set<std::string> ueberfluessig_;
};

/// Receipts whose right text is known, and ways to kill somebody over them.
class GetoeteterSuchlauf : public SuchlaufProzess {
protected:
    static constexpr int anzahl = 60;

    void SetUp() override {
        for (int i = 0; i < anzahl; ++i) {
            // No two texts are the same, so that one in the wrong place is noticed. Every tenth is no PDF and has none.
            std::vector<std::string> const zeilen{
                fmt::format("Rechnung Nummer {}", 1000 + i), "Musterladen GmbH, Hauptstraße 12",
                fmt::format("Gesamt {},50 EUR", 10 + i)};
            bool const ohneText = i % 10 == 9;
            auto const inhalt =
                ohneText ? fmt::format("kein PDF, Nummer {}", i) : quillmate::demo::textPdf(zeilen);
            auto const pfad = heim.datei(fmt::format("Desktop/{:02}.pdf", i), inhalt);
            texte[pfad] = ohneText ? "" : fmt::format("{}\n", fmt::join(zeilen, "\n"));
            inhalte[pfad] = inhalt;
        }
    }
    void starte() { SuchlaufProzess::starte(server.adresse(), fmt::format("lauf-{}", ++laeufe)); }
    [[nodiscard]] std::string eintragsdatei(std::string const& pfad) const {
        return fmt::format(
            "{}/{}.txt", heim.pfad(".cache/de.tandemwerk.quillmate/texte"),
            quillmate::Texterkennung::zwischenspeicherSchluessel(pfad));
    }
    /// What the cache says of a file; nothing without an entry.
    [[nodiscard]] std::optional<std::string> eintrag(std::string const& pfad) const {
        auto const datei = eintragsdatei(pfad);
        return std::filesystem::exists(datei) ? std::optional{inhaltVon(datei)} : std::nullopt;
    }
    [[nodiscard]] std::size_t eintraege() const {
        return static_cast<std::size_t>(
            std::ranges::count_if(texte, [&](auto const& t) { return eintrag(t.first).has_value(); }));
    }
    /// Entries that are being written, and what a kill has left of such.
    [[nodiscard]] std::ptrdiff_t halbeEintraege() const {
        std::error_code fehler;
        std::filesystem::directory_iterator const ordner{
            heim.pfad(".cache/de.tandemwerk.quillmate/texte"), fehler};
        return std::count_if(
            begin(ordner), end(ordner), [](auto const& datei) { return datei.path().extension() != ".txt"; });
    }
    /// The files that somebody in the process holds open to read them.
    [[nodiscard]] std::set<std::string> geoeffnete() const {
        std::set<std::string> alle;
        std::error_code fehler;
        auto const prozess = "/proc/" + std::to_string(kind);
        for (auto const& deskriptor : std::filesystem::directory_iterator{prozess + "/fd", fehler}) {
            auto const ziel = std::filesystem::read_symlink(deskriptor.path(), fehler).string();
            if (texte.contains(ziel))
                alle.insert(ziel);
        }
        return alle;
    }
    /// Whether no thread of the process will do anything before it is continued; one that waits for the disk stops
    /// on its way back.
    static bool stehtStill(pid_t pid) {
        std::error_code fehler;
        std::filesystem::directory_iterator const faeden{"/proc/" + std::to_string(pid) + "/task", fehler};
        return std::all_of(begin(faeden), end(faeden), [](auto const& faden) {
            auto const zeile = inhaltVon((faden.path() / "stat").string());
            auto const nachName = zeile.rfind(") ");
            return nachName != std::string::npos &&
                   (zeile[nachName + 2] == 'T' || zeile[nachName + 2] == 'D');
        });
    }
    void pruefeEintraege() const {
        for (auto const& [pfad, text] : texte)
            EXPECT_EQ(eintrag(pfad).value_or(text), text) << pfad;
    }

    std::map<std::string, std::string> texte;   ///< Right text by path.
    std::map<std::string, std::string> inhalte; ///< Bytes by path.
    Belegdienst dienst;
    HttpAttrappe server{[this](HttpAnfrage const& anfrage) {
        return dienst.behandle(anfrage);
    }};
    int laeufe{0};
};

} // namespace

TEST_F(GetoeteterSuchlauf, AKillAtAnyMomentLeavesNoWrongEntryAndLosesNoReceipt) {
    auto const belege = [&] {
        return dienst.belege().size();
    };
    std::ptrdiff_t halbe = 0;
    auto const eintragEntsteht = [&] {
        return halbeEintraege() > halbe;
    };
    std::vector<std::function<bool()>> const momente{
        [&] { return !server.anfragen().empty(); },
        [&] { return !kinder(kind).empty(); }, // The first reader comes to life.
        [&] { return eintragEntsteht() || eintraege() >= 5; },
        [&] { return belege() >= 10; },
        [&] { return eintragEntsteht() || eintraege() >= 25; },
        [&] { return eintraege() >= 30; },
        [&] { return eintragEntsteht() || eintraege() >= 40; },
        [&] {
            return belege() >= 45;
        }};
    for (auto const& moment : momente) {
        halbe = halbeEintraege();
        starte();
        ASSERT_TRUE(wartenBis(moment));
        toeten();
        pruefeEintraege();
    }
    starte();
    EXPECT_EQ(ausgang(), 0);
    pruefeEintraege();
    EXPECT_EQ(eintraege(), texte.size());
    EXPECT_EQ(dienst.belege(), inhalte);
    EXPECT_TRUE(dienst.ueberfluessig().empty());
}

TEST_F(GetoeteterSuchlauf, KillingAllReadersCostsNoFileItsText) {
    std::set<std::string> gefaehrdet;
    starte();
    for (std::size_t runde = 0; runde < 5; ++runde) {
        ASSERT_TRUE(wartenBis([&] { return eintraege() >= 10 * runde && !kinder(kind).empty(); }));
        // Readers that stand still hold their files until they are killed; the program stands still for as long as
        // it takes to see which files those are.
        for (auto const einer : kinder(kind))
            ::kill(einer, SIGSTOP);
        ASSERT_TRUE(wartenBis([&] {
            return std::ranges::any_of(geoeffnete(), [&](auto const& pfad) { return !eintrag(pfad); });
        }));
        ::kill(kind, SIGSTOP);
        ASSERT_TRUE(wartenBis([&] { return stehtStill(kind); }));
        gefaehrdet.merge(geoeffnete());
        for (auto const einer : kinder(kind)) {
            ::kill(einer, SIGKILL);
            ASSERT_TRUE(wartenBis([&] { return !laeuft(einer); }));
        }
        ::kill(kind, SIGCONT);
    }
    EXPECT_EQ(ausgang(), 0);

    EXPECT_FALSE(gefaehrdet.empty()); // Somebody was at work.
    for (auto const& [pfad, text] : texte) {
        auto const gelesen = eintrag(pfad);
        EXPECT_EQ(gelesen.value_or(text), text) << pfad;
        // A file over which two readers were killed is left to the next search, and nothing is kept of it.
        EXPECT_TRUE(gelesen || gefaehrdet.contains(pfad)) << pfad;
    }
    // A PDF without text may be a scan of a receipt and is sent, too.
    EXPECT_EQ(dienst.belege(), inhalte);
}
