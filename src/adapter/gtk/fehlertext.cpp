#include "fehlertext.h"

#include "glib_halter.h"

#include <fmt/format.h>
#include <webkit/webkit.h>

namespace quillmate::adapter::gtk {

std::string beschreibungVon(GError const* fehler) {
    if (fehler->domain == G_RESOLVER_ERROR)
        return g_error_matches(fehler, G_RESOLVER_ERROR, G_RESOLVER_ERROR_TEMPORARY_FAILURE)
                   ? "Der Name des Servers lässt sich gerade nicht auflösen."
                   : "Der Server wurde nicht gefunden.";
    if (fehler->domain == G_IO_ERROR)
        switch (fehler->code) {
        case G_IO_ERROR_CONNECTION_REFUSED:
            return "Der Server nimmt keine Verbindung an.";
        case G_IO_ERROR_HOST_NOT_FOUND:
            return "Der Server wurde nicht gefunden.";
        case G_IO_ERROR_HOST_UNREACHABLE:
        case G_IO_ERROR_NETWORK_UNREACHABLE:
            return "Das Netz ist nicht erreichbar.";
        case G_IO_ERROR_TIMED_OUT:
            return "Der Server hat nicht rechtzeitig geantwortet.";
        case G_IO_ERROR_CANCELLED:
        case G_IO_ERROR_CONNECTION_CLOSED: // the same number as a broken pipe
        case G_IO_ERROR_PARTIAL_INPUT:
            return "Die Verbindung ist abgebrochen.";
        case G_IO_ERROR_NO_SPACE:
            return "Auf dem Datenträger ist kein Platz mehr.";
        case G_IO_ERROR_PERMISSION_DENIED:
        case G_IO_ERROR_READ_ONLY:
            return "Dort darf nichts geschrieben werden.";
        default:
            break;
        }
    if (fehler->domain == G_TLS_ERROR)
        return "Die sichere Verbindung kam nicht zustande.";
    if (fehler->domain == WEBKIT_DOWNLOAD_ERROR)
        switch (fehler->code) {
        case WEBKIT_DOWNLOAD_ERROR_CANCELLED_BY_USER:
            return "Das Herunterladen wurde abgebrochen.";
        case WEBKIT_DOWNLOAD_ERROR_DESTINATION:
            return "Die Datei ließ sich nicht schreiben.";
        default:
            return "Die Übertragung ist gescheitert.";
        }
    if (fehler->domain == WEBKIT_PRINT_ERROR)
        switch (fehler->code) {
        case WEBKIT_PRINT_ERROR_PRINTER_NOT_FOUND:
            return "Der Drucker wurde nicht gefunden.";
        case WEBKIT_PRINT_ERROR_INVALID_PAGE_RANGE:
            return "Die gewählten Seiten gibt es nicht.";
        default:
            return "Der Druckauftrag ist gescheitert.";
        }
    return textVon(fehler->message);
}

std::string beschreibungVonStatus(unsigned int status) {
    switch (status) {
    case 401:
    case 403:
        return fmt::format("Der Server gibt die Datei nicht heraus (HTTP {}).", status);
    case 404:
    case 410:
        return fmt::format("Die Datei gibt es auf dem Server nicht (HTTP {}).", status);
    default:
        return fmt::format("Der Server hat mit einem Fehler geantwortet (HTTP {}).", status);
    }
}

} // namespace quillmate::adapter::gtk
