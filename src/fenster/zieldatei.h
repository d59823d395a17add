#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillmate::fenster {

/// A safe file name from one that came over the network: the last component, without control characters and marks
/// that turn the direction of text, not hidden, of bounded length. "Download" when nothing is left.
/// Pure; any thread.
[[nodiscard]] std::string sichererDateiname(std::string_view vorschlag);

/// A name that a download will get. Nothing lies there until the file is whole, so nobody finds half of it; within the
/// program nobody else gets the name meanwhile. Another program's file of that name stays: whoever puts the whole file
/// there does not replace anything, and asks for the next name.
/// Threads: any.
class Zieldatei {
public:
    /// Claims `name` in `ordner`, or the first of "STEM 2.EXT", "STEM 3.EXT" and so on that does not exist. Nothing,
    /// and errno, when no file can be made there.
    [[nodiscard]] static std::optional<Zieldatei> belegen(std::string const& ordner, std::string_view name);

    Zieldatei(Zieldatei&& andere) noexcept;
    Zieldatei& operator=(Zieldatei&& andere) noexcept;
    Zieldatei(Zieldatei const&) = delete;
    Zieldatei& operator=(Zieldatei const&) = delete;
    ~Zieldatei();

    [[nodiscard]] std::string const& pfad() const noexcept { return pfad_; }
    [[nodiscard]] std::string name() const;

private:
    explicit Zieldatei(std::string pfad) noexcept;
    void aufgeben() noexcept;

    std::string pfad_; ///< Empty once it was moved away.
};

} // namespace quillmate::fenster
