#pragma once

#include "netz/vermittler.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace quillmate::aktualisierung {

/// What became of fetching.
enum class Bezug {
    gelungen,
    abgebrochen,
    offline,    ///< No connection.
    abgerissen, ///< It began to come and broke off.
    abgelehnt, ///< An answer, but not the wanted one: a status, an address or a certificate that is not accepted.
    zuGross,
    nichtAbgelegt, ///< What came could not be stored.
};

/// Fetches what an address holds, over https with the system's certificates. Blocks; call it from a worker.
/// Threads: any number at once.
class Lader {
public:
    struct Auftrag {
        std::string url;
        std::uint64_t hoechstens{0}; ///< Bytes; more are not read.
        /// Receives the bytes in order; false ends the transfer (Bezug::nichtAbgelegt).
        std::function<bool(char const* bytes, std::size_t anzahl)> ablage;
        std::function<void(std::uint64_t geladen)> fortschritt; ///< May be empty.
        std::chrono::seconds leerlaufgrenze{30};                ///< Ends it when no byte comes for that long.
        std::chrono::seconds wartegrenze{60};                   ///< Ends it in any case.
    };

    virtual ~Lader() = default;
    /// `abbruch` may be raised from any thread; it is looked at about once a second.
    [[nodiscard]] virtual Bezug laden(Auftrag const& auftrag, std::atomic<bool> const& abbruch) = 0;
};

/// Over the net. Redirects are followed five times, never away from https.
class NetzLader final : public Lader {
public:
    /// Also plain http, for tests against a server of their own.
    enum class Schema { nurHttps, auchHttp };
    /// `vermittler` is borrowed and asked for each address that is not this machine's; without one libcurl follows the
    /// environment.
    explicit NetzLader(Schema schema = Schema::nurHttps, netz::Vermittlersuche* vermittler = nullptr);
    [[nodiscard]] Bezug laden(Auftrag const& auftrag, std::atomic<bool> const& abbruch) override;

private:
    Schema const schema_;
    netz::Vermittlersuche* const vermittler_;
};

} // namespace quillmate::aktualisierung
