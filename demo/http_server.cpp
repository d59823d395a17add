#include "http_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

// The library reads and answers a request from a Stream that we give it (process_request); accepting
// connections, the loop over a connection's requests and the end of a connection are ours.
//
// Why not the library's own loop: it reads the rest of a refused body to its end however long that is, leaves
// header lines without a limit, listens with a backlog of five, and looks for the end of the server only
// every few seconds.

namespace quillmate::demo {

namespace {

constexpr std::size_t hoechstensKopf_byte = std::size_t{64} * 1024;
constexpr std::size_t hoechstensPfad_byte =
    1024; // The library matches paths with std::regex, which recurses.
constexpr std::chrono::milliseconds fristKopf{10000};
constexpr std::chrono::milliseconds fristKoerper{30000};
constexpr std::chrono::milliseconds fristUntaetig{60000};
constexpr std::chrono::seconds fristVorrat{30};
constexpr std::chrono::milliseconds fristAuslaufen{1000};
constexpr std::size_t fadenzahl = 128; // One per open connection, idle ones included.
constexpr int warteschlange = 256;
constexpr char const* inhaltstypFeld = "Quillmate-Inhaltstyp"; ///< Where a request keeps its Content-Type.

std::optional<std::size_t> alsLaenge(std::string const& text) {
    std::size_t wert = 0;
    auto const [ende, fehler] = std::from_chars(text.data(), text.data() + text.size(), wert);
    if (text.empty() || fehler != std::errc{} || ende != text.data() + text.size())
        return std::nullopt;
    return wert;
}

} // namespace

/// One connection, as the library's source and sink of bytes. Used by its own thread only.
class HttpServer::Verbindung final : public httplib::Stream {
public:
    Verbindung(int fd, HttpServer& server)
        : fd_(fd)
        , server_(server) {}

    static thread_local Verbindung* gegenwaertige;

    /// Waits for the first byte of the next request.
    [[nodiscard]] bool erwarteAnfrage() {
        kopfrest_ = hoechstensKopf_byte;
        imKopf_ = true;
        ablehnung_ = 0;
        koerperOffen_ = false;
        return anfang_ < ende_ || fuelle(fristUntaetig);
    }

    /// Called by the library when the header lines are read; may still change what it sees.
    void kopfGelesen(httplib::Request& anfrage) {
        imKopf_ = false;
        if (anfrage.path.size() > hoechstensPfad_byte)
            ablehnung_ = 414;
        bool const mitKoerper =
            anfrage.method == "POST" || anfrage.method == "PUT" || anfrage.method == "PATCH";
        bool const gestueckelt = anfrage.has_header("Transfer-Encoding");
        auto const laengen = anfrage.get_header_value_count("Content-Length");
        if (laengen > 1 || (laengen == 1 && gestueckelt)) {
            ablehnung_ = 400; // Two opinions on where this request ends.
            koerperOffen_ = true;
        } else if (laengen == 1) {
            auto const laenge = alsLaenge(anfrage.get_header_value("Content-Length"));
            if (!laenge)
                ablehnung_ = 400;
            else if (*laenge > server_.grenzen_.hoechstensKoerper_byte)
                ablehnung_ = 413;
            koerperOffen_ = !laenge || *laenge > 0;
        } else if (mitKoerper && !gestueckelt) {
            // The library would read until the other side closes.
            anfrage.headers.emplace("Content-Length", "0");
        }
        koerperOffen_ = koerperOffen_ || gestueckelt;
        // A body of a GET is never read: whatever follows would be taken for the next request.
        // The library's own parser of forms is kept away: ours is bounded and takes names as they come.
        anfrage.headers.erase(inhaltstypFeld);
        if (auto const typ = anfrage.headers.find("Content-Type"); typ != anfrage.headers.end()) {
            anfrage.headers.emplace(inhaltstypFeld, typ->second);
            anfrage.headers.erase("Content-Type");
        }
    }

    [[nodiscard]] int ablehnung() const noexcept { return ablehnung_; }
    void koerperGelesen() noexcept { koerperOffen_ = false; }
    [[nodiscard]] bool mussSchliessen() const noexcept { return koerperOffen_ || imKopf_; }

    [[nodiscard]] bool spuele() {
        std::string_view rest = ausgang_;
        while (!rest.empty()) {
            auto const n = ::send(fd_, rest.data(), rest.size(), MSG_NOSIGNAL);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return false; // Also after the write time limit that the library set on the socket.
            rest.remove_prefix(static_cast<std::size_t>(n));
        }
        ausgang_.clear();
        return true;
    }

    /// Lets the other side read our answer although we did not read its body: closing at once would reset the
    /// connection, and the reset may overtake the answer.
    void laufeAus() {
        ::shutdown(fd_, SHUT_WR);
        auto const schluss = std::chrono::steady_clock::now() + fristAuslaufen;
        for (;;) {
            auto const rest =
                std::chrono::ceil<std::chrono::milliseconds>(schluss - std::chrono::steady_clock::now());
            anfang_ = ende_ = 0;
            if (rest.count() <= 0 || server_.endet_ || !fuelle(rest))
                return;
        }
    }

    // httplib::Stream
    bool is_readable() const override { return true; }
    bool is_writable() const override { return true; }
    ssize_t read(char* ziel, std::size_t groesse) override {
        if (imKopf_ && kopfrest_ == 0)
            return -1;
        // A sender that asked for leave ("100-continue") waits for what is in the buffer.
        if (!ausgang_.empty() && !spuele())
            return -1;
        if (anfang_ == ende_ && !fuelle(imKopf_ ? fristKopf : fristKoerper))
            return letzterGrund_;
        auto n = std::min(groesse, ende_ - anfang_);
        if (imKopf_)
            n = std::min(n, kopfrest_);
        std::memcpy(ziel, puffer_.data() + anfang_, n);
        anfang_ += n;
        if (imKopf_)
            kopfrest_ -= n;
        return static_cast<ssize_t>(n);
    }
    ssize_t write(char const* bytes, std::size_t groesse) override {
        constexpr std::size_t voll = std::size_t{256} * 1024;
        ausgang_.append(bytes, groesse);
        if (ausgang_.size() >= voll && !spuele())
            return -1;
        return static_cast<ssize_t>(groesse);
    }
    void get_remote_ip_and_port(std::string& ip, int& port) const override {
        adresse(::getpeername, ip, port);
    }
    void get_local_ip_and_port(std::string& ip, int& port) const override {
        adresse(::getsockname, ip, port);
    }
    socket_t socket() const override { return fd_; }

private:
    /// Waits for bytes and takes what is there. False at the end of the stream or of the time.
    bool fuelle(std::chrono::milliseconds frist) {
        pollfd warten{.fd = fd_, .events = POLLIN, .revents = 0};
        auto const schluss = std::chrono::steady_clock::now() + frist;
        for (;;) {
            auto const rest =
                std::chrono::ceil<std::chrono::milliseconds>(schluss - std::chrono::steady_clock::now());
            auto const lage = ::poll(&warten, 1, static_cast<int>(std::max<std::int64_t>(rest.count(), 0)));
            if (lage < 0 && errno == EINTR)
                continue;
            letzterGrund_ = lage == 0 ? -1 : 0;
            if (lage <= 0)
                return false;
            auto const n = ::recv(fd_, puffer_.data(), puffer_.size(), 0);
            if (n < 0 && (errno == EINTR || errno == EAGAIN))
                continue;
            letzterGrund_ = n == 0 ? 0 : -1;
            if (n <= 0)
                return false;
            anfang_ = 0;
            ende_ = static_cast<std::size_t>(n);
            return true;
        }
    }

    void adresse(int (*frage)(int, sockaddr*, socklen_t*), std::string& ip, int& port) const {
        sockaddr_in wer{};
        socklen_t laenge = sizeof wer;
        std::array<char, INET_ADDRSTRLEN> text{};
        if (frage(fd_, reinterpret_cast<sockaddr*>(&wer), &laenge) != 0 ||
            ::inet_ntop(AF_INET, &wer.sin_addr, text.data(), text.size()) == nullptr)
            return;
        ip = text.data();
        port = ntohs(wer.sin_port);
    }

    int fd_;
    HttpServer& server_;
    std::array<char, std::size_t{64} * 1024> puffer_{};
    std::size_t anfang_{0}; ///< Unread bytes of puffer_: [anfang_, ende_).
    std::size_t ende_{0};
    std::string ausgang_; ///< Header and body of an answer leave in one packet where they fit.
    std::size_t kopfrest_{0};
    bool imKopf_{true};
    int ablehnung_{0};         ///< Status that the header alone earned; 0 for none.
    bool koerperOffen_{false}; ///< A body was announced and is not read to its end.
    ssize_t letzterGrund_{0};
};

thread_local HttpServer::Verbindung* HttpServer::Verbindung::gegenwaertige = nullptr;

HttpServer::HttpServer(Grenzen grenzen)
    : grenzen_(grenzen)
    , vorrat_(grenzen.vorrat_byte) {
    new_task_queue = [] {
        return new httplib::ThreadPool(fadenzahl);
    }; // The library deletes it.
    set_tcp_nodelay(true);
    set_keep_alive_max_count(std::numeric_limits<std::size_t>::max());
    set_payload_max_length(grenzen_.hoechstensKoerper_byte);
    set_write_timeout(std::chrono::seconds{30});
    set_pre_routing_handler([](httplib::Request const&, httplib::Response& antwort) {
        auto const ablehnung = Verbindung::gegenwaertige->ablehnung();
        if (ablehnung == 0)
            return HandlerResponse::Unhandled;
        antwort.status = ablehnung; // The error handler writes the body.
        return HandlerResponse::Handled;
    });
    set_expect_100_continue_handler([](httplib::Request const&, httplib::Response& antwort) {
        auto const ablehnung = Verbindung::gegenwaertige->ablehnung();
        if (ablehnung == 0)
            return 100;
        antwort.status = ablehnung;
        return ablehnung;
    });
    set_post_routing_handler([](httplib::Request const&, httplib::Response& antwort) {
        if (!Verbindung::gegenwaertige->mussSchliessen())
            return;
        antwort.headers.erase("Connection");
        antwort.headers.erase("Keep-Alive");
        antwort.set_header("Connection", "close");
    });
}

HttpServer::~HttpServer() {
    beenden();
}

std::string HttpServer::inhaltstyp(httplib::Request const& anfrage) {
    return anfrage.get_header_value(inhaltstypFeld);
}

std::optional<int> HttpServer::binden(int port) {
    // Without SO_REUSEPORT, which the library sets by default: two services on one port would share its
    // requests.
    set_socket_options([](socket_t sock) {
        int const ja = 1;
        ::setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &ja, sizeof ja);
    });
    if (port == 0)
        port = bind_to_any_port("127.0.0.1");
    else if (!bind_to_port("127.0.0.1", port))
        port = -1;
    if (port <= 0)
        return std::nullopt;
    // The library listens with a backlog of five; a second call only sets a larger one.
    ::listen(svr_sock_, warteschlange);
    return port;
}

void HttpServer::bedienen() {
    if (!endet_)
        listen_after_bind();
}

void HttpServer::beenden() {
    endet_ = true;
    stop();
    std::scoped_lock const sperre{sperre_};
    for (auto const sock : offene_)
        ::shutdown(sock, SHUT_RD); // Wakes whoever waits for a request; an answer under way still leaves.
}

bool HttpServer::process_and_close_socket(socket_t sock) {
    {
        std::scoped_lock const sperre{sperre_};
        offene_.insert(sock);
    }
    // On the heap: the buffer is too large for the stack of a small thread.
    auto const verbindung = std::make_unique<Verbindung>(sock, *this);
    Verbindung::gegenwaertige = verbindung.get();
    bool gut = true;
    while (gut && !endet_ && verbindung->erwarteAnfrage()) {
        bool geschlossen = false;
        gut = process_request(*verbindung, false, geschlossen, [&](httplib::Request& anfrage) {
            verbindung->kopfGelesen(anfrage);
        });
        gut = verbindung->spuele() && gut && !geschlossen;
        if (verbindung->mussSchliessen()) {
            verbindung->laufeAus();
            break;
        }
    }
    Verbindung::gegenwaertige = nullptr;
    {
        std::scoped_lock const sperre{sperre_};
        offene_.erase(sock);
    }
    ::shutdown(sock, SHUT_RDWR);
    ::close(sock);
    return gut;
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
    httplib::Request const& anfrage, httplib::ContentReader const& leser, std::size_t hoechstens) {
    Koerper koerper;
    auto const laenge = alsLaenge(anfrage.get_header_value("Content-Length"));
    if (laenge && *laenge > hoechstens) {
        koerper.lage = Koerperlage::zuGross;
        return koerper;
    }
    // A body whose length nobody tells may become as long as is allowed; so may a compressed one.
    bool const laengeGilt = laenge && !anfrage.has_header("Content-Encoding");
    auto const anteil = laengeGilt ? *laenge : hoechstens;
    if (!nimmVorrat(anteil)) {
        koerper.lage = Koerperlage::ueberlastet;
        return koerper;
    }
    koerper.server_ = this;
    koerper.anteil_ = anteil;
    if (laengeGilt)
        koerper.bytes.reserve(*laenge);
    bool zuGross = false;
    bool const gelesen = leser([&](char const* bytes, std::size_t n) {
        zuGross = n > hoechstens - koerper.bytes.size();
        if (!zuGross)
            koerper.bytes.append(bytes, n);
        return !zuGross;
    });
    if (gelesen) {
        koerper.lage = Koerperlage::gelesen;
        Verbindung::gegenwaertige->koerperGelesen();
    } else {
        koerper.lage = zuGross ? Koerperlage::zuGross : Koerperlage::abgerissen;
    }
    return koerper;
}

} // namespace quillmate::demo
