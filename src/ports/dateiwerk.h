#pragma once

#include <optional>
#include <string>

namespace quillmate::ports {

/// What stopped an operation, as a German sentence for people; nothing when it worked.
using Hindernis = std::optional<std::string>;

/// A mounted volume.
struct Datentraeger {
    std::string pfad; ///< Where it is mounted.
    bool nurLesen{false};
};

/// Port: what moving a bundle asks of the file system.
/// Threads: any; every operation blocks.
class Dateiwerk {
public:
    virtual ~Dateiwerk() = default;
    /// Whether the folder exists and new entries can be made in it.
    [[nodiscard]] virtual bool beschreibbar(std::string const& ordner) = 0;
    /// Whether anything is at the path, be it a link that leads nowhere.
    [[nodiscard]] virtual bool vorhanden(std::string const& pfad) = 0;
    /// Whether both paths lead to one and the same folder, by whatever names.
    [[nodiscard]] virtual bool derselbe(std::string const& einer, std::string const& anderer) = 0;
    /// With all that is missing above it; no hindrance when it exists already.
    [[nodiscard]] virtual Hindernis ordnerAnlegen(std::string const& ordner) = 0;
    [[nodiscard]] virtual Hindernis inDenPapierkorb(std::string const& pfad) = 0;
    /// Copies a folder with all in it; modes and links are kept. `nach` must not exist. On return the copy is on
    /// the disk, or there is a hindrance and nothing at `nach`; also when the process is killed meanwhile, `nach`
    /// is whole or missing.
    [[nodiscard]] virtual Hindernis kopieren(std::string const& von, std::string const& nach) = 0;
    /// Removes what a killed copy to `nach` left beside it.
    virtual void resteEntfernen(std::string const& nach) = 0;
    /// Removes the marks of a download from the folder and all in it. Best effort.
    virtual void downloadmarkenEntfernen(std::string const& pfad) = 0;
    /// The volume that holds the path; nothing when that cannot be told.
    [[nodiscard]] virtual std::optional<Datentraeger> datentraeger(std::string const& pfad) = 0;
};

} // namespace quillmate::ports
