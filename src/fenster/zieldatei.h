#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillmate::fenster {

/// A safe file name from one that came over the network: the last component, without control characters and marks
/// that turn the direction of text, not hidden, of bounded length. "Download" when nothing is left.
/// Pure; any thread.
[[nodiscard]] std::string sichererDateiname(std::string_view vorschlag);

/// A name that was claimed for a download: an empty file stands there, so nobody else gets the name.
/// Threads: one at a time; the claim itself holds against all threads and programs.
/// Ownership: the file goes away with this object unless it was kept or has been replaced meanwhile.
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
    /// The download is complete; what lies there now stays.
    void behalten() noexcept { behalten_ = true; }

private:
    Zieldatei(std::string pfad, unsigned long long geraet, unsigned long long knoten) noexcept;
    void aufgeben() noexcept;

    std::string pfad_;
    unsigned long long geraet_; ///< Device and inode of the empty file.
    unsigned long long knoten_;
    bool behalten_{false};
};

} // namespace quillmate::fenster
