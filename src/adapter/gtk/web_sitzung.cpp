#include "web_sitzung.h"

#include "download_gtk.h"
#include "grundlage/protokoll.h"
#include "webansicht_gtk.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

using Datenhaltung = ports::Webansicht::Einrichtung::Datenhaltung;

/// The engine writes its cookie file with the ordinary umask, so the folder keeps others out.
void verschlossenAnlegen(std::string const& ordner) {
    std::error_code fehler;
    std::filesystem::create_directories(ordner, fehler);
    if (!fehler)
        std::filesystem::permissions(ordner, std::filesystem::perms::owner_all, fehler);
    if (fehler)
        protokoll("Der Ordner der Webdaten ließ sich nicht anlegen: " + fehler.message());
}

/// The downloads of all views of a session arrive here; those without a living view are of no use to anyone.
void downloadBegonnen(WebKitNetworkSession*, WebKitDownload* download, gpointer) {
    auto* const ansicht = webkit_download_get_web_view(download);
    if (auto* const web = ansicht ? WebansichtGtk::von(ansicht) : nullptr)
        web->downloadBegonnen(download);
    else
        webkit_download_cancel(download);
}

Objekt<WebKitNetworkSession> oeffnen(std::string const& daten, std::string const& zwischenspeicher) {
    verschlossenAnlegen(daten);
    verschlossenAnlegen(zwischenspeicher);
    auto sitzung = Objekt<WebKitNetworkSession>::uebernommen(
        webkit_network_session_new(daten.c_str(), zwischenspeicher.c_str()));
    webkit_network_session_set_persistent_credential_storage_enabled(sitzung.get(), FALSE);
    webkit_cookie_manager_set_persistent_storage(
        webkit_network_session_get_cookie_manager(sitzung.get()), (daten + "/cookies.sqlite").c_str(),
        WEBKIT_COOKIE_PERSISTENT_STORAGE_SQLITE);
    g_signal_connect(sitzung.get(), "download-started", G_CALLBACK(downloadBegonnen), nullptr);
    return sitzung;
}

void vertrauen(WebKitNetworkSession* sitzung, std::string const& pem) {
    GError* roh = nullptr;
    auto const zertifikat =
        Objekt<GTlsCertificate>::uebernommen(g_tls_certificate_new_from_file(pem.c_str(), &roh));
    if (roh) {
        GFehler const fehler{roh};
        protokoll(std::string{"Das Zertifikat der Demo ist nicht lesbar: "} + fehler->message);
        return;
    }
    for (char const* const wirt : {"127.0.0.1", "localhost"})
        webkit_network_session_allow_tls_certificate_for_host(sitzung, zertifikat.get(), wirt);
    protokoll("Demo: Portale auf diesem Rechner dürfen das Zertifikat des Demodienstes zeigen");
}

} // namespace

std::optional<std::string> demozertifikat(std::string_view kennung) {
    char const* const wert = std::getenv("QUILLMATE_DEMO_ZERTIFIKAT");
    if (kennung != "de.tandemwerk.quillmate.demo" || !wert || !*wert)
        return std::nullopt;
    return wert;
}

WebSitzungen::WebSitzungen(Ordner ordner, std::optional<std::string> demozertifikat)
    : ordner_(std::move(ordner))
    , demozertifikat_(std::move(demozertifikat))
    , kontext_(Objekt<WebKitWebContext>::uebernommen(webkit_web_context_new())) {
    // Without this the engine tells pages the language of the C locale.
    constexpr std::array<char const*, 4> sprachen{"de-DE", "de", "en", nullptr};
    webkit_web_context_set_preferred_languages(kontext_.get(), sprachen.data());
    webkit_web_context_set_spell_checking_enabled(kontext_.get(), FALSE);
}

WebSitzungen::~WebSitzungen() {
    DownloadGtk::alleBeenden();
}

WebKitNetworkSession* WebSitzungen::sitzung(Datenhaltung art) {
    auto& sitzung = sitzungen_[art];
    if (!sitzung) {
        std::string const name = art == Datenhaltung::portale ? "/portale" : "/web";
        sitzung = oeffnen(ordner_.daten + name, ordner_.zwischenspeicher + name);
        if (art == Datenhaltung::portale && demozertifikat_)
            vertrauen(sitzung.get(), *demozertifikat_);
    }
    return sitzung.get();
}

} // namespace quillmate::adapter::gtk
