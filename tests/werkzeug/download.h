#pragma once

#include "ports/download.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace quillmate::werkzeug {

/// A download that a test moves on step by step.
class DownloadAttrappe final : public ports::Download {
public:
    explicit DownloadAttrappe(std::string adresse = "https://quillmate.example/datei")
        : adresse_(std::move(adresse)) {}
    void abbrechen() override {
        ++abgebrochen;
        scheitert("Vom Nutzer abgebrochen.");
    }
    int abgebrochen{0};
    void empfaenger(Empfaenger empfaenger) override { empfaenger_ = std::move(empfaenger); }
    [[nodiscard]] std::string adresse() const override { return adresse_; }

    [[nodiscard]] bool hatEmpfaenger() const { return static_cast<bool>(empfaenger_.ziel); }
    std::optional<std::string> fragt(std::string const& vorschlag) { return empfaenger_.ziel(vorschlag); }
    /// Bytes arrive; whether the download goes on.
    bool erhaelt(std::uint64_t bytes, std::uint64_t gesamt = 0) {
        auto const grund = empfaenger_.fortschritt ? empfaenger_.fortschritt(bytes, gesamt) : std::nullopt;
        if (grund)
            empfaenger_.fehlgeschlagen(*grund);
        return !grund;
    }
    void fertig() { empfaenger_.fertig(); }
    void scheitert(std::string const& beschreibung) { empfaenger_.fehlgeschlagen(beschreibung); }

private:
    std::string const adresse_;
    Empfaenger empfaenger_;
};

} // namespace quillmate::werkzeug
