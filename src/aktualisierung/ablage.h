#pragma once

#include "grundlage/datei.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quillmate::aktualisierung {

/// A downloaded archive on its way: a file without a name, so that what has been checked is what gets unpacked, and
/// nothing is left when the process dies.
class Ablage {
public:
    /// In this folder, which has to take the unpacked archive anyway. Nothing when no file can be made there.
    [[nodiscard]] static std::optional<Ablage> in(std::string const& ordner);

    Ablage(Ablage&& andere) noexcept;
    Ablage& operator=(Ablage&&) = delete;
    Ablage(Ablage const&) = delete;
    Ablage& operator=(Ablage const&) = delete;
    ~Ablage();

    /// False when the disk does not take the bytes.
    [[nodiscard]] bool anhaengen(char const* bytes, std::size_t anzahl);
    /// All bytes, as long as this object lives. Nothing may be appended any more.
    [[nodiscard]] std::optional<std::string_view> alles();

private:
    explicit Ablage(Deskriptor datei) noexcept;
    Deskriptor datei_;
    std::size_t laenge_{0};
    void* abbild_{nullptr};
};

} // namespace quillmate::aktualisierung
