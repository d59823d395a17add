#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quillmate::fenster_echt {

/// The built program as a child process, with its log. It ends with the object, and so do its web processes.
/// Threads: construct and destroy on the test's main thread; everything else any.
class Programm {
public:
    using Umgebung = std::map<std::string, std::string>;

    /// `umgebung` is all that it gets.
    Programm(std::string datei, std::vector<std::string> argumente, Umgebung const& umgebung);
    ~Programm();
    Programm(Programm const&) = delete;
    Programm& operator=(Programm const&) = delete;

    [[nodiscard]] pid_t nummer() const noexcept { return nummer_; }
    /// Its descendants whose program file has this name.
    [[nodiscard]] std::vector<pid_t> kinder(std::string_view name) const;
    /// Everything on standard error, also what its libraries write: all that was written before this call, so that what
    /// the program says before it does something is there when a test has seen the effect.
    [[nodiscard]] std::string fehlerausgabe() const;
    /// The lines of the program's log, without their beginning "[Quillmate] ".
    [[nodiscard]] std::vector<std::string> zeilen() const;
    [[nodiscard]] std::size_t anzahlZeilen(std::string_view beginn) const;
    [[nodiscard]] bool hatZeile(std::string_view ganze) const;
    /// Waits for a line that begins like this.
    [[nodiscard]] bool warteAufZeile(
        std::string_view beginn, std::chrono::seconds grenze = std::chrono::seconds{30}) const;
    [[nodiscard]] bool laeuft();
    /// The exit status; nothing when it is still running after the limit, or was killed.
    [[nodiscard]] std::optional<int> warteAufEnde(std::chrono::seconds grenze = std::chrono::seconds{30});
    void beenden(int signal);

private:
    void lesen();
    /// Takes what is in the pipe; false at its end. With sperre_ held.
    bool abholen() const;

    pid_t nummer_{-1};
    std::optional<int> ende_; ///< As from waitpid().
    int rohr_{-1};            ///< Its reading end does not block.
    mutable std::mutex sperre_;
    mutable std::string ausgabe_; ///< Guarded by sperre_.
    std::thread leser_;
};

} // namespace quillmate::fenster_echt
