#pragma once

#include <httplib.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quillmate::demo {

/// An HTTP/1.1 server for a service that is called by strangers and stopped by signals: requests of any form and
/// length are bounded, a refused body is not read, and ending does not wait for idle connections.
///
/// The library's own server can do none of that through its public interface: it reads the rest of a refused body to
/// its end however long that is, listens with a backlog of five, and looks for its end only every few seconds. So
/// connections are ours; requests and answers are the library's public types.
///
/// Threads:   register handlers before bedienen(); bedienen() runs on one thread; handlers run on many; beenden() may
///            be called from any.
class HttpServer final {
public:
    struct Grenzen {
        std::size_t
            hoechstensKoerper_byte; ///< A longer announced body is refused with 413 before it is read.
        std::size_t vorrat_byte;    ///< All bodies in memory at one time; further ones wait.
    };

    /// Takes a body in pieces; an answer of false ends the reading.
    using Stuecknehmer = std::function<bool(std::string_view)>;
    /// Reads the present request's body. False when the taker stopped it, or it ended early or in a broken form.
    using Koerperleser = std::function<bool(Stuecknehmer const&)>;
    using Handler = std::function<void(httplib::Request const&, httplib::Response&)>;
    using HandlerMitKoerper =
        std::function<void(httplib::Request const&, httplib::Response&, Koerperleser const&)>;
    using Ausnahmehandler =
        std::function<void(httplib::Request const&, httplib::Response&, std::exception_ptr const&)>;

    explicit HttpServer(Grenzen grenzen);
    ~HttpServer();
    HttpServer(HttpServer const&) = delete;
    HttpServer& operator=(HttpServer const&) = delete;

    /// For GET and HEAD of a path that matches the pattern as a whole; the first one registered wins.
    void beiGet(std::string const& muster, Handler handler);
    void beiPost(std::string const& muster, HandlerMitKoerper handler);
    void beiPut(std::string const& muster, HandlerMitKoerper handler);
    /// May fill in the body of an answer of status 400 and above.
    void beiFehler(Handler handler) { fehlerhandler_ = std::move(handler); }
    /// Answers for a handler that has thrown.
    void beiAusnahme(Ausnahmehandler handler) { ausnahmehandler_ = std::move(handler); }

    /// Binds to a loopback port; 0 for any free one. Returns the port, or nothing.
    [[nodiscard]] std::optional<int> binden(int port);
    /// Serves until beenden(); returns when all connections are closed.
    void bedienen();
    /// Accepts nothing new and closes each connection as soon as no request runs on it.
    void beenden();

    enum class Koerperlage {
        gelesen,
        zuGross,     ///< Longer than `hoechstens`.
        abgerissen,  ///< Ended early, or came in a broken form.
        ueberlastet, ///< Too many other bodies were in memory for too long.
    };
    /// A body, with its share of the memory that all bodies have together. Give it up soon.
    struct Koerper {
        Koerperlage lage{Koerperlage::abgerissen};
        std::string bytes;
        Koerper() = default;
        Koerper(Koerper&& anderer) noexcept;
        Koerper& operator=(Koerper&&) = delete;
        ~Koerper();

    private:
        friend class HttpServer;
        HttpServer* server_{nullptr};
        std::size_t anteil_{0};
    };
    /// Reads the present request's body on its handler's thread.
    [[nodiscard]] Koerper liesKoerper(
        httplib::Request const& anfrage, Koerperleser const& leser, std::size_t hoechstens);

private:
    struct Weg {
        std::string methode;
        std::regex muster;
        HandlerMitKoerper handler;
    };

    void melde(char const* methode, std::string const& muster, HandlerMitKoerper handler);
    void bediene(int fd);
    [[nodiscard]] httplib::Response beantworte(
        httplib::Request& anfrage, int ablehnung, Koerperleser const& leser) const;
    [[nodiscard]] bool nimmVorrat(std::size_t bytes);
    void gibVorrat(std::size_t bytes);

    Grenzen grenzen_;
    std::vector<Weg> wege_;
    Handler fehlerhandler_;
    Ausnahmehandler ausnahmehandler_;
    int lauscher_{-1};
    int wecker_; ///< An eventfd: readable from beenden() on.
    std::atomic<bool> endet_{false};
    std::mutex sperre_;
    std::set<int> offene_; ///< Under sperre_.
    std::mutex vorratssperre_;
    std::condition_variable vorratsfrei_;
    std::size_t vorrat_; ///< Under vorratssperre_.
};

} // namespace quillmate::demo
