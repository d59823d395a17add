#pragma once

#include "ports/dateiwerk.h"

#include <string>
#include <string_view>

namespace quillmate::adapter::linux {

/// Copies appear at their place in one step (a hidden folder beside it, flushed, then renamed); the trash is the
/// desktop's (GIO), which keeps what is trashed on its own file system.
/// Threads: any.
class DateiwerkLinux final : public ports::Dateiwerk {
public:
    [[nodiscard]] bool beschreibbar(std::string const& ordner) override;
    [[nodiscard]] bool vorhanden(std::string const& pfad) override;
    [[nodiscard]] bool derselbe(std::string const& einer, std::string const& anderer) override;
    [[nodiscard]] ports::Hindernis ordnerAnlegen(std::string const& ordner) override;
    [[nodiscard]] ports::Hindernis inDenPapierkorb(std::string const& pfad) override;
    [[nodiscard]] ports::Hindernis kopieren(std::string const& von, std::string const& nach) override;
    void resteEntfernen(std::string const& nach) override;
    void downloadmarkenEntfernen(std::string const& pfad) override;
    [[nodiscard]] std::optional<ports::Datentraeger> datentraeger(std::string const& pfad) override;
};

/// Where the file system is mounted that holds the absolute `pfad`, by the text of /proc/self/mountinfo (proc(5)).
/// Pure.
[[nodiscard]] std::optional<std::string> einhaengepunkt(std::string_view mountinfo, std::string_view pfad);

} // namespace quillmate::adapter::linux
