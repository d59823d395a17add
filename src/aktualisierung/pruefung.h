#pragma once

#include "appcast.h"
#include "bezug.h"
#include "ports/buendel.h"
#include "ports/einbau.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

/// The two long steps of an update, without any window. Both block; call them from a worker.
namespace quillmate::aktualisierung {

/// Why an update, or the search for one, came to nothing: a kind that decides what people are told, and the cause.
struct Fehlschlag {
    enum Art {
        abgebrochen,
        offline,                ///< Trying again later may help.
        abgerissen,             ///< The archive broke off on its way. Trying again helps.
        dienstfehler,           ///< The server does not have it, or another answer than expected.
        nichtVertrauenswuerdig, ///< Not signed by us, or not what was signed. Somebody may have tampered with it.
        abgelaufen,             ///< An appcast beyond its expiry.
        veraltet,               ///< An appcast older than one seen before.
        keinPlatz,              ///< The disk does not take it.
        nichtEinzubauen,        ///< The bundle cannot be exchanged.
        unvollstaendig,         ///< The own bundle does not say what it is.
        nichtLesbar, ///< What was seen before cannot be read now, so nothing can be compared with it.
    };
    Art art;
    std::string genauer; ///< German sentence for people, or empty.

    // NOLINTNEXTLINE(google-explicit-constructor): most failures are nothing but their kind.
    Fehlschlag(Art welcher, std::string satz = {})
        : art(welcher)
        , genauer(std::move(satz)) {}
    friend bool operator==(Fehlschlag const& einer, Art art) noexcept { return einer.art == art; }
    friend bool operator==(Fehlschlag const&, Fehlschlag const&) = default;
};

/// Who asks for what.
struct Anlass {
    std::string feed;
    std::vector<Schluessel> schluessel; ///< Without any, nothing is trusted.
    std::string kennung;                ///< Of the own bundle.
    Fassungsnummer eigene;
    std::string architektur;
    std::uint64_t gesehen{0}; ///< The highest Appcast::ausgabe seen so far.
    std::chrono::sys_seconds jetzt;
    bool auchHttp{false}; ///< Tests against a server of their own only.
};

struct Suchergebnis {
    std::optional<Fehlschlag> fehlschlag;
    std::uint64_t ausgabe{0};       ///< To be remembered. Set when there was no failure.
    std::optional<Angebot> angebot; ///< Nothing when the own version is the newest.
};

/// Fetches and judges the appcast.
[[nodiscard]] Suchergebnis suchen(Anlass const& anlass, Lader& lader, std::atomic<bool> const& abbruch);

/// Fetches the archive, checks its signature, unpacks it beside the bundle and checks that it holds what was offered.
/// Nothing on success; then Einbau::einbauenNachEnde() may follow. On failure nothing is left beside the bundle.
[[nodiscard]] std::optional<Fehlschlag> bereitstellen(
    Angebot const& angebot, Anlass const& anlass, std::string const& buendel, Lader& lader,
    ports::Einbau& einbau, ports::Buendelkunde& buendelkunde,
    std::function<void(std::uint64_t geladen)> const& fortschritt, std::atomic<bool> const& abbruch);

} // namespace quillmate::aktualisierung
