#pragma once

#include "ports/standardprogramm.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace quillmate::adapter::gtk {

/// Opens addresses with GIO's default handler, in the environment that this program was started with.
class StandardprogrammGio final : public ports::Standardprogramm {
public:
    /// `urspruenglich`: variables that the program has changed for itself, with their former values (nothing: unset).
    explicit StandardprogrammGio(std::map<std::string, std::optional<std::string>> urspruenglich);
    void oeffnen(std::string const& adresse) override;
    void oeffnen(std::string const& adresse, std::function<void()> gescheitert) override;
    [[nodiscard]] std::optional<std::string> nameFuer(std::string const& schema) const override;

private:
    std::map<std::string, std::optional<std::string>> const urspruenglich_;
};

} // namespace quillmate::adapter::gtk
