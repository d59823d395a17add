#pragma once

#include "lauf.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace quillmate::MacScan {

/// The steps of a full scan that find its candidates. Each place is looked through on a thread of its own (am_ort.h),
/// because a share whose server is gone holds up whoever looks. Such a thread may outlive the run, so it shares what it
/// needs and borrows nothing.
/// Threads: one at a time. Ownership: borrows the run.
class Kandidatensuche {
public:
    explicit Kandidatensuche(Lauf const& lauf) noexcept
        : lauf_(lauf) {}

    /// Holds the places open, so that links and exchanged folders cannot lead out of them. Called first.
    void orteOeffnen(std::vector<std::string> const& orte);
    /// Fetches what is only in the cloud, place by place.
    [[nodiscard]] Weiter wolkeLaden(std::vector<std::string> const& orte);
    [[nodiscard]] Weiter orteDurchsuchen(std::vector<std::string> const& orte);
    /// The extended image search in one folder: images that the service does not know.
    [[nodiscard]] Weiter bilderSuchen(std::string const& ordner, Bekanntes const& bekanntes);

    /// What was found, in the order of the places; files may occur more than once.
    [[nodiscard]] std::vector<Ordner::Fund> funde() && { return std::move(funde_); }
    [[nodiscard]] OffeneOrte const& orte() const noexcept { return orte_; }
    /// Files found, by the place's display name.
    [[nodiscard]] std::map<std::string, std::int64_t> const& jeOrt() const noexcept { return jeOrt_; }
    [[nodiscard]] std::int64_t cloudPlatzhalter() const noexcept { return cloudPlatzhalter_; }

private:
    void nimmAuf(std::string const& ort, std::vector<Ordner::Fund> funde);

    Lauf const& lauf_;
    OffeneOrte orte_;
    std::vector<Ordner::Fund> funde_;
    std::map<std::string, std::int64_t> jeOrt_;
    std::int64_t cloudPlatzhalter_{0};
};

} // namespace quillmate::MacScan
