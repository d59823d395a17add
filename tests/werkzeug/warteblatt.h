#pragma once

#include "ports/warteblatt.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace quillmate::werkzeug {

/// Sheets without a screen.
class WarteblattwerkAttrappe final : public ports::Warteblattwerk {
public:
    std::unique_ptr<ports::Warteblatt> zeigen(
        ports::Wartetext const& text, std::function<void()> abgebrochen) override {
        if (ohneFenster)
            return nullptr;
        texte.push_back(text);
        stockt.clear();
        abbrechen = std::move(abgebrochen);
        ++offen;
        return std::make_unique<Blatt>(*this);
    }

    std::vector<ports::Wartetext> texte;
    std::function<void()> abbrechen; ///< Presses "Abbrechen" on the sheet shown last.
    std::string stockt;              ///< What the sheet shown last says instead of waiting.
    int offen{0};
    bool ohneFenster{false};

private:
    struct Blatt final : ports::Warteblatt {
        explicit Blatt(WarteblattwerkAttrappe& w)
            : werk(w) {}
        ~Blatt() override { --werk.offen; }
        Blatt(Blatt const&) = delete;
        Blatt& operator=(Blatt const&) = delete;
        void stocken(std::string const& erklaerung) override { werk.stockt = erklaerung; }
        WarteblattwerkAttrappe& werk;
    };
};

} // namespace quillmate::werkzeug
