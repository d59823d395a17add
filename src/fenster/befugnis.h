#pragma once

#include "grundlage/adresse.h"
#include "ports/uhr.h"
#include "ports/webansicht.h"

#include <deque>
#include <optional>
#include <string>
#include <string_view>

/// What a page may start without asking anybody, by the address alone: a navigation tells neither its frame nor its
/// origin. Pure functions on addresses as a web engine writes them; any thread.
namespace quillmate::fenster {

/// Whether the address has an own host (https, usual port) or the start page's scheme, host and port.
[[nodiscard]] bool gehoertDemDienst(std::string_view adresse, Adresse const& start);

/// Whether a document of the service asked for what this answers, as far as the engine tells of which document a request
/// is: one of an address of the service's own that is of the same origin, or names itself. Frames of others are in the
/// same view, and where they lead to may be the service.
[[nodiscard]] bool verlangtVomDienst(ports::Antwortkopf const& antwort, Adresse const& start);

/// Whether sign-ins there may start at once: as above, or the start page's host and port, where all names of this
/// computer are one host.
[[nodiscard]] bool darfGleichAnmelden(std::string_view adresse, Adresse const& start);

/// Host and port for people and for the log, without what may hold a secret: "bank.example", "127.0.0.1:8080". The scheme
/// with its colon where there is no host.
[[nodiscard]] std::string ortVon(std::string_view adresse);

/// Lower case; empty for what is no address.
[[nodiscard]] std::string schemaVon(std::string_view adresse);

/// Whether the program that opens such an address is one that pages may start with a click: browser, mail, telephone.
[[nodiscard]] bool istUeblichesSchema(std::string_view schema);

/// The document whose memory a "blob:" address names, as an address; otherwise the address.
[[nodiscard]] std::string_view ohneBlob(std::string_view adresse);

/// So many in so long a time, whatever asks for more.
class Zaehlfenster {
public:
    Zaehlfenster(std::size_t hoechstens, ports::Uhr::Zeitpunkt::duration zeit)
        : hoechstens_(hoechstens)
        , zeit_(zeit) {}
    /// Counts one, if there is room for it.
    bool nehmen(ports::Uhr::Zeitpunkt jetzt);

private:
    std::size_t const hoechstens_;
    ports::Uhr::Zeitpunkt::duration const zeit_;
    std::deque<ports::Uhr::Zeitpunkt> genommen_;
};

} // namespace quillmate::fenster
