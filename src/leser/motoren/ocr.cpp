#include "ocr.h"

#include "dateiquelle.h"
#include "einfaedig.h"
#include "grundlage/text.h"
#include "lage.h"
#include "texterkennung/heuristik.h"
#include "textfelder.h"
#include "zweitblick.h"

#include <leptonica/allheaders.h>
#include <tesseract/baseapi.h>
#include <tesseract/ocrclass.h>
#include <tesseract/resultiterator.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <initializer_list>
#include <iterator>
#include <mutex>
#include <utility>

namespace quillmate::leser::motoren {

namespace {

// What most scans have. Without a value the engine guesses one and says so on standard error.
constexpr int angenommeneAufloesung = 300;
constexpr float hoechsteZuversicht = 100.0F; // The engine's scale.

std::string sprachdatei(std::string_view sprache) {
    return std::string{sprache} + ".traineddata";
}

/// The data of all these languages, opened; nothing when one is missing.
std::optional<Sprachdaten> geoeffnet(
    std::string const& ordner, std::string sprachen, std::initializer_list<char const*> einzeln) {
    Sprachdaten daten{ordner, std::move(sprachen), {}};
    for (auto const* sprache : einzeln) {
        auto const name = sprachdatei(sprache);
        auto datei = oeffneDatei(ordner + "/" + name);
        if (!datei)
            return std::nullopt;
        daten.dateien[name] = std::make_shared<Deskriptor const>(std::move(datei));
    }
    return daten;
}

// The engine's callback has no argument of its own; loading happens under a lock, on one thread.
thread_local Sprachdaten const* geladene = nullptr;

/// What the engine calls for a file that it wants: gives it those that are open and no others.
bool ausOffenen(char const* pfad, std::vector<char>* inhalt) {
    constexpr std::int64_t hoechstgroesse = 64 << 20; // The largest of the published models has 23 MB.
    auto const datei = geladene->dateien.find(letzteKomponente(pfad));
    auto const quelle =
        datei != geladene->dateien.end() ? Dateiquelle::ausDeskriptor(datei->second->get()) : std::nullopt;
    if (!quelle || quelle->groesse() > hoechstgroesse)
        return false;
    inhalt->resize(static_cast<std::size_t>(quelle->groesse()));
    return quelle->lesen(0, {reinterpret_cast<std::uint8_t*>(inhalt->data()), inhalt->size()}) ==
           inhalt->size();
}

/// What the engine last read, line by line. Words that it did not get to before a deadline come as blanks that it is
/// very sure of; they are none.
std::vector<Textzeile> zeilenAus(tesseract::ResultIterator& stelle) {
    std::vector<Textzeile> zeilen;
    do {
        if (zeilen.empty() || stelle.IsAtBeginningOf(tesseract::RIL_TEXTLINE))
            zeilen.push_back({{}, stelle.Confidence(tesseract::RIL_TEXTLINE) / hoechsteZuversicht});
        if (stelle.Empty(tesseract::RIL_WORD))
            continue;
        std::unique_ptr<char[]> const roh{stelle.GetUTF8Text(tesseract::RIL_WORD)};
        Wort wort{roh ? roh.get() : "", {}, stelle.Confidence(tesseract::RIL_WORD) / hoechsteZuversicht};
        auto& k = wort.kasten;
        if (!nurLeerraum(wort.text) &&
            stelle.BoundingBox(tesseract::RIL_WORD, &k.links, &k.oben, &k.rechts, &k.unten))
            zeilen.back().woerter.push_back(std::move(wort));
    } while (stelle.Next(tesseract::RIL_WORD));
    std::erase_if(zeilen, [](Textzeile const& zeile) { return zeile.woerter.empty(); });
    return zeilen;
}

Graubild ausPix(Pix* pix) {
    Graubild bild{pixGetWidth(pix), pixGetHeight(pix), {}};
    bild.punkte.resize(static_cast<std::size_t>(bild.breite) * static_cast<std::size_t>(bild.hoehe));
    auto ziel = bild.punkte.begin();
    auto const* zeile = pixGetData(pix);
    for (int y = 0; y < bild.hoehe; ++y, zeile += pixGetWpl(pix))
        for (int x = 0; x < bild.breite; ++x)
            *ziel++ = GET_DATA_BYTE(zeile, x);
    return bild;
}

Schrifterkenner::Gelesen gelesen(std::span<Textzeile const> zeilen) {
    std::string text;
    for (auto const& zeile : zeilen) {
        if (!text.empty())
            text += '\n';
        for (auto const& wort : zeile.woerter) {
            if (&wort != &zeile.woerter.front())
                text += ' ';
            text += wort.text;
        }
    }
    if (nurLeerraum(text))
        return {};
    return {std::move(text), mittlereZuversicht(zeilen)};
}

} // namespace

std::vector<std::string> ueblicheSprachordner() {
    std::vector<std::string> ordner;
    if (auto const* vorgabe = std::getenv("TESSDATA_PREFIX"); vorgabe != nullptr && *vorgabe != '\0') {
        ordner.emplace_back(vorgabe);
        ordner.push_back(std::string{vorgabe} + "/tessdata");
    }
    for (auto const* fest :
         {"/usr/share/tesseract-ocr/5/tessdata", "/usr/share/tesseract-ocr/4.00/tessdata",
          "/usr/share/tessdata", "/usr/share/tesseract/tessdata", "/usr/local/share/tessdata"})
        ordner.emplace_back(fest);
    return ordner;
}

std::optional<Sprachdaten> sucheSprachdaten(std::span<std::string const> ordner) {
    for (auto const& o : ordner)
        if (auto daten = geoeffnet(o, "deu+eng", {"deu", "eng"}))
            return daten;
    for (auto const* eine : {"deu", "eng"})
        for (auto const& o : ordner)
            if (auto daten = geoeffnet(o, eine, {eine}))
                return daten;
    return std::nullopt;
}

Texterkennung::Sprachstand sprachstand(std::optional<Sprachdaten> const& daten) {
    if (!daten)
        return Texterkennung::Sprachstand::keine;
    if (daten->sprachen == "deu")
        return Texterkennung::Sprachstand::deutsch;
    return daten->sprachen == "eng" ? Texterkennung::Sprachstand::englisch
                                    : Texterkennung::Sprachstand::beide;
}

std::unique_ptr<TesseractErkenner> TesseractErkenner::laden(Sprachdaten const& daten) {
    // Loading writes to variables that all engines share.
    static std::mutex sperre;
    std::scoped_lock const gesperrt{sperre};
    einfaedig();
    auto api = std::make_unique<tesseract::TessBaseAPI>();
    // The dictionaries stay on: load_system_dawg and its like only reach the older recogniser. With them off,
    // 63 photographed receipts came out the same to the word, and no faster.
    std::vector<std::string> const namen{"debug_file"};
    std::vector<std::string> const werte{"/dev/null"};
    geladene = &daten;
    auto const fehler = api->Init(
        daten.ordner.c_str(), 0, daten.sprachen.c_str(), tesseract::OEM_LSTM_ONLY, nullptr, 0, &namen, &werte,
        false, ausOffenen);
    geladene = nullptr;
    if (fehler != 0)
        return nullptr;
    setMsgSeverity(L_SEVERITY_NONE); // Odd pictures are no news for standard error. Init() sets it too.
    api->SetPageSegMode(tesseract::PSM_SINGLE_BLOCK);
    // White on black is rare on receipts, and looking for it doubles the work on bad lines.
    if (!api->SetVariable("tessedit_do_invert", "0"))
        return nullptr;
    return std::unique_ptr<TesseractErkenner>{new TesseractErkenner{std::move(api)}};
}

TesseractErkenner::TesseractErkenner(std::unique_ptr<tesseract::TessBaseAPI> api)
    : api_(std::move(api)) {}

TesseractErkenner::~TesseractErkenner() = default;

void TesseractErkenner::vergessen() noexcept {
    bild_.reset();
    kostprobe_.reset();
    liegt_ = Ausrichtung::aufrecht;
    api_->Clear();
}

void TesseractErkenner::setzen(Graubild const& bild) {
    api_->SetImage(bild.punkte.data(), bild.breite, bild.hoehe, 1, bild.breite);
    api_->SetSourceResolution(angenommeneAufloesung);
}

/// The picture, back from the engine, which then has nothing any more.
Graubild TesseractErkenner::holen() {
    if (bild_)
        return *std::exchange(bild_, std::nullopt);
    std::unique_ptr<Pix, void (*)(Pix*)> const pix{pixClone(api_->GetInputImage()), [](Pix* p) {
                                                       pixDestroy(&p);
                                                   }};
    api_->Clear(); // What it found on the page is larger than the page.
    return ausPix(pix.get());
}

/// Lays the picture into the engine this way, unless it lies there.
void TesseractErkenner::ausrichten(Ausrichtung ausrichtung) {
    if (liegt_ != ausrichtung) {
        setzen(ausgerichtet(holen(), 3));
        kostprobe_.reset();
    } else if (bild_) {
        setzen(holen());
    }
    liegt_ = ausrichtung;
}

void TesseractErkenner::auflegen(Graubild bild) {
    vergessen();
    bild_ = std::move(bild);
}

std::optional<int> TesseractErkenner::textfelder() {
    einfaedig();
    if (liegt_ != Ausrichtung::aufrecht)
        ausrichten(Ausrichtung::aufrecht);
    if (!bild_)
        bild_ = holen();
    auto const blick = textblick(*bild_);
    int const anzahl = std::max(brauchbare(blick.quer), brauchbare(blick.hoch));
    if (anzahl < Texterkennung::MINDEST_TEXTFELDER)
        return anzahl;
    api_->SetPageSegMode(tesseract::PSM_SINGLE_LINE);
    auto const gefunden = lage(*bild_, blick, [&](Graubild const& stueck) { return probeLesen(stueck); });
    api_->SetPageSegMode(tesseract::PSM_SINGLE_BLOCK);
    if (!gefunden.druck)
        return 0;
    bild_ = ausgerichtet(*std::move(bild_), gefunden.drehung);
    if (std::abs(gefunden.neigung) >= geringeNeigung)
        bild_ = begradigt(*bild_, gefunden.neigung);
    return anzahl;
}

std::vector<Wort> TesseractErkenner::probeLesen(Graubild const& stueck) {
    setzen(stueck);
    std::vector<Wort> woerter;
    for (auto& zeile : erkannteZeilen(Erkennungsende::max()))
        std::ranges::move(zeile.woerter, std::back_inserter(woerter));
    return woerter;
}

std::vector<Textzeile> TesseractErkenner::erkannteZeilen(Erkennungsende ende) {
    tesseract::ETEXT_DESC waechter;
    waechter.cancel = [](void* bis, int /*woerter*/) {
        return Rechenuhr::now() >= *static_cast<Erkennungsende const*>(bis);
    };
    waechter.cancel_this = &ende;
    // At the deadline the call fails, yet the lines read so far are there.
    static_cast<void>(api_->Recognize(&waechter));
    std::unique_ptr<tesseract::ResultIterator> const stelle{api_->GetIterator()};
    return stelle ? zeilenAus(*stelle) : std::vector<Textzeile>{};
}

std::vector<Wort> TesseractErkenner::stueckLesen(Graubild const& bild, Kasten kasten, Erkennungsende ende) {
    auto const* const anfang = bild.zeile(kasten.oben).subspan(static_cast<std::size_t>(kasten.links)).data();
    api_->SetImage(anfang, kasten.rechts - kasten.links, kasten.unten - kasten.oben, 1, bild.breite);
    api_->SetSourceResolution(angenommeneAufloesung);
    std::vector<Wort> woerter;
    for (auto& zeile : erkannteZeilen(ende))
        for (auto& wort : zeile.woerter) {
            wort.kasten = {
                wort.kasten.links + kasten.links, wort.kasten.oben + kasten.oben,
                wort.kasten.rechts + kasten.links, wort.kasten.unten + kasten.oben};
            woerter.push_back(std::move(wort));
        }
    return woerter;
}

/// The lines of the sample, read the other way round than the picture lies.
std::vector<Textzeile> TesseractErkenner::andersherumProbieren(Streifen streifen, Erkennungsende ende) {
    if (!bild_)
        bild_ = holen();
    setzen(ausgerichtet(querstreifen(*bild_, streifen.oben, streifen.unten), 3));
    return erkannteZeilen(ende);
}

Schrifterkenner::Gelesen TesseractErkenner::lesen(Ausrichtung ausrichtung, Erkennungsende ende) {
    if (Rechenuhr::now() >= ende)
        return {};
    einfaedig();
    if (kostprobe_ && liegt_ != ausrichtung) {
        auto const zeilen = andersherumProbieren(*kostprobe_, ende);
        if (liegtRichtig(*kostprobe_, zeilen))
            return {};
    }
    ausrichten(ausrichtung);
    auto zeilen = erkannteZeilen(ende);
    kostprobe_ = kostprobe(zeilen);
    // A page that is hardly legible, such as one that lies on its head, does not get better piece by piece.
    if (mittlereZuversicht(zeilen) >= Texterkennung::UNSICHER_GELESEN) {
        bild_ = holen();
        api_->SetPageSegMode(tesseract::PSM_SINGLE_LINE);
        static_cast<void>(
            zweiterBlick(zeilen, *bild_, [&](Kasten kasten) { return stueckLesen(*bild_, kasten, ende); }));
        api_->SetPageSegMode(tesseract::PSM_SINGLE_BLOCK);
    }
    return gelesen(zeilen);
}

} // namespace quillmate::leser::motoren
