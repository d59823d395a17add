#pragma once

#include "ports/programmfenster.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace quillmate::fenster {

/// What a window's lower edge says of the downloads that began in it: how far they are, with a button that ends them, and
/// where the outcome is told in the window itself, that.
/// Threads: main thread.
class Downloadzeile {
public:
    using Zeiger = std::function<void(std::optional<ports::Fusszeile>)>;

    explicit Downloadzeile(Zeiger zeigen)
        : zeigen_(std::move(zeigen)) {}

    /// A download has its name. `abbrechen` ends it.
    void begonnen(std::uint64_t nummer, std::string name, std::function<void()> abbrechen);
    /// `gesamt`: 0 when nobody knows.
    void fortschritt(std::uint64_t nummer, std::uint64_t bytes, std::uint64_t gesamt);
    /// `ausgang` stays until the next download, or until somebody takes it away; nothing to say nothing.
    void beendet(std::uint64_t nummer, std::optional<std::string> const& ausgang);

private:
    struct Lauf {
        std::string name;
        std::uint64_t bytes{0};
        std::uint64_t gesamt{0};
        std::function<void()> abbrechen;
    };
    void zeigen();
    void alleAbbrechen();

    Zeiger const zeigen_;
    std::map<std::uint64_t, Lauf> laufende_;
    std::optional<std::string> ausgang_;
};

} // namespace quillmate::fenster
