#include "anzeige.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace quillmate::werkzeug {
namespace {

constexpr int startgrenzeMillisekunden = 30000;

/// Starts a program that writes one line to the descriptor whose number replaces "%" in its arguments.
std::pair<pid_t, std::string> startenUndLesen(std::vector<std::string> argumente) {
    std::array<int, 2> rohr{};
    if (pipe(rohr.data()) != 0)
        throw std::runtime_error{"pipe"};
    for (auto& argument : argumente)
        if (auto const stelle = argument.find('%'); stelle != std::string::npos)
            argument.replace(stelle, 1, std::to_string(rohr[1]));
    std::vector<char*> zeiger;
    for (auto& argument : argumente)
        zeiger.push_back(argument.data());
    zeiger.push_back(nullptr);
    pid_t const eltern = getpid();
    pid_t const kind = fork();
    if (kind == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != eltern)
            _exit(1);
        close(rohr[0]);
        int const nichts = open("/dev/null", O_RDWR | O_CLOEXEC);
        dup2(nichts, 0);
        dup2(nichts, 1);
        dup2(nichts, 2);
        execvp(zeiger[0], zeiger.data());
        _exit(127);
    }
    close(rohr[1]);
    std::string zeile;
    char zeichen = 0;
    pollfd warten{.fd = rohr[0], .events = POLLIN, .revents = 0};
    while (poll(&warten, 1, startgrenzeMillisekunden) > 0 && read(rohr[0], &zeichen, 1) == 1 &&
           zeichen != '\n')
        zeile += zeichen;
    close(rohr[0]);
    if (kind < 0 || zeile.empty())
        throw std::runtime_error{argumente.front() + " startet nicht"};
    return {kind, zeile};
}

} // namespace

Anzeige::Anzeige() {
    auto const [xvfb, nummer] = startenUndLesen(
        {"Xvfb", "-displayfd", "%", "-screen", "0", "1600x1200x24", "-nolisten", "tcp", "-noreset"});
    kinder_.push_back(xvfb);
    name_ = ":" + nummer;
    auto const [bus, adresse] =
        startenUndLesen({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=%"});
    kinder_.push_back(bus);
    bus_ = adresse;
    for (auto const& [variable, wert] : {
             std::pair<char const*, std::string>{"DISPLAY", name_},
             {"DBUS_SESSION_BUS_ADDRESS", bus_},
             {"GDK_BACKEND", "x11"},
             {"GSK_RENDERER", "cairo"},
             {"LIBGL_ALWAYS_SOFTWARE", "1"},
             {"GTK_A11Y", "none"},
             {"GIO_USE_VFS", "local"},
             {"GSETTINGS_BACKEND", "memory"},
             {"NO_AT_BRIDGE", "1"},
         })
        setenv(variable, wert.c_str(), 1);
    unsetenv("WAYLAND_DISPLAY");
}

Anzeige::~Anzeige() {
    for (pid_t const kind : kinder_) {
        kill(kind, SIGTERM);
        waitpid(kind, nullptr, 0);
    }
}

} // namespace quillmate::werkzeug
