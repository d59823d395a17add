#pragma once

#include "ports/dialoge.h"

#include <gtk/gtk.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// What GTK and libadwaita offer in another form on each release that the program runs on. The one place that knows
/// which form is there; everywhere else a deprecated function is an error of the build.
/// Threads: main thread.
namespace quillmate::adapter::gtk::naht {

// Message dialogs: AdwAlertDialog, before libadwaita 1.5 AdwMessageDialog. Both have the signal "response" with the
// answer's name as its only argument.

/// Not shown yet, and floating.
[[nodiscard]] GtkWidget* meldungNeu(std::string const& meldung, std::string const& erklaerung);
/// Buttons stand in the order in which they come.
void meldungKnopf(GtkWidget* meldung, char const* name, char const* titel);
/// What Return answers.
void meldungVorgabe(GtkWidget* meldung, char const* name);
/// What Escape and closing answer.
void meldungSchluss(GtkWidget* meldung, char const* name);
/// The button stands out as the usual one.
void meldungEmpfohlen(GtkWidget* meldung, char const* name);
/// Below the texts.
void meldungZusatz(GtkWidget* meldung, GtkWidget* inhalt);
/// Modal over `ueber`, with which it goes; null for a window of its own, which stands in lists of windows with `titel`.
void meldungZeigen(GtkWidget* meldung, GtkWindow* ueber, char const* titel = nullptr);
/// Takes it away.
void meldungWeg(GtkWidget* meldung);

/// The desktop's own file panel: GtkFileDialog, before GTK 4.10 GtkFileChooserNative. Modal over `ueber`, which may be
/// null. Answers once; nothing when it was cancelled.
void dateitafel(
    GtkWindow* ueber, ports::Dateiwahl const& wahl,
    std::function<void(std::optional<std::vector<std::string>>)> antwort);
/// The paths that a file chooser widget has selected.
[[nodiscard]] std::vector<std::string> gewaehlte(GtkFileChooser* tafel);

/// The path of the folder that it shows; empty when it has none.
[[nodiscard]] std::string gezeigter(GtkWidget* tafel);

struct Ueberangaben {
    std::string name;
    std::string symbol;
    std::string fassung;
    std::string hersteller;
    std::string webseite;
    GtkLicense lizenz{GTK_LICENSE_UNKNOWN};
    std::string mitwirkung; ///< Title of the list of `mitwirkende`.
    std::vector<std::string> mitwirkende;
};
/// AdwAboutDialog, before libadwaita 1.5 AdwAboutWindow. `ueber` may be null.
void ueberZeigen(GtkWindow* ueber, Ueberangaben const& angaben);

/// All keys of the program, by what they are for. `ueber` may be null.
void tastenfenster(GtkWindow* ueber);

/// Shows the widget where there is room for it, and nothing where there is not.
[[nodiscard]] GtkWidget* nurMitPlatz(GtkWidget* inhalt);
void stilLaden(GtkCssProvider* stil, char const* css);
/// Answers a dialog that somebody else has made.
void dialogAntworten(gpointer dialog, int antwort);

} // namespace quillmate::adapter::gtk::naht
