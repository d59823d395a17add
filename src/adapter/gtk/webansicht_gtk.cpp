// WebKitGTK's view behind the port.
//
// The parts, in the order in which a page meets them:
//   making       Einrichtung -> user scripts, message handler, settings, signals
//   loading      laden(), load-changed, the deadline of every load, the three kinds of failure
//   deciding     decide-policy and create -> beiNavigation, beiAntwort, neuesFenster
//   dialogs      script-dialog, run-file-chooser: answered later, exactly once (Einmal)
//   scripts      skript(), rufen()
// Signals are disconnected in the destructor, so no callback meets a view that is gone; the answers to asynchronous
// calls know only whom they answer.
#include "webansicht_gtk.h"

#include "download_gtk.h"
#include "druck_gtk.h"
#include "fehlertext.h"
#include "fenstertasten.h"
#include "grafik.h"
#include "grundlage/protokoll.h"
#include "neuzeichnen.h"
#include "programmfenster_gtk.h"
#include "sperrports.h"

#include <jsc/jsc.h>
#include <libsoup/soup.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace quillmate::adapter::gtk {
namespace {

constexpr char const* adapterschluessel = "quillmate-webansicht";

/// A load loses its connection at one in six of the servers whose certificate is refused.
constexpr int hoechstensWiederholt = 5;

/// Navigations whose answers may still be outstanding.
constexpr std::size_t hoechsteAusgaenge = 16;

Gesten::Zeit jetzt() {
    return Gesten::Zeit{g_get_monotonic_time()};
}

/// The world of links.js, and its message handler.
constexpr char const* linkwelt = "quillmate-links";
constexpr char const* linkname = "geklickt";

/// Adds a script that runs at document start; `welt` is null for the page's own.
void skriptHinzufuegen(
    WebKitUserContentManager* inhalte, std::string const& quelltext, WebKitUserContentInjectedFrames wo,
    char const* welt) {
    auto* const skript =
        welt ? webkit_user_script_new_for_world(
                   quelltext.c_str(), wo, WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, welt, nullptr, nullptr)
             : webkit_user_script_new(
                   quelltext.c_str(), wo, WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START, nullptr, nullptr);
    webkit_user_content_manager_add_script(inhalte, skript);
    webkit_user_script_unref(skript);
}

/// The element of a list that a script of ours has posted.
Objekt<JSCValue> stelleVon(JSCValue* liste, guint stelle) {
    return Objekt<JSCValue>::uebernommen(jsc_value_object_get_property_at_index(liste, stelle));
}

/// Also with zero bytes in it.
std::string inhaltVon(JSCValue* wert) {
    std::unique_ptr<GBytes, decltype(&g_bytes_unref)> const bytes{
        jsc_value_to_string_as_bytes(wert), &g_bytes_unref};
    gsize laenge = 0;
    auto const* const anfang =
        bytes ? static_cast<char const*>(g_bytes_get_data(bytes.get(), &laenge)) : nullptr;
    return anfang ? std::string{anfang, laenge} : std::string{};
}

ports::Navigationsart artVon(WebKitNavigationType art) {
    switch (art) {
    case WEBKIT_NAVIGATION_TYPE_LINK_CLICKED:
        return ports::Navigationsart::link;
    case WEBKIT_NAVIGATION_TYPE_FORM_SUBMITTED:
    case WEBKIT_NAVIGATION_TYPE_FORM_RESUBMITTED:
        return ports::Navigationsart::formular;
    case WEBKIT_NAVIGATION_TYPE_BACK_FORWARD:
        return ports::Navigationsart::verlauf;
    case WEBKIT_NAVIGATION_TYPE_RELOAD:
        return ports::Navigationsart::neuladen;
    case WEBKIT_NAVIGATION_TYPE_OTHER:
        break;
    }
    return ports::Navigationsart::anderes;
}

std::optional<std::string> adresseVon(WebKitNavigationAction* aktion) {
    auto* const anfrage = webkit_navigation_action_get_request(aktion);
    char const* const adresse = anfrage ? webkit_uri_request_get_uri(anfrage) : nullptr;
    if (!adresse || !*adresse)
        return std::nullopt;
    return std::string{adresse};
}

bool sendetEtwas(WebKitNavigationAction* aktion) {
    auto* const anfrage = webkit_navigation_action_get_request(aktion);
    char const* const methode = anfrage ? webkit_uri_request_get_http_method(anfrage) : nullptr;
    return methode && std::string_view{methode} == "POST" && !webkit_navigation_action_is_redirect(aktion);
}

/// What only the page that holds it can read: as a link it can mean nothing but saving.
bool istInhaltDerSeite(std::optional<std::string> const& adresse) {
    return adresse && (adresse->starts_with("blob:") || adresse->starts_with("data:"));
}

ports::Antwortkopf kopfVon(WebKitResponsePolicyDecision* entscheidung) {
    auto* const antwort = webkit_response_policy_decision_get_response(entscheidung);
    ports::Antwortkopf kopf;
    kopf.adresse = textVon(webkit_uri_response_get_uri(antwort));
    kopf.mimetyp = textVon(webkit_uri_response_get_mime_type(antwort));
    kopf.status = static_cast<int>(webkit_uri_response_get_status_code(antwort));
    if (auto* const zeilen = webkit_uri_response_get_http_headers(antwort))
        kopf.contentDisposition = textVon(soup_message_headers_get_one(zeilen, "Content-Disposition"));
    if (GText const name{g_strdup(webkit_uri_response_get_suggested_filename(antwort))})
        kopf.name = name.get();
    auto* const anfrage = webkit_response_policy_decision_get_request(entscheidung);
    if (auto* const zeilen = anfrage ? webkit_uri_request_get_http_headers(anfrage) : nullptr) {
        kopf.verhaeltnis = textVon(soup_message_headers_get_one(zeilen, "Sec-Fetch-Site"));
        kopf.verweiser = textVon(soup_message_headers_get_one(zeilen, "Referer"));
    }
    kopf.darstellbar = webkit_response_policy_decision_is_mime_type_supported(entscheidung) != FALSE;
    kopf.hauptrahmen = webkit_response_policy_decision_is_main_frame_main_resource(entscheidung) != FALSE;
    return kopf;
}

void entscheiden(WebKitPolicyDecision* entscheidung, ports::Entscheidung wie) {
    switch (wie) {
    case ports::Entscheidung::zulassen:
        webkit_policy_decision_use(entscheidung);
        break;
    case ports::Entscheidung::abbrechen:
        webkit_policy_decision_ignore(entscheidung);
        break;
    case ports::Entscheidung::herunterladen:
        webkit_policy_decision_download(entscheidung);
        break;
    case ports::Entscheidung::erfragen: // Answered later.
        break;
    }
}

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

/// A script's dialog that the page waits on. It is closed once, at the latest when the last holder is gone, and always
/// from the main loop: the engine does not survive a dialog that closes within its own signal.
class OffenerDialog {
public:
    explicit OffenerDialog(WebKitScriptDialog* dialog)
        : dialog_(webkit_script_dialog_ref(dialog)) {}
    ~OffenerDialog() { schliessen(); }
    OffenerDialog(OffenerDialog const&) = delete;
    OffenerDialog& operator=(OffenerDialog const&) = delete;

    void bestaetigen(bool ja) {
        if (dialog_)
            webkit_script_dialog_confirm_set_confirmed(dialog_, ja ? TRUE : FALSE);
        schliessen();
    }
    void eingeben(std::optional<std::string> const& text) {
        if (dialog_ && text)
            webkit_script_dialog_prompt_set_text(dialog_, text->c_str());
        schliessen();
    }
    void schliessen() {
        if (auto* const dialog = std::exchange(dialog_, nullptr))
            g_idle_add_full(
                G_PRIORITY_DEFAULT,
                [](gpointer zeiger) -> gboolean {
                    webkit_script_dialog_close(static_cast<WebKitScriptDialog*>(zeiger));
                    return G_SOURCE_REMOVE;
                },
                dialog,
                [](gpointer zeiger) {
                    webkit_script_dialog_unref(static_cast<WebKitScriptDialog*>(zeiger));
                });
    }

private:
    WebKitScriptDialog* dialog_;
};

/// A decision that waits for a person. Without an answer the load would wait for ever.
class OffeneEntscheidung {
public:
    explicit OffeneEntscheidung(WebKitPolicyDecision* entscheidung)
        : entscheidung_(Objekt<WebKitPolicyDecision>::geteilt(entscheidung)) {}
    ~OffeneEntscheidung() { antworten(false); }
    OffeneEntscheidung(OffeneEntscheidung const&) = delete;
    OffeneEntscheidung& operator=(OffeneEntscheidung const&) = delete;

    void antworten(bool ja) {
        if (std::exchange(offen_, false))
            entscheiden(
                entscheidung_.get(),
                ja ? ports::Entscheidung::herunterladen : ports::Entscheidung::abbrechen);
    }

private:
    Objekt<WebKitPolicyDecision> const entscheidung_;
    bool offen_{true};
};

/// A page's request for files. Without an answer the input would stay dead.
class OffeneDateiwahl {
public:
    explicit OffeneDateiwahl(WebKitFileChooserRequest* anfrage)
        : anfrage_(Objekt<WebKitFileChooserRequest>::geteilt(anfrage)) {}
    ~OffeneDateiwahl() { antworten(std::nullopt); }
    OffeneDateiwahl(OffeneDateiwahl const&) = delete;
    OffeneDateiwahl& operator=(OffeneDateiwahl const&) = delete;

    void antworten(std::optional<std::vector<std::string>> const& pfade) {
        if (!std::exchange(offen_, false))
            return;
        if (!pfade || pfade->empty()) {
            webkit_file_chooser_request_cancel(anfrage_.get());
            return;
        }
        std::vector<char const*> zeiger;
        for (auto const& pfad : *pfade)
            zeiger.push_back(pfad.c_str());
        zeiger.push_back(nullptr);
        webkit_file_chooser_request_select_files(anfrage_.get(), zeiger.data());
    }

private:
    Objekt<WebKitFileChooserRequest> const anfrage_;
    bool offen_{true};
};

} // namespace

struct WebansichtGtk::Signale {
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
            ich.empfaenger_.festgeschrieben(ich);
            break;
        case WEBKIT_LOAD_FINISHED: {
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

    static gboolean richtlinie(
        WebKitWebView*, WebKitPolicyDecision* entscheidung, WebKitPolicyDecisionType art, gpointer daten) {
        auto& ich = an(daten);
        switch (art) {
        case WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION:
        case WEBKIT_POLICY_DECISION_TYPE_NEW_WINDOW_ACTION: {
            auto* const aktion = webkit_navigation_policy_decision_get_navigation_action(
                WEBKIT_NAVIGATION_POLICY_DECISION(entscheidung));
            auto const navigation = ich.navigation(aktion);
            auto const wie = ich.empfaenger_.beiNavigation(ich, navigation);
            if (wie == ports::Entscheidung::erfragen) {
                ich.downloadErfragen(entscheidung, {.adresse = navigation.adresse.value_or(""), .name = {}});
                return TRUE;
            }
            if (art == WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION &&
                wie == ports::Entscheidung::zulassen) {
                ich.zugelassen_ = adresseVon(aktion);
                ich.sendet_ = ich.sendet_ || sendetEtwas(aktion);
            }
            ich.neuesFensterGeprueft_ =
                art == WEBKIT_POLICY_DECISION_TYPE_NEW_WINDOW_ACTION && wie == ports::Entscheidung::zulassen;
            entscheiden(entscheidung, wie);
            return TRUE;
        }
        case WEBKIT_POLICY_DECISION_TYPE_RESPONSE: {
            auto kopf = kopfVon(WEBKIT_RESPONSE_POLICY_DECISION(entscheidung));
            auto const ausgang =
                std::ranges::find(ich.ausgaenge_, kopf.adresse.value_or(""), &Ausgang::adresse);
            kopf.geste = ausgang == ich.ausgaenge_.end() ? 0 : ausgang->geste;
            auto const wie = ich.empfaenger_.beiAntwort(ich, kopf);
            if (wie == ports::Entscheidung::erfragen) {
                if (kopf.hauptrahmen)
                    ich.fristBeenden(); // The server has answered.
                ich.downloadErfragen(entscheidung, {.adresse = kopf.adresse.value_or(""), .name = kopf.name});
            }
            entscheiden(entscheidung, wie);
            return TRUE;
        }
        }
        return FALSE;
    }

    static GtkWidget* neuesFenster(WebKitWebView*, WebKitNavigationAction* aktion, gpointer daten) {
        auto& ich = an(daten);
        // A link's policy has been asked before; a script's window comes here straight away.
        bool const geprueft = std::exchange(ich.neuesFensterGeprueft_, false);
        if (!geprueft &&
            ich.empfaenger_.beiNavigation(ich, ich.navigation(aktion)) != ports::Entscheidung::zulassen)
            return nullptr;
        auto const verwandte = [&ich](Empfaenger& empfaenger) -> std::unique_ptr<ports::Webansicht> {
            return std::unique_ptr<ports::Webansicht>{new WebansichtGtk{ich, empfaenger}};
        };
        ich.gefragt_ = aktion;
        auto* const ansicht = ich.empfaenger_.neuesFenster(
            ich, {.adresse = adresseVon(aktion), .zielrahmen = false, .geste = ich.geste(aktion)}, verwandte);
        ich.gefragt_ = nullptr;
        // Another view than the one asked for could not take the request over.
        auto* const eigene = dynamic_cast<WebansichtGtk*>(ansicht);
        return eigene ? eigene->widget() : nullptr;
    }

    static void schliessen(WebKitWebView*, gpointer daten) {
        auto& ich = an(daten);
        ich.empfaenger_.schliessen(ich);
    }

    static void prozessende(WebKitWebView*, WebKitWebProcessTerminationReason grund, gpointer daten) {
        auto& ich = an(daten);
        ich.fristBeenden();
        ich.htmlLaedt_ = false;
        ich.danach_.reset();
        ich.festgeschrieben_.clear();
        ich.nachAbsturz_ = true;
        ++ich.nummer_;
        ich.empfaenger_.prozessGestorben(ich, grundVon(grund));
    }

    static gboolean skriptdialog(WebKitWebView*, WebKitScriptDialog* dialog, gpointer daten) {
        auto& ich = an(daten);
        auto const offen = std::make_shared<OffenerDialog>(dialog);
        std::string const text = textVon(webkit_script_dialog_get_message(dialog));
        switch (webkit_script_dialog_get_dialog_type(dialog)) {
        case WEBKIT_SCRIPT_DIALOG_ALERT:
            ich.empfaenger_.hinweis(ich, text, [offen] { offen->schliessen(); });
            break;
        case WEBKIT_SCRIPT_DIALOG_CONFIRM:
            ich.empfaenger_.bestaetigung(ich, text, [offen](bool ja) { offen->bestaetigen(ja); });
            break;
        case WEBKIT_SCRIPT_DIALOG_PROMPT:
            ich.empfaenger_.eingabe(
                ich, text, textVon(webkit_script_dialog_prompt_get_default_text(dialog)),
                [offen](std::optional<std::string> const& eingabe) { offen->eingeben(eingabe); });
            break;
        case WEBKIT_SCRIPT_DIALOG_BEFORE_UNLOAD_CONFIRM:
            offen->bestaetigen(true);
            break;
        }
        return TRUE;
    }

    static gboolean dateiwahl(WebKitWebView*, WebKitFileChooserRequest* anfrage, gpointer daten) {
        auto& ich = an(daten);
        auto const offen = std::make_shared<OffeneDateiwahl>(anfrage);
        ports::Dateiwahl wahl{
            .ordner = false,
            .mehrere = webkit_file_chooser_request_get_select_multiple(anfrage) != FALSE,
            .mimetypen = {}};
        if (auto const* typen = webkit_file_chooser_request_get_mime_types(anfrage))
            for (; *typen; ++typen)
                wahl.mimetypen.emplace_back(*typen);
        ich.empfaenger_.dateienWaehlen(
            ich, wahl,
            [offen](std::optional<std::vector<std::string>> const& pfade) { offen->antworten(pfade); });
        return TRUE;
    }

    /// Camera, microphone, location, notifications: nothing that this program's pages need.
    static gboolean erlaubnis(WebKitWebView*, WebKitPermissionRequest* anfrage, gpointer) {
        webkit_permission_request_deny(anfrage);
        return TRUE;
    }

    static gboolean kontextmenue(WebKitWebView*, WebKitContextMenu* menue, WebKitHitTestResult*, gpointer) {
        // Entries that lead nowhere in this program.
        constexpr std::array tot{
            WEBKIT_CONTEXT_MENU_ACTION_INSPECT_ELEMENT, WEBKIT_CONTEXT_MENU_ACTION_OPEN_LINK,
            WEBKIT_CONTEXT_MENU_ACTION_INSERT_EMOJI, WEBKIT_CONTEXT_MENU_ACTION_UNICODE};
        std::vector<WebKitContextMenuItem*> weg;
        for (GList* stelle = webkit_context_menu_get_items(menue); stelle; stelle = stelle->next) {
            auto* const eintrag = static_cast<WebKitContextMenuItem*>(stelle->data);
            if (std::ranges::find(tot, webkit_context_menu_item_get_stock_action(eintrag)) != tot.end())
                weg.push_back(eintrag);
        }
        for (auto* const eintrag : weg)
            webkit_context_menu_remove(menue, eintrag);
        return FALSE;
    }

    /// A list of origin and message, posted by bote.js and by nobody else.
    static void nachricht(WebKitUserContentManager*, JSCValue* wert, gpointer daten) {
        auto& ich = an(daten);
        if (!jsc_value_is_array(wert))
            return;
        auto const text = inhaltVon(stelleVon(wert, 1).get());
        ich.nachrichten_(
            text.size() > hoechsteNachricht ? std::string_view{} : std::string_view{text},
            {.ursprung = inhaltVon(stelleVon(wert, 0).get()),
             .dokument = ich.festgeschrieben_,
             .nummer = ich.nummer_});
    }

    /// A list of address, origin and whether it is a download, posted by links.js; null when the click is over.
    /// Sees what a person does before the page does.
    static gboolean eingabe(GtkEventController*, GdkEvent* ereignis, gpointer daten) {
        auto& ich = an(daten);
        switch (gdk_event_get_event_type(ereignis)) {
        case GDK_KEY_PRESS: // A key that is held down repeats itself, and is one doing.
            if (std::exchange(ich.taste_, gdk_key_event_get_keycode(ereignis)) ==
                gdk_key_event_get_keycode(ereignis))
                break;
            [[fallthrough]];
        case GDK_BUTTON_PRESS:
        case GDK_TOUCH_BEGIN:
            ich.gesten_->eingabe(jetzt());
            break;
        case GDK_KEY_RELEASE:
            ich.taste_ = 0;
            break;
        default:
            break;
        }
        return FALSE;
    }

    static void linkGeklickt(WebKitUserContentManager*, JSCValue* wert, gpointer daten) {
        auto& klick = *an(daten).linkklick_;
        klick.reset();
        if (jsc_value_is_array(wert))
            klick = Linkklick{
                .adresse = inhaltVon(stelleVon(wert, 0).get()),
                .ursprung = inhaltVon(stelleVon(wert, 1).get()),
                .herunterladen = jsc_value_to_boolean(stelleVon(wert, 2).get()) != FALSE};
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

WebansichtGtk::WebansichtGtk(WebSitzungen& sitzungen, Einrichtung einrichtung, Empfaenger& empfaenger)
    : empfaenger_(empfaenger)
    , inhalte_(Objekt<WebKitUserContentManager>::uebernommen(webkit_user_content_manager_new()))
    , ladefrist_(einrichtung.ladefrist)
    , sendefrist_(einrichtung.sendefrist) {
    nachrichtenAnnehmen(einrichtung);
    linksBeobachten();
    for (auto const& skript : einrichtung.skripte)
        skriptHinzufuegen(
            inhalte_.get(), skript.quelltext,
            skript.nurHauptrahmen ? WEBKIT_USER_CONTENT_INJECT_TOP_FRAME
                                  : WEBKIT_USER_CONTENT_INJECT_ALL_FRAMES,
            nullptr);
    web_ = Objekt<WebKitWebView>::geteilt(WEBKIT_WEB_VIEW(g_object_new(
        WEBKIT_TYPE_WEB_VIEW, "web-context", sitzungen.kontext(), "network-session",
        sitzungen.sitzung(einrichtung.datenhaltung), "user-content-manager", inhalte_.get(), nullptr)));
    einstellen();
    auto* const einstellungen = webkit_web_view_get_settings(web_.get());
    // A page from the engine's cache would go on waiting for replies that went astray while another one was shown.
    if (nachrichten_)
        webkit_settings_set_enable_page_cache(einstellungen, FALSE);
    webkit_settings_set_enable_back_forward_navigation_gestures(
        einstellungen, einrichtung.wischgesten ? TRUE : FALSE);
    if (einrichtung.fremdeSeiten)
        aufFremdeSeitenEinstellen();
    verbinden();
}

WebansichtGtk::WebansichtGtk(WebansichtGtk& verwandte, Empfaenger& empfaenger)
    : empfaenger_(empfaenger)
    // The engine gives it the asking view's content, whatever manager it is made with. So its messages arrive there,
    // and are judged by the document there.
    , inhalte_(Objekt<WebKitUserContentManager>::geteilt(verwandte.inhalte_.get()))
    , linkklick_(verwandte.linkklick_)
    , zustellrumpf_(verwandte.zustellrumpf_)
    , gesten_(verwandte.gesten_)
    , web_(Objekt<WebKitWebView>::geteilt(WEBKIT_WEB_VIEW(g_object_new(
          WEBKIT_TYPE_WEB_VIEW, "related-view", verwandte.web_.get(), "settings",
          webkit_web_view_get_settings(verwandte.web_.get()), nullptr))))
    , ladefrist_(verwandte.ladefrist_)
    , sendefrist_(verwandte.sendefrist_) {
    verbinden();
}

WebansichtGtk::~WebansichtGtk() {
    fristBeenden();
    g_object_set_data(G_OBJECT(web_.get()), adapterschluessel, nullptr);
    g_signal_handlers_disconnect_by_data(web_.get(), this);
    g_signal_handlers_disconnect_by_data(inhalte_.get(), this);
    gtk_widget_remove_controller(widget(), eingaben_);
    webkit_web_view_try_close(web_.get());
}

WebansichtGtk* WebansichtGtk::von(WebKitWebView* ansicht) {
    return static_cast<WebansichtGtk*>(g_object_get_data(G_OBJECT(ansicht), adapterschluessel));
}

void WebansichtGtk::nachrichtenAnnehmen(Einrichtung const& einrichtung) {
    if (einrichtung.nachrichtenname.empty() || !einrichtung.nachrichten)
        return;
    nachrichten_ = einrichtung.nachrichten;
    auto const& name = einrichtung.nachrichtenname;
    zustellrumpf_ = zustellrumpf(name);
    auto const signal = "script-message-received::" + name;
    g_signal_connect(inhalte_.get(), signal.c_str(), G_CALLBACK(Signale::nachricht), this);
    webkit_user_content_manager_register_script_message_handler(inhalte_.get(), name.c_str(), botenwelt);
    skriptHinzufuegen(
        inhalte_.get(), botenskript(name, hoechsteNachricht), WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
        botenwelt);
    skriptHinzufuegen(inhalte_.get(), vermittlerskript(name), WEBKIT_USER_CONTENT_INJECT_TOP_FRAME, nullptr);
}

void WebansichtGtk::linksBeobachten() {
    auto const signal = std::string{"script-message-received::"} + linkname;
    g_signal_connect(inhalte_.get(), signal.c_str(), G_CALLBACK(Signale::linkGeklickt), this);
    webkit_user_content_manager_register_script_message_handler(inhalte_.get(), linkname, linkwelt);
    skriptHinzufuegen(inhalte_.get(), linkskript(), WEBKIT_USER_CONTENT_INJECT_ALL_FRAMES, linkwelt);
    skriptHinzufuegen(inhalte_.get(), klickskript(), WEBKIT_USER_CONTENT_INJECT_ALL_FRAMES, nullptr);
}

ports::Navigation WebansichtGtk::navigation(WebKitNavigationAction* aktion) {
    ports::Navigation ergebnis{
        .adresse = adresseVon(aktion),
        .art = artVon(webkit_navigation_action_get_navigation_type(aktion)),
        .umgeleitet = webkit_navigation_action_is_redirect(aktion) != FALSE,
        .geste = geste(aktion)};
    if (ergebnis.geste != 0 && ergebnis.adresse) {
        std::erase_if(ausgaenge_, [&](Ausgang const& einer) { return einer.adresse == *ergebnis.adresse; });
        ausgaenge_.push_front({.adresse = *ergebnis.adresse, .geste = ergebnis.geste});
        if (ausgaenge_.size() > hoechsteAusgaenge)
            ausgaenge_.pop_back();
    }
    if (ergebnis.art != ports::Navigationsart::link)
        return ergebnis;
    // Used up: it was said of this click. Another frame's link may come between.
    auto const klick = std::exchange(*linkklick_, std::nullopt);
    bool const dieser = klick && klick->adresse == ergebnis.adresse;
    if (dieser)
        ergebnis.ursprung = klick->ursprung;
    ergebnis.alsDownload = (dieser && klick->herunterladen) || istInhaltDerSeite(ergebnis.adresse);
    return ergebnis;
}

std::uint64_t WebansichtGtk::geste(WebKitNavigationAction* aktion) {
    if (webkit_navigation_action_is_user_gesture(aktion))
        return gesten_->nummer(jetzt());
    return langeKlicks_ ? gesten_->nummerDerEingabe(jetzt()) : 0;
}

bool WebansichtGtk::gesteVerbrauchen(std::uint64_t geste) {
    return gesten_->verbrauchen(geste, jetzt());
}

void WebansichtGtk::eingabenBeobachten() {
    auto* const beobachter = gtk_event_controller_legacy_new();
    gtk_event_controller_set_propagation_phase(beobachter, GTK_PHASE_CAPTURE);
    g_signal_connect(beobachter, "event", G_CALLBACK(Signale::eingabe), this);
    gtk_widget_add_controller(widget(), beobachter); // Ends with the widget, or before, in the destructor.
    eingaben_ = beobachter;
}

void WebansichtGtk::downloadErfragen(WebKitPolicyDecision* entscheidung, ports::Downloadfrage const& frage) {
    auto const offen = std::make_shared<OffeneEntscheidung>(entscheidung);
    empfaenger_.downloadErfragen(*this, frage, [offen](bool ja) { offen->antworten(ja); });
}

void WebansichtGtk::einstellen() {
    auto* const einstellungen = webkit_web_view_get_settings(web_.get());
    webkit_settings_set_enable_developer_extras(einstellungen, FALSE);
    webkit_settings_set_javascript_can_open_windows_automatically(einstellungen, FALSE);
    webkit_settings_set_enable_write_console_messages_to_stdout(einstellungen, FALSE);
    webkit_settings_set_enable_webrtc(einstellungen, FALSE);
    webkit_settings_set_enable_media_stream(einstellungen, FALSE);
    if (!hatGrafikprozessor())
        webkit_settings_set_hardware_acceleration_policy(
            einstellungen, WEBKIT_HARDWARE_ACCELERATION_POLICY_NEVER);
}

void WebansichtGtk::aufFremdeSeitenEinstellen() {
    auto* const einstellungen = webkit_web_view_get_settings(web_.get());
    // A page that fills the screen hides the window's own button for closing, and can paint any bar there.
    webkit_settings_set_enable_fullscreen(einstellungen, FALSE);
    // The engine refuses a window one second after the click; we look at the click ourselves.
    webkit_settings_set_javascript_can_open_windows_automatically(einstellungen, TRUE);
    langeKlicks_ = true;
}

void WebansichtGtk::verbinden() {
    g_object_set_data(G_OBJECT(web_.get()), adapterschluessel, this);
    eingabenBeobachten();
    gtk_widget_set_vexpand(widget(), TRUE);
    gtk_widget_set_hexpand(widget(), TRUE);
    maustastenAnschliessen(widget());
    auto const verbinde = [this](char const* signal, GCallback rueckruf) {
        g_signal_connect(web_.get(), signal, rueckruf, this);
    };
    verbinde("load-changed", G_CALLBACK(Signale::ladeaenderung));
    verbinde("load-failed", G_CALLBACK(Signale::ladefehler));
    verbinde("load-failed-with-tls-errors", G_CALLBACK(Signale::zertifikatfehler));
    verbinde("decide-policy", G_CALLBACK(Signale::richtlinie));
    verbinde("create", G_CALLBACK(Signale::neuesFenster));
    verbinde("close", G_CALLBACK(Signale::schliessen));
    verbinde("web-process-terminated", G_CALLBACK(Signale::prozessende));
    verbinde("script-dialog", G_CALLBACK(Signale::skriptdialog));
    verbinde("run-file-chooser", G_CALLBACK(Signale::dateiwahl));
    verbinde("permission-request", G_CALLBACK(Signale::erlaubnis));
    verbinde("context-menu", G_CALLBACK(Signale::kontextmenue));
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

bool WebansichtGtk::kannZurueck() const {
    return webkit_web_view_can_go_back(web_.get()) != FALSE;
}

bool WebansichtGtk::anfrageUebernehmen() {
    auto* const anfrage = gefragt_ ? webkit_navigation_action_get_request(gefragt_) : nullptr;
    if (!anfrage)
        return false;
    webkit_web_view_load_request(web_.get(), anfrage);
    return true;
}

bool WebansichtGtk::gesichert() const {
    GTlsCertificate* zertifikat = nullptr;
    GTlsCertificateFlags maengel{};
    return webkit_web_view_get_tls_info(web_.get(), &zertifikat, &maengel) != FALSE;
}

void WebansichtGtk::zurueck() {
    webkit_web_view_go_back(web_.get());
}

void WebansichtGtk::vorwaerts() {
    webkit_web_view_go_forward(web_.get());
}

std::optional<std::string> WebansichtGtk::adresse() const {
    if (danach_)
        return danach_->adresse;
    std::string text = textVon(webkit_web_view_get_uri(web_.get()));
    if (text.empty() || text == "about:blank")
        return std::nullopt;
    return text;
}

ports::Absender WebansichtGtk::dokument() const {
    return {
        .ursprung = ursprungVon(festgeschrieben_).value_or("null"),
        .dokument = festgeschrieben_,
        .nummer = nummer_};
}

void WebansichtGtk::skript(std::string const& quelltext) {
    // The engine's process may have committed the next document without having told yet. No page can change what
    // location.origin is. Our own documents have none, also those that stand for an address.
    auto const ursprung = ursprungVon(festgeschrieben_);
    auto const skript = ursprung ? "if (location.origin === \"" + *ursprung +
                                       "\" || location.origin === \"null\") {" + quelltext + "\n}"
                                 : quelltext;
    gesten_->eigenesSkript(jetzt());
    webkit_web_view_evaluate_javascript(
        web_.get(), skript.data(), static_cast<gssize>(skript.size()), nullptr, nullptr, nullptr, nullptr,
        nullptr);
}

void WebansichtGtk::zustellen(std::uint64_t dokument, std::string const& funktion, std::string const& werte) {
    auto const ursprung = ursprungVon(festgeschrieben_);
    if (dokument != nummer_ || !ursprung || zustellrumpf_.empty())
        return;
    GVariantBuilder bauer;
    g_variant_builder_init(&bauer, G_VARIANT_TYPE_VARDICT);
    for (auto const& [name, wert] :
         {std::pair{"ursprung", &*ursprung}, {"funktion", &funktion}, {"werte", &werte}})
        g_variant_builder_add(&bauer, "{sv}", name, g_variant_new_string(wert->c_str()));
    gesten_->eigenesSkript(jetzt());
    webkit_web_view_call_async_javascript_function(
        web_.get(), zustellrumpf_.data(), static_cast<gssize>(zustellrumpf_.size()),
        g_variant_builder_end(&bauer), nullptr, nullptr, nullptr, nullptr, nullptr);
}

void WebansichtGtk::rufen(
    std::string const& rumpf, std::map<std::string, std::string> const& werte, Skriptantwort antwort) {
    GVariantBuilder bauer;
    g_variant_builder_init(&bauer, G_VARIANT_TYPE_VARDICT);
    for (auto const& [name, wert] : werte)
        g_variant_builder_add(&bauer, "{sv}", name.c_str(), g_variant_new_string(wert.c_str()));
    gesten_->eigenesSkript(jetzt());
    webkit_web_view_call_async_javascript_function(
        web_.get(), rumpf.data(), static_cast<gssize>(rumpf.size()), g_variant_builder_end(&bauer), nullptr,
        nullptr, nullptr,
        [](GObject* quelle, GAsyncResult* ergebnis, gpointer daten) {
            std::unique_ptr<Skriptantwort> const empfaenger{static_cast<Skriptantwort*>(daten)};
            GError* roh = nullptr;
            auto const wert =
                Objekt<JSCValue>::uebernommen(webkit_web_view_call_async_javascript_function_finish(
                    WEBKIT_WEB_VIEW(quelle), ergebnis, &roh));
            GFehler const fehler{roh};
            if (wert && jsc_value_is_string(wert.get()))
                (*empfaenger)(textVon(GText{jsc_value_to_string(wert.get())}.get()), {});
            else if (
                roh && g_error_matches(roh, WEBKIT_JAVASCRIPT_ERROR, WEBKIT_JAVASCRIPT_ERROR_SCRIPT_FAILED))
                (*empfaenger)(std::nullopt, textVon(roh->message)); // What the page's own code has thrown.
            else // The engine's words for the rest are English and help nobody.
                (*empfaenger)(std::nullopt, "Die Seite hat nicht geantwortet.");
        },
        new Skriptantwort{std::move(antwort)});
}

void WebansichtGtk::drucken(ports::Programmfenster& fenster) {
    auto* const rahmen = dynamic_cast<ProgrammfensterGtk*>(&fenster);
    druckenUeber(rahmen ? rahmen->gtkFenster() : nullptr);
}

void WebansichtGtk::druckenUeber(GtkWindow* fenster) {
    druckenMitDialog(web_.get(), fenster, [web = std::weak_ptr{lebt_}](std::string const& beschreibung) {
        if (auto const ich = web.lock())
            (*ich)->empfaenger_.druckGescheitert(**ich, beschreibung);
    });
}

void WebansichtGtk::downloadBegonnen(WebKitDownload* download) {
    empfaenger_.heruntergeladen(*this, DownloadGtk::uebernehmen(download));
}

void WebansichtGtk::fristBeginnen(std::chrono::seconds frist) {
    fristBeenden();
    frist_ = g_timeout_add_seconds(static_cast<guint>(frist.count()), Signale::fristAbgelaufen, this);
}

void WebansichtGtk::fristBeenden() {
    if (frist_ != 0)
        g_source_remove(std::exchange(frist_, 0U));
}

} // namespace quillmate::adapter::gtk
