#include "langtext.h"

#include "glib_halter.h"

#include <algorithm>
#include <cstddef>

namespace quillmate::adapter::gtk {
namespace {

constexpr std::size_t hoechstensZeichen = 600;
constexpr std::size_t hoechstensZeilen = 12;
constexpr std::size_t hoechstensWort = 60;
constexpr int breite = 400;
constexpr int mindesthoehe = 120;
constexpr int rand = 9;

/// Half of the smallest screen that there is.
int hoechsthoehe() {
    int hoehe = 600;
    auto* const monitore = gdk_display_get_monitors(gdk_display_get_default());
    for (guint i = 0; i < g_list_model_get_n_items(monitore); ++i) {
        auto const monitor =
            Objekt<GdkMonitor>::uebernommen(static_cast<GdkMonitor*>(g_list_model_get_item(monitore, i)));
        GdkRectangle flaeche{};
        gdk_monitor_get_geometry(monitor.get(), &flaeche);
        hoehe = i == 0 ? flaeche.height : std::min(hoehe, flaeche.height);
    }
    // Headline and buttons of the dialog need a part of it.
    return std::max(mindesthoehe, hoehe / 2 - 160);
}

} // namespace

bool istLang(std::string const& text) {
    std::size_t zeilen = 1;
    std::size_t wort = 0;
    for (char const zeichen : text) {
        zeilen += zeichen == '\n' ? 1 : 0;
        wort = zeichen == ' ' || zeichen == '\n' || zeichen == '\t' ? 0 : wort + 1;
        if (wort > hoechstensWort)
            return true;
    }
    return text.size() > hoechstensZeichen || zeilen > hoechstensZeilen;
}

GtkWidget* langtextfeld(std::string const& text, std::string const& name) {
    auto* const feld = gtk_text_view_new();
    gtk_text_buffer_set_text(
        gtk_text_view_get_buffer(GTK_TEXT_VIEW(feld)), text.data(), static_cast<int>(text.size()));
    auto* const inhalt = gtk_text_view_get_buffer(GTK_TEXT_VIEW(feld));
    GtkTextIter anfang;
    GtkTextIter ende;
    gtk_text_buffer_get_bounds(inhalt, &anfang, &ende);
    // A break within a word adds nothing to what the page has said.
    gtk_text_buffer_apply_tag(
        inhalt, gtk_text_buffer_create_tag(inhalt, nullptr, "insert-hyphens", FALSE, nullptr), &anfang,
        &ende);
    gtk_text_view_set_editable(GTK_TEXT_VIEW(feld), FALSE);
    gtk_text_view_set_cursor_visible(GTK_TEXT_VIEW(feld), FALSE);
    gtk_text_view_set_accepts_tab(GTK_TEXT_VIEW(feld), FALSE); // Tab goes on to the buttons.
    gtk_text_view_set_wrap_mode(GTK_TEXT_VIEW(feld), GTK_WRAP_WORD_CHAR);
    for (auto const setzen :
         {gtk_text_view_set_left_margin, gtk_text_view_set_right_margin, gtk_text_view_set_top_margin,
          gtk_text_view_set_bottom_margin})
        setzen(GTK_TEXT_VIEW(feld), rand);
    gtk_accessible_update_property(
        GTK_ACCESSIBLE(feld), GTK_ACCESSIBLE_PROPERTY_LABEL, name.c_str(), GTK_ACCESSIBLE_PROPERTY_READ_ONLY,
        TRUE, -1);
    auto* const rahmen = gtk_scrolled_window_new();
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(rahmen), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_has_frame(GTK_SCROLLED_WINDOW(rahmen), TRUE);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(rahmen), feld);
    // No natural size of the text's own: to measure it would cost seconds.
    gtk_widget_set_size_request(rahmen, breite, std::min(hoechsthoehe(), 320));
    return rahmen;
}

} // namespace quillmate::adapter::gtk
