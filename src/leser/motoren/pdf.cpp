#include "pdf.h"

#include "bild.h"
#include "grundlage/text.h"
#include "rechenuhr.h"
#include "texterkennung/heuristik.h"

#include <malloc.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string_view>
#include <utility>
// Needs cstdio first.
#include <jpeglib.h>
// Needs jpeglib.h first.
#include <jerror.h>

// MuPDF's headers are C and not written for our warnings.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
#pragma GCC diagnostic ignored "-Wold-style-cast"
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#include <mupdf/fitz.h>
#include <mupdf/pdf.h>
#pragma GCC diagnostic pop

// Map of this file
//
//   Haushalt      what the document has used up of its PdfGrenzen. It is asked from three sides: the
//   allocator that
//                 MuPDF calls for all memory, the stream it reads the file through, and the cookie it looks
//                 at between drawing steps. Once used up, all three refuse, and MuPDF runs out through its
//                 own error paths.
//                 What looks at none of them (a filter that unpacks blanks without end, libjpeg over thousands of
//                 passes) is ended from outside: see rechenwacht.h.
//   geschuetzt()  the way into MuPDF. Its errors are longjmps, which run no destructors: what it calls holds MuPDF
//                 objects only, in a Halter that is emptied here after success and failure alike.
//   bildFuellen() draws scanned pages, with a try of its own. They are what PDFs without text mostly are.
//
// Each document has a MuPDF context of its own: making one costs little, and nothing of a hostile document
// stays.

namespace quillmate::leser::motoren {

namespace {

constexpr std::size_t zwischenlagerBytes = 8U << 20U; // MuPDF's store of decoded pictures and fonts.
constexpr std::size_t pufferBytes = 32U << 10U;
constexpr int gelesenSeiten = 3;
// Characters of three pages together; a page of the smallest legible print has 20,000. The structure that the
// text is collected in takes some 64 bytes for each.
constexpr std::size_t genugZeichen = 1'000'000;
constexpr char const* leeresKennwort = "";
constexpr char32_t ersatzzeichen = 0xFFFD; // What MuPDF gives for a glyph without Unicode value.
constexpr char steuerzeichenErsatz = 0x1A; // ASCII's control character for "no such character here".
constexpr unsigned weiss = 255;
constexpr int allokationenJeUhrblick = 64; // Reading the clock costs about as much as a small allocation.

using Uhr = std::chrono::steady_clock;

struct Haushalt {
    PdfGrenzen grenzen;
    Rechenuhr::time_point rechenEnde;
    Uhr::time_point wandEnde;
    std::size_t speicher{0};
    std::int64_t gelesen{0};
    int bisUhrblick{allokationenJeUhrblick};
    bool verbraucht{false};
    bool knapp{false};    // The budget of memory refused something; the library may have made room since.
    bool ohneBild{false}; // libjpeg had no memory for a picture, which MuPDF takes for one that ends there.
    bool mangel{false};   // The machine itself had no memory: nothing that the file can be blamed for.
    fz_cookie keks{};
    decltype(fz_device::begin_tile) kachelBeginnen{}; // The drawing device's own.
    decltype(fz_device::fill_image) bildFuellen{};    // The same.
    double pixelJeEinheit{1};                         // How the device enlarges what it is told.
    fz_rect seitenkasten{};                           // In units.
    std::optional<Graubild>
        scan; // Here, because nothing with a destructor may be on a stack that MuPDF jumps over.
    // The last picture that was drawn from a reduced one, and that one: some programs draw a scan in a hundred
    // strips, each time all of it.
    fz_image* scanQuelle{};
    fz_image* scanErsatz{};
    decltype(fz_device::fill_text) textFuellen{}; // The text device's own, and so on.
    decltype(fz_device::ignore_text) textUebergehen{};
    std::size_t zeichen{0}; // That the text device has seen.
    bool genugText{false};

    void aufbrauchen() {
        verbraucht = true;
        keks.abort = 1;
    }
    bool frist() {
        if (!verbraucht && (Rechenuhr::now() >= rechenEnde || Uhr::now() >= wandEnde))
            aufbrauchen();
        return !verbraucht;
    }
    bool nimm(std::size_t bytes) {
        if (--bisUhrblick <= 0) {
            bisUhrblick = allokationenJeUhrblick;
            frist();
        }
        if (verbraucht)
            return false;
        if (bytes <= grenzen.speicher && speicher <= grenzen.speicher - bytes)
            return true;
        knapp = true;
        return false;
    }
    /// Whether a page that was just run through is there as a whole. The library takes an operator that
    /// failed for a flaw of the file and goes on behind it; where a budget made it fail, the page is a part.
    [[nodiscard]] bool vollstaendig() const {
        return !verbraucht && !ohneBild && !(knapp && keks.errors > 0);
    }
    void neueSeite() {
        knapp = false;
        ohneBild = false;
        keks = {};
        keks.abort = verbraucht ? 1 : 0;
    }
    void mangelMelden() const {
        if (mangel)
            throw std::bad_alloc{};
    }
};

void* belege(void* nutzer, std::size_t bytes) {
    auto& h = *static_cast<Haushalt*>(nutzer);
    if (!h.nimm(bytes))
        return nullptr;
    void* p = std::malloc(bytes);
    if (p != nullptr)
        h.speicher += malloc_usable_size(p);
    else
        h.mangel = true;
    return p;
}

void gibFrei(void* nutzer, void* p) {
    if (p == nullptr)
        return;
    static_cast<Haushalt*>(nutzer)->speicher -= malloc_usable_size(p);
    std::free(p);
}

void* belegeNeu(void* nutzer, void* alt, std::size_t bytes) {
    if (alt == nullptr)
        return belege(nutzer, bytes);
    if (bytes == 0) {
        gibFrei(nutzer, alt);
        return nullptr;
    }
    auto& h = *static_cast<Haushalt*>(nutzer);
    auto const vorher = malloc_usable_size(alt);
    // Making a block smaller always works, also with the budget used up.
    if (bytes > vorher && !h.nimm(bytes - vorher))
        return nullptr;
    void* p = std::realloc(alt, bytes);
    if (p != nullptr)
        h.speicher = h.speicher - vorher + malloc_usable_size(p);
    else
        h.mangel = true;
    return p;
}

/// The file as MuPDF reads it. Lives in MuPDF's hands, so it has no destructor of its own.
struct Strom {
    Dateiquelle const* quelle;
    Haushalt* haushalt;
    std::array<std::uint8_t, pufferBytes> puffer;
};

int stromWeiter(fz_context* /*ctx*/, fz_stream* strom, std::size_t /*wunsch*/) {
    auto& s = *static_cast<Strom*>(strom->state);
    if (!s.haushalt->frist())
        return EOF;
    auto const n = s.quelle->lesen(strom->pos, s.puffer);
    s.haushalt->gelesen += static_cast<std::int64_t>(n);
    if (s.haushalt->gelesen > s.haushalt->grenzen.gelesen)
        s.haushalt->aufbrauchen();
    if (n == 0)
        return EOF;
    strom->rp = s.puffer.data();
    strom->wp = s.puffer.data() + n;
    strom->pos += static_cast<std::int64_t>(n);
    return *strom->rp++;
}

void stromSpringen(fz_context* /*ctx*/, fz_stream* strom, std::int64_t weite, int von) {
    auto& s = *static_cast<Strom*>(strom->state);
    std::int64_t ziel = weite;
    if (von == SEEK_CUR)
        ziel += strom->pos - (strom->wp - strom->rp);
    else if (von == SEEK_END)
        ziel += s.quelle->groesse();
    strom->pos = std::clamp<std::int64_t>(ziel, 0, s.quelle->groesse());
    strom->rp = strom->wp = s.puffer.data();
}

void stromFreigeben(fz_context* ctx, void* zustand) {
    fz_free(ctx, zustand);
}

Haushalt& haushaltVon(fz_context* ctx) {
    return *static_cast<Haushalt*>(fz_user_context(ctx));
}

/// Begins a pattern, after a look at the clock. One that repeats every ten-thousandth of a unit would be painted
/// 10^13 times, in one step that nothing can end; it is painted coarser instead. The work is repeats times the
/// points of one; an ordinary pattern has about as many as the page, at most 16 million.
int kachelBeginnen(
    fz_context* ctx, fz_device* geraet, fz_rect flaeche, fz_rect kachel, float breite, float hoehe,
    fz_matrix lage, int kennung) {
    auto& h = haushaltVon(ctx);
    h.frist();
    constexpr double hoechstensPunkte = 40e6;
    constexpr double hoechstensWiederholungen = 1e6;
    auto lange = [](float a, float b) {
        return std::clamp(std::abs(static_cast<double>(b) - a), 1e-6, 1e6);
    };
    double const quer = lange(flaeche.x0, flaeche.x1);
    double const laengs = lange(flaeche.y0, flaeche.y1);
    auto schritt = [](float s, double ganz) {
        return s != 0 && std::isfinite(s) ? std::min(std::abs(static_cast<double>(s)), ganz) : ganz;
    };
    double const b = schritt(breite, quer);
    double const t = schritt(hoehe, laengs);
    double const vergroesserung =
        std::abs(static_cast<double>(lage.a) * lage.d - static_cast<double>(lage.b) * lage.c) *
        h.pixelJeEinheit * h.pixelJeEinheit;
    double const punkte =
        std::max(lange(kachel.x0, kachel.x1) * lange(kachel.y0, kachel.y1) * vergroesserung, 1.0);
    double const wiederholungen = (quer / b + 1) * (laengs / t + 1);
    double const zuViel =
        std::max(wiederholungen / hoechstensWiederholungen, wiederholungen * punkte / hoechstensPunkte);
    if (zuViel > 1) {
        // Both steps grow alike, yet a step never exceeds the area: what one side cannot take, the other does.
        double const faktor = std::sqrt(zuViel);
        double const neuB = std::min(b * std::max(faktor, zuViel / (laengs / t + 1)), quer);
        double const neuT = std::min(t * std::max(faktor, zuViel / (quer / b + 1)), laengs);
        breite = static_cast<float>(neuB);
        hoehe = static_cast<float>(neuT);
    }
    return h.kachelBeginnen(ctx, geraet, flaeche, kachel, breite, hoehe, lage, kennung);
}

/// Whether MuPDF would draw this picture from a JPEG of grey or of common colours, without a mask and the like.
bool istScan(fz_image const& bild, fz_compressed_buffer const* gepackt) {
    // What MuPDF unpacks without our help takes three times this.
    constexpr std::int64_t mindestpunkte = 2'500'000;
    auto const farben = fz_colorspace_type(nullptr, bild.colorspace);
    return gepackt != nullptr && gepackt->params.type == FZ_IMAGE_JPEG &&
           gepackt->params.u.jpeg.color_transform != 0 && std::int64_t{bild.w} * bild.h >= mindestpunkte &&
           bild.bpc == 8 && bild.mask == nullptr && bild.imagemask == 0 && bild.use_colorkey == 0 &&
           bild.use_decode == 0 &&
           ((farben == FZ_COLORSPACE_RGB && bild.n == 3) || (farben == FZ_COLORSPACE_GRAY && bild.n == 1));
}

/// Whether a picture of this size is large enough for what is drawn from it.
bool reicht(Haushalt const& h, Bildmass mass, fz_matrix lage) {
    constexpr double spiel = 1; // The sides of a page are rounded.
    // Put so that no number at all is not enough either.
    return h.pixelJeEinheit * std::hypot(lage.a, lage.b) <= mass.breite + spiel &&
           h.pixelJeEinheit * std::hypot(lage.c, lage.d) <= mass.hoehe + spiel;
}

/// Whether anything of a picture comes to lie on the page, within what is not cut away. MuPDF does not decode the others.
bool sichtbar(fz_context* ctx, fz_device* geraet, fz_matrix lage) {
    auto const flaeche =
        fz_intersect_rect(haushaltVon(ctx).seitenkasten, fz_device_current_scissor(ctx, geraet));
    return fz_is_empty_rect(fz_intersect_rect(flaeche, fz_transform_rect(fz_unit_rect, lage))) == 0;
}

/// A scanned page in grey and hardly larger than it is drawn, decoded row by row: MuPDF holds it in colour, and
/// larger. Nothing where the picture is none, or is something else than the document says: then what MuPDF makes of it is
/// what counts.
std::optional<Graubild> scanVerkleinert(
    Haushalt& h, fz_image const& bild, fz_compressed_buffer const* gepackt) noexcept try {
    if (!h.frist())
        return std::nullopt;
    unsigned char* bytes = nullptr;
    auto const anzahl = fz_buffer_storage(nullptr, gepackt->buffer, &bytes);
    // However it was held while it was taken: a PDF turns its pictures itself.
    auto scan = eingebettetesJpegLaden(
        Dateiquelle::ausSpeicher({bytes, anzahl}),
        {.breite = bild.w,
         .hoehe = bild.h,
         .kanaele = bild.n,
         .ende = h.rechenEnde,
         .speicher = h.grenzen.speicher - std::min(h.speicher, h.grenzen.speicher)});
    h.frist(); // Decoding may have taken all of it, and MuPDF looks at the clock only now and then.
    return scan;
} catch (std::bad_alloc const&) {
    h.mangel = true;
    return std::nullopt;
} catch (std::exception const&) {
    return std::nullopt;
}

void scanVergessen(fz_context* ctx, Haushalt& h) {
    h.scan.reset();
    fz_drop_image(ctx, std::exchange(h.scanErsatz, nullptr));
    fz_drop_image(ctx, std::exchange(h.scanQuelle, nullptr));
}

/// What to draw instead of a picture; belongs to the budget. Nothing when it is to be drawn itself.
fz_image* ersatzFuer(fz_context* ctx, fz_device* geraet, fz_image* bild, fz_matrix lage) {
    auto& h = haushaltVon(ctx);
    if (bild == h.scanQuelle && h.scanErsatz != nullptr)
        return reicht(h, {h.scanErsatz->w, h.scanErsatz->h}, lage) ? h.scanErsatz : nullptr;
    auto const* const gepackt = fz_compressed_image_buffer(ctx, bild);
    if (!istScan(*bild, gepackt) || !reicht(h, zielmass(bild->w, bild->h), lage) ||
        !sichtbar(ctx, geraet, lage))
        return nullptr;
    scanVergessen(ctx, h);
    h.scan = scanVerkleinert(h, *bild, gepackt);
    if (!h.scan)
        return nullptr;
    fz_pixmap* punkte = nullptr;
    fz_var(punkte);
    fz_try(ctx) {
        punkte = fz_new_pixmap(ctx, fz_device_gray(ctx), h.scan->breite, h.scan->hoehe, nullptr, 0);
        for (int y = 0; y < h.scan->hoehe; ++y)
            std::memcpy(
                punkte->samples + static_cast<std::ptrdiff_t>(y) * punkte->stride, h.scan->zeile(y).data(),
                static_cast<std::size_t>(h.scan->breite));
        h.scan.reset();
        h.scanErsatz = fz_new_image_from_pixmap(ctx, punkte, nullptr);
        h.scanQuelle = fz_keep_image(ctx, bild); // So that no other picture gets its address.
    }
    fz_always(ctx) {
        h.scan.reset();
        fz_drop_pixmap(ctx, punkte);
    }
    fz_catch(ctx) fz_rethrow(ctx);
    return h.scanErsatz;
}

void bildFuellen(
    fz_context* ctx, fz_device* geraet, fz_image* bild, fz_matrix lage, float deckung,
    fz_color_params farbart) {
    auto* const ersatz = ersatzFuer(ctx, geraet, bild, lage);
    haushaltVon(ctx).bildFuellen(ctx, geraet, ersatz != nullptr ? ersatz : bild, lage, deckung, farbart);
}

void schweigen(void* /*nutzer*/, char const* /*text*/) {}

/// Whether libjpeg says by this that it had no memory, or not as much as it may take (jpegSpeicherBegrenzen()).
bool sagtSpeichermangel(std::string_view text) {
    jpeg_error_mgr fehler{};
    jpeg_std_error(&fehler);
    return std::ranges::any_of(std::array{JERR_OUT_OF_MEMORY, JERR_NO_BACKING_STORE}, [&](int nummer) {
        std::string_view const satz{fehler.jpeg_message_table[nummer]};
        return text.find(satz.substr(0, satz.find('%'))) != std::string_view::npos;
    });
}

/// MuPDF draws a page without a picture that could not be decoded. Where memory was the reason, that is not the page.
void fehlerHoeren(void* nutzer, char const* text) {
    if (sagtSpeichermangel(text))
        static_cast<Haushalt*>(nutzer)->ohneBild = true;
}

/// Whether the document's text is still wanted after this piece; ends the page when not.
bool nochText(fz_context* ctx, fz_text const* text) {
    auto& h = haushaltVon(ctx);
    for (auto const* stueck = text->head; stueck != nullptr; stueck = stueck->next)
        h.zeichen += static_cast<std::size_t>(std::max(stueck->len, 0));
    if (h.zeichen > genugZeichen) {
        h.genugText = true;
        h.keks.abort = 1;
    }
    return !h.genugText;
}

void textFuellen(
    fz_context* ctx, fz_device* geraet, fz_text const* text, fz_matrix lage, fz_colorspace* farbraum,
    float const* farbe, float deckung, fz_color_params farbart) {
    if (nochText(ctx, text))
        haushaltVon(ctx).textFuellen(ctx, geraet, text, lage, farbraum, farbe, deckung, farbart);
}

void textUebergehen(fz_context* ctx, fz_device* geraet, fz_text const* text, fz_matrix lage) {
    if (nochText(ctx, text))
        haushaltVon(ctx).textUebergehen(ctx, geraet, text, lage);
}

/// What a guarded call may leave behind.
struct Halter {
    fz_stream* strom{};
    pdf_page* seite{};
    fz_stext_page* text{};
    fz_pixmap* pixmap{};
    fz_device* geraet{};
};

void leeren(fz_context* ctx, Halter& h) {
    fz_drop_device(ctx, std::exchange(h.geraet, nullptr));
    fz_drop_stext_page(ctx, std::exchange(h.text, nullptr));
    fz_drop_pixmap(ctx, std::exchange(h.pixmap, nullptr));
    if (h.seite != nullptr)
        fz_drop_page(ctx, reinterpret_cast<fz_page*>(std::exchange(h.seite, nullptr)));
    fz_drop_stream(ctx, std::exchange(h.strom, nullptr));
}

/// Calls `arbeit(halter)` with MuPDF's errors caught. `arbeit` may hold nothing that needs a destructor while
/// it calls MuPDF. What MuPDF made is in `halter` afterwards, also after an error. False after an error.
template<typename Arbeit>
[[gnu::noinline]] bool geschuetzt(fz_context* ctx, Halter& halter, Arbeit const& arbeit) {
    fz_try(ctx) arbeit(halter);
    fz_catch(ctx) return false;
    return true;
}

void haengeAn(std::string& text, char32_t zeichen) {
    if (zeichen == ersatzzeichen || zeichen == 0 || zeichen > 0x10FFFF ||
        (zeichen >= 0xD800 && zeichen < 0xE000)) {
        text += steuerzeichenErsatz;
        return;
    }
    std::array<char, 4> bytes{};
    auto const n = fz_runetochar(bytes.data(), static_cast<int>(zeichen));
    text.append(bytes.data(), static_cast<std::size_t>(n));
}

/// The lines of a page, with line feeds between them.
std::string seitentext(fz_stext_page const& seite) {
    std::string text;
    bool erste = true;
    for (auto const* block = seite.first_block; block != nullptr; block = block->next) {
        if (block->type != FZ_STEXT_BLOCK_TEXT)
            continue;
        for (auto const* zeile = block->u.t.first_line; zeile != nullptr; zeile = zeile->next) {
            if (!std::exchange(erste, false))
                text += '\n';
            for (auto const* zeichen = zeile->first_char; zeichen != nullptr; zeichen = zeichen->next)
                haengeAn(text, static_cast<char32_t>(zeichen->c));
        }
    }
    return text;
}

/// The page without its crop box: what was cropped away was still printed on the receipt.
pdf_page* ladeSeite(fz_context* ctx, pdf_document* dokument, int nummer) {
    pdf_obj* const objekt = pdf_lookup_page_obj(ctx, dokument, nummer);
    if (pdf_obj* const kasten = pdf_dict_get_inheritable(ctx, objekt, PDF_NAME(MediaBox)); kasten != nullptr)
        pdf_dict_put(ctx, objekt, PDF_NAME(CropBox), kasten); // The page's own entry hides an inherited one.
    return pdf_load_page(ctx, dokument, nummer);
}

} // namespace

struct PdfDatei::Innen {
    Haushalt haushalt;
    Dateiquelle quelle;
    fz_alloc_context speicher{&haushalt, belege, belegeNeu, gibFrei};
    fz_context* ctx{};
    pdf_document* dokument{};

    Innen(Dateiquelle const& q, PdfGrenzen const& grenzen)
        : haushalt{grenzen, Rechenuhr::now() + grenzen.frist, Uhr::now() + grenzen.wandfrist}
        , quelle(q) {}
    Innen(Innen const&) = delete;
    Innen& operator=(Innen const&) = delete;
    ~Innen() {
        if (ctx == nullptr)
            return;
        pdf_drop_document(ctx, dokument);
        fz_drop_context(ctx);
    }

    bool oeffnen();
    std::optional<std::string> text(int nummer);
};

bool PdfDatei::Innen::oeffnen() {
    ctx = fz_new_context(&speicher, nullptr, zwischenlagerBytes);
    if (ctx == nullptr)
        return false;
    fz_set_user_context(ctx, &haushalt);
    fz_set_warning_callback(ctx, schweigen, nullptr);
    fz_set_error_callback(ctx, fehlerHoeren, &haushalt);
    // Colour profiles matter neither for text nor for grey.
    fz_disable_icc(ctx);
    Halter halter;
    bool offen = false;
    bool const gelungen = geschuetzt(ctx, halter, [&](Halter& h) {
        auto* const strom = static_cast<Strom*>(fz_malloc(ctx, sizeof(Strom)));
        strom->quelle = &quelle;
        strom->haushalt = &haushalt;
        h.strom = fz_new_stream(ctx, strom, stromWeiter, stromFreigeben); // Frees `strom` itself on failure.
        h.strom->seek = stromSpringen;
        dokument = pdf_open_document_with_stream(ctx, h.strom);
        // Asked exactly once: a second question would discard the key again.
        offen = pdf_authenticate_password(ctx, dokument, leeresKennwort) != 0;
    });
    leeren(ctx, halter);
    if (!gelungen || !offen)
        return false;
    // Newer versions of the library make a table of all pages at the first question for one, as long as the document
    // says that it is. Where that is beyond the budget they fail once, and look each page up from then on.
    (void)geschuetzt(ctx, halter, [&](Halter&) { (void)pdf_lookup_page_obj(ctx, dokument, 0); });
    return true;
}

/// Nothing when the document has no such page or it cannot be read.
std::optional<std::string> PdfDatei::Innen::text(int nummer) {
    Halter halter;
    haushalt.neueSeite();
    bool const gelungen = geschuetzt(ctx, halter, [&](Halter& h) {
        h.seite = ladeSeite(ctx, dokument, nummer);
        auto* const seite = reinterpret_cast<fz_page*>(h.seite);
        h.text = fz_new_stext_page(ctx, fz_bound_page(ctx, seite));
        fz_stext_options vorgaben{};
        vorgaben.flags = FZ_STEXT_PRESERVE_WHITESPACE | FZ_STEXT_MEDIABOX_CLIP;
        h.geraet = fz_new_stext_device(ctx, h.text, &vorgaben);
        haushalt.textFuellen = std::exchange(h.geraet->fill_text, textFuellen);
        haushalt.textUebergehen = std::exchange(h.geraet->ignore_text, textUebergehen);
        fz_run_page(ctx, seite, h.geraet, fz_identity, &haushalt.keks);
        fz_close_device(ctx, h.geraet);
    });
    std::optional<std::string> text;
    if (halter.text != nullptr && gelungen && haushalt.vollstaendig())
        text = seitentext(*halter.text);
    leeren(ctx, halter);
    return text;
}

PdfDatei::PdfDatei(std::unique_ptr<Innen> innen)
    : innen_(std::move(innen)) {}
PdfDatei::PdfDatei(PdfDatei&&) noexcept = default;
PdfDatei& PdfDatei::operator=(PdfDatei&&) noexcept = default;
PdfDatei::~PdfDatei() = default;

std::optional<PdfDatei> PdfDatei::oeffnen(Dateiquelle const& quelle, PdfGrenzen const& grenzen) {
    auto innen = std::make_unique<Innen>(quelle, grenzen);
    bool const offen = innen->oeffnen();
    innen->haushalt.mangelMelden();
    if (!offen)
        return std::nullopt;
    return PdfDatei{std::move(innen)};
}

std::optional<std::string> PdfDatei::pdfTextschicht(std::function<void(std::string const&)> const& bisher) {
    std::string alles;
    innen_->haushalt.zeichen = 0;
    innen_->haushalt.genugText = false;
    for (int nummer = 0; nummer < gelesenSeiten && !innen_->haushalt.genugText; ++nummer) {
        auto const seite = innen_->text(nummer);
        innen_->haushalt.mangelMelden();
        if (!seite || seite->empty())
            continue;
        alles += *seite;
        alles += '\n';
        if (bisher && !nurLeerraum(alles))
            bisher(alles);
    }
    if (nurLeerraum(alles))
        return std::nullopt;
    return alles;
}

std::optional<Graubild> PdfDatei::pdfSeiteAlsBild() {
    auto* const ctx = innen_->ctx;
    Halter halter;
    innen_->haushalt.neueSeite();
    bool const gelungen = geschuetzt(ctx, halter, [&](Halter& h) {
        h.seite = ladeSeite(ctx, innen_->dokument, 0);
        auto* const seite = reinterpret_cast<fz_page*>(h.seite);
        auto const kasten = fz_bound_page(ctx, seite);
        double const breite = static_cast<double>(kasten.x1) - kasten.x0;
        double const hoehe = static_cast<double>(kasten.y1) - kasten.y0;
        if (!(breite > 1 && hoehe > 1))
            return;
        auto const faktor = static_cast<float>(Texterkennung::lesefaktor(breite, hoehe));
        auto const lage = fz_scale(faktor, faktor);
        innen_->haushalt.pixelJeEinheit = static_cast<double>(faktor);
        innen_->haushalt.seitenkasten = kasten;
        auto const flaeche = fz_round_rect(fz_transform_rect(kasten, lage));
        if (fz_is_empty_irect(flaeche) != 0)
            return; // A box so long that its short side is less than a pixel.
        h.pixmap = fz_new_pixmap_with_bbox(ctx, fz_device_gray(ctx), flaeche, nullptr, 0);
        fz_clear_pixmap_with_value(ctx, h.pixmap, static_cast<int>(weiss));
        h.geraet = fz_new_draw_device(ctx, lage, h.pixmap);
        innen_->haushalt.kachelBeginnen = std::exchange(h.geraet->begin_tile, kachelBeginnen);
        innen_->haushalt.bildFuellen = std::exchange(h.geraet->fill_image, bildFuellen);
        fz_run_page(ctx, seite, h.geraet, fz_identity, &innen_->haushalt.keks);
        fz_close_device(ctx, h.geraet);
    });
    std::optional<Graubild> bild;
    if (halter.pixmap != nullptr && gelungen && innen_->haushalt.vollstaendig()) {
        auto const* pixmap = halter.pixmap;
        bild.emplace(Graubild{pixmap->w, pixmap->h, {}});
        auto const breite = static_cast<std::size_t>(pixmap->w);
        bild->punkte.resize(breite * static_cast<std::size_t>(pixmap->h));
        for (int y = 0; y < pixmap->h; ++y)
            std::memcpy(
                bild->punkte.data() + static_cast<std::size_t>(y) * breite,
                pixmap->samples + static_cast<std::ptrdiff_t>(y) * pixmap->stride, breite);
    }
    scanVergessen(ctx, innen_->haushalt);
    leeren(ctx, halter);
    innen_->haushalt.mangelMelden();
    return bild;
}

} // namespace quillmate::leser::motoren
