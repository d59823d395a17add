#pragma once

#include "plattform/warteblatt.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace quillmate::attrappen {

/// Sheets without a screen.
class WarteblattwerkAttrappe final : public plattform::Warteblattwerk {
public:
    std::unique_ptr<plattform::Warteblatt> zeigen(
        plattform::Wartetext const& text, std::function<void()> abgebrochen) override {
        if (ohneFenster)
            return nullptr;
        texte.push_back(text);
        abbrechen = std::move(abgebrochen);
        ++offen;
        return std::make_unique<Blatt>(offen);
    }

    std::vector<plattform::Wartetext> texte;
    std::function<void()> abbrechen; ///< Presses "Abbrechen" on the sheet shown last.
    int offen{0};
    bool ohneFenster{false};

private:
    struct Blatt final : plattform::Warteblatt {
        explicit Blatt(int& offene)
            : offen(offene) {}
        ~Blatt() override { --offen; }
        Blatt(Blatt const&) = delete;
        Blatt& operator=(Blatt const&) = delete;
        int& offen;
    };
};

} // namespace quillmate::attrappen
