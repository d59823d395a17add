#pragma once

#include <optional>
#include <string>

namespace quillmate::plattform {

/// Identifier of the main build, and of a program that runs without a bundle.
inline constexpr char const* hauptkennung = "de.tandemwerk.quillmate";

/// The bundle that a program runs from: "NAME.app" with "Contents/Info.plist", found upward from the
/// executable.
struct Buendel {
    std::string pfad;                       ///< Of the ".app" folder.
    std::optional<std::string> kennung;     ///< CFBundleIdentifier
    std::optional<std::string> kurzfassung; ///< CFBundleShortVersionString
    std::optional<std::string> buildnummer; ///< CFBundleVersion
};

/// Nothing when the executable lies in no bundle. Links are resolved first.
[[nodiscard]] std::optional<Buendel> buendelVon(std::string const& programmdatei);
/// The bundle of the running program.
[[nodiscard]] std::optional<Buendel> eigenesBuendel();
/// Its identifier, or hauptkennung.
[[nodiscard]] std::string eigeneKennung();

} // namespace quillmate::plattform
