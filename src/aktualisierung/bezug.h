#pragma once

#include "grundlage/ergebnis.h"
#include "netz/vermittler.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace quillmate::aktualisierung {

/// Fetches what an address holds, over https with the system's certificates. Blocks; call it from a worker.
/// Threads: any number at once.
class Lader {
public:
    struct Auftrag {
        std::string url;
        std::uint64_t hoechstens{0}; ///< Bytes; more are not read.
        /// Receives the bytes in order; its failure ends the transfer and is the answer.
        std::function<Ergebnis<void>(char const* bytes, std::size_t anzahl)> ablage;
        std::function<void(std::uint64_t geladen)> fortschritt; ///< May be empty.
        std::chrono::seconds leerlaufgrenze{30};                ///< Ends it when no byte comes for that long.
        std::chrono::seconds wartegrenze{60};                   ///< Ends it in any case.
    };

    virtual ~Lader() = default;
    /// `abbruch` may be raised from any thread; it is looked at about once a second.
    /// Errors: gestoppt (`abbruch`); keineVerbindung, zeitAbgelaufen (nothing came); gestoert with a cause of curl (it began
    /// to come and broke off); any with an HTTP status; abgelehnt (an address or certificate that is not accepted);
    /// zuGross; and what `ablage` says.
    [[nodiscard]] virtual Ergebnis<void> laden(Auftrag const& auftrag, std::atomic<bool> const& abbruch) = 0;
};

/// Over the net. Redirects are followed five times, never away from https.
class NetzLader final : public Lader {
public:
    /// Also plain http, for tests against a server of their own.
    enum class Schema { nurHttps, auchHttp };
    /// `vermittler` is borrowed and asked for each address that is not this machine's; without one libcurl follows the
    /// environment.
    explicit NetzLader(Schema schema = Schema::nurHttps, netz::Vermittlersuche* vermittler = nullptr);
    [[nodiscard]] Ergebnis<void> laden(Auftrag const& auftrag, std::atomic<bool> const& abbruch) override;

private:
    Schema const schema_;
    netz::Vermittlersuche* const vermittler_;
};

} // namespace quillmate::aktualisierung
