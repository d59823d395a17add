// What pages ask people: alert, confirm, prompt, files. Each is answered later and exactly once. And what they are refused:
// camera, location and the like; menu entries that lead nowhere.
#include "webansicht_gtk.h"

#include <algorithm>
#include <array>
#include <memory>
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
};

void WebansichtGtk::dialogsignaleVerbinden() {
    auto const verbinde = [this](char const* signal, GCallback rueckruf) {
        g_signal_connect(web_.get(), signal, rueckruf, this);
    };
    verbinde("script-dialog", G_CALLBACK(Dialogsignale::skriptdialog));
    verbinde("run-file-chooser", G_CALLBACK(Dialogsignale::dateiwahl));
    verbinde("permission-request", G_CALLBACK(Dialogsignale::erlaubnis));
    verbinde("context-menu", G_CALLBACK(Dialogsignale::kontextmenue));
}

} // namespace quillmate::adapter::gtk
