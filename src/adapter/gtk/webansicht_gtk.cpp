// WebKitGTK's view behind the port.
//
// The parts, in the order in which a page meets them:
//   making       Einrichtung -> user scripts, message handler, settings, signals; here
//   loading      laden(), the engine's events, the deadline of every load: webansicht_laden.cpp
//   deciding     decide-policy and create, clicks and keys: webansicht_entscheiden.cpp
//   dialogs      script-dialog, run-file-chooser, menus: webansicht_dialoge.cpp
//   scripts      skript(), rufen(), zustellen(); here
// Signals are disconnected in the destructor, so no callback meets a view that is gone; the answers to asynchronous
// calls know only whom they answer.
#include "webansicht_gtk.h"

#include "download_gtk.h"
#include "druck_gtk.h"
#include "fenstertasten.h"
#include "grafik.h"
#include "neuzeichnen.h"
#include "nutzerskript.h"
#include "programmfenster_gtk.h"

#include <jsc/jsc.h>

#include <utility>
#include <vector>

namespace quillmate::adapter::gtk {
namespace {

constexpr char const* adapterschluessel = "quillmate-webansicht";

Gesten::Zeit jetzt() {
    return Gesten::Zeit{g_get_monotonic_time()};
}

} // namespace

struct WebansichtGtk::Signale {
    static WebansichtGtk& an(gpointer daten) { return *static_cast<WebansichtGtk*>(daten); }

    static void schliessen(WebKitWebView*, gpointer daten) {
        auto& ich = an(daten);
        ich.empfaenger_.schliessen(ich);
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
};

WebansichtGtk::WebansichtGtk(WebSitzungen& sitzungen, Einrichtung einrichtung, Empfaenger& empfaenger)
    : empfaenger_(empfaenger)
    , inhalte_(Objekt<WebKitUserContentManager>::uebernommen(webkit_user_content_manager_new()))
    , ladefrist_(einrichtung.ladefrist)
    , sendefrist_(einrichtung.sendefrist)
    , haengefrist_(einrichtung.haengefrist) {
    nachrichtenAnnehmen(einrichtung);
    linksBeobachten();
    seitenelementeBeobachten();
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
    , sendefrist_(verwandte.sendefrist_)
    , haengefrist_(verwandte.haengefrist_) {
    verbinden();
    enthuellenOhneSeite(web_.get());
}

WebansichtGtk::~WebansichtGtk() {
    fristBeenden();
    haengenBeenden();
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

void WebansichtGtk::einstellen() {
    auto* const einstellungen = webkit_web_view_get_settings(web_.get());
    webkit_settings_set_enable_developer_extras(einstellungen, FALSE);
    // The engine refuses a window one second after the click; we look at the click ourselves, see fenstergeste().
    webkit_settings_set_javascript_can_open_windows_automatically(einstellungen, TRUE);
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
    langeKlicks_ = true;
}

void WebansichtGtk::verbinden() {
    g_object_set_data(G_OBJECT(web_.get()), adapterschluessel, this);
    eingabenBeobachten();
    gtk_widget_set_vexpand(widget(), TRUE);
    gtk_widget_set_hexpand(widget(), TRUE);
    maustastenAnschliessen(widget());
    g_signal_connect(web_.get(), "close", G_CALLBACK(Signale::schliessen), this);
    ladesignaleVerbinden();
    entscheidungssignaleVerbinden();
    dialogsignaleVerbinden();
}

bool WebansichtGtk::kannZurueck() const {
    return webkit_web_view_can_go_back(web_.get()) != FALSE;
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
    empfaenger_.heruntergeladen(*this, DownloadGtk::uebernehmen(download, pdfname_));
}

} // namespace quillmate::adapter::gtk
