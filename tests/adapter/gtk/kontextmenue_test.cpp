// The menu of the right button: what is in it, and that it does what it says.
#include "echte_webansicht.h"
#include "werkzeug/bildschirm.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>

namespace quillmate::adapter::gtk {
namespace {

using Handlung = WebKitContextMenuAction;

class Kontextmenue : public EchteWebansicht {
protected:
    void SetUp() override {
        // Whatever the page holds fills it, so that a click in the middle of the window is a click on that.
        seiten["/"] = html("<style>* { margin: 0; } body > * { position: fixed; inset: 0; width: 100%; "
                           "height: 100%; }</style><body></body>");
        seiten["/ziel"] = html("<title>Ziel</title>");
        mitschrift.zielordner = ordner.pfad();
        mitschrift.zielname = "ziel.bin";
        oeffnen();
        gtk_window_set_title(GTK_WINDOW(fenster), titel);
        signal_ = g_signal_lookup("context-menu", WEBKIT_TYPE_WEB_VIEW);
        // Hooks come before all handlers, later handlers after the view's own.
        haken_ = g_signal_add_emission_hook(
            signal_, 0,
            [](GSignalInvocationHint*, guint, GValue const* werte, gpointer daten) -> gboolean {
                static_cast<Kontextmenue*>(daten)->vorher =
                    handlungen(WEBKIT_CONTEXT_MENU(g_value_get_object(werte + 1)));
                return TRUE;
            },
            this, nullptr);
        g_signal_connect(
            web->widget(), "context-menu",
            G_CALLBACK(
                +[](WebKitWebView*, WebKitContextMenu* menue, WebKitHitTestResult*,
                    gpointer daten) -> gboolean {
                    static_cast<Kontextmenue*>(daten)->geoeffnet(menue);
                    return static_cast<Kontextmenue*>(daten)->versteckt ? TRUE : FALSE;
                }),
            this);
        laden("/");
    }
    ~Kontextmenue() override { g_signal_remove_emission_hook(signal_, haken_); }

    /// Opens the menu of a page that is nothing but this.
    void rechtsklickAuf(std::string const& inhalt) {
        SCOPED_TRACE(inhalt);
        // When the page has been painted, the pointer finds what it shows.
        EXPECT_EQ(
            wert(
                "(document.body.innerHTML = `" + inhalt +
                "`, await new Promise(auf => requestAnimationFrame(() => requestAnimationFrame(auf))), 1)"),
            "1");
        std::optional<fenster_echt::XFenster> wo;
        ASSERT_TRUE(drehenBis([&] { return (wo = bildschirm.fensterMit(titel)).has_value(); }));
        int const bisher = menues;
        bildschirm.rechtsklicke({.x = wo->x + wo->breite / 2, .y = wo->y + wo->hoehe / 2});
        EXPECT_TRUE(drehenBis([&] { return menues > bisher; }));
    }
    /// Opens the same menu, shows it and chooses an entry: a menu that nobody sees does nothing.
    void waehle(std::string const& inhalt, Handlung was) {
        versteckt = false;
        rechtsklickAuf(inhalt);
        versteckt = true;
        auto const eintrag = eintraege.find(was);
        ASSERT_TRUE(eintrag != eintraege.end());
        EXPECT_TRUE(drehenBis([&] { return menueOffen(); }));
        g_action_activate(eintrag->second.get(), nullptr);
        bildschirm.taste("Escape");
        EXPECT_TRUE(drehenBis([&] { return !menueOffen(); }));
    }
    [[nodiscard]] bool menueOffen() const {
        auto const alle = bildschirm.fenster();
        return std::ranges::any_of(alle, [](auto const& eines) { return eines.aufgeklappt; });
    }
    [[nodiscard]] bool warEnthalten(Handlung was) const {
        return std::ranges::find(vorher, was) != vorher.end();
    }

    static constexpr char const* titel = "Kontextmenü";
    fenster_echt::Bildschirm bildschirm{std::getenv("DISPLAY")};
    bool versteckt{true};
    int menues{0};
    std::vector<Handlung> vorher;  ///< The last menu as the engine made it, without its lines.
    std::vector<Handlung> nachher; ///< As a person gets it.
    std::map<Handlung, adapter::gtk::Objekt<GAction>> eintraege;

private:
    static std::vector<Handlung> handlungen(WebKitContextMenu* menue) {
        std::vector<Handlung> alle;
        for (GList const* stelle = webkit_context_menu_get_items(menue); stelle; stelle = stelle->next)
            if (auto* const eintrag = WEBKIT_CONTEXT_MENU_ITEM(stelle->data);
                !webkit_context_menu_item_is_separator(eintrag))
                alle.push_back(webkit_context_menu_item_get_stock_action(eintrag));
        return alle;
    }
    void geoeffnet(WebKitContextMenu* menue) {
        ++menues;
        nachher = handlungen(menue);
        eintraege.clear();
        for (GList const* stelle = webkit_context_menu_get_items(menue); stelle; stelle = stelle->next)
            if (auto* const eintrag = WEBKIT_CONTEXT_MENU_ITEM(stelle->data);
                !webkit_context_menu_item_is_separator(eintrag))
                eintraege[webkit_context_menu_item_get_stock_action(eintrag)] =
                    adapter::gtk::Objekt<GAction>::geteilt(webkit_context_menu_item_get_gaction(eintrag));
    }

    guint signal_{0};
    gulong haken_{0};
};

TEST_F(Kontextmenue, EntriesThatLeadNowhereAreTakenOutAndAllOthersStayInTheirOrder) {
    std::vector<Handlung> weg;
    for (auto const* const inhalt :
         {"<p>Text</p>", "<a href=/ziel>Ziel</a>",
          "<img src='data:image/svg+xml,<svg xmlns=%22http://www.w3.org/2000/svg%22/>'>", "<input value=abc>",
          "<textarea>abc</textarea>", "<input type=password value=abc>", "<video controls></video>"}) {
        rechtsklickAuf(inhalt);
        EXPECT_FALSE(nachher.empty()) << inhalt;
        auto erwartet = vorher;
        for (auto const tot :
             {WEBKIT_CONTEXT_MENU_ACTION_INSPECT_ELEMENT, WEBKIT_CONTEXT_MENU_ACTION_OPEN_LINK,
              WEBKIT_CONTEXT_MENU_ACTION_INSERT_EMOJI, WEBKIT_CONTEXT_MENU_ACTION_UNICODE})
            if (std::erase(erwartet, tot) > 0)
                weg.push_back(tot);
        EXPECT_EQ(nachher, erwartet) << inhalt;
    }
    // That there was something to take out.
    EXPECT_THAT(weg, testing::Contains(WEBKIT_CONTEXT_MENU_ACTION_OPEN_LINK));
    EXPECT_THAT(weg, testing::Contains(WEBKIT_CONTEXT_MENU_ACTION_INSERT_EMOJI));
}

TEST_F(Kontextmenue, NoPageCanBeInspectedEvenWhereTheEngineWouldOfferIt) {
    webkit_settings_set_enable_developer_extras(
        webkit_web_view_get_settings(WEBKIT_WEB_VIEW(web->widget())), TRUE);
    rechtsklickAuf("<p>Text</p>");
    EXPECT_TRUE(warEnthalten(WEBKIT_CONTEXT_MENU_ACTION_INSPECT_ELEMENT));
    EXPECT_THAT(nachher, testing::Not(testing::Contains(WEBKIT_CONTEXT_MENU_ACTION_INSPECT_ELEMENT)));
}

TEST_F(Kontextmenue, TheEntriesOfALinkAskForAWindowAndForTheFile) {
    waehle("<a href=/ziel>Ziel</a>", WEBKIT_CONTEXT_MENU_ACTION_OPEN_LINK_IN_NEW_WINDOW);
    ASSERT_TRUE(drehenBis([&] { return !mitschrift.fenster.empty(); }));
    EXPECT_EQ(mitschrift.fenster.front().adresse, dienst.adresse() + "/ziel");
    EXPECT_TRUE(drehenBis([&] { return mitschrift.zuletzt == dienst.adresse() + "/ziel"; }));
    waehle("<a href=/ziel>Ziel</a>", WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_LINK_TO_DISK);
    ASSERT_TRUE(
        drehenBis([&] { return mitschrift.downloadFertig > 0 || !mitschrift.downloadFehler.empty(); }));
    EXPECT_EQ(mitschrift.downloadFertig, 1);
    EXPECT_EQ(werkzeug::inhaltVon(ordner.pfad("ziel.bin")), seiten["/ziel"].koerper);
}

TEST_F(Kontextmenue, CopyingALinkPutsItsAddressIntoTheClipboard) {
    waehle("<a href=/ziel>Ziel</a>", WEBKIT_CONTEXT_MENU_ACTION_COPY_LINK_TO_CLIPBOARD);
    auto* const ablage = gtk_widget_get_clipboard(fenster);
    auto const text = [ablage] {
        std::optional<std::string> gelesen;
        gdk_clipboard_read_text_async(
            ablage, nullptr,
            [](GObject* quelle, GAsyncResult* ergebnis, gpointer daten) {
                *static_cast<std::optional<std::string>*>(daten) = adapter::gtk::textVon(adapter::gtk::GText{
                    gdk_clipboard_read_text_finish(GDK_CLIPBOARD(quelle), ergebnis, nullptr)}
                                                                                             .get());
            },
            &gelesen);
        EXPECT_TRUE(drehenBis([&] { return gelesen.has_value(); }));
        return gelesen.value_or("");
    };
    EXPECT_TRUE(drehenBis([&] { return text() == dienst.adresse() + "/ziel"; })) << text();
}

} // namespace
} // namespace quillmate::adapter::gtk
