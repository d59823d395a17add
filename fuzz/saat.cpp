// fuzz_saat FOLDER: writes first inputs for each target to FOLDER/TARGET/.
#include "adapter/linux/lesezeichen_inode.h"
#include "aktualisierung/werkbank.h"
#include "leser/protokoll/nachricht.h"
#include "werkzeug/bildformate.h"
#include "werkzeug/vorlagen.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace quillmate;
using namespace quillmate::vorlagen;
using namespace quillmate::Texterkennung;

std::filesystem::path wurzel;

void schreibe(std::string const& ziel, std::string const& name, std::string_view inhalt) {
    std::filesystem::create_directories(wurzel / ziel);
    std::ofstream{wurzel / ziel / name, std::ios::binary} << inhalt;
}

std::string_view alsText(leser::protokoll::Kopfbytes const& bytes) {
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

void nachrichten() {
    auto antwort = [](std::string const& name, Texterkennung::Lesung const& lesung, char stueck) {
        schreibe("antwort", name, std::string{stueck} + leser::protokoll::antwortBytes(1, lesung));
    };
    antwort("mit_text", {Texterkennung::Lesung::Art::gelesen, "Gebühr 12,50 €\n"}, 5);
    antwort("ohne_text", {}, 16);
    antwort("ohne_motor", {Texterkennung::Lesung::Art::ohneMotor, "Seite 1"}, 1);
    schreibe(
        "auftrag", "pdf",
        alsText(leser::protokoll::alsBytes(leser::protokoll::Auftrag{7, Texterkennung::Dateiart::pdf})));
    schreibe(
        "auftrag", "bild",
        alsText(
            leser::protokoll::alsBytes(leser::protokoll::Auftrag{1U << 31U, Texterkennung::Dateiart::bild})));
    schreibe(
        "auftrag", "bereit",
        alsText(leser::protokoll::alsBytes(
            leser::protokoll::Bereitschaft{Texterkennung::Sprachstand::beide, {true, true, true}})));
}

void dienst() {
    schreibe(
        "dienstantworten", "vorgaben",
        R"({"min_file_date":"2024-01-31","context_keywords":["hotel","taxi"]})");
    schreibe(
        "dienstantworten", "gesehen", R"({"paths":["/a/ü.pdf","/b"],"path_hashes":{"/a/ü.pdf":"00ff"}})");
    schreibe("dienstantworten", "hashes", R"({"hashes":["00ff","abcd"]})");
    schreibe(
        "dienstantworten", "falsche_arten",
        R"({"paths":{"a":[1,2.5e300,null]},"path_hashes":[true],"hashes":"x"})");
    schreibe("dienstantworten", "gestoppt", R"({"gestoppt":true,"min_file_date":"31.01.2024"})");
    schreibe(
        "dienstantworten", "beleg",
        R"({"status":"Matched","duplicate":false,"is_receipt":false,"cost_capped":)"
        R"(true,"reasoning":"Kein Beleg \u00fc","detail":"Kontingent erreicht"})");
    schreibe("dienstantworten", "kaputt", "{\"paths\":[\"\\ud800\xFF");
    schreibe("dienstantworten", "tief", std::string(5000, '['));
}

void seite() {
    schreibe(
        "nachricht", "suche",
        R"({"aktion":"gezieltSuchen","id":7,"token":"t","transaction_id":"4711","stichworte":["Hotel","Ü"],)"
        R"("betrag_texte":["12,50"],"datum":"2026-01-31","fotos":true,"hoechstensBilder":20})");
    schreibe("nachricht", "grosse_zahl", R"({"aktion":"x","id":9223372036854775808})");
    schreibe("nachricht", "doppelt", R"({"aktion":1,"aktion":"x","id":1e3,"name":"a","name":[null]})");
    schreibe("nachricht", "tief", R"({"aktion":"x","id":1,"kennung":)" + std::string(2000, '['));
    schreibe("portal", "pdf", R"({"ok":true,"name":"Rechnung 1.PDF","mime":"","daten":"JVBERi0xLjQ="})");
    schreibe("portal", "fehler", R"({"ok":false,"fehler":"Nicht angemeldet\u0000\n"})");
    schreibe("portal", "adresse", "rechnungen.bücher.example:8443/konto?a=ü");
    schreibe("portal", "name", "../../a\\b/Beleg\x01.tar.pdf");
    schreibe("adressen", "ganz", "HTTPS://nutzer@Wirt.example:8443/a%20b/?x=1&y&=z#stelle");
    schreibe("adressen", "sechs", "http://[::1]:80/%zz?%C3%BC");
    schreibe("adressen", "daten", "data:application/pdf;base64,JVBERi0=");
    schreibe("adressen", "name", ".. \u202Efdp.exe");
}

void listen() {
    constexpr auto* kopf = R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)";
    schreibe(
        "eigenschaftsliste", "buendel",
        std::string{kopf} +
            "<dict><key>CFBundleIdentifier</key><string>de.ü</string><key>CFBundleVersion</key>"
            "<string>50</string><key>a</key><data>AAEC</data></dict></plist>");
    schreibe(
        "eigenschaftsliste", "arten",
        std::string{kopf} +
            "<dict><key>a</key><array><true/><integer>-1</integer><real>1e9</real><date>2024-01-31T00:00:"
            "00Z</date><dict/></array></dict></plist>");
    schreibe(
        "eigenschaftsliste", "binaer",
        std::string_view{
            "bplist00\xD1\x01\x02QaQb\x08\x0B\x0D\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x03\0\0\0\0\0\0\0\0\0\0\0"
            "\0\0\0\0\x0F",
            47});
    schreibe(
        "eigenschaftsliste", "tief", kopf + [] {
            std::string tief;
            for (int i = 0; i < 3000; ++i)
                tief += "<array>";
            return tief;
        }());
    schreibe(
        "lesezeichen", "satz", adapter::linux::verschluesseln({66, 1234567, "/home/a/Belege\nmit Umbruch"}));
    schreibe("lesezeichen", "zahl_zu_gross", "quillmate-lesezeichen 1\n99999999999999999999 1\n/a");
}

void updates() {
    werkzeug::Herausgeber herausgeber;
    schreibe("appcast", "liste", veroeffentlichen::alsXml(herausgeber.liste));
    schreibe("appcast", "signiert", herausgeber.appcast());
    schreibe(
        "appcast", "dokumenttyp", "<!DOCTYPE rss [<!ENTITY a \"aaaa\">]><rss><channel>&a;</channel></rss>");
    schreibe("archiv", "gnu", herausgeber.archiv);
    auto eintraege = werkzeug::buendeleintraege("60");
    schreibe("archiv", "pax", werkzeug::archivAus(eintraege, werkzeug::Packart::pax));
    eintraege.push_back({.name = "Quillmate.app/../../draussen", .inhalt = "x"});
    schreibe("archiv", "hinaus", werkzeug::archivAus(eintraege));
    eintraege.back() = {.name = "Quillmate.app/v", .art = AE_IFLNK, .verweis = "../../.."};
    schreibe("archiv", "verweis_hinaus", werkzeug::archivAus(eintraege));
    eintraege.back() = {.name = "Quillmate.app/gross", .inhalt = std::string(3'000'000, '\0')};
    schreibe("archiv", "bombe", werkzeug::archivAus(eintraege));
}

/// A page as the target takes it from its bytes: size, bars of ink, lines of words with their boxes.
void lesungen() {
    std::string seite{"\xFF\x7F", 2};
    auto const balken = [&seite](int links, int hoehe) {
        for (int const wert : {links, 80 - hoehe, 6, hoehe, 0})
            seite += static_cast<char>(wert);
    };
    auto const wort = [](std::string const& text, int links, int zuversicht) {
        auto bytes = static_cast<char>(text.size()) + text;
        for (int const wert : {1, links, 30, 60, 60, zuversicht})
            bytes += static_cast<char>(wert);
        return bytes;
    };
    constexpr int zeichenJeGroesse = 5;
    seite += static_cast<char>(2 * zeichenJeGroesse);
    for (int i = 0; i < zeichenJeGroesse; ++i)
        balken(20 + 10 * i, 20);
    for (int i = 0; i < zeichenJeGroesse; ++i)
        balken(90 + 10 * i, 40);
    constexpr int zeilenzahl = 14;
    seite += static_cast<char>(zeilenzahl);
    for (int i = 0; i < zeilenzahl; ++i) // Confidence, number of words, words.
        seite += "\xE0\x02" + wort("Summe", 20, 230) + wort("39,0D", 80, 90);
    seite += std::string("\x01\x14\x1E\x78\x3C", 5); // A box to look for print of two sizes in.
    for (int i = 0; i < zeilenzahl; ++i)             // What the second look reads.
        seite += "\x01" + wort("39,00", 80, 240);
    schreibe("zweitblick", "zwei_groessen", seite);
}

void dokumente() {
    schreibe(
        "leser_pdf", "text.pdf", pdf({{.inhalt = zeilen(beleg())}, {.inhalt = zeilen({"Seite 2"}, "F2")}}));
    schreibe("leser_pdf", "bild.pdf", pdf({{.inhalt = "400 0 0 300 0 0 cm /B Do", .bild = eckbild()}}));
    schreibe("leser_pdf", "verschluesselt.pdf", verschluesselt(pdf({{.inhalt = zeilen({"x"})}}), ""));
    schreibe("leser_pdf", "gedreht.pdf", pdf({{.inhalt = zeilen({"x"}, "F3"), .zusatz = "/Rotate 90"}}));
    // Just large enough for the reader's own decoding of scanned pages.
    leser::motoren::Graubild const blatt{1600, 1600, std::vector<std::uint8_t>(1600U * 1600U, 255)};
    for (auto const& [name, art] :
         {std::pair{"scan.pdf", Jpegart::einfach},
          std::pair{"scan_fortschreitend.pdf", Jpegart::fortschreitend}})
        schreibe(
            "leser_pdf", name,
            pdf(
                {{.inhalt = "400 0 0 300 0 0 cm /B Do",
                  .bild = leser::motoren::Graubild{blatt.breite, blatt.hoehe, {}},
                  .jpeg = jpeg(blatt, std::nullopt, art, 5)}}));
    auto const bild = eckbild();
    schreibe("leser_bild", "einfach.jpg", jpeg(bild, 6));
    schreibe("leser_bild", "fortschreitend.jpg", jpeg(bild, std::nullopt, Jpegart::fortschreitend));
    schreibe("leser_bild", "grau.png", png(bild));
    schreibe("leser_bild", "palette.png", png(bild, Pngart::palette));
    schreibe("leser_bild", "verschraenkt.png", png(bild, Pngart::verschraenkt, 3));
    schreibe("leser_bild", "rgba.png", png(bild, Pngart::rgba));
    schreibe("leser_bild", "gedreht.heic", heic(bild, 6));
    schreibe("leser_bild", "riese.png", pngKopf(65'535, 65'535));
    schreibe("leser_avif", "einfach.avif", avif(bild));
    for (auto const& format : bildformate()) {
        std::string const name = format.name; // "TIFF, LZW" is a seed of leser_tiff.
        auto ziel = "leser_" + name.substr(0, name.find_first_of(", "));
        std::ranges::transform(ziel, ziel.begin(), [](unsigned char c) { return std::tolower(c); });
        schreibe(
            ziel, std::to_string(format.art) + "_" + std::to_string(format.tiefe), verpackt(bild, format));
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("fuzz_saat ORDNER\n", stderr);
        return 2;
    }
    wurzel = argv[1];
    nachrichten();
    dienst();
    seite();
    lesungen();
    listen();
    updates();
    dokumente();
}
