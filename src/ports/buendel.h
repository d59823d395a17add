#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace quillmate::ports {

/// What a bundle's property list says about its updates.
struct Updatewerte {
    std::optional<std::string> feed;             ///< SUFeedURL: address of the appcast.
    std::vector<std::string> schluessel;         ///< SUPublicEDKey: a text, or an array of texts; Base64.
    std::optional<bool> automatisch;             ///< SUEnableAutomaticChecks
    std::optional<std::chrono::seconds> abstand; ///< SUScheduledCheckInterval, in seconds.
};

/// An application bundle: a folder "NAME.app" with "Contents/Info.plist". What the list does not name, or names
/// as something other than text, is missing.
struct Buendel {
    std::string pfad;                       ///< Of the ".app" folder.
    std::optional<std::string> kennung;     ///< CFBundleIdentifier
    std::optional<std::string> name;        ///< CFBundleName
    std::optional<std::string> kurzfassung; ///< CFBundleShortVersionString
    std::optional<std::string> buildnummer; ///< CFBundleVersion
    std::optional<std::string> programm;    ///< Full path of CFBundleExecutable.
    Updatewerte updates;
};

/// Port: what the desktop knows about bundles.
/// Threads: any.
class Buendelkunde {
public:
    virtual ~Buendelkunde() = default;
    /// Folder of the running bundle; the executable's folder for a program that runs outside of one.
    [[nodiscard]] virtual std::string laufend() = 0;
    /// The bundle at exactly this path; nothing when there is none that can be read.
    [[nodiscard]] virtual std::optional<Buendel> lesen(std::string const& pfad) = 0;
    /// Where a bundle really lies that the system runs from a temporary copy; nothing when that is not known.
    [[nodiscard]] virtual std::optional<std::string> originalPfad(std::string const& pfad) = 0;
    /// Whether the bundle carries a code signature with a team identifier.
    [[nodiscard]] virtual bool mitTeamSigniert(std::string const& pfad) = 0;
};

} // namespace quillmate::ports
