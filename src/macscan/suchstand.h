#pragma once

#include "grundlage/json.h"
#include "ports/uhr.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace quillmate::MacScan {

/// The state of the current or last scan, as the page is told: whether it runs, of which kind, since when,
/// and its steps with counts and times. Threads: any.
/// Ownership: borrows the clock, which must outlive this
/// object.
class SuchStand {
public:
    using Zusatz = std::map<std::string, std::int64_t>;

    explicit SuchStand(ports::Uhr const& uhr) noexcept
        : uhr_(uhr) {}

    /// A new run begins: forgets the steps of the last one.
    void neu(std::string art);
    /// Adds a step; returns its index.
    int beginne(
        std::string schluessel, std::optional<std::string> name = {},
        std::optional<std::int64_t> gesamt = {});
    /// Replaces what is given; `zusatz` is merged into the step's own. An unknown index is ignored.
    void setze(
        int index, std::optional<std::int64_t> anzahl, std::optional<std::int64_t> gesamt = {},
        Zusatz const& zusatz = {});
    /// Ends the step. An unknown index is ignored.
    void fertig(int index, std::optional<std::int64_t> anzahl = {});
    /// The run is over; its steps stay readable.
    void ende();

    /// "laeuft", "art", "sekunden" (0 before any run), "schritte".
    [[nodiscard]] Json bericht() const;

private:
    struct Schritt {
        std::string schluessel;             ///< Machine name.
        std::optional<std::string> name;    ///< Display name.
        std::optional<std::int64_t> anzahl; ///< Items done.
        std::optional<std::int64_t> gesamt; ///< Items in all.
        Zusatz zusatz;                      ///< Further counters.
        bool fertig{false};
        ports::Uhr::Zeitpunkt start;
        std::optional<ports::Uhr::Zeitpunkt> ende;
    };

    [[nodiscard]] Schritt* schritt(int index);

    ports::Uhr const& uhr_;
    mutable std::mutex sperre_; ///< Guards everything below.
    bool laeuft_{false};
    std::string art_;
    std::optional<ports::Uhr::Zeitpunkt> beginn_; ///< Nothing: there was no run yet.
    std::vector<Schritt> schritte_;
};

} // namespace quillmate::MacScan
