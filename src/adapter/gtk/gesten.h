#pragma once

#include <chrono>
#include <cstdint>

namespace quillmate::adapter::gtk {

/// What a person does in a view, and what came of it. The engine's own mark of a "user gesture" is not enough: it stands for
/// the whole run of a script that a click has started, which may click a hundred links, and for every script that the
/// program itself runs.
/// Pure; times are those of a clock that never goes back.
class Gesten {
public:
    using Zeit = std::chrono::microseconds;

    /// A key, a button or a finger went down.
    void eingabe(Zeit jetzt);
    /// The program has run a script of its own: for a while the engine's mark says nothing.
    void eigenesSkript(Zeit jetzt) { skript_ = jetzt; }
    /// Number of the person's doing that something with the engine's mark comes from; 0 for none. Where the mark comes
    /// without any input, it is an aid's doing (a screen reader follows a link); such doings are a second apart.
    [[nodiscard]] std::uint64_t nummer(Zeit jetzt);
    /// The same where the engine has no mark: only what was seen counts.
    [[nodiscard]] std::uint64_t nummerDerEingabe(Zeit jetzt) const;
    /// Uses it up. False when it is none, or was used.
    bool verbrauchen(std::uint64_t nummer, Zeit jetzt);

    /// As long as an input counts: as long as engines let a click open a window.
    static constexpr Zeit frist = std::chrono::seconds{5};
    /// Engines hand their mark on to timers for a second.
    static constexpr Zeit nachhall = std::chrono::seconds{2};
    static constexpr Zeit abstand = std::chrono::seconds{1};

private:
    static constexpr Zeit nie{std::chrono::hours{-24}};

    std::uint64_t letzte_{0}; ///< Numbers are given from 1.
    bool offen_{false};       ///< The last one has started nothing yet.
    Zeit eingabe_{nie};
    Zeit skript_{nie};
    Zeit verbraucht_{nie};
};

} // namespace quillmate::adapter::gtk
