#include "sammlung.h"

#include "bild.h"
#include "grundlage/datei.h"
#include "zeichnung.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include <array>
#include <optional>
#include <set>
#include <string_view>

namespace quillmate::demo {

using Json = nlohmann::ordered_json;

namespace {

struct Schreibfehler {
    std::string pfad;
};

constexpr std::array monate{"Januar", "Februar", "März",      "April",   "Mai",      "Juni",
                            "Juli",   "August",  "September", "Oktober", "November", "Dezember"};

/// The folders while they fill.
class Sammlung {
public:
    explicit Sammlung(std::string wurzel)
        : wurzel_(std::move(wurzel)) {}

    void belege();
    void doppelte();
    void schriftstuecke();
    void bilder();
    void sonderlinge();
    void koeder();

    int abschliessen() {
        // Last, so that whoever finds the list finds all that it lists.
        if (!schreibeAtomar(
                wurzel_ + "/beispiele.json", Json{{"dateien", dateien_}}.dump(1) + "\n", Dauerhaft::nein))
            throw Schreibfehler{"beispiele.json"};
        return static_cast<int>(dateien_.size());
    }

private:
    /// The full path for a file, with its folder made.
    std::string platz(std::string const& pfad) const {
        auto const ganz = wurzel_ + "/" + pfad;
        if (!ordnerAnlegen(ganz.substr(0, ganz.rfind('/'))))
            throw Schreibfehler{pfad};
        return ganz;
    }

    Json& merke(std::string const& pfad, std::string_view art, std::string_view entscheidung, Tag tag) {
        if (!namen_.insert(pfad).second)
            throw Schreibfehler{pfad}; // Two files of one name: the list would promise one too many.
        // Dated like its content: searches show the newest first.
        auto const sekunde =
            std::chrono::duration_cast<std::chrono::seconds>(tag.time_since_epoch()).count() + 43200;
        std::array<timespec, 2> const zeiten{
            timespec{.tv_sec = sekunde, .tv_nsec = 0}, {.tv_sec = sekunde, .tv_nsec = 0}};
        ::utimensat(AT_FDCWD, (wurzel_ + "/" + pfad).c_str(), zeiten.data(), 0);
        dateien_.push_back({{"pfad", pfad}, {"art", art}, {"entscheidung", entscheidung}});
        return dateien_.back();
    }

    void merkeBeleg(std::string const& pfad, std::string_view art, Beispielbeleg const& beleg) {
        auto& eintrag = merke(pfad, art, "hochladen", beleg.datum);
        auto betrag = alsEuro(beleg.brutto());
        betrag.resize(betrag.size() - std::string_view{" €"}.size());
        eintrag["haendler"] = beleg.haendler;
        eintrag["nummer"] = beleg.rechnungsnummer;
        eintrag["betrag"] = betrag;
        eintrag["betrag_cent"] = beleg.brutto();
        eintrag["datum"] = alsIsoDatum(beleg.datum);
        eintrag["gebucht"] = beleg.gebucht;
    }

    static void erwarte(bool gut, std::string const& pfad) {
        if (!gut)
            throw Schreibfehler{pfad};
    }

    void schreibe(std::string const& pfad, std::string const& bytes) const {
        erwarte(schreibeDatei(platz(pfad), bytes), pfad);
    }

    std::string wurzel_;
    std::set<std::string> namen_;
    Json dateien_ = Json::array();
    std::vector<Beispielbeleg> belege_ = beispielbelege();
    std::vector<std::string> rechnungspfade_;
    Wuerfel wuerfel_{7};
};

constexpr Tag briefdatum{std::chrono::year{2026} / std::chrono::March / 16};

std::string rechnungspfad(Beispielbeleg const& beleg) {
    std::chrono::year_month_day const datum{beleg.datum};
    auto const monat = static_cast<unsigned>(datum.month());
    switch (beleg.nummer % 5) {
    case 0:
        return fmt::format(
            "Documents/Rechnungen 2026/{:02} {}/Rechnung {} {}.pdf", monat, monate[monat - 1], beleg.haendler,
            beleg.nummer);
    case 1:
        return fmt::format("Downloads/{}.pdf", beleg.rechnungsnummer);
    case 2:
        return fmt::format("Documents/Büro/{} vom {}.pdf", beleg.rechnungsnummer, alsIsoDatum(beleg.datum));
    case 3:
        return fmt::format("Downloads/Rechnung ({}).PDF", beleg.nummer);
    default:
        return fmt::format("Desktop/{} – {}.pdf", beleg.haendler, beleg.rechnungsnummer);
    }
}

void Sammlung::belege() {
    int foto = 0;
    for (auto const& beleg : belege_) {
        switch (beleg.machart) {
        case Machart::textPdf: {
            auto pfad = rechnungspfad(beleg);
            // Two names that trouble programs: quotation marks, and umlauts as a Mac writes them
            // (decomposed).
            if (beleg.nummer == 1)
                pfad = "Downloads/Rechnung \"Sommer\" 100%.pdf";
            if (beleg.nummer == 2)
                pfad = "Documents/Büro/U\u0308bersicht Rechnung.pdf";
            erwarte(schreibeRechnung(platz(pfad), beleg), pfad);
            merkeBeleg(pfad, "rechnung", beleg);
            rechnungspfade_.push_back(pfad);
            break;
        }
        case Machart::scanPdf: {
            auto const pfad = fmt::format("Documents/Scans/Scan {:04}.pdf", beleg.nummer);
            erwarte(schreibeScan(platz(pfad), beleg, wuerfel_), pfad);
            merkeBeleg(pfad, "scan", beleg);
            break;
        }
        case Machart::fotoJpeg: {
            // One upside down without a word about it, three told by EXIF, the others upright.
            static constexpr std::array lagen{
                Lage::aufrecht, Lage::rechtsGedreht, Lage::linksGedreht, Lage::kopfueber};
            auto const erzaehlt = foto < 4 ? lagen[static_cast<std::size_t>(foto)] : Lage::aufrecht;
            bool const unerzaehlt = foto == 4;
            auto bild =
                kassenbonFoto(beleg, unerzaehlt ? Bonschrift::schreibmaschine : Bonschrift::druck, wuerfel_);
            bild = gedrehtGespeichert(bild.get(), unerzaehlt ? Lage::kopfueber : erzaehlt);
            auto const pfad = fmt::format(
                "{}/IMG_{}.{}", foto % 2 == 0 ? "Desktop/Handyfotos" : "Downloads", 2041 + foto,
                foto % 3 == 0 ? "JPG" : "jpeg");
            schreibe(pfad, alsJpeg(bild.get(), Farben::bunt, erzaehlt));
            merkeBeleg(pfad, "foto", beleg);
            ++foto;
            break;
        }
        case Machart::fotoPng: {
            auto const pfad = fmt::format("Desktop/Quittung {} {}.png", beleg.haendler, beleg.nummer);
            erwarte(schreibePng(platz(pfad), kassenbonFoto(beleg, Bonschrift::druck, wuerfel_).get()), pfad);
            merkeBeleg(pfad, "foto", beleg);
            break;
        }
        case Machart::fotoHeic: {
            if (!kannHeic())
                break;
            auto const lage = beleg.nummer % 2 == 0 ? Lage::aufrecht : Lage::rechtsGedreht;
            auto const bild =
                gedrehtGespeichert(kassenbonFoto(beleg, Bonschrift::druck, wuerfel_).get(), lage);
            auto const pfad = fmt::format("Desktop/Handyfotos/IMG_{}.HEIC", 3000 + beleg.nummer);
            erwarte(schreibeHeic(platz(pfad), bild.get(), lage), pfad);
            merkeBeleg(pfad, "foto", beleg);
            break;
        }
        }
    }
}

void Sammlung::doppelte() {
    constexpr std::size_t anzahl = 8;
    for (std::size_t i = 0; i < anzahl; ++i) {
        auto const& beleg = belege_[i * 6];
        auto const bytes = leseDatei(wurzel_ + "/" + rechnungspfade_[i * 6], std::uint64_t{1} << 30U);
        auto const pfad = fmt::format("Downloads/Kopie {} von {}.pdf", i + 1, beleg.rechnungsnummer);
        erwarte(bytes.has_value(), rechnungspfade_[i * 6]);
        schreibe(pfad, *bytes);
        merkeBeleg(pfad, "doppelt", beleg);
    }
}

struct Briefvorlage {
    std::string_view absender;
    std::string_view betreff;
    std::string_view text;
};

// No receipt word, no amount, and no number that could be taken for one (numeric dates and times are).
constexpr std::array briefvorlagen{
    Briefvorlage{
        "Grundschule am Ahornhain", "Einladung zum Sommerfest",
        "Liebe Familien,\n\nam zweiten Samstag im Juni feiern wir unser Sommerfest auf dem Schulhof. Um 14 "
        "Uhr "
        "eröffnet der Chor, danach gibt es Spiele, Kuchen und eine Theatergruppe. Bitte bringt eigene Becher "
        "mit.\n\nMit freundlichen Grüßen\nDie Schulleitung"},
    Briefvorlage{
        "Turnverein Ahornstedt", "Mitgliederversammlung",
        "Liebe Mitglieder,\n\nwir laden zur jährlichen Versammlung in das Vereinsheim ein. Auf der "
        "Tagesordnung "
        "stehen der Bericht des Vorstands, Wahlen und die neue Hallenordnung. Anträge bitte bis Ende des "
        "Monats "
        "schriftlich einreichen.\n\nDer Vorstand"},
    Briefvorlage{
        "Vermietung Giebelhaus", "Ankündigung von Bauarbeiten",
        "Sehr geehrte Mieterinnen und Mieter,\n\nin der kommenden Woche wird das Treppenhaus gestrichen. "
        "Bitte "
        "stellen Sie keine Fahrräder im Flur ab. Die Arbeiten dauern voraussichtlich drei Tage.\n\nIhre "
        "Hausverwaltung"},
    Briefvorlage{
        "Stadtbücherei Ahornstedt", "Ihre Vormerkung liegt bereit",
        "Guten Tag,\n\ndas von Ihnen vorgemerkte Buch liegt ab sofort an der Ausleihe für Sie bereit. Wir "
        "bewahren es zwei Wochen auf. Die Bücherei ist dienstags bis samstags geöffnet.\n\nFreundliche "
        "Grüße"},
    Briefvorlage{
        "Praxis am Wasserturm", "Terminbestätigung",
        "Guten Tag,\n\nwir bestätigen Ihren Termin am Montag, dem 16. März 2026, um 9 Uhr. Bitte bringen Sie "
        "Ihre "
        "Versichertenkarte mit und seien Sie zehn Minuten früher da.\n\nIhr Praxisteam"},
    Briefvorlage{
        "Musikschule Tonleiter", "Neue Gruppen ab Herbst",
        "Liebe Schülerinnen und Schüler,\n\nab Herbst bieten wir Gruppen für Gitarre, Geige und Schlagzeug "
        "an. "
        "Wer schnuppern möchte, kommt einfach zu einer Probestunde vorbei. Wir freuen uns auf euch.\n\nEure "
        "Musikschule"}};

void Sammlung::schriftstuecke() {
    constexpr int anzahlBriefe = 27;
    for (int i = 0; i < anzahlBriefe; ++i) {
        auto const& vorlage = briefvorlagen[static_cast<std::size_t>(i) % briefvorlagen.size()];
        auto const pfad = fmt::format("Documents/Briefe/{} {}.pdf", vorlage.betreff, i + 1);
        Schriftstueck const brief{
            .absender = std::string{vorlage.absender},
            .ueberschrift = std::string{vorlage.betreff},
            .seiten = {fmt::format("Schreiben Nummer {}\n\n{}", i + 1, vorlage.text)}};
        erwarte(schreibeSchriftstueck(platz(pfad), brief), pfad);
        merke(pfad, "brief", "keinBeleg", briefdatum + std::chrono::days{i});
    }
    // A date in digits looks like an amount to a cautious reader: such a letter is sent, and the service
    // decides.
    constexpr int anzahlMitDatum = 3;
    for (int i = 0; i < anzahlMitDatum; ++i) {
        auto const pfad = fmt::format("Documents/Briefe/Schreiben vom {:02}.03.2026.pdf", 16 + i);
        Schriftstueck const brief{
            .absender = "Kreisverwaltung Ahornstedt",
            .ueberschrift = "Eingangsbestätigung",
            .seiten = {fmt::format(
                "Ahornstedt, {:02}.03.2026\n\nSehr geehrte Damen und Herren,\n\nIhr Antrag ist bei uns "
                "eingegangen und wird "
                "der Reihe nach bearbeitet. Sie erhalten unaufgefordert Nachricht.\n\nIm Auftrag",
                16 + i)}};
        erwarte(schreibeSchriftstueck(platz(pfad), brief), pfad);
        merke(pfad, "brief", "hochladen", briefdatum + std::chrono::days{i});
    }
    for (std::string_view const geraet : {"Kaffeemaschine", "Heckenschere", "Fahrradcomputer"}) {
        Schriftstueck anleitung{
            .absender = "Werke Ahornstedt",
            .ueberschrift = fmt::format("Bedienungsanleitung {}", geraet),
            .seiten = {}};
        constexpr int seiten = 9;
        for (int seite = 1; seite <= seiten; ++seite)
            anleitung.seiten.push_back(fmt::format(
                "Kapitel {}\n\nLesen Sie diese Hinweise, bevor Sie das Gerät ({}) benutzen, und heben Sie "
                "sie auf. Reinigen "
                "Sie das Gerät nur mit einem trockenen Tuch. Öffnen Sie niemals das Gehäuse. Bei Störungen "
                "ziehen Sie den "
                "Stecker und wenden sich an eine Fachwerkstatt.",
                seite, geraet));
        auto const pfad = fmt::format("Downloads/Anleitung {}.pdf", geraet);
        erwarte(schreibeSchriftstueck(platz(pfad), anleitung), pfad);
        merke(pfad, "anleitung", "keinBeleg", briefdatum);
    }
}

void Sammlung::bilder() {
    constexpr int anzahlUrlaub = 14;
    for (int i = 0; i < anzahlUrlaub; ++i) {
        auto const pfad = fmt::format("Documents/Urlaub Dänemark/DSC{:05}.JPG", 4711 + i);
        schreibe(pfad, alsJpeg(urlaubsfoto(wuerfel_).get(), Farben::bunt));
        merke(pfad, "urlaubsfoto", "keinBelegtext", briefdatum + std::chrono::days{100});
    }
    int nummer = 0;
    for (std::string const text :
         {"Einkaufsliste\n\nBrot und Butter\nMilch\nZwiebeln\nein Strauß Blumen",
          "Notizen zur Besprechung\n\nDer neue Grundriss gefällt allen.\nDie Farbe der Fenster bleibt "
          "offen.\nNächstes "
          "Treffen im Gartensaal."}) {
        auto const pfad = fmt::format("Desktop/Bildschirmfoto {}.png", ++nummer);
        erwarte(schreibePng(platz(pfad), bildschirmfoto(text).get()), pfad);
        merke(pfad, "bildschirmfoto", "keinBelegtext", briefdatum);
    }
}

void Sammlung::sonderlinge() {
    std::string rauschen;
    for (int i = 0; i < 500; ++i)
        rauschen += static_cast<char>(wuerfel_.unter(256));
    // Files without a readable text are no reason not to send a document: the service decides.
    schreibe("Downloads/Rechnung kaputt.pdf", "%PDF-1.7\n" + rauschen);
    merke("Downloads/Rechnung kaputt.pdf", "kaputt", "hochladen", briefdatum);
    auto const bytes = leseDatei(wurzel_ + "/" + rechnungspfade_.front(), std::uint64_t{1} << 30U);
    erwarte(bytes.has_value(), rechnungspfade_.front());
    schreibe("Downloads/Rechnung abgebrochen.pdf", bytes->substr(0, bytes->size() / 3));
    merke("Downloads/Rechnung abgebrochen.pdf", "kaputt", "hochladen", briefdatum);
    schreibe("Downloads/leer.pdf", "");
    merke("Downloads/leer.pdf", "leer", "hochladen", briefdatum);
    schreibe("Desktop/Notizen.txt", "Rechnung 12,50 € noch suchen\n");
    merke("Desktop/Notizen.txt", "text", "nichtGefunden", briefdatum);
    schreibe("Documents/Rechnungen 2026/Übersicht.csv", "Datum;Betrag\n16.03.2026;12,50\n");
    merke("Documents/Rechnungen 2026/Übersicht.csv", "text", "nichtGefunden", briefdatum);
}

void Sammlung::koeder() {
    // Receipts, but in places that belong to programs or that someone hid.
    auto const rechnung = leseDatei(wurzel_ + "/" + rechnungspfade_.front(), std::uint64_t{1} << 30U);
    erwarte(rechnung.has_value(), rechnungspfade_.front());
    auto const foto = alsJpeg(urlaubsfoto(wuerfel_).get(), Farben::bunt);
    std::vector<std::string> pfade;
    for (int i = 0; i < 10; ++i)
        pfade.push_back(fmt::format("Documents/Webseite/node_modules/paket-{}/beispiel.pdf", i));
    for (int i = 0; i < 14; ++i)
        pfade.push_back(fmt::format("Documents/Fotos.photoslibrary/originals/{:X}/IMG_{:04}.jpg", i, i));
    for (int i = 0; i < 4; ++i)
        pfade.push_back(fmt::format("Documents/Library/Zwischenablage/Rechnung {}.pdf", i));
    for (std::string_view const pfad :
         {"Desktop/.versteckt.pdf", "Downloads/.Rechnung.pdf.teil.pdf", "Documents/.ablage/Rechnung.pdf",
          "Documents/Webseite/.git/objekt.pdf", "Documents/Webseite/vendor/paket/Rechnung.pdf",
          "Downloads/Programm.app/Contents/Resources/Lizenz.pdf", "Documents/Webseite/__pycache__/bild.png"})
        pfade.emplace_back(pfad);
    for (auto const& pfad : pfade) {
        schreibe(pfad, pfad.ends_with(".pdf") ? *rechnung : foto);
        merke(pfad, "koeder", "nichtGefunden", briefdatum);
    }
}

} // namespace

int legeSammlungAn(std::string const& wurzel, std::string& grund) {
    try {
        Sammlung sammlung{wurzel};
        sammlung.belege();
        sammlung.doppelte();
        sammlung.schriftstuecke();
        sammlung.bilder();
        sammlung.sonderlinge();
        sammlung.koeder();
        return sammlung.abschliessen();
    } catch (Schreibfehler const& fehler) {
        grund = fmt::format("„{}“ lässt sich nicht schreiben.", fehler.pfad);
        return 0;
    }
}

} // namespace quillmate::demo
