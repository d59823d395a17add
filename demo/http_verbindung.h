#pragma once

#include <httplib.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quillmate::demo {

/// One connection of HttpServer: takes requests apart and writes answers. Foreign bytes: any input, bounded memory and
/// time.
/// Threads: one. Does not own the descriptor.
class HttpVerbindung {
public:
    /// `endet`: the server's end, after which nothing is waited for any more.
    HttpVerbindung(int fd, std::size_t hoechstensKoerper_byte, std::atomic<bool> const& endet);

    enum class Kopf {
        gelesen,
        ende,     ///< The other side has nothing more to say, or said nothing for too long.
        unlesbar, ///< Nothing that could be answered by a handler; ablehnung() says with what.
    };
    /// Waits for the next request and reads its line and its header.
    [[nodiscard]] Kopf liesKopf(httplib::Request& anfrage);
    /// Status that the header alone earned; 0 for none.
    [[nodiscard]] int ablehnung() const noexcept { return ablehnung_; }
    /// Reads the body in pieces. False when the taker stopped it, or it ended early or in a broken form.
    [[nodiscard]] bool liesKoerper(std::function<bool(std::string_view)> const& nehmer);
    /// Writes the answer. False when the connection is to be closed.
    [[nodiscard]] bool antworte(httplib::Request const& anfrage, httplib::Response const& antwort);

private:
    enum class Rahmen { keiner, laenge, stuecke };

    void pruefeRahmen(httplib::Request& anfrage);
    [[nodiscard]] bool liesStuecke(std::function<bool(std::string_view)> const& nehmer);
    [[nodiscard]] bool liesBytes(std::size_t anzahl, std::function<bool(std::string_view)> const& nehmer);
    [[nodiscard]] std::optional<std::string> liesZeile();
    [[nodiscard]] bool fuelle(std::chrono::milliseconds frist);
    [[nodiscard]] bool sende(std::string_view bytes);
    void laufeAus();

    int fd_;
    std::size_t hoechstensKoerper_byte_;
    std::atomic<bool> const& endet_;
    std::array<char, std::size_t{64} * 1024> puffer_{};
    std::size_t anfang_{0}; ///< Unread bytes of puffer_: [anfang_, ende_).
    std::size_t ende_{0};
    std::size_t kopfrest_{0}; ///< What the lines of this request may still hold, in bytes.
    std::chrono::steady_clock::time_point zeilenfrist_;
    bool imKopf_{true};
    Rahmen rahmen_{Rahmen::keiner};
    std::size_t laenge_{0};
    bool willErlaubnis_{false}; ///< The sender waits for "100 Continue".
    bool koerperOffen_{false};  ///< A body was announced and is not read to its end.
    bool sollSchliessen_{false};
    int ablehnung_{0};
};

} // namespace quillmate::demo
