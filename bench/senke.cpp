#include "senke.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

namespace quillmate::bench {

namespace {

/// The value of "Content-Length", as libcurl writes that line; 0 without it.
std::size_t koerperlaenge(std::string_view kopf) {
    constexpr std::string_view feld = "\r\nContent-Length: ";
    std::size_t laenge = 0;
    if (auto const stelle = kopf.find(feld); stelle != std::string_view::npos) {
        auto const wert = kopf.substr(stelle + feld.size());
        std::from_chars(wert.data(), wert.data() + wert.size(), laenge);
    }
    return laenge;
}

bool allesSenden(int verbindung, std::string_view rest) {
    while (!rest.empty()) {
        auto const n = ::send(verbindung, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        rest.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

} // namespace

Senke::Senke(std::string gesehenePfade)
    : gesehenePfade_(std::move(gesehenePfade))
    , lauscher_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in adresse{};
    adresse.sin_family = AF_INET;
    adresse.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t laenge = sizeof adresse;
    auto* const allgemein = reinterpret_cast<sockaddr*>(&adresse); // the way of the sockets interface
    constexpr int warteschlange = 64;
    if (lauscher_ < 0 || ::bind(lauscher_, allgemein, laenge) != 0 ||
        ::listen(lauscher_, warteschlange) != 0 || ::getsockname(lauscher_, allgemein, &laenge) != 0)
        throw std::system_error{errno, std::generic_category(), "socket"};
    zugang_ = {
        .server = fmt::format("http://127.0.0.1:{}", ntohs(adresse.sin_port)), .clientId = 1, .token = "t"};
    annehmer_ = std::jthread{[this] {
        annehmen();
    }};
}

Senke::~Senke() {
    {
        std::lock_guard const schutz{sperre_};
        endet_ = true;
        for (auto const verbindung : offene_)
            ::shutdown(verbindung, SHUT_RDWR);
    }
    ::shutdown(lauscher_, SHUT_RDWR); // wakes accept()
    annehmer_.join();
    faeden_.clear(); // joins
    ::close(lauscher_);
}

void Senke::annehmen() {
    for (;;) {
        int const verbindung = ::accept4(lauscher_, nullptr, nullptr, SOCK_CLOEXEC);
        std::lock_guard const schutz{sperre_};
        if (verbindung < 0 || endet_) {
            if (verbindung >= 0)
                ::close(verbindung);
            return;
        }
        offene_.insert(verbindung);
        faeden_.emplace_back([this, verbindung] {
            bedienen(verbindung);
            std::lock_guard const beimEnde{sperre_};
            offene_.erase(verbindung);
            ::close(verbindung);
        });
    }
}

void Senke::bedienen(int verbindung) const {
    constexpr std::size_t blockgroesse = std::size_t{256} * 1024;
    std::vector<char> block(blockgroesse);
    auto const empfangen = [&](std::size_t hoechstens) {
        auto const n = ::recv(verbindung, block.data(), std::min(hoechstens, block.size()), 0);
        return n > 0 ? std::string_view{block.data(), static_cast<std::size_t>(n)} : std::string_view{};
    };
    constexpr std::string_view kopfende = "\r\n\r\n";
    std::string ungelesen;
    for (;;) {
        auto ende = ungelesen.find(kopfende);
        while (ende == std::string::npos) {
            auto const stueck = empfangen(blockgroesse);
            if (stueck.empty())
                return;
            ungelesen += stueck;
            ende = ungelesen.find(kopfende);
        }
        auto const kopf = std::string_view{ungelesen}.substr(0, ende);
        bool const nachPfaden =
            kopf.substr(0, kopf.find('\r')).find("/seen-paths?") != std::string_view::npos;
        auto offen = koerperlaenge(kopf);
        ungelesen.erase(0, ende + kopfende.size());
        auto const schonDa = std::min(offen, ungelesen.size());
        ungelesen.erase(0, schonDa);
        for (offen -= schonDa; offen > 0;) {
            auto const stueck = empfangen(offen);
            if (stueck.empty())
                return;
            offen -= stueck.size();
        }
        std::string_view const inhalt = nachPfaden ? std::string_view{gesehenePfade_} : "{}";
        auto const antwortkopf = fmt::format(
            "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: {}\r\n\r\n", inhalt.size());
        // One packet for the small answers; the large one is not copied.
        if (nachPfaden ? !allesSenden(verbindung, antwortkopf) || !allesSenden(verbindung, inhalt)
                       : !allesSenden(verbindung, antwortkopf + std::string{inhalt}))
            return;
    }
}

} // namespace quillmate::bench
