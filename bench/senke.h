#pragma once

#include "dienst/zugang.h"

#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace quillmate::bench {

/// A service on loopback that says 200 to everything and keeps nothing, so that what is measured is the
/// client. It trusts its clients: ours and the peer's. Threads: its own, one per connection.
/// Errors: the
/// constructor throws std::system_error.
class Senke {
public:
    /// `gesehenePfade`: the answer to "seen-paths"; every other answer is an empty object.
    explicit Senke(std::string gesehenePfade = "{}");
    ~Senke();
    Senke(Senke const&) = delete;
    Senke& operator=(Senke const&) = delete;

    [[nodiscard]] dienst::Zugang const& zugang() const noexcept { return zugang_; }

private:
    void annehmen();
    void bedienen(int verbindung) const;

    std::string const gesehenePfade_;
    dienst::Zugang zugang_;
    int lauscher_{-1};
    std::mutex sperre_; ///< Guards what follows.
    bool endet_{false};
    std::set<int> offene_;
    std::vector<std::jthread> faeden_;
    std::jthread annehmer_; ///< Last member: it uses all others.
};

} // namespace quillmate::bench
