#pragma once

#include "zugang.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>

namespace quillmate::demo {

/// Who is signed in to the web page: tickets that a browser hands to the program and the program's web view
/// redeems, once, and the cookie it then gets.
///
/// The cookie holds no list on this side: it is a digest of the service's token, so it is good for as long as
/// the token, also after a restart, and tells nobody the token.
/// Threads: any number at once.
class Anmeldung {
public:
    using Zeitpunkt = std::chrono::steady_clock::time_point;
    static constexpr std::chrono::minutes frist{10}; ///< How long a ticket may wait.
    static constexpr std::size_t hoechstens = 256; ///< Tickets waiting; a further one pushes out the oldest.

    explicit Anmeldung(Zugang const& zugang);

    /// A new ticket.
    [[nodiscard]] std::string ausstellen(Zeitpunkt jetzt);
    /// Whether the ticket is good; it is not a second time.
    [[nodiscard]] bool einloesen(std::string_view merkmal, Zeitpunkt jetzt);

    /// The value of a "Set-Cookie" header.
    [[nodiscard]] std::string keks() const;
    /// Whether a request's "Cookie" header holds this service's cookie.
    [[nodiscard]] bool istAngemeldet(std::string_view kekse) const;

private:
    struct Merkmal {
        std::string text;
        Zeitpunkt ausgestellt;
    };
    std::string keksname_; ///< Cookies know no ports: other services on this machine have other names.
    std::string kekswert_;
    std::mutex sperre_;
    std::deque<Merkmal> merkmale_; ///< Under sperre_, oldest first.
};

} // namespace quillmate::demo
