#include "http_attrappe.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>

namespace quillmate::werkzeug {

namespace {

std::string entmaskiert(std::string_view text) {
    std::string ergebnis;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            ergebnis += static_cast<char>(std::stoi(std::string{text.substr(i + 1, 2)}, nullptr, 16));
            i += 2;
        } else {
            ergebnis += text[i];
        }
    }
    return ergebnis;
}

/// Everything up to the end of the headers; nothing when the client has gone.
std::optional<HttpAnfrage> anfrageVon(int fd, std::string& puffer) {
    auto const nachlesen = [&] {
        std::array<char, 65536> stueck{};
        auto const n = ::recv(fd, stueck.data(), stueck.size(), 0);
        if (n <= 0)
            return false;
        puffer.append(stueck.data(), static_cast<std::size_t>(n));
        return true;
    };
    std::size_t kopfende = 0;
    while ((kopfende = puffer.find("\r\n\r\n")) == std::string::npos)
        if (!nachlesen())
            return std::nullopt;
    HttpAnfrage anfrage;
    auto const kopf = puffer.substr(0, kopfende);
    puffer.erase(0, kopfende + 4);
    auto const zeilenende = kopf.find("\r\n");
    auto const ersteZeile = kopf.substr(0, zeilenende);
    auto const a = ersteZeile.find(' ');
    auto const b = ersteZeile.rfind(' ');
    anfrage.methode = ersteZeile.substr(0, a);
    auto const ziel = ersteZeile.substr(a + 1, b - a - 1);
    auto const frage = ziel.find('?');
    anfrage.pfad = ziel.substr(0, frage);
    for (std::string_view rest = frage == std::string::npos ? std::string_view{}
                                                            : std::string_view{ziel}.substr(frage + 1);
         !rest.empty();) {
        auto const teil = rest.substr(0, rest.find('&'));
        auto const gleich = teil.find('=');
        anfrage.abfrage.emplace_back(
            entmaskiert(teil.substr(0, gleich)),
            gleich == std::string_view::npos ? std::string{} : entmaskiert(teil.substr(gleich + 1)));
        rest.remove_prefix(std::min(rest.size(), teil.size() + 1));
    }
    for (std::size_t i = zeilenende; i != std::string::npos && i < kopf.size();) {
        auto const anfang = i + 2;
        i = kopf.find("\r\n", anfang);
        auto const zeile = kopf.substr(anfang, i == std::string::npos ? i : i - anfang);
        auto const doppelpunkt = zeile.find(':');
        auto name = zeile.substr(0, doppelpunkt);
        std::ranges::transform(
            name, name.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        auto wert = doppelpunkt == std::string::npos ? std::string{} : zeile.substr(doppelpunkt + 1);
        wert.erase(0, wert.find_first_not_of(' '));
        anfrage.koepfe[name] = wert;
    }
    if (anfrage.koepfe.contains("expect"))
        (void)!::send(fd, "HTTP/1.1 100 Continue\r\n\r\n", 25, MSG_NOSIGNAL);
    auto const laenge =
        anfrage.koepfe.contains("content-length") ? std::stoull(anfrage.koepfe["content-length"]) : 0ULL;
    while (puffer.size() < laenge)
        if (!nachlesen())
            return std::nullopt;
    anfrage.koerper = puffer.substr(0, laenge);
    puffer.erase(0, laenge);
    return anfrage;
}

} // namespace

HttpAttrappe::HttpAttrappe(Behandlung behandlung)
    : behandlung_(std::move(behandlung)) {
    horcher_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in ort{};
    ort.sin_family = AF_INET;
    ort.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t laenge = sizeof ort;
    if (horcher_ < 0 || ::bind(horcher_, reinterpret_cast<sockaddr*>(&ort), sizeof ort) != 0 ||
        ::listen(horcher_, 64) != 0 ||
        ::getsockname(horcher_, reinterpret_cast<sockaddr*>(&ort), &laenge) != 0)
        throw std::runtime_error("Attrappe: kein Port");
    port_ = ntohs(ort.sin_port);
    annehmer_ = std::thread{[this] {
        annehmen();
    }};
}

HttpAttrappe::~HttpAttrappe() {
    ende_ = true;
    ::shutdown(horcher_, SHUT_RDWR);
    annehmer_.join();
    ::close(horcher_);
    {
        std::lock_guard const schutz{sperre_};
        for (int const fd : offen_)
            ::shutdown(fd, SHUT_RDWR);
    }
    for (auto& faden : faeden_)
        faden.join();
    for (int const fd : offen_)
        ::close(fd);
}

std::string HttpAttrappe::adresse() const {
    return "http://127.0.0.1:" + std::to_string(port_);
}

std::vector<HttpAnfrage> HttpAttrappe::anfragen() const {
    std::lock_guard const schutz{sperre_};
    return anfragen_;
}

std::vector<HttpAnfrage> HttpAttrappe::anfragenAn(std::string_view ende) const {
    auto alle = anfragen();
    std::erase_if(alle, [&](HttpAnfrage const& anfrage) { return !anfrage.pfad.ends_with(ende); });
    return alle;
}

void HttpAttrappe::annehmen() {
    while (!ende_) {
        int const fd = ::accept4(horcher_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        int const ja = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &ja, sizeof ja);
        ++verbindungen_;
        std::lock_guard const schutz{sperre_};
        offen_.push_back(fd); // closed at the end, so that no number is used twice before
        faeden_.emplace_back([this, fd] { bedienen(fd); });
    }
}

void HttpAttrappe::bedienen(int fd) {
    std::string puffer;
    while (auto const anfrage = anfrageVon(fd, puffer)) {
        {
            std::lock_guard const schutz{sperre_};
            anfragen_.push_back(*anfrage);
        }
        auto const antwort = behandlung_(*anfrage);
        auto const schweigen = [fd] {
            std::array<char, 16> rest{};
            while (::recv(fd, rest.data(), rest.size(), 0) > 0) {
            }
        };
        if (antwort.haengen && !antwort.abschneiden)
            return schweigen();
        if (antwort.ohneAntwort)
            break;
        auto bytes = antwort.roh.value_or(
            "HTTP/1.1 " + std::to_string(antwort.status) + " X\r\nContent-Type: " + antwort.inhaltstyp +
            "\r\n" + antwort.weitererKopf +
            (antwort.status == 204 ? std::string{}
                                   : "Content-Length: " + std::to_string(antwort.koerper.size()) + "\r\n") +
            "\r\n" + antwort.koerper);
        if (antwort.abschneiden)
            bytes.resize(std::min(bytes.size(), *antwort.abschneiden));
        for (std::string_view rest = bytes; !rest.empty();) {
            auto const n = ::send(fd, rest.data(), rest.size(), MSG_NOSIGNAL);
            if (n <= 0)
                break;
            rest.remove_prefix(static_cast<std::size_t>(n));
        }
        if (antwort.haengen)
            return schweigen();
        if (antwort.abschneiden || antwort.roh)
            break;
    }
    ::shutdown(fd, SHUT_RDWR);
}

std::string toteAdresse() {
    int const fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in ort{};
    ort.sin_family = AF_INET;
    ort.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t laenge = sizeof ort;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&ort), sizeof ort) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&ort), &laenge) != 0)
        throw std::runtime_error("Attrappe: kein Port");
    ::close(fd);
    return "http://127.0.0.1:" + std::to_string(ntohs(ort.sin_port));
}

} // namespace quillmate::werkzeug
