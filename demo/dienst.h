#pragma once

#include "auswertung.h"
#include "http_server.h"
#include "selbstlauf.h"
#include "speicher.h"
#include "zugang.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

namespace quillmate::demo {

inline constexpr std::size_t hoechstensDatei_byte = 52'428'800;
/// What a form may need around its file.
inline constexpr std::size_t hoechstensFormular_byte = hoechstensDatei_byte + std::size_t{64} * 1024;
inline constexpr std::size_t hoechstensJson_byte = std::size_t{1} << 20U;

/// The service's HTTP interface: the table of its routes, and what each does with storage and readers. Every
/// request carries the query item "token"; without the right one the answer is 401, whatever else is wrong
/// with it. Refusals are JSON objects with a German "detail".
/// Threads:   handlers run on the server's
/// threads, many at once.
/// Ownership: borrows all three, which must outlive this object; register once, before
/// the server serves.
class Dienst {
public:
    Dienst(HttpServer& server, Speicher& speicher, Auswertung& auswertung, Zugang zugang);
    Dienst(Dienst const&) = delete;
    Dienst& operator=(Dienst const&) = delete;

private:
    struct Anruf;
    struct Weg;
    static Weg const wege[];

    void anmelden(Weg const& weg);
    void bediene(Weg const& weg, Anruf& anruf);

    void vorgabeHolen(Anruf& anruf);
    void vorgabeSetzen(Anruf& anruf);
    void gesehenePfade(Anruf& anruf);
    void hashesOhneBeleg(Anruf& anruf);
    void fortschrittHolen(Anruf& anruf);
    void fortschrittBeginnen(Anruf& anruf);
    void fortschrittMelden(Anruf& anruf);
    void fortschrittBeenden(Anruf& anruf);
    void stoppen(Anruf& anruf);
    void letzterBericht(Anruf& anruf);
    void hochladen(Anruf& anruf);
    void anBuchung(Anruf& anruf);
    void belegeHolen(Anruf& anruf);
    void belegHolen(Anruf& anruf);
    void buchungenHolen(Anruf& anruf);
    void buchungAnlegen(Anruf& anruf);
    void selbstlaufMelden(Anruf& anruf);
    void selbstlaufHolen(Anruf& anruf);

    HttpServer& server_;
    Speicher& speicher_;
    Auswertung& auswertung_;
    Zugang zugang_;
    std::mutex selbstlaufsperre_;
    std::optional<Selbstlauf> selbstlauf_; ///< Under selbstlaufsperre_: the last one.
};

} // namespace quillmate::demo
