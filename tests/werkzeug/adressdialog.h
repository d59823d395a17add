#pragma once

#include "ports/adressdialog.h"

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quillmate::werkzeug {

/// A user who types the given texts one after the other, as the real dialog lets them: a text that is not acceptable
/// keeps the dialog open, and when no text is left the user cancels.
class GetippterDialog final : public ports::Adressdialog {
public:
    std::optional<std::string> fragen(ports::Adressfrage const& frage) override {
        fragen_.push_back(frage);
        if (waehrenddessen)
            waehrenddessen();
        while (!eingaben.empty()) {
            auto const text = eingaben.front();
            eingaben.pop_front();
            if (frage.annehmbar(text))
                return text;
            ++beanstandet;
        }
        return std::nullopt;
    }

    std::deque<std::string> eingaben;
    std::function<void()> waehrenddessen; ///< What happens while the dialog is open.
    std::vector<ports::Adressfrage> fragen_;
    int beanstandet{0};
};

} // namespace quillmate::werkzeug
