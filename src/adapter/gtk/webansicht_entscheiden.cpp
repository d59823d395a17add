// What is asked before a view goes anywhere, and who stands behind it: decide-policy and create become beiNavigation,
// beiAntwort, neuesFenster; links.js tells of clicks what the engine keeps to itself; inputs are counted.
#include "nutzerskript.h"
#include "webansicht_gtk.h"

#include <jsc/jsc.h>
#include <libsoup/soup.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace quillmate::adapter::gtk {
namespace {

/// Navigations whose answers may still be outstanding.
constexpr std::size_t hoechsteAusgaenge = 16;

Gesten::Zeit jetzt() {
    return Gesten::Zeit{g_get_monotonic_time()};
}

/// The world of links.js, and its message handler.
constexpr char const* linkwelt = "quillmate-links";
constexpr char const* linkname = "geklickt";

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

} // namespace

struct WebansichtGtk::Entscheidungssignale {
    static WebansichtGtk& an(gpointer daten) { return *static_cast<WebansichtGtk*>(daten); }

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
            if (kopf.hauptrahmen && wie == ports::Entscheidung::zulassen)
                ich.pdfname_ = kopf.mimetyp == "application/pdf" ? kopf.name : std::string{};
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
            ich, {.adresse = adresseVon(aktion), .zielrahmen = false, .geste = ich.fenstergeste(aktion)},
            verwandte);
        ich.gefragt_ = nullptr;
        // Another view than the one asked for could not take the request over.
        auto* const eigene = dynamic_cast<WebansichtGtk*>(ansicht);
        return eigene ? eigene->widget() : nullptr;
    }

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

    /// A list of address, origin and whether it is a download, posted by links.js; null when the click is over.
    static void linkGeklickt(WebKitUserContentManager*, JSCValue* wert, gpointer daten) {
        auto& klick = *an(daten).linkklick_;
        klick.reset();
        if (jsc_value_is_array(wert))
            klick = Linkklick{
                .adresse = inhaltVon(stelleVon(wert, 0).get()),
                .ursprung = inhaltVon(stelleVon(wert, 1).get()),
                .herunterladen = jsc_value_to_boolean(stelleVon(wert, 2).get()) != FALSE};
    }
};

void WebansichtGtk::entscheidungssignaleVerbinden() {
    g_signal_connect(web_.get(), "decide-policy", G_CALLBACK(Entscheidungssignale::richtlinie), this);
    g_signal_connect(web_.get(), "create", G_CALLBACK(Entscheidungssignale::neuesFenster), this);
}

void WebansichtGtk::linksBeobachten() {
    auto const signal = std::string{"script-message-received::"} + linkname;
    g_signal_connect(inhalte_.get(), signal.c_str(), G_CALLBACK(Entscheidungssignale::linkGeklickt), this);
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
    // A clicked link without the attribute shows what the page holds, where that can be shown. Of a click that nobody saw
    // (on a link that is in no document) it can mean nothing but saving.
    bool const zeigbar = dieser && !langeKlicks_ && ergebnis.adresse->starts_with("blob:");
    ergebnis.alsDownload =
        (dieser && klick->herunterladen) || (istInhaltDerSeite(ergebnis.adresse) && !zeigbar);
    return ergebnis;
}

std::uint64_t WebansichtGtk::geste(WebKitNavigationAction* aktion) {
    if (webkit_navigation_action_is_user_gesture(aktion))
        return gesten_->nummer(jetzt());
    return langeKlicks_ ? gesten_->nummerDerEingabe(jetzt()) : 0;
}

std::uint64_t WebansichtGtk::fenstergeste(WebKitNavigationAction* aktion) {
    return webkit_navigation_action_is_user_gesture(aktion) ? gesten_->nummer(jetzt())
                                                            : gesten_->nummerDerEingabe(jetzt());
}

bool WebansichtGtk::gesteVerbrauchen(std::uint64_t geste) {
    return gesten_->verbrauchen(geste, jetzt());
}

void WebansichtGtk::eingabenBeobachten() {
    auto* const beobachter = gtk_event_controller_legacy_new();
    gtk_event_controller_set_propagation_phase(beobachter, GTK_PHASE_CAPTURE);
    g_signal_connect(beobachter, "event", G_CALLBACK(Entscheidungssignale::eingabe), this);
    gtk_widget_add_controller(widget(), beobachter); // Ends with the widget, or before, in the destructor.
    eingaben_ = beobachter;
}

void WebansichtGtk::downloadErfragen(WebKitPolicyDecision* entscheidung, ports::Downloadfrage const& frage) {
    auto const offen = std::make_shared<OffeneEntscheidung>(entscheidung);
    empfaenger_.downloadErfragen(*this, frage, [offen](bool ja) { offen->antworten(ja); });
}

bool WebansichtGtk::anfrageUebernehmen() {
    auto* const anfrage = gefragt_ ? webkit_navigation_action_get_request(gefragt_) : nullptr;
    if (!anfrage)
        return false;
    webkit_web_view_load_request(web_.get(), anfrage);
    return true;
}

} // namespace quillmate::adapter::gtk
