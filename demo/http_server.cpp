#include "http_server.h"

#include "http_verbindung.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <list>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

namespace quillmate::demo {

namespace {

constexpr std::chrono::seconds fristVorrat{30};
constexpr timeval fristSchreiben{.tv_sec = 30, .tv_usec = 0};
constexpr std::size_t hoechstensVerbindungen = 128; // A thread for each, idle ones included.
constexpr int warteschlange = 256;

/// The thread of one connection.
struct Arbeiter {
    std::atomic<bool> fertig{false};
    std::thread faden;
};

/// Those that are through, or all.
void hole(std::list<Arbeiter>& arbeiter, bool alle) {
    std::erase_if(arbeiter, [&](Arbeiter& einer) {
        if (!alle && !einer.fertig)
            return false;
        einer.faden.join();
        return true;
    });
}

} // namespace

HttpServer::HttpServer(Grenzen grenzen)
    : grenzen_(grenzen)
    , wecker_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , vorrat_(grenzen.vorrat_byte) {
    if (wecker_ < 0)
        throw std::runtime_error{"eventfd"};
}

HttpServer::~HttpServer() {
    beenden();
    if (lauscher_ >= 0)
        ::close(lauscher_);
    ::close(wecker_);
}

void HttpServer::melde(char const* methode, std::string const& muster, HandlerMitKoerper handler) {
    wege_.push_back({.methode = methode, .muster = std::regex{muster}, .handler = std::move(handler)});
}

void HttpServer::beiGet(std::string const& muster, Handler handler) {
    melde(
        "GET", muster,
        [handler = std::move(handler)](auto const& anfrage, auto& antwort, Koerperleser const&) {
            handler(anfrage, antwort);
        });
}

void HttpServer::beiPost(std::string const& muster, HandlerMitKoerper handler) {
    melde("POST", muster, std::move(handler));
}

void HttpServer::beiPut(std::string const& muster, HandlerMitKoerper handler) {
    melde("PUT", muster, std::move(handler));
}

std::optional<int> HttpServer::binden(int port) {
    lauscher_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (lauscher_ < 0)
        return std::nullopt;
    // Without SO_REUSEPORT: two services on one port would share its requests.
    int const ja = 1;
    ::setsockopt(lauscher_, SOL_SOCKET, SO_REUSEADDR, &ja, sizeof ja);
    sockaddr_in wo{};
    wo.sin_family = AF_INET;
    wo.sin_port = htons(static_cast<std::uint16_t>(port));
    wo.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t laenge = sizeof wo;
    if (::bind(lauscher_, reinterpret_cast<sockaddr*>(&wo), sizeof wo) != 0 ||
        ::listen(lauscher_, warteschlange) != 0 ||
        ::getsockname(lauscher_, reinterpret_cast<sockaddr*>(&wo), &laenge) != 0) {
        ::close(std::exchange(lauscher_, -1));
        return std::nullopt;
    }
    return ntohs(wo.sin_port);
}

void HttpServer::bedienen() {
    constexpr int nachsehen_ms = 50; // Where there is no room for a connection more.
    std::list<Arbeiter> arbeiter;
    bool voll = false;
    while (!endet_) {
        pollfd warten[] = {
            {.fd = wecker_, .events = POLLIN, .revents = 0},
            {.fd = lauscher_, .events = POLLIN, .revents = 0}};
        ::poll(warten, voll ? 1 : 2, voll ? nachsehen_ms : -1);
        hole(arbeiter, false);
        voll = arbeiter.size() >= hoechstensVerbindungen;
        if (endet_ || voll || (warten[1].revents & POLLIN) == 0)
            continue;
        int const fd = ::accept4(lauscher_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            voll = errno == EMFILE || errno == ENFILE || errno == ENOMEM;
            continue;
        }
        auto& neuer = arbeiter.emplace_back();
        try {
            neuer.faden = std::thread{[this, fd, &neuer] {
                bediene(fd);
                neuer.fertig = true;
            }};
        } catch (std::system_error const&) { // No thread to be had.
            ::close(fd);
            arbeiter.pop_back();
            voll = true;
        }
    }
    hole(arbeiter, true);
}

void HttpServer::beenden() {
    endet_ = true;
    std::uint64_t const eins = 1;
    (void)!::write(wecker_, &eins, sizeof eins);
    {
        std::scoped_lock const sperre{vorratssperre_}; // Whoever has just looked at endet_ waits by then.
    }
    vorratsfrei_.notify_all();
    std::scoped_lock const sperre{sperre_};
    for (auto const fd : offene_)
        ::shutdown(fd, SHUT_RD); // Wakes whoever waits for a request; an answer under way still leaves.
}

void HttpServer::bediene(int fd) {
    {
        std::scoped_lock const sperre{sperre_};
        offene_.insert(fd);
    }
    int const ja = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &ja, sizeof ja);
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &fristSchreiben, sizeof fristSchreiben);
    sockaddr_in selbst{};
    socklen_t laenge = sizeof selbst;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&selbst), &laenge);
    // On the heap: the buffer is too large for the stack of a small thread.
    auto const verbindung = std::make_unique<HttpVerbindung>(fd, grenzen_.hoechstensKoerper_byte, endet_);
    Koerperleser const leser = [&](Stuecknehmer const& nehmer) {
        return verbindung->liesKoerper(nehmer);
    };
    while (!endet_) {
        httplib::Request anfrage;
        auto const kopf = verbindung->liesKopf(anfrage);
        if (kopf == HttpVerbindung::Kopf::ende)
            break;
        anfrage.local_port = ntohs(selbst.sin_port);
        if (!verbindung->antworte(anfrage, beantworte(anfrage, verbindung->ablehnung(), leser)))
            break;
    }
    {
        std::scoped_lock const sperre{sperre_};
        offene_.erase(fd);
    }
    ::shutdown(fd, SHUT_RDWR);
    ::close(fd);
}

httplib::Response HttpServer::beantworte(
    httplib::Request& anfrage, int ablehnung, Koerperleser const& leser) const {
    httplib::Response antwort;
    antwort.status = ablehnung != 0 ? ablehnung : 404;
    if (ablehnung == 0) {
        auto const methode = anfrage.method == "HEAD" ? std::string{"GET"} : anfrage.method;
        for (auto const& weg : wege_) {
            if (weg.methode != methode || !std::regex_match(anfrage.path, anfrage.matches, weg.muster))
                continue;
            antwort.status = 200;
            try {
                weg.handler(anfrage, antwort, leser);
            } catch (...) {
                antwort = {};
                antwort.status = 500;
                if (ausnahmehandler_)
                    ausnahmehandler_(anfrage, antwort, std::current_exception());
            }
            break;
        }
    }
    if (antwort.status >= 400 && fehlerhandler_)
        fehlerhandler_(anfrage, antwort);
    return antwort;
}

bool HttpServer::nimmVorrat(std::size_t bytes) {
    std::unique_lock sperre{vorratssperre_};
    if (!vorratsfrei_.wait_for(sperre, fristVorrat, [&] { return vorrat_ >= bytes || endet_; }) ||
        vorrat_ < bytes)
        return false;
    vorrat_ -= bytes;
    return true;
}

void HttpServer::gibVorrat(std::size_t bytes) {
    {
        std::scoped_lock const sperre{vorratssperre_};
        vorrat_ += bytes;
    }
    vorratsfrei_.notify_all();
}

HttpServer::Koerper::Koerper(Koerper&& anderer) noexcept
    : lage(anderer.lage)
    , bytes(std::move(anderer.bytes))
    , server_(std::exchange(anderer.server_, nullptr))
    , anteil_(anderer.anteil_) {}

HttpServer::Koerper::~Koerper() {
    if (server_ != nullptr)
        server_->gibVorrat(anteil_);
}

HttpServer::Koerper HttpServer::liesKoerper(
    httplib::Request const& anfrage, Koerperleser const& leser, std::size_t hoechstens) {
    Koerper koerper;
    // The connection has refused what is not a length.
    std::optional<std::size_t> laenge;
    if (anfrage.has_header("Content-Length"))
        laenge = std::strtoull(anfrage.get_header_value("Content-Length").c_str(), nullptr, 10);
    if (laenge && *laenge > hoechstens) {
        koerper.lage = Koerperlage::zuGross;
        return koerper;
    }
    // A body whose length nobody tells may become as long as is allowed.
    auto const anteil = laenge.value_or(hoechstens);
    if (!nimmVorrat(anteil)) {
        koerper.lage = Koerperlage::ueberlastet;
        return koerper;
    }
    koerper.server_ = this;
    koerper.anteil_ = anteil;
    if (laenge)
        koerper.bytes.reserve(*laenge);
    bool zuGross = false;
    bool const gelesen = leser([&](std::string_view stueck) {
        zuGross = stueck.size() > hoechstens - koerper.bytes.size();
        if (!zuGross)
            koerper.bytes.append(stueck);
        return !zuGross;
    });
    if (gelesen)
        koerper.lage = Koerperlage::gelesen;
    else
        koerper.lage = zuGross ? Koerperlage::zuGross : Koerperlage::abgerissen;
    return koerper;
}

} // namespace quillmate::demo
