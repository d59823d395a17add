#pragma once

#include "grundlage/ergebnis.h"
#include "ports/buendel.h"

#include <optional>
#include <string>

namespace quillmate::adapter::linux {

/// Identifier of the main build, and of a program that runs without a bundle.
inline constexpr char const* hauptkennung = "de.tandemwerk.quillmate";

/// The bundle at exactly this folder; nothing when it has no property list that can be read.
[[nodiscard]] std::optional<ports::Buendel> buendelAn(std::string const& ordner);
/// The bundle that a program runs from, found upward from its executable. Links are resolved first. Nothing when the
/// executable lies in no bundle.
[[nodiscard]] std::optional<ports::Buendel> buendelVon(std::string const& programmdatei);
/// Fails where the program lies in a bundle whose property list is there and cannot be read now: then nobody may conclude
/// from buendelVon() that it is none, and take the main build's identity.
[[nodiscard]] Ergebnis<void> buendellage(std::string const& programmdatei);
/// The bundle of the running program.
[[nodiscard]] std::optional<ports::Buendel> eigenesBuendel();
/// Its identifier, or hauptkennung.
[[nodiscard]] std::string eigeneKennung();

/// Bundles as folders. Linux runs no program from a hidden copy and signs no folders, so nothing is known of either.
class BuendelkundeLinux final : public ports::Buendelkunde {
public:
    [[nodiscard]] std::string laufend() override;
    [[nodiscard]] std::optional<ports::Buendel> lesen(std::string const& pfad) override {
        return buendelAn(pfad);
    }
    [[nodiscard]] std::optional<std::string> originalPfad(std::string const& /*pfad*/) override {
        return std::nullopt;
    }
    [[nodiscard]] bool mitTeamSigniert(std::string const& /*pfad*/) override { return false; }
};

} // namespace quillmate::adapter::linux
