#include "ocr.h"

#include "grundlage/text.h"

#include <leptonica/allheaders.h>
#include <tesseract/baseapi.h>
#include <tesseract/ocrclass.h>
#include <tesseract/resultiterator.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <limits>
#include <mutex>
#include <utility>

// Declared here because the compiler's own omp.h is out of reach of other tools that read this file.
extern "C" void omp_set_max_active_levels(int);

namespace quillmate::Texterkennung {

namespace {

// What most scans have. Without a value the engine guesses one and says so on standard error.
constexpr int angenommeneAufloesung = 300;
constexpr float hoechsteZuversicht = 100.0F; // The engine's scale.

/// The engine would start threads per text line, which costs several times what it gains and would compete
/// with the other readers. The setting belongs to the calling thread, and only this one is obeyed from inside
/// main.
void ohneNebenfaeden() {
    thread_local bool const einmal = [] {
        omp_set_max_active_levels(0);
        return true;
    }();
    static_cast<void>(einmal);
}

bool hatSprache(std::string const& ordner, std::string_view sprache) {
    std::string pfad = ordner;
    pfad.append("/").append(sprache).append(".traineddata");
    return access(pfad.c_str(), R_OK) == 0;
}

/// Whether no two points differ enough to be print.
bool einfarbig(Graubild const& bild) {
    constexpr int rauschen = 16;
    auto const [dunkelster, hellster] = std::ranges::minmax_element(bild.punkte);
    return bild.punkte.empty() || *hellster - *dunkelster < rauschen;
}

std::string zeilentext(tesseract::ResultIterator const& stelle) {
    std::unique_ptr<char[]> const roh{stelle.GetUTF8Text(tesseract::RIL_TEXTLINE)};
    std::string text = roh ? roh.get() : "";
    while (text.ends_with('\n'))
        text.pop_back();
    return text;
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
    auto mit = [&](auto... sprachen) {
        return std::ranges::find_if(ordner, [&](auto const& o) { return (hatSprache(o, sprachen) && ...); });
    };
    if (auto const o = mit("deu", "eng"); o != ordner.end())
        return Sprachdaten{*o, "deu+eng"};
    for (auto const* eine : {"deu", "eng"})
        if (auto const o = mit(eine); o != ordner.end())
            return Sprachdaten{*o, eine};
    return std::nullopt;
}

std::unique_ptr<TesseractErkenner> TesseractErkenner::laden(Sprachdaten const& daten) {
    // Loading writes to variables that all engines share.
    static std::mutex sperre;
    std::scoped_lock const gesperrt{sperre};
    ohneNebenfaeden();
    auto api = std::make_unique<tesseract::TessBaseAPI>();
    // The dictionaries stay on: load_system_dawg and its like only reach the older recogniser. With them off,
    // 63 photographed receipts came out the same to the word, and no faster.
    std::vector<std::string> const namen{"debug_file"};
    std::vector<std::string> const werte{"/dev/null"};
    if (api->Init(
            daten.ordner.c_str(), daten.sprachen.c_str(), tesseract::OEM_LSTM_ONLY, nullptr, 0, &namen,
            &werte, false) != 0)
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
    aufgelegt_ = nullptr;
    api_->Clear();
}

void TesseractErkenner::auflegen(Graubild const& bild) {
    api_->SetImage(bild.punkte.data(), bild.breite, bild.hoehe, 1, bild.breite);
    api_->SetSourceResolution(angenommeneAufloesung);
}

std::optional<int> TesseractErkenner::textfelder(Graubild const& bild) {
    ohneNebenfaeden();
    vergessen();
    auflegen(bild);
    std::unique_ptr<tesseract::PageIterator> const stelle{api_->AnalyseLayout()};
    aufgelegt_ = &bild;
    if (!stelle) {
        // Also what a blank picture comes back with: only that one has certainly no lines.
        if (einfarbig(bild))
            return 0;
        return std::nullopt;
    }
    int anzahl = 0;
    do {
        if (!stelle->Empty(tesseract::RIL_TEXTLINE))
            ++anzahl;
    } while (stelle->Next(tesseract::RIL_TEXTLINE));
    return anzahl;
}

Schrifterkenner::Gelesen TesseractErkenner::lesen(
    Graubild const& bild, Ausrichtung ausrichtung, Erkennungsende ende) {
    auto const rest =
        std::chrono::duration_cast<std::chrono::milliseconds>(ende - std::chrono::steady_clock::now());
    if (rest.count() <= 0)
        return {};
    ohneNebenfaeden();
    if (ausrichtung == Ausrichtung::kopfueber) {
        aufgelegt_ = nullptr;
        auflegen(ausgerichtet(bild, 3));
    } else if (aufgelegt_ != &bild) {
        auflegen(bild);
    }
    tesseract::ETEXT_DESC waechter;
    waechter.set_deadline_msecs(static_cast<std::int32_t>(
        std::min<std::int64_t>(rest.count(), std::numeric_limits<std::int32_t>::max())));
    // At the deadline the call fails, yet the lines read so far are there.
    static_cast<void>(api_->Recognize(&waechter));
    std::unique_ptr<tesseract::ResultIterator> const stelle{api_->GetIterator()};
    if (!stelle)
        return {};
    std::string text;
    float summe = 0.0F;
    int zeilen = 0;
    do {
        if (stelle->Empty(tesseract::RIL_TEXTLINE))
            continue;
        auto const zeile = zeilentext(*stelle);
        if (zeile.empty())
            continue;
        if (zeilen > 0)
            text += '\n';
        text += zeile;
        summe += stelle->Confidence(tesseract::RIL_TEXTLINE) / hoechsteZuversicht;
        ++zeilen;
    } while (stelle->Next(tesseract::RIL_TEXTLINE));
    if (nurLeerraum(text))
        return {};
    return {std::move(text), summe / static_cast<float>(zeilen)};
}

} // namespace quillmate::Texterkennung
