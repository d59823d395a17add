#pragma once

#include "grundlage/datei.h"
#include "leser/motoren/leser_im_prozess.h"
#include "ziel.h"

#include <sys/mman.h>
#include <unistd.h>

#include <string_view>
#include <vector>

namespace quillmate::fuzz {

/// Recognises nothing, so that what takes the time is what is searched: the decoders. Looks at every point.
class BlinderErkenner final : public leser::motoren::Schrifterkenner {
public:
    void auflegen(leser::motoren::Graubild bild) override {
        VERSPROCHEN(bild.breite > 0 && bild.hoehe > 0);
        VERSPROCHEN(
            bild.punkte.size() ==
            static_cast<std::size_t>(bild.breite) * static_cast<std::size_t>(bild.hoehe));
        summe_ = 0;
        for (auto const punkt : bild.punkte)
            summe_ += punkt;
    }
    std::optional<int> textfelder() override { return static_cast<int>(summe_ % 2); }
    Gelesen lesen(
        leser::motoren::Ausrichtung /*ausrichtung*/, leser::motoren::Erkennungsende /*ende*/) override {
        return {};
    }
    void vergessen() noexcept override {}

private:
    unsigned summe_{0};
};

inline void lesen(std::uint8_t const* daten, std::size_t groesse, Texterkennung::Dateiart art) {
    static leser::motoren::LeserImProzess leser{[] {
        return std::make_unique<BlinderErkenner>();
    }};
    Deskriptor const datei{::memfd_create("eingabe", MFD_CLOEXEC)};
    if (::write(datei.get(), daten, groesse) == static_cast<ssize_t>(groesse))
        (void)leser.lesen(datei.get(), art);
}

/// A picture of one format: the first bytes, by which a format is told, are made to say it, so that no time goes to others.
/// A '?' leaves the byte as it is.
inline void lesenAls(std::string_view anfang, std::uint8_t const* daten, std::size_t groesse) {
    if (groesse < anfang.size())
        return;
    std::vector<std::uint8_t> bytes{daten, daten + groesse};
    for (std::size_t i = 0; i < anfang.size(); ++i)
        if (anfang[i] != '?')
            bytes[i] = static_cast<std::uint8_t>(anfang[i]);
    lesen(bytes.data(), bytes.size(), Texterkennung::Dateiart::bild);
}

} // namespace quillmate::fuzz
