#pragma once

#include "gesten.h"
#include "glib_halter.h"
#include "hauptrahmen.h"
#include "ports/webansicht.h"
#include "web_sitzung.h"

#include <webkit/webkit.h>

#include <deque>
#include <memory>
#include <optional>
#include <string>

namespace quillmate::adapter::gtk {

/// A WebKitWebView. Translates the engine's signals into calls of the Empfaenger and decides nothing.
/// Threads: main thread.
class WebansichtGtk final : public ports::Webansicht {
public:
    WebansichtGtk(WebSitzungen& sitzungen, Einrichtung einrichtung, Empfaenger& empfaenger);
    ~WebansichtGtk() override;
    WebansichtGtk(WebansichtGtk const&) = delete;
    WebansichtGtk& operator=(WebansichtGtk const&) = delete;

    void laden(std::string const& adresse, std::chrono::seconds frist) override;
    void ladenHtml(std::string const& html) override;
    void ladenErsatz(std::string const& html, std::string const& adresse) override;
    void neuLaden() override;
    void anhalten() override;
    void zurueck() override;
    void vorwaerts() override;
    [[nodiscard]] bool kannZurueck() const override;
    bool anfrageUebernehmen() override;
    [[nodiscard]] bool gesichert() const override;
    [[nodiscard]] std::optional<std::string> adresse() const override;
    [[nodiscard]] ports::Absender dokument() const override;
    void skript(std::string const& quelltext) override;
    void zustellen(std::uint64_t dokument, std::string const& funktion, std::string const& werte) override;
    void rufen(
        std::string const& rumpf, std::map<std::string, std::string> const& werte,
        Skriptantwort antwort) override;
    void anmeldedatenLoeschen(
        std::string const& wirt, std::function<void(std::optional<std::size_t>)> fertig) override;
    void drucken(ports::Programmfenster& fenster) override;
    bool gesteVerbrauchen(std::uint64_t geste) override;

    /// The print dialog as a sheet of `fenster`, which may be null.
    void druckenUeber(GtkWindow* fenster);
    /// The widget to show; borrowed.
    [[nodiscard]] GtkWidget* widget() const noexcept { return GTK_WIDGET(web_.get()); }
    /// The adapter of a view; null when it is gone or the view is not ours.
    [[nodiscard]] static WebansichtGtk* von(WebKitWebView* ansicht);
    void downloadBegonnen(WebKitDownload* download);
    /// Whether it is for pages of strangers (Einrichtung::fremdeSeiten).
    [[nodiscard]] bool zeigtFremde() const noexcept { return langeKlicks_; }

private:
    // The engine's callbacks, each with its own file.
    struct Signale;
    struct Ladesignale;
    struct Entscheidungssignale;
    struct Dialogsignale;

    /// A view for a new window of `verwandte`.
    WebansichtGtk(WebansichtGtk& verwandte, Empfaenger& empfaenger);
    void verbinden();
    void ladesignaleVerbinden();
    void entscheidungssignaleVerbinden();
    void dialogsignaleVerbinden();
    void einstellen();
    void gesperrtMelden(std::string const& adresse);
    void aufFremdeSeitenEinstellen();
    void linksBeobachten();
    void seitenelementeBeobachten();
    [[nodiscard]] ports::Navigation navigation(WebKitNavigationAction* aktion);
    void nachrichtenAnnehmen(Einrichtung const& einrichtung);
    /// Number of the person's doing behind what the engine asks about; 0 for none.
    [[nodiscard]] std::uint64_t geste(WebKitNavigationAction* aktion);
    /// The same for a new window. The engine forgets a click after one second; pages that first ask their server and then
    /// open the invoice take longer. So a click is valid here for as long as Gesten says, whatever the engine thinks.
    [[nodiscard]] std::uint64_t fenstergeste(WebKitNavigationAction* aktion);
    void eingabenBeobachten();
    void downloadErfragen(WebKitPolicyDecision* entscheidung, ports::Downloadfrage const& frage);
    void fristBeginnen(std::chrono::seconds frist);
    void fristBeenden();
    void haengenBeenden();

    Empfaenger& empfaenger_;
    Nachrichtenempfaenger nachrichten_;
    Objekt<WebKitUserContentManager> inhalte_; ///< Shared by a view and those that its pages opened.
    /// What links.js has said of the click that goes on.
    struct Linkklick {
        std::string adresse;
        std::string ursprung; ///< Of the document with the link.
        bool herunterladen{false};
    };
    /// Shared as the content is.
    std::shared_ptr<std::optional<Linkklick>> linkklick_{std::make_shared<std::optional<Linkklick>>()};
    std::optional<std::string> dateifeld_; ///< "accept" of the file input that was clicked last.
    std::string zustellrumpf_;             ///< Empty without message handler.
    std::shared_ptr<Gesten> gesten_{std::make_shared<Gesten>()}; ///< Shared as the content is.
    guint taste_{0};                                             ///< Code of the key that is held down.
    struct Ausgang {
        std::string adresse;
        std::uint64_t geste;
    };
    GtkEventController* eingaben_{nullptr}; ///< Owned by the widget.
    std::deque<Ausgang> ausgaenge_;         ///< The last navigations that a person began.
    Objekt<WebKitWebView> web_;
    /// In pages of strangers everything counts so long.
    bool langeKlicks_{false};
    WebKitNavigationAction* gefragt_{nullptr}; ///< While neuesFenster() runs.
    /// This view, for what may end after it.
    std::shared_ptr<WebansichtGtk*> lebt_{std::make_shared<WebansichtGtk*>(this)};
    std::string festgeschrieben_; ///< Address of the last committed document.
    std::uint64_t nummer_{0};     ///< Its number; raised by its death, too.
    bool htmlLaedt_{false};       ///< A document of ladenHtml() is on its way into the view.
    struct Ladeauftrag {
        std::string adresse;
        std::chrono::seconds frist;
    };
    std::optional<Ladeauftrag> danach_; ///< What laden() was asked for meanwhile.
    std::chrono::seconds ladefrist_;    ///< For loads that begin without laden().
    std::chrono::seconds sendefrist_;   ///< For those of them that send something first.
    std::optional<std::string>
        zugelassen_; ///< Address of the last navigation that was allowed and has not begun.
    std::optional<std::string> unterwegs_; ///< Address of the load that has begun last.
    bool sendet_{false};                   ///< The load that is about to begin is one.
    bool unterwegsSendet_{false};          ///< The load that has begun last is one.
    std::string pdfname_;                  ///< Of the PDF that is shown; empty when it is none.
    int wiederholt_{0};                ///< How often the load under way lost its connection and began anew.
    bool nachAbsturz_{false};          ///< No document has come since the process died.
    bool gescheitert_{false};          ///< The load that is about to finish has failed.
    std::chrono::seconds haengefrist_; ///< How long the process may answer nothing.
    guint haengt_{0};                  ///< Timer of that; 0 while it answers.
    bool zuLangeGehangen_{false};      ///< It was ended for that.
    guint frist_{0};                   ///< Timer of the load that has no answer yet; 0 for none.
    bool neuesFensterGeprueft_{false}; ///< The policy for the coming "create" has been asked already.
};

} // namespace quillmate::adapter::gtk
