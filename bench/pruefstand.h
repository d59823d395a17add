#pragma once

#include "messung.h"
#include "werkzeug/anzeige.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/programm.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>

struct _XDisplay;

/// What figures about the window need: a display with a session bus, a service with one page, and the two programs that
/// show it.
namespace quillmate::bench {

/// Which program shows the page.
enum class Fensterart {
    unser,         ///< Ours, which shows a loading page first.
    mitLadeseite,  ///< A window with a web view and nothing else, which shows the same loading page first.
    ohneLadeseite, ///< The same window, which loads the page at once.
};

/// When the service answers a request for the page.
enum class Antwort { sofort, nie };

/// Made once per figure.
/// Threads: its functions belong to one; the service has its own.
/// Errors: throws when display, bus or a program does not start, or the page does not appear.
class Pruefstand {
public:
    using Uhr = std::chrono::steady_clock;

    explicit Pruefstand(std::filesystem::path ordner);
    ~Pruefstand();
    Pruefstand(Pruefstand const&) = delete;
    Pruefstand& operator=(Pruefstand const&) = delete;

    /// False with a line when a program that it needs is not there.
    [[nodiscard]] static bool moeglich();

    /// A running program, in a home folder of its own; ends with the object.
    class Fenster {
    public:
        Fenster(Pruefstand& stand, Fensterart art, Antwort antwort);
        ~Fenster();
        Fenster(Fenster const&) = delete;
        Fenster& operator=(Fenster const&) = delete;

        [[nodiscard]] pid_t nummer() const { return programm_->nummer(); }
        /// From the start of the process until the loading page is on the display.
        [[nodiscard]] Sekunden ladeseiteGemalt();
        /// From the start of the process until the page's "load" event has reached the service.
        [[nodiscard]] Sekunden geladen();
        /// From the start of the process until the page is on the display.
        [[nodiscard]] Sekunden gemalt();

    private:
        [[nodiscard]] Sekunden bisFarbe(std::uint32_t farbe);

        Pruefstand& stand_;
        std::string const
            name_; ///< In the page's address, so that programs beside each other are told apart.
        std::filesystem::path const heim_;
        Uhr::time_point beginn_;
        std::unique_ptr<fenster_echt::Programm> programm_;
    };

private:
    [[nodiscard]] werkzeug::HttpAntwort behandeln(werkzeug::HttpAnfrage const& anfrage);

    std::filesystem::path const ordner_;
    werkzeug::Anzeige const anzeige_;
    _XDisplay* const bildschirm_;
    int zaehler_{0};
    std::mutex sperre_; ///< Guards what follows up to the server.
    std::condition_variable aenderung_;
    std::map<std::string, Uhr::time_point> geladene_; ///< By name.
    werkzeug::HttpAttrappe dienst_;                   ///< Last member: its threads use all others.
};

} // namespace quillmate::bench
