#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace quillmate::dauer {

/// Dice that fall the same way on every machine: the library's distributions may differ, its engine does not.
class Zufall {
public:
    explicit Zufall(std::uint64_t saat)
        : motor_(saat) {}
    /// 0 to `grenze` - 1.
    [[nodiscard]] std::uint64_t unter(std::uint64_t grenze) { return grenze == 0 ? 0 : motor_() % grenze; }
    [[nodiscard]] bool mit(unsigned prozent) { return unter(100) < prozent; }
    template<class Wert>
    [[nodiscard]] Wert const& eins(std::vector<Wert> const& werte) {
        return werte.at(unter(werte.size()));
    }

private:
    std::mt19937_64 motor_;
};

} // namespace quillmate::dauer
