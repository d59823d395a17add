#pragma once

#include "anmeldung.h"
#include "http_server.h"
#include "zugang.h"

#include <string>
#include <string_view>

namespace quillmate::demo {

/// The pages that a person sees: the overview with its files, signing in, the bank's demo and its way back.
/// Plain GET requests; what the overview needs beyond them it asks from Dienst's routes.
///
/// The overview holds the token, so it is given only to those who bring the token or this service's cookie.
/// Every answer carries a strict content security policy: scripts, styles and images come from this service
/// alone, nothing inline, no frames.
/// Threads:   handlers run on the server's threads, many at once.
/// Ownership: borrows the server, which must outlive this object; register once, before the server serves.
class Webseite {
public:
    /// `portal`: the demo portal's address, which the overview offers to copy.
    Webseite(HttpServer& server, Zugang zugang, std::string portal);
    Webseite(Webseite const&) = delete;
    Webseite& operator=(Webseite const&) = delete;

private:
    [[nodiscard]] bool darf(httplib::Request const& anfrage) const;

    void uebersicht(httplib::Request const& anfrage, httplib::Response& antwort) const;
    void anmeldeseite(httplib::Request const& anfrage, httplib::Response& antwort);
    void einloesen(httplib::Request const& anfrage, httplib::Response& antwort);
    static void bankfreigabe(httplib::Request const& anfrage, httplib::Response& antwort);
    void bankseite(httplib::Request const& anfrage, httplib::Response& antwort) const;

    Zugang zugang_;
    std::string portal_;
    Anmeldung anmeldung_;
};

/// The text as it may stand in an HTML text or in a quoted attribute.
[[nodiscard]] std::string alsHtml(std::string_view text);

/// A JSON text as it may stand inside a script element: no "<", which could end the element.
[[nodiscard]] std::string alsSkriptdaten(std::string json);

/// The value of a Content-Disposition header. Whatever the name holds, the result is one line of ASCII, names
/// one file without folders, and falls back to `ersatz` (ASCII) where nothing usable is left.
[[nodiscard]] std::string inhaltslage(bool anhang, std::string_view name, std::string_view ersatz);

} // namespace quillmate::demo
