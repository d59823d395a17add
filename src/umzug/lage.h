#pragma once

#include "ports/buendel.h"

#include <optional>
#include <string>
#include <string_view>

/// Where the program's bundle lies, and whether it should lie elsewhere.
/// Threads: any.
namespace quillmate::Umzug {

/// Where a bundle lies.
enum class Ort {
    programme, ///< In /Applications or in the user's own Applications folder.
    downloads, ///< In the user's Downloads folder, or in a temporary copy of a download.
    dmg,       ///< On a mounted volume (a disk image).
    anderswo,
};

/// The name of the place in reports to the page.
[[nodiscard]] std::string_view rohwert(Ort ort) noexcept;

/// The user's folders that places are told by. Full paths without trailing slash.
struct Ordner {
    std::optional<std::string> downloads; ///< Nothing when the system knows none.
    std::string zuhause;
    std::string programme{"/Applications"}; ///< The Applications folder of all users.
};

struct Lage {
    std::string laufend;  ///< The bundle that is running now.
    std::string original; ///< Where it really lies; differs from `laufend` for a temporary copy only.
    Ort ort{Ort::anderswo};
    bool versetzt{false};     ///< The running bundle is a temporary copy.
    bool ausgeliefert{false}; ///< Ort::anderswo only: a shipped build, not a developer's own.

    [[nodiscard]] bool umzugNoetig() const noexcept;
    /// Completes "Quillmate läuft gerade ".
    [[nodiscard]] std::string_view beschreibung() const noexcept;
    /// What is bad about the place, as a sentence.
    [[nodiscard]] std::string_view folge() const noexcept;

    friend bool operator==(Lage const&, Lage const&) = default;
};

/// Classifies a path by its text alone: case counts, and no link is resolved.
[[nodiscard]] Ort ortFuer(std::string_view pfad, Ordner const& ordner) noexcept;

/// Whether the path is that of a temporary copy that a system makes of a fresh download.
[[nodiscard]] bool istWegwerfort(std::string_view pfad) noexcept;

/// The short reason for which a copy of the program should not stay at `pfad`; nothing for places that are
/// all right and those that nothing is known about.
[[nodiscard]] std::optional<std::string_view> grund(std::string_view pfad, Ordner const& ordner) noexcept;

/// Assesses the bundle at `url`.
[[nodiscard]] Lage lage(std::string const& url, ports::Buendelkunde& buendelkunde, Ordner const& ordner);
/// Assesses the running bundle.
[[nodiscard]] Lage lage(ports::Buendelkunde& buendelkunde, Ordner const& ordner);

/// The file name that the bundle at `url` gets in an Applications folder.
[[nodiscard]] std::string zielName(std::string const& url, ports::Buendelkunde& buendelkunde);

} // namespace quillmate::Umzug
