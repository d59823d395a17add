#pragma once

#include <cerrno>
#include <expected>
#include <string>
#include <string_view>

/// The one way to fail below the surface of the program. Whoever answers people (the bridge, a window, a diagnostic
/// mode) turns a Fehler into the sentence that belongs there; whoever keeps something (a cache, a list) asks first
/// whether the failure says anything about the thing at all.
/// Threads: plain values, safe to copy between threads.
namespace quillmate {

/// What went wrong, as far as a caller can act on it.
enum class Fehlerart {
    nichtGefunden,   ///< There is no such file, address or entry. Trying again does not help.
    nichtErlaubt,    ///< The system or a rule of ours forbids it to this caller.
    falscheForm,     ///< The input breaks its format. The input is at fault.
    zuGross,         ///< A limit on size or number was passed.
    keinPlatz,       ///< The disk or the quota is full.
    keineMittel,     ///< Memory, descriptors or processes have run out. Passes.
    keineVerbindung, ///< Nobody was reached. Passes.
    abgelehnt,       ///< Somebody was reached and said no.
    zeitAbgelaufen,  ///< A deadline passed. Passes.
    gestoppt,        ///< The user or the end of the program stopped it. Nothing is broken.
    helferGestorben, ///< A helper process ended without an answer.
    gestoert, ///< A read or write failed for a reason outside of the thing itself (EIO, ESTALE). Passes.
};

/// The number behind a failure, and whose number it is.
struct Ursache {
    enum class Herkunft {
        keine, ///< Found by a check of our own; `nummer` is 0.
        errnoWert,
        curl,        ///< CURLcode
        http,        ///< HTTP status
        gerror,      ///< GError::code; the domain stands in Fehler::satz
        prozessende, ///< As waitid(2) tells: the exit status, or minus the signal's number
    };
    Herkunft herkunft{Herkunft::keine};
    int nummer{0};
    friend bool operator==(Ursache const&, Ursache const&) = default;
};

/// A failure: what kind, why, where, and a sentence for the log.
struct Fehler {
    Fehlerart art{Fehlerart::gestoert};
    Ursache ursache{};
    std::string wo;   ///< Path, or address without its query. No secrets.
    std::string satz; ///< One German sentence or its beginning, without the cause and without a full stop.

    /// False where the failure passes, whatever the thing is like: nothing may be cached, forgotten or concluded from it.
    [[nodiscard]] bool sagtEtwasUeberDieSache() const noexcept;
    /// Sentence, place and cause in one line for the log: "Datei nicht lesbar: /a (EIO: Input/output error)".
    [[nodiscard]] std::string text() const;

    friend bool operator==(Fehler const&, Fehler const&) = default;
};

template<typename T>
using Ergebnis = std::expected<T, Fehler>;

/// A failure that one of our own checks found.
[[nodiscard]] std::unexpected<Fehler> fehler(Fehlerart art, std::string_view wo, std::string_view satz);
/// A failed system call. `nummer` is taken before anything else runs, so that no other call can replace it.
[[nodiscard]] std::unexpected<Fehler> errnoFehler(
    std::string_view wo, std::string_view satz, int nummer = errno);
/// An answer that is none: the HTTP status decides the kind (408, 425, 429 and 5xx pass).
[[nodiscard]] std::unexpected<Fehler> httpFehler(int status, std::string_view wo, std::string_view satz);

/// The kind of failure that an errno value tells.
[[nodiscard]] Fehlerart artVonErrno(int nummer) noexcept;

} // namespace quillmate
