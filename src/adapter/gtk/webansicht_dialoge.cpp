// What pages ask people: alert, confirm, prompt, files. Each is answered later and exactly once. And what they are refused:
// camera, location and the like; menu entries that lead nowhere.
#include "grundlage/text.h"
#include "hauptrahmen.h"
#include "nutzerskript.h"
#include "webansicht_gtk.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace quillmate::adapter::gtk {
namespace {

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

/// A server's request for name and password. Without an answer the load would wait for ever.
class OffenerZugang {
public:
    explicit OffenerZugang(WebKitAuthenticationRequest* anfrage)
        : anfrage_(Objekt<WebKitAuthenticationRequest>::geteilt(anfrage)) {}
    ~OffenerZugang() { antworten(std::nullopt); }
    OffenerZugang(OffenerZugang const&) = delete;
    OffenerZugang& operator=(OffenerZugang const&) = delete;

    void antworten(std::optional<ports::Zugangsdaten> const& daten) {
        if (!std::exchange(offen_, false))
            return;
        if (!daten)
            return webkit_authentication_request_cancel(anfrage_.get());
        auto* const ausweis = webkit_credential_new(
            daten->name.c_str(), daten->kennwort.c_str(), WEBKIT_CREDENTIAL_PERSISTENCE_FOR_SESSION);
        webkit_authentication_request_authenticate(anfrage_.get(), ausweis);
        webkit_credential_free(ausweis);
    }

private:
    Objekt<WebKitAuthenticationRequest> const anfrage_;
    bool offen_{true};
};

/// Extensions that a page may name; more are no choice any more.
constexpr std::size_t hoechstensEndungen = 50;
constexpr std::size_t hoechstlaengeEndung = 20;

/// The extensions in a file input's "accept"; the engine tells only the types.
std::vector<std::string> endungenVon(std::string_view annahme) {
    std::vector<std::string> endungen;
    while (!annahme.empty() && endungen.size() < hoechstensEndungen) {
        auto const ende = std::min(annahme.find(','), annahme.size());
        auto const teil = ohneRandleerraum(annahme.substr(0, ende));
        bool const gut = teil.size() > 1 && teil.front() == '.' && teil.size() <= hoechstlaengeEndung &&
                         std::ranges::all_of(teil, [](char zeichen) {
                             return g_ascii_isalnum(zeichen) || std::string_view{".-_"}.contains(zeichen);
                         });
        if (gut)
            endungen.push_back(teil);
        annahme.remove_prefix(std::min(ende + 1, annahme.size()));
    }
    return endungen;
}

/// The world of seitenelemente.js and its message handler.
constexpr char const* elementwelt = "quillmate-elemente";
constexpr char const* elementname = "element";

} // namespace

struct WebansichtGtk::Dialogsignale {
    static WebansichtGtk& an(gpointer daten) { return *static_cast<WebansichtGtk*>(daten); }

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
            .mimetypen = {},
            .endungen = endungenVon(std::exchange(ich.dateifeld_, std::nullopt).value_or(""))};
        if (auto const* typen = webkit_file_chooser_request_get_mime_types(anfrage))
            for (; *typen; ++typen)
                wahl.mimetypen.emplace_back(*typen);
        ich.empfaenger_.dateienWaehlen(
            ich, wahl,
            [offen](std::optional<std::vector<std::string>> const& pfade) { offen->antworten(pfade); });
        return TRUE;
    }

    /// A list of what was clicked and its text, posted by seitenelemente.js.
    static void element(WebKitUserContentManager*, JSCValue* wert, gpointer daten) {
        auto& ich = an(daten);
        if (!jsc_value_is_array(wert))
            return;
        auto const was = inhaltVon(stelleVon(wert, 0).get());
        if (was == "dateifeld")
            ich.dateifeld_ = inhaltVon(stelleVon(wert, 1).get());
        else if (was == "passkey" && ich.langeKlicks_)
            ich.empfaenger_.passkeyGewuenscht(ich);
    }

    static gboolean zugang(WebKitWebView*, WebKitAuthenticationRequest* anfrage, gpointer daten) {
        auto& ich = an(daten);
        auto const wirt = textVon(webkit_authentication_request_get_host(anfrage));
        switch (webkit_authentication_request_get_scheme(anfrage)) {
        case WEBKIT_AUTHENTICATION_SCHEME_SERVER_TRUST_EVALUATION_REQUESTED:
            return FALSE; // The engine's own rules.
        case WEBKIT_AUTHENTICATION_SCHEME_CLIENT_CERTIFICATE_REQUESTED:
        case WEBKIT_AUTHENTICATION_SCHEME_CLIENT_CERTIFICATE_PIN_REQUESTED:
            webkit_authentication_request_authenticate(anfrage, nullptr); // Goes on without one.
            ich.empfaenger_.zertifikatVerlangt(ich, wirt);
            return TRUE;
        default:
            break;
        }
        auto const offen = std::make_shared<OffenerZugang>(anfrage);
        ich.fristBeenden(); // The server has answered; now a person takes the time that it takes.
        ich.empfaenger_.zugangErfragen(
            ich,
            {.wirt = wirt,
             .bereich = textVon(webkit_authentication_request_get_realm(anfrage)),
             .wiederholt = webkit_authentication_request_is_retry(anfrage) != FALSE},
            [offen, lebt = std::weak_ptr{ich.lebt_}](std::optional<ports::Zugangsdaten> const& antwort) {
                offen->antworten(antwort);
                auto const noch = lebt.lock();
                if (antwort && noch && webkit_web_view_is_loading((*noch)->web_.get()))
                    (*noch)->fristBeginnen((*noch)->ladefrist_);
            });
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
};

void WebansichtGtk::seitenelementeBeobachten() {
    auto const signal = std::string{"script-message-received::"} + elementname;
    g_signal_connect(inhalte_.get(), signal.c_str(), G_CALLBACK(Dialogsignale::element), this);
    webkit_user_content_manager_register_script_message_handler(inhalte_.get(), elementname, elementwelt);
    skriptHinzufuegen(
        inhalte_.get(), seitenelementeskript(), WEBKIT_USER_CONTENT_INJECT_ALL_FRAMES, elementwelt);
}

void WebansichtGtk::dialogsignaleVerbinden() {
    auto const verbinde = [this](char const* signal, GCallback rueckruf) {
        g_signal_connect(web_.get(), signal, rueckruf, this);
    };
    verbinde("script-dialog", G_CALLBACK(Dialogsignale::skriptdialog));
    verbinde("authenticate", G_CALLBACK(Dialogsignale::zugang));
    verbinde("run-file-chooser", G_CALLBACK(Dialogsignale::dateiwahl));
    verbinde("permission-request", G_CALLBACK(Dialogsignale::erlaubnis));
    verbinde("context-menu", G_CALLBACK(Dialogsignale::kontextmenue));
}

namespace {

struct Loeschung {
    std::string wirt;
    std::function<void(std::optional<std::size_t>)> fertig;
};

/// A site's data are kept under its registrable name ("example.com" for "www.example.com").
bool gehoertZu(std::string const& wirt, std::string const& name) {
    return !name.empty() && (wirt == name || wirt.ends_with('.' + name));
}

void gefunden(GObject* quelle, GAsyncResult* ergebnis, gpointer daten) {
    std::unique_ptr<Loeschung> const auftrag{static_cast<Loeschung*>(daten)};
    auto* const verwalter = WEBKIT_WEBSITE_DATA_MANAGER(quelle);
    GError* roh = nullptr;
    GList* const alle = webkit_website_data_manager_fetch_finish(verwalter, ergebnis, &roh);
    if (GFehler const fehler{roh}; fehler)
        return auftrag->fertig(std::nullopt);
    GList* passende = nullptr;
    for (GList const* stelle = alle; stelle; stelle = stelle->next)
        if (auto* const eines = static_cast<WebKitWebsiteData*>(stelle->data);
            gehoertZu(auftrag->wirt, textVon(webkit_website_data_get_name(eines))))
            passende = g_list_prepend(passende, eines);
    auto const anzahl = static_cast<std::size_t>(g_list_length(passende));
    if (passende)
        webkit_website_data_manager_remove(
            verwalter, WEBKIT_WEBSITE_DATA_ALL, passende, nullptr, nullptr, nullptr);
    g_list_free(passende);
    g_list_free_full(
        alle, [](gpointer eines) { webkit_website_data_unref(static_cast<WebKitWebsiteData*>(eines)); });
    auftrag->fertig(anzahl);
}

} // namespace

void WebansichtGtk::anmeldedatenLoeschen(
    std::string const& wirt, std::function<void(std::optional<std::size_t>)> fertig) {
    auto* const verwalter =
        webkit_network_session_get_website_data_manager(webkit_web_view_get_network_session(web_.get()));
    webkit_website_data_manager_fetch(
        verwalter, WEBKIT_WEBSITE_DATA_ALL, nullptr, gefunden, new Loeschung{wirt, std::move(fertig)});
}

} // namespace quillmate::adapter::gtk
