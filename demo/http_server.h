#pragma once

#include <httplib.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace quillmate::demo {

/// The library's HTTP server with what a service needs that is called by strangers and stopped by signals:
/// its own handling of a connection. Requests of any form and length are bounded, a refused body is not read,
/// and ending does not wait for idle connections.
///
/// Handlers for requests with a body are registered with a content reader and call liesKoerper().
/// Threads: bedienen() runs on one; handlers run on many; beenden() may be called from any.
class HttpServer final : public httplib::Server {
public:
    struct Grenzen {
        std::size_t
            hoechstensKoerper_byte; ///< A longer announced body is refused with 413 before it is read.
        std::size_t vorrat_byte;    ///< All bodies in memory at one time; further ones wait.
    };

    explicit HttpServer(Grenzen grenzen);
    ~HttpServer() override;

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
    /// The Content-Type of a request, which the request's own header list does not show.
    [[nodiscard]] static std::string inhaltstyp(httplib::Request const& anfrage);
    /// Reads the present request's body on its handler's thread.
    [[nodiscard]] Koerper liesKoerper(
        httplib::Request const& anfrage, httplib::ContentReader const& leser, std::size_t hoechstens);

private:
    class Verbindung;
    bool process_and_close_socket(socket_t sock) override;

    [[nodiscard]] bool nimmVorrat(std::size_t bytes);
    void gibVorrat(std::size_t bytes);

    Grenzen grenzen_;
    std::atomic<bool> endet_{false};
    std::mutex sperre_;
    std::set<socket_t> offene_; ///< Under sperre_.
    std::mutex vorratssperre_;
    std::condition_variable vorratsfrei_;
    std::size_t vorrat_; ///< Under vorratssperre_.
};

} // namespace quillmate::demo
