#include "leser_im_prozess.h"

#include "bild.h"
#include "dateiquelle.h"
#include "erkennen.h"
#include "grundlage/text.h"
#include "pdf.h"
#include "texterkennung/heuristik.h"
#include "vorbereiten.h"

#include <libheif/heif.h>

#include <chrono>
#include <exception>
#include <new>
#include <utility>

namespace quillmate::leser::motoren {

namespace {

// Processor time of both passes together. A page of small print takes a few seconds; what is still being read after this
// long is a picture full of noise.
constexpr std::chrono::seconds fristJeDatei{30};
// How much longer than its own limit a step may take before it is ended from outside: recognition ends after a word, and a
// PDF tidies up.
constexpr std::chrono::seconds nachfrist{2};

/// For readings that nobody watches.
class OhneWacht final : public Rechenwacht {
public:
    void beginnt(std::chrono::milliseconds /*frist*/) override {}
    void sonst(Texterkennung::Lesung const& /*lesung*/) override {}
    void endet() noexcept override {}
};
OhneWacht ohneWacht; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): has no state

Texterkennung::Lesung gelesen(std::optional<std::string> text) {
    if (text)
        text = ersteZeichen(*text, Texterkennung::hoechstensZeichen);
    return {Texterkennung::Lesung::Art::gelesen, std::move(text)};
}

std::optional<Sprachdaten> gefundene(std::vector<std::string> const& ordner) {
    auto daten = sucheSprachdaten(ordner);
    Texterkennung::sprachstandMelden(sprachstand(daten));
    return daten;
}

LeserImProzess::Motorbau tesseractBau(std::optional<Sprachdaten> daten) {
    if (!daten)
        return [] {
            return nullptr;
        };
    return [daten = *std::move(daten), gemeldet = std::make_shared<std::once_flag>()] {
        std::unique_ptr<Schrifterkenner> motor = TesseractErkenner::laden(daten);
        if (!motor)
            std::call_once(
                *gemeldet, [] { Texterkennung::sprachstandMelden(Texterkennung::Sprachstand::unbrauchbar); });
        return motor;
    };
}

} // namespace

LeserImProzess::LeserImProzess(std::vector<std::string> const& sprachordner)
    : LeserImProzess(gefundene(sprachordner)) {}

LeserImProzess::LeserImProzess(std::optional<Sprachdaten> daten)
    : LeserImProzess(tesseractBau(std::move(daten))) {}

LeserImProzess::LeserImProzess(Motorbau motorbau)
    : motorbau_(std::move(motorbau))
    , wacht_(&ohneWacht) {}

void LeserImProzess::bewachen(Rechenwacht& wacht, PdfGrenzen const& grenzen) {
    wacht_ = &wacht;
    pdfGrenzen_ = grenzen;
}

void LeserImProzess::vorwaermen(std::size_t motoren) {
    jpegSpeicherBegrenzen();
    std::vector<std::unique_ptr<Schrifterkenner>> fertige;
    while (fertige.size() < motoren) {
        auto motor = motorHolen();
        if (!motor)
            break;
        // The engine and the functions behind the verdict set up their tables when first used.
        motor->auflegen({64, 64, std::vector<std::uint8_t>(64U * 64U, 255)});
        static_cast<void>(motor->textfelder());
        static_cast<void>(motor->lesen(Ausrichtung::aufrecht, Erkennungsende::max()));
        fertige.push_back(std::move(motor));
    }
    for (auto& motor : fertige)
        motorZurueck(std::move(motor));
    static_cast<void>(Texterkennung::siehtNachBelegAus("1"));
    static_cast<void>(ersteZeichen("1", 1));
    static_cast<void>(heif_init(nullptr)); // Loads the library's decoder plug-ins.
}

std::unique_ptr<Schrifterkenner> LeserImProzess::motorHolen() {
    {
        std::scoped_lock const gesperrt{sperre_};
        if (!frei_.empty()) {
            auto motor = std::move(frei_.back());
            frei_.pop_back();
            return motor;
        }
    }
    return motorbau_();
}

void LeserImProzess::motorZurueck(std::unique_ptr<Schrifterkenner> motor) {
    motor->vergessen();
    std::scoped_lock const gesperrt{sperre_};
    frei_.push_back(std::move(motor));
}

Texterkennung::Lesung LeserImProzess::erkannt(Graubild bild, std::optional<std::string> sonst) {
    try {
        wacht_->sonst(gelesen(sonst));
        wacht_->beginnt(fristJeDatei + nachfrist);
        vorbereiten(bild);
        auto motor = motorHolen();
        if (!motor)
            return {Texterkennung::Lesung::Art::ohneMotor, std::move(sonst)};
        // An engine that threw is not used again.
        auto text = erkennen(*motor, std::move(bild), Rechenuhr::now() + fristJeDatei);
        motorZurueck(std::move(motor));
        return {Texterkennung::Lesung::Art::gelesen, text ? std::move(text) : std::move(sonst)};
    } catch (std::bad_alloc const&) {
        return {Texterkennung::Lesung::Art::ohneMittel, std::move(sonst)};
    } catch (std::exception const&) {
        return {Texterkennung::Lesung::Art::gelesen, std::move(sonst)};
    }
}

Texterkennung::Lesung LeserImProzess::pdfLesen(Dateiquelle const& quelle) {
    wacht_->sonst({});
    wacht_->beginnt(pdfGrenzen_.frist + nachfrist);
    auto pdf = PdfDatei::oeffnen(quelle, pdfGrenzen_);
    if (!pdf)
        return {};
    auto schicht = pdf->pdfTextschicht([&](std::string const& bisher) { wacht_->sonst(gelesen(bisher)); });
    if (schicht && Texterkennung::istVerlaesslich(*schicht))
        return {Texterkennung::Lesung::Art::gelesen, std::move(schicht)};
    std::optional<Graubild> bild;
    try {
        bild = pdf->pdfSeiteAlsBild();
    } catch (std::bad_alloc const&) {
        return {Texterkennung::Lesung::Art::ohneMittel, std::move(schicht)};
    }
    pdf.reset(); // Its memory is not needed while recognising.
    if (!bild)
        return {Texterkennung::Lesung::Art::gelesen, std::move(schicht)};
    return erkannt(*std::move(bild), std::move(schicht));
}

Texterkennung::Lesung LeserImProzess::bildLesen(Dateiquelle const& quelle) {
    wacht_->sonst({});
    wacht_->beginnt(fristJeBild + nachfrist);
    auto bild = bildLaden(quelle);
    if (!bild)
        return {};
    return erkannt(*std::move(bild), std::nullopt);
}

Texterkennung::Lesung LeserImProzess::lesen(int deskriptor, Texterkennung::Dateiart art) {
    auto const quelle = Dateiquelle::ausDeskriptor(deskriptor);
    if (!quelle)
        return {.art = Texterkennung::Lesung::Art::gestoert};
    Texterkennung::Lesung lesung;
    try {
        lesung = art == Texterkennung::Dateiart::pdf ? pdfLesen(*quelle) : bildLesen(*quelle);
    } catch (std::bad_alloc const&) {
        lesung = {Texterkennung::Lesung::Art::ohneMittel, std::nullopt};
    } catch (std::exception const&) {
        lesung = {}; // No library here throws over a file; if one does, it cannot be read.
    }
    wacht_->endet();
    if (quelle->gestoert()) // A part of the file may look like a whole one, or like a damaged one.
        return {.art = Texterkennung::Lesung::Art::gestoert};
    if (lesung.text)
        lesung.text = ersteZeichen(*lesung.text, Texterkennung::hoechstensZeichen);
    return lesung;
}

std::unique_ptr<Texterkennung::Leser> leserImProzess() {
    return std::make_unique<LeserImProzess>();
}

} // namespace quillmate::leser::motoren
