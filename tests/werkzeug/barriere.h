#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quillmate::werkzeug {

/// What a screen reader finds: the accessibility bus of a session, read from outside the program.
/// Threads: one.
class Barriere {
public:
    struct Ding {
        std::string rolle; ///< "push button", "dialog", as the bus names them.
        std::string name;
        friend bool operator==(Ding const&, Ding const&) = default;
    };

    /// `bus`: address of the session bus. Starts the accessibility bus if it is not running.
    explicit Barriere(std::string const& bus);
    ~Barriere();
    Barriere(Barriere const&) = delete;
    Barriere& operator=(Barriere const&) = delete;

    /// Everything that all programs show, parents before children.
    [[nodiscard]] std::vector<Ding> alles() const;
    /// The same as text, a line each, for messages.
    [[nodiscard]] std::string alsText() const;
    [[nodiscard]] bool gibtEs(Ding const& ding) const;
    [[nodiscard]] bool gibtRolle(std::string const& rolle) const;

private:
    struct Verbindung;
    std::unique_ptr<Verbindung> verbindung_;
};

} // namespace quillmate::werkzeug
