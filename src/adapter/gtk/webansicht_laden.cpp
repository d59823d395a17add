// How loads of a view begin, go on and end: the engine's events, the deadline of every load, the kinds of failure, the
// death of the process.
#include "fehlertext.h"
#include "grundlage/protokoll.h"
#include "neuzeichnen.h"
#include "sperrports.h"
#include "webansicht_gtk.h"

#include <utility>

namespace quillmate::adapter::gtk {
namespace {

/// A load loses its connection at one in six of the servers whose certificate is refused.
constexpr int hoechstensWiederholt = 5;

/// The failures that are no failures: the program, the page or the user ended the load, or it became a download.
bool istAbbruch(GError const* fehler) {
    return g_error_matches(fehler, WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_CANCELLED) ||
           g_error_matches(
               fehler, WEBKIT_POLICY_ERROR, WEBKIT_POLICY_ERROR_FRAME_LOAD_INTERRUPTED_BY_POLICY_CHANGE) ||
           g_error_matches(fehler, WEBKIT_MEDIA_ERROR, WEBKIT_MEDIA_ERROR_WILL_HANDLE_LOAD);
}

/// To save time the engine opens a connection before the load that is to use it. When it refuses the server's certificate
/// just while the load takes the connection over, it cancels the connection, and all that is told is this.
bool istVerloreneVerbindung(GError const* fehler) {
    return g_error_matches(fehler, G_IO_ERROR, G_IO_ERROR_CANCELLED);
}

std::string beschreibungVon(GTlsCertificateFlags maengel) {
    if ((maengel & G_TLS_CERTIFICATE_EXPIRED) != 0)
        return "Das Zertifikat des Servers ist abgelaufen.";
    if ((maengel & G_TLS_CERTIFICATE_NOT_ACTIVATED) != 0)
        return "Das Zertifikat des Servers gilt noch nicht.";
    if ((maengel & G_TLS_CERTIFICATE_BAD_IDENTITY) != 0)
        return "Das Zertifikat des Servers gilt für eine andere Adresse.";
    if ((maengel & G_TLS_CERTIFICATE_REVOKED) != 0)
        return "Das Zertifikat des Servers wurde widerrufen.";
    if ((maengel & G_TLS_CERTIFICATE_UNKNOWN_CA) != 0)
        return "Das Zertifikat des Servers stammt von einer unbekannten Stelle.";
    return "Das Zertifikat des Servers ist ungültig.";
}

std::string grundVon(WebKitWebProcessTerminationReason grund) {
    switch (grund) {
    case WEBKIT_WEB_PROCESS_EXCEEDED_MEMORY_LIMIT:
        return "Der Anzeigeprozess brauchte zu viel Speicher";
    case WEBKIT_WEB_PROCESS_TERMINATED_BY_API:
        return "Der Anzeigeprozess wurde beendet";
    case WEBKIT_WEB_PROCESS_CRASHED:
        break;
    }
    return "Der Anzeigeprozess ist abgestürzt";
}

} // namespace

struct WebansichtGtk::Ladesignale {
    static WebansichtGtk& an(gpointer daten) { return *static_cast<WebansichtGtk*>(daten); }

    static void ladeaenderung(WebKitWebView* web, WebKitLoadEvent ereignis, gpointer daten) {
        auto& ich = an(daten);
        switch (ereignis) {
        case WEBKIT_LOAD_STARTED:
            ich.unterwegs_ = std::exchange(ich.zugelassen_, std::nullopt);
            ich.unterwegsSendet_ = std::exchange(ich.sendet_, false);
            if (ich.frist_ == 0)
                ich.fristBeginnen(ich.unterwegsSendet_ ? ich.sendefrist_ : ich.ladefrist_);
            ich.empfaenger_.begonnen(ich);
            break;
        case WEBKIT_LOAD_REDIRECTED:
            break;
        case WEBKIT_LOAD_COMMITTED:
            ich.festgeschrieben_ = textVon(webkit_web_view_get_uri(web));
            ++ich.nummer_;
            ich.wiederholt_ = 0;
            ich.fristBeenden();
            enthuellen(web);
            ich.empfaenger_.festgeschrieben(ich);
            break;
        case WEBKIT_LOAD_FINISHED: {
            enthuellen(web); // Also without a document: the load may have become a download.
            auto const danach = std::exchange(ich.htmlLaedt_, false)
                                    ? std::exchange(ich.danach_, std::nullopt)
                                    : std::nullopt;
            if (!std::exchange(ich.gescheitert_, false))
                ich.empfaenger_.geladen(ich);
            if (std::exchange(ich.nachAbsturz_, false))
                groesseAnstossen(ich.widget());
            if (danach)
                ich.laden(danach->adresse, danach->frist);
            break;
        }
        }
    }

    static gboolean ladefehler(
        WebKitWebView* web, WebKitLoadEvent ereignis, char* adresse, GError* fehler, gpointer daten) {
        auto& ich = an(daten);
        ich.gescheitert_ = true; // "finished" follows.
        // Nothing has been sent yet, and the next try can tell what is wrong.
        if (istVerloreneVerbindung(fehler) && ereignis != WEBKIT_LOAD_COMMITTED && !ich.unterwegsSendet_ &&
            ich.wiederholt_ < hoechstensWiederholt) {
            ++ich.wiederholt_;
            webkit_web_view_load_uri(web, adresse);
            return TRUE;
        }
        ich.wiederholt_ = 0;
        ich.fristBeenden();
        ich.empfaenger_.fehlgeschlagen(
            ich, {.bereich = textVon(g_quark_to_string(fehler->domain)),
                  .nummer = fehler->code,
                  .beschreibung = beschreibungVon(fehler),
                  .abgebrochen = istAbbruch(fehler),
                  .adresse = textVon(adresse)});
        return TRUE; // No page of the engine's own.
    }

    static gboolean zertifikatfehler(
        WebKitWebView*, char* adresse, GTlsCertificate*, GTlsCertificateFlags maengel, gpointer daten) {
        auto& ich = an(daten);
        ich.gescheitert_ = true;
        ich.wiederholt_ = 0;
        ich.fristBeenden();
        ich.empfaenger_.fehlgeschlagen(
            ich, {.bereich = "zertifikat",
                  .nummer = static_cast<int>(maengel),
                  .beschreibung = beschreibungVon(maengel),
                  .abgebrochen = false,
                  .adresse = textVon(adresse),
                  .zertifikat = true});
        return TRUE;
    }

    /// A page that does not let go of its process answers nobody, not even the window's own buttons for it.
    static void antwortet(WebKitWebView* web, GParamSpec*, gpointer daten) {
        auto& ich = an(daten);
        ich.haengenBeenden();
        if (webkit_web_view_get_is_web_process_responsive(web))
            return;
        protokoll("Webprozess antwortet nicht");
        ich.haengt_ =
            g_timeout_add_seconds(static_cast<guint>(ich.haengefrist_.count()), haengtZuLange, daten);
    }

    static gboolean haengtZuLange(gpointer daten) {
        auto& ich = an(daten);
        ich.haengt_ = 0;
        ich.zuLangeGehangen_ = true;
        webkit_web_view_terminate_web_process(ich.web_.get()); // Tells prozessende().
        return G_SOURCE_REMOVE;
    }

    static void prozessende(WebKitWebView* web, WebKitWebProcessTerminationReason grund, gpointer daten) {
        auto& ich = an(daten);
        ich.fristBeenden();
        ich.haengenBeenden();
        verhuellen(web);
        ich.htmlLaedt_ = false;
        ich.danach_.reset();
        ich.festgeschrieben_.clear();
        ich.nachAbsturz_ = true;
        ++ich.nummer_;
        ich.empfaenger_.prozessGestorben(
            ich, std::exchange(ich.zuLangeGehangen_, false) ? "Der Anzeigeprozess hat nicht mehr geantwortet"
                                                            : grundVon(grund));
    }

    static gboolean fristAbgelaufen(gpointer daten) {
        auto& ich = an(daten);
        ich.frist_ = 0;
        // Of a load that a page began the view does not tell the address before it is committed.
        auto const adresse =
            ich.unterwegs_ ? *ich.unterwegs_ : textVon(webkit_web_view_get_uri(ich.web_.get()));
        webkit_web_view_stop_loading(ich.web_.get()); // Reports a cancelled load, which is silent.
        ich.empfaenger_.fehlgeschlagen(
            ich, {.bereich = "zeit",
                  .nummer = 1,
                  .beschreibung = "Der Server hat nicht rechtzeitig geantwortet.",
                  .abgebrochen = false,
                  .adresse = adresse});
        return G_SOURCE_REMOVE;
    }
};

void WebansichtGtk::ladesignaleVerbinden() {
    auto const verbinde = [this](char const* signal, GCallback rueckruf) {
        g_signal_connect(web_.get(), signal, rueckruf, this);
    };
    verbinde("load-changed", G_CALLBACK(Ladesignale::ladeaenderung));
    verbinde("load-failed", G_CALLBACK(Ladesignale::ladefehler));
    verbinde("load-failed-with-tls-errors", G_CALLBACK(Ladesignale::zertifikatfehler));
    verbinde("web-process-terminated", G_CALLBACK(Ladesignale::prozessende));
    verbinde("notify::is-web-process-responsive", G_CALLBACK(Ladesignale::antwortet));
    verhuellen(web_.get());
}

void WebansichtGtk::laden(std::string const& adresse, std::chrono::seconds frist) {
    // A load takes the place of one that has not been committed yet, and the document would never be seen.
    if (htmlLaedt_) {
        danach_ = {.adresse = adresse, .frist = frist};
        return;
    }
    if (hatGesperrtenPort(adresse)) {
        gesperrtMelden(adresse);
        return;
    }
    fristBeginnen(frist);
    webkit_web_view_load_uri(web_.get(), adresse.c_str());
}

void WebansichtGtk::gesperrtMelden(std::string const& adresse) {
    struct Meldung {
        std::weak_ptr<WebansichtGtk*> web;
        std::string adresse;
    };
    // Later, as every failure of the engine's: whoever asks for a load does not expect its end within the call.
    g_idle_add_full(
        G_PRIORITY_DEFAULT,
        [](gpointer daten) -> gboolean {
            auto const& meldung = *static_cast<Meldung*>(daten);
            if (auto const ich = meldung.web.lock())
                (*ich)->empfaenger_.fehlgeschlagen(
                    **ich, {.bereich = "port",
                            .nummer = 1,
                            .beschreibung = "Der Port in der Adresse ist für Webseiten gesperrt.",
                            .abgebrochen = false,
                            .adresse = meldung.adresse});
            return G_SOURCE_REMOVE;
        },
        new Meldung{.web = lebt_, .adresse = adresse},
        [](gpointer daten) { delete static_cast<Meldung*>(daten); });
}

void WebansichtGtk::ladenHtml(std::string const& html) {
    fristBeenden();
    danach_.reset();
    htmlLaedt_ = true;
    webkit_web_view_load_html(web_.get(), html.c_str(), nullptr);
}

void WebansichtGtk::ladenErsatz(std::string const& html, std::string const& adresse) {
    fristBeenden();
    htmlLaedt_ = false;
    danach_.reset();
    webkit_web_view_load_alternate_html(web_.get(), html.c_str(), adresse.c_str(), nullptr);
}

void WebansichtGtk::neuLaden() {
    if (danach_)
        return; // It is loaded as soon as it can be.
    // The engine would end the load that is under way and begin none, since there is no page to load again.
    bool const nichtsDa = festgeschrieben_.empty() || festgeschrieben_ == "about:blank";
    if (auto const ziel = adresse(); nichtsDa && ziel) {
        laden(*ziel, ladefrist_);
        return;
    }
    webkit_web_view_reload(web_.get());
}

void WebansichtGtk::anhalten() {
    webkit_web_view_stop_loading(web_.get());
}

void WebansichtGtk::fristBeginnen(std::chrono::seconds frist) {
    fristBeenden();
    frist_ = g_timeout_add_seconds(static_cast<guint>(frist.count()), Ladesignale::fristAbgelaufen, this);
}

void WebansichtGtk::haengenBeenden() {
    if (haengt_ != 0)
        g_source_remove(std::exchange(haengt_, 0U));
}

void WebansichtGtk::fristBeenden() {
    if (frist_ != 0)
        g_source_remove(std::exchange(frist_, 0U));
}

} // namespace quillmate::adapter::gtk
