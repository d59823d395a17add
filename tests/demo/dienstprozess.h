#pragma once

#include <nlohmann/json.hpp>
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The demo service as the process that people start, and a client for it.
namespace quillmate::demo::test {

/// How a process ended.
struct Ende {
    int status{-1}; ///< Exit code; -1 when a signal ended it.
    int signal{0};
    std::string ausgabe; ///< Standard output and error together.
};

/// Runs a program to its end. Nothing when it does not end within `frist`; it is killed then.
[[nodiscard]] std::optional<Ende> fuehreAus(
    std::vector<std::string> const& befehl, std::chrono::seconds frist);

/// A running service; killed with the object. Dies with the test's process, too.
class Dienstprozess {
public:
    /// Starts the service on a free port and waits for its line. `argumente` follow "--daten ORDNER".
    /// Throws when it does not come up.
    explicit Dienstprozess(std::string const& ordner, std::vector<std::string> argumente = {"--ohne-texte"});
    ~Dienstprozess();
    Dienstprozess(Dienstprozess const&) = delete;
    Dienstprozess& operator=(Dienstprozess const&) = delete;

    [[nodiscard]] pid_t pid() const noexcept { return pid_; }
    [[nodiscard]] int port() const noexcept { return port_; }
    [[nodiscard]] nlohmann::json const& meldung() const noexcept { return meldung_; }
    /// Address of a path with the token; `weitere` is put behind it ("&a=b").
    [[nodiscard]] std::string url(std::string const& pfad, std::string const& weitere = {}) const;

    /// The next line of its standard output, without line feed; what there is when none comes within 20 s.
    std::string naechsteZeile();

    /// Sends the signal and waits for the end; nothing when it does not come within `frist`.
    std::optional<Ende> beende(int signal, std::chrono::milliseconds frist = std::chrono::seconds{20});

private:
    pid_t pid_{-1};
    int ausgang_{-1};
    std::string gelesen_;
    int port_{0};
    nlohmann::json meldung_;
};

struct Antwort {
    long status{0}; ///< 0: no answer.
    std::string koerper;
    std::string typ;
    std::map<std::string, std::string> koepfe{}; ///< By lower-case name; of several, the last.
    [[nodiscard]] std::string kopf(std::string const& name) const {
        auto const stelle = koepfe.find(name);
        return stelle == koepfe.end() ? std::string{} : stelle->second;
    }
    [[nodiscard]] nlohmann::json json() const { return nlohmann::json::parse(koerper, nullptr, false); }
    [[nodiscard]] std::string detail() const { return json().value("detail", std::string{}); }
};

/// Keeps its connection open between requests. One thread at a time.
class Klient {
public:
    Klient();
    ~Klient();
    Klient(Klient const&) = delete;
    Klient& operator=(Klient const&) = delete;

    /// `kopf` is a further header line ("Cookie: a=b"). Redirections are not followed.
    Antwort hole(std::string const& url, std::string const& kopf = {});
    Antwort holeNurKopf(std::string const& url);
    Antwort sende(
        std::string const& url, std::string const& koerper, std::string const& typ = "application/json");
    Antwort setze(std::string const& url, std::string const& koerper);
    /// As the program's scan does it.
    Antwort ladeHoch(
        std::string const& url, std::string const& quellpfad, std::string const& name,
        std::string const& bytes);
    /// One part, as the program's other uploads do it.
    Antwort ladeTeilHoch(
        std::string const& url, std::string const& teil, std::string const& name, std::string const& bytes);

private:
    Antwort anfrage(
        char const* methode, std::string const& url, std::string const* koerper, std::string const& typ,
        std::string const& kopf = {});
    void* curl_;
};

/// A bare connection, for what no honest client sends.
class Leitung {
public:
    explicit Leitung(int port);
    ~Leitung();
    Leitung(Leitung const&) = delete;
    Leitung& operator=(Leitung const&) = delete;

    /// False when the other side does not take it any more.
    bool sende(std::string_view bytes);
    /// Ends our direction.
    void schliesseHin();
    /// All up to `ende` or to the end of the stream. Waits up to 20 s.
    std::string empfange(std::string_view ende = {});

private:
    int fd_;
};

/// Looks again and again until `bedingung` holds. False when it does not within `frist`.
template<class Bedingung>
bool warteBis(Bedingung const& bedingung, std::chrono::seconds frist = std::chrono::seconds{180});

} // namespace quillmate::demo::test

#include <thread>

template<class Bedingung>
bool quillmate::demo::test::warteBis(Bedingung const& bedingung, std::chrono::seconds frist) {
    for (auto const schluss = std::chrono::steady_clock::now() + frist;
         std::chrono::steady_clock::now() < schluss;) {
        if (bedingung())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds{10});
    }
    return bedingung();
}
