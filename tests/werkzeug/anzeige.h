#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace quillmate::werkzeug {

/// A display and a session bus of the test's own: Xvfb and dbus-daemon as children, with the environment set so that
/// GTK and its engine use them, draw in software, and leave the machine's own session alone. Both end with the object,
/// and with the test's process.
/// Throws when one of them does not start. Threads: construct before any other thread reads the environment.
class Anzeige {
public:
    Anzeige();
    ~Anzeige();
    Anzeige(Anzeige const&) = delete;
    Anzeige& operator=(Anzeige const&) = delete;

    [[nodiscard]] std::string const& name() const noexcept { return name_; } ///< As in DISPLAY.
    [[nodiscard]] std::string const& bus() const noexcept {
        return bus_;
    } ///< As in DBUS_SESSION_BUS_ADDRESS.

private:
    std::string name_;
    std::string bus_;
    std::vector<pid_t> kinder_;
};

} // namespace quillmate::werkzeug
