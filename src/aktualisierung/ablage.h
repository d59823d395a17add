#pragma once

#include "grundlage/datei.h"
#include "grundlage/ergebnis.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace quillmate::aktualisierung {

/// A downloaded archive on its way: a file without a name, so that what has been checked is what gets unpacked, and
/// nothing is left when the process dies.
class Ablage {
public:
    /// In this folder, which has to take the unpacked archive anyway.
    [[nodiscard]] static Ergebnis<Ablage> in(std::string const& ordner);

    Ablage(Ablage&& andere) noexcept;
    Ablage& operator=(Ablage&&) = delete;
    Ablage(Ablage const&) = delete;
    Ablage& operator=(Ablage const&) = delete;
    ~Ablage();

    [[nodiscard]] Ergebnis<void> anhaengen(char const* bytes, std::size_t anzahl);
    /// All bytes, as long as this object lives. Nothing may be appended any more.
    [[nodiscard]] Ergebnis<std::string_view> alles();

private:
    explicit Ablage(Deskriptor datei) noexcept;
    Deskriptor datei_;
    std::size_t laenge_{0};
    void* abbild_{nullptr};
};

} // namespace quillmate::aktualisierung
