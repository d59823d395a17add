#include "adapter/gtk/fehlertext.h"

#include <gtest/gtest.h>
#include <webkit/webkit.h>

#include <string>

namespace quillmate::adapter::gtk {
namespace {

std::string textVon(GQuark bereich, int nummer) {
    GError fehler{.domain = bereich, .code = nummer, .message = const_cast<char*>("English words")};
    return adapter::gtk::beschreibungVon(&fehler);
}

TEST(Fehlertext, TheCommonFailuresAreToldInGermanWhateverTheEngineSays) {
    for (int const nummer :
         {G_IO_ERROR_CONNECTION_REFUSED, G_IO_ERROR_HOST_NOT_FOUND, G_IO_ERROR_HOST_UNREACHABLE,
          G_IO_ERROR_NETWORK_UNREACHABLE, G_IO_ERROR_TIMED_OUT, G_IO_ERROR_CONNECTION_CLOSED,
          G_IO_ERROR_PARTIAL_INPUT, G_IO_ERROR_NO_SPACE, G_IO_ERROR_PERMISSION_DENIED, G_IO_ERROR_READ_ONLY,
          G_IO_ERROR_CANCELLED})
        EXPECT_FALSE(adapter::gtk::textVon(G_IO_ERROR, nummer).contains("English")) << nummer;
    for (int const nummer :
         {WEBKIT_DOWNLOAD_ERROR_NETWORK, WEBKIT_DOWNLOAD_ERROR_CANCELLED_BY_USER,
          WEBKIT_DOWNLOAD_ERROR_DESTINATION})
        EXPECT_FALSE(adapter::gtk::textVon(WEBKIT_DOWNLOAD_ERROR, nummer).contains("English")) << nummer;
    for (int const nummer :
         {WEBKIT_PRINT_ERROR_GENERAL, WEBKIT_PRINT_ERROR_PRINTER_NOT_FOUND,
          WEBKIT_PRINT_ERROR_INVALID_PAGE_RANGE})
        EXPECT_FALSE(adapter::gtk::textVon(WEBKIT_PRINT_ERROR, nummer).contains("English")) << nummer;
    EXPECT_EQ(
        adapter::gtk::textVon(G_IO_ERROR, G_IO_ERROR_CONNECTION_CLOSED), "Die Verbindung ist abgebrochen.");
    EXPECT_EQ(
        adapter::gtk::textVon(G_RESOLVER_ERROR, G_RESOLVER_ERROR_NOT_FOUND),
        "Der Server wurde nicht gefunden.");
    EXPECT_EQ(
        adapter::gtk::textVon(G_TLS_ERROR, G_TLS_ERROR_HANDSHAKE),
        "Die sichere Verbindung kam nicht zustande.");
}

TEST(Fehlertext, AFailureThatNobodyKnowsKeepsItsWords) {
    EXPECT_EQ(adapter::gtk::textVon(G_IO_ERROR, G_IO_ERROR_FAILED), "English words");
}

TEST(Fehlertext, AnErrorStatusIsToldWithItsNumber) {
    EXPECT_EQ(adapter::gtk::beschreibungVonStatus(404), "Die Datei gibt es auf dem Server nicht (HTTP 404).");
    EXPECT_EQ(adapter::gtk::beschreibungVonStatus(410), "Die Datei gibt es auf dem Server nicht (HTTP 410).");
    EXPECT_EQ(adapter::gtk::beschreibungVonStatus(401), "Der Server gibt die Datei nicht heraus (HTTP 401).");
    EXPECT_EQ(adapter::gtk::beschreibungVonStatus(403), "Der Server gibt die Datei nicht heraus (HTTP 403).");
    EXPECT_EQ(
        adapter::gtk::beschreibungVonStatus(503), "Der Server hat mit einem Fehler geantwortet (HTTP 503).");
}

} // namespace
} // namespace quillmate::adapter::gtk
