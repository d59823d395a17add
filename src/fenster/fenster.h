#pragma once

#include "befugnis.h"
#include "bruecke/bruecke.h"
#include "bruecke/einspielung.h"
#include "downloadzeile.h"
#include "grundlage/adresse.h"
#include "grundlage/json.h"
#include "portal_uebergabe.h"
#include "ports/dialoge.h"
#include "ports/download.h"
#include "ports/hauptschleife.h"
#include "ports/programmfenster.h"
#include "ports/standardorte.h"
#include "ports/standardprogramm.h"
#include "ports/uhr.h"
#include "ports/webansicht.h"

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::fenster {

/// Flows that leave the web view. Each takes the address that the page tried to load.
struct Anmeldeanschluss {
    std::function<void(std::string const& adresse)> anmeldenMitGoogle;
    std::function<void(std::string const& adresse)> bankVerbinden;
};

/// What the main window works with. Borrowed: everything must outlive the Fenster.
struct Fensterumgebung {
    ports::Fensterwerk& werk;
    ports::Dialoge& dialoge;
    ports::Hauptschleife& schleife;
    ports::Standardprogramm& standardprogramm;
    ports::Standardorte& standardorte;
    ports::Uhr const& uhr;
    std::string temporaererOrdner;
    Adresse start; ///< The page that is loaded first.
    bruecke::Programmangaben angaben;
    bruecke::Brueckenumgebung bruecke;
    Portalanschluss portale{};
    Anmeldeanschluss anmeldung{};
};

/// The main window: the service's web application in a web view, with the bridge, the rules for where navigations may
/// go, child windows, downloads and dialogs. Made once; the construction loads the start page, zeigen() shows it.
/// Threads: main thread.
/// Ownership: owns its web view, its windows and the bridge. Child windows stay until the end, closed ones too.
class Fenster final : private ports::Webansicht::Empfaenger {
public:
    explicit Fenster(Fensterumgebung umgebung);
    ~Fenster() override;
    Fenster(Fenster const&) = delete;
    Fenster& operator=(Fenster const&) = delete;

    /// In front of the other windows, with the keyboard.
    void zeigen() { fenster_->zeigen(); }
    [[nodiscard]] ports::Programmfenster& fenster() const noexcept { return *fenster_; }
    [[nodiscard]] ports::Webansicht& web() const noexcept { return *web_; }

    // The menu's commands.
    void neuLaden();
    void zurueck();
    void vorwaerts();
    void drucken();

    /// Shows the error page in the main view. A load that was ended on purpose is no error.
    void zeigeHinweis(ports::Ladefehler const& fehler);
    /// Shows a notice in the main page; with the button "Im Finder zeigen".
    void meldeImFenster(std::string_view text, bool knopf);

    /// Opens a portal's window for the page; the reply for it.
    Json portalOeffnen(bruecke::Portalanfrage const& anfrage);
    /// Passes what happened in a portal's window on to the page, if it is one that may use the bridge.
    void portalEreignis(Json const& ereignis);

    /// The file of the most recent download.
    [[nodiscard]] std::optional<std::string> const& letzterDownload() const noexcept {
        return letzterDownload_;
    }
    [[nodiscard]] std::size_t nebenfensterzahl() const noexcept { return nebenfenster_.size(); }
    [[nodiscard]] std::size_t portalfensterzahl() const noexcept { return portalFenster_.size(); }

private:
    /// A window that a page asked for.
    struct Nebenfenster {
        std::unique_ptr<ports::Webansicht> web; // declared first: it must outlive its window
        std::unique_ptr<ports::Programmfenster> fenster;
        bool vomDienst{false}; ///< The document that asked for it may use the bridge.
        std::unique_ptr<Downloadzeile> downloads;
    };
    struct Herunterladung;
    /// What a page would like to start, and needs a person's word for.
    struct Wunsch {
        ports::Frage frage;
        std::string ort; ///< Whose it is: after a refusal it is not asked about again for a while.
        std::function<void(bool ja)> weiter;
    };

    ports::Entscheidung beiNavigation(ports::Webansicht& web, ports::Navigation const& navigation) override;
    ports::Entscheidung beiAntwort(ports::Webansicht& web, ports::Antwortkopf const& antwort) override;
    ports::Webansicht* neuesFenster(
        ports::Webansicht& web, ports::Fensteranfrage const& anfrage,
        VerwandteAnsicht const& verwandte) override;
    void downloadErfragen(
        ports::Webansicht& web, ports::Downloadfrage const& frage,
        std::function<void(bool ja)> antwort) override;
    void geladen(ports::Webansicht& web) override;
    void fehlgeschlagen(ports::Webansicht& web, ports::Ladefehler const& fehler) override;
    void heruntergeladen(ports::Webansicht& web, std::shared_ptr<ports::Download> const& download) override;
    void schliessen(ports::Webansicht& web) override;
    void druckGescheitert(ports::Webansicht& web, std::string const& beschreibung) override;
    void zugangErfragen(
        ports::Webansicht& web, ports::Zugangsfrage const& frage,
        std::function<void(std::optional<ports::Zugangsdaten>)> antwort) override;
    void prozessGestorben(ports::Webansicht& web, std::string const& grund) override;
    void hinweis(ports::Webansicht& web, std::string const& text, std::function<void()> fertig) override;
    void bestaetigung(
        ports::Webansicht& web, std::string const& text, std::function<void(bool)> antwort) override;
    void eingabe(
        ports::Webansicht& web, std::string const& text, std::string const& vorgabe,
        std::function<void(std::optional<std::string>)> antwort) override;
    void dateienWaehlen(
        ports::Webansicht& web, ports::Dateiwahl const& wahl,
        std::function<void(std::optional<std::vector<std::string>>)> antwort) override;

    /// Starts a flow outside of the web view for an address of the service, asks for others.
    void anmeldenAufWunsch(ports::Webansicht& web, std::string const& adresse, std::uint64_t geste);
    void anmelden(std::string const& adresse);
    /// Gives an address to another program, when a person has just asked for it.
    void nachAussen(ports::Webansicht& web, std::string const& adresse, std::uint64_t geste);
    /// One question at a time, each of which is answered with no where nobody sees it.
    void fragen(Wunsch wunsch);
    /// Whether something at this address that a document of the view started is the service's own doing. `ursprung` is
    /// that document's origin, where it is known.
    [[nodiscard]] bool istSacheDesDienstes(
        ports::Webansicht& web, std::string_view adresse, std::string_view ursprung) const;

    void ladeStart();
    /// Whether the view is a child window's that has not been closed.
    [[nodiscard]] bool istOffen(ports::Webansicht const& web) const;
    /// Whether nobody sees the view any more: its page goes on, but what it wants is nobody's business.
    [[nodiscard]] bool istVerlassen(ports::Webansicht const& web) const {
        return &web != web_.get() && !istOffen(web);
    }
    /// `adresse` is the page that could not be loaded in the main view; the error page takes its place, so that
    /// loading again tries that page.
    void fehlerZeigen(ports::Ladefehler const& fehler, std::optional<std::string> const& adresse);
    /// A failed load of a child window is told in it; of a closed one nowhere.
    void nebenfehlerZeigen(ports::Webansicht& web, ports::Ladefehler const& fehler);
    static void fehlerProtokollieren(ports::Ladefehler const& fehler);
    /// The first of these that a view can load, otherwise the start page.
    [[nodiscard]] std::string wiederholbar(std::initializer_list<std::optional<std::string>> adressen) const;
    /// Where downloads of the view are told.
    [[nodiscard]] Downloadzeile& zeileVon(ports::Webansicht const& web);
    /// What became of one: in the main page, and where a child window began it, in that too.
    void downloadMelden(Herunterladung const& herunterladung, std::string const& text, bool knopf);
    [[nodiscard]] std::optional<std::string> zielWaehlen(
        Herunterladung& herunterladung, std::string const& vorschlag);
    /// Runs scripts in the main page, later.
    void skripteSpaeter(std::vector<std::string> skripte);

    Fensterumgebung const umgebung_;
    std::unique_ptr<bruecke::Bruecke> bruecke_; ///< Empty only during construction.
    std::shared_ptr<ports::Webansicht> web_;    ///< The bridge holds it weakly.
    std::unique_ptr<ports::Programmfenster> fenster_;
    Downloadzeile downloads_; ///< Those of the main view.
    std::uint64_t downloadzahl_{0};
    std::vector<std::unique_ptr<Nebenfenster>> nebenfenster_;
    std::vector<std::unique_ptr<Portalansicht>> portalFenster_;
    bool portalfrageOffen_{false};
    std::optional<std::string> letzterDownload_;
    bool frageOffen_{false};
    std::set<std::string, std::less<>> abgelehnt_; ///< Places that the user has refused something.
    std::uint64_t abgelehntBei_{0};                ///< Number of the main document that was shown then.
    Zaehlfenster anmeldungen_;                     ///< Those that no person has asked for.
    /// What was done about a view whose process had died.
    struct Absturz {
        ports::Uhr::Zeitpunkt neuGeladen; ///< When its page was last loaded again.
        int gezeigt{0};                   ///< How often the page about it was shown since.
    };
    std::map<ports::Webansicht const*, Absturz> abstuerze_;
    /// Watched by whatever may outlive the window; held by nobody else, not even for the length of a call: a call that
    /// runs the main loop has to see that the window went away meanwhile. Last member: ends first.
    std::shared_ptr<void> const lebt_;
};

} // namespace quillmate::fenster
