#pragma once

#include "dialoge.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::ports {

class Download;
class Programmfenster;

/// Why a page wants to be loaded.
enum class Navigationsart {
    link,     ///< The user clicked a link.
    formular, ///< A form was sent or sent again.
    verlauf,  ///< Back or forward.
    neuladen,
    anderes, ///< Scripts, redirects, the program itself.
};

/// A navigation that the web view is about to begin.
struct Navigation {
    std::optional<std::string> adresse; ///< As the engine writes it.
    Navigationsart art{Navigationsart::anderes};
    bool alsDownload{false}; ///< The page asked to save the target (the attribute "download").
    bool hauptrahmen{true};  ///< False for a frame within the page, where the engine tells.
    bool umgeleitet{false};  ///< The server sent it on from another address.
    /// Origin of the document with the clicked link, as engines write it; empty where the view does not know.
    std::string ursprung{};
    /// Number of the person's doing that led to it, for Webansicht::gesteVerbrauchen(); 0 for none.
    std::uint64_t geste{0};
};

/// The head of an answer, before its body is looked at.
struct Antwortkopf {
    std::optional<std::string> adresse;
    std::string mimetyp;
    std::string
        contentDisposition;  ///< The header's value as sent; empty when there is none or it is not HTTP.
    bool darstellbar{false}; ///< The engine can show this type.
    bool hauptrahmen{true};
    int status{0};          ///< HTTP status, 0 for other schemes.
    std::string name{};     ///< What the file would be called.
    std::uint64_t geste{0}; ///< As Navigation::geste, of the navigation that asked.
    /// What the document that asked is to the address ("same-origin", "same-site", "cross-site"; "none" for the program
    /// or a person), over all redirects. The engine says it and no page can change it; empty where it says nothing, as
    /// over plain http to another machine.
    std::string verhaeltnis{};
    /// Address or origin of the document that asked. A page can hide its own but not take another's.
    std::string verweiser{};
};

enum class Entscheidung {
    zulassen,
    abbrechen,
    herunterladen,
    erfragen, ///< A download, if Empfaenger::downloadErfragen() says so.
};

/// What a download would be, before anybody has agreed to it. Foreign texts.
struct Downloadfrage {
    std::string adresse;
    std::string name; ///< May be empty.
};

/// A load that did not work.
struct Ladefehler {
    std::string bereich;      ///< Error domain, for the log.
    int nummer{0};            ///< Error code within the domain.
    std::string beschreibung; ///< For people.
    bool abgebrochen{
        false}; ///< The program or the page itself ended it: cancelled, replaced, became a download.
    std::optional<std::string> adresse{}; ///< What could not be loaded, as far as the engine says.
    bool zertifikat{false}; ///< The server could not prove who it is. `beschreibung` says why, in German.
};

/// A server's request for a name and a password.
struct Zugangsfrage {
    std::string wirt;       ///< Whose server it is, as the engine writes hosts.
    std::string bereich;    ///< What the server calls it; foreign text, may be empty.
    bool wiederholt{false}; ///< What was answered before was wrong.
};

/// A request for a window of its own.
struct Fensteranfrage {
    std::optional<std::string> adresse; ///< Nothing for a script's window without address.
    bool zielrahmen{false};             ///< The request names an existing frame or window.
    std::uint64_t geste{0};             ///< As Navigation::geste.
};

/// Who posted a message to the page's native handler, as the engine knows it, whatever the message says. Frames within a
/// page have no handler. But other windows that pages opened post, and documents that the view no longer shows.
struct Absender {
    /// Origin of the document that posted, as engines write it: "https://host", "http://host:port", "null".
    std::string ursprung;
    std::string dokument; ///< Address of the view's last committed document; empty for one without address.
    /// Number of that document: no other one of the view has it, and none has it once the process that rendered it has
    /// died. Steps within a document (a fragment, history.pushState) keep it; its address is then the one it began with.
    std::uint64_t nummer{0};
};

/// A script that the view runs in each document that it loads.
struct Nutzerskript {
    std::string quelltext;
    bool nurHauptrahmen{true};
};

/// Port: one view on web pages.
/// Threads: main thread.
/// Ownership: the maker owns it; it must outlive its window's use of it. Calls to the Empfaenger end with the view.
class Webansicht {
public:
    /// Decides and hears. Borrowed by the view; must outlive it. Defaults: allow, show nothing, open nothing.
    class Empfaenger {
    public:
        /// Makes the view for a new window, related to the asking one; call it at most once.
        using VerwandteAnsicht = std::function<std::unique_ptr<Webansicht>(Empfaenger&)>;

        virtual ~Empfaenger() = default;
        virtual Entscheidung beiNavigation(Webansicht&, Navigation const&) { return Entscheidung::zulassen; }
        virtual Entscheidung beiAntwort(Webansicht&, Antwortkopf const&) { return Entscheidung::zulassen; }
        /// Answers with the view that shall load the request (owned by the callee), or null for none.
        virtual Webansicht* neuesFenster(Webansicht&, Fensteranfrage const&, VerwandteAnsicht const&) {
            return nullptr;
        }
        /// After Entscheidung::erfragen. The answer may come later; without one there is no download.
        virtual void downloadErfragen(
            Webansicht&, Downloadfrage const&, std::function<void(bool ja)> antwort) {
            antwort(false);
        }
        /// A navigation has begun; the address is the one it leads to.
        virtual void begonnen(Webansicht&) {}
        /// The document that dokument() tells has taken the place of the one before.
        virtual void festgeschrieben(Webansicht&) {}
        /// The view shows the document; adresse() is its own.
        virtual void geladen(Webansicht&) {}
        /// Before or after the first data. Also called for cancelled loads.
        virtual void fehlgeschlagen(Webansicht&, Ladefehler const&) {}
        virtual void heruntergeladen(Webansicht&, std::shared_ptr<Download> const&) {}
        /// Of drucken(), after its dialog. `beschreibung` is for people.
        virtual void druckGescheitert(Webansicht&, std::string const& /*beschreibung*/) {}
        /// A script asked to close the window that it opened.
        virtual void schliessen(Webansicht&) {}
        /// The process that renders the page has died.
        virtual void prozessGestorben(Webansicht&, std::string const& /*grund*/) {}
        /// A server asks who is there; nothing for an answer ends the load. Exactly one answer.
        virtual void zugangErfragen(
            Webansicht&, Zugangsfrage const&, std::function<void(std::optional<Zugangsdaten>)> antwort) {
            antwort(std::nullopt);
        }
        /// A server has asked for a certificate of the user's own. It gets none.
        virtual void zertifikatVerlangt(Webansicht&, std::string const& /*wirt*/) {}
        /// A person has clicked something that speaks of passkeys, which this engine does not have.
        virtual void passkeyGewuenscht(Webansicht&) {}
        /// alert(), confirm(), prompt() and a page's file input. Each answer must be given exactly once.
        virtual void hinweis(Webansicht&, std::string const& /*text*/, std::function<void()> fertig) {
            fertig();
        }
        virtual void bestaetigung(
            Webansicht&, std::string const& /*text*/, std::function<void(bool)> antwort) {
            antwort(false);
        }
        virtual void eingabe(
            Webansicht&, std::string const& /*text*/, std::string const& /*vorgabe*/,
            std::function<void(std::optional<std::string>)> antwort) {
            antwort(std::nullopt);
        }
        virtual void dateienWaehlen(
            Webansicht&, Dateiwahl const&,
            std::function<void(std::optional<std::vector<std::string>>)> antwort) {
            antwort(std::nullopt);
        }
    };

    /// Receives what documents post to `window.webkit.messageHandlers.NAME`.
    /// `json` is the message as JSON text, as the page says: untrusted bytes. What cannot be written as JSON or is longer
    /// than `hoechsteNachricht` is not posted; the page's call throws.
    using Nachrichtenempfaenger = std::function<void(std::string_view json, Absender const& absender)>;
    /// Bytes of JSON text per message.
    static constexpr std::size_t hoechsteNachricht = std::size_t{16} * 1024 * 1024;

    /// What a view is made of. Related views take all of it from the view that asked for them.
    struct Einrichtung {
        enum class Datenhaltung {
            hauptfenster, ///< The service's own cookies and storage, kept across runs.
            portale,      ///< Those of the vendors' portals, kept across runs, apart from the service's.
        };
        Datenhaltung datenhaltung{Datenhaltung::hauptfenster};
        std::vector<Nutzerskript> skripte;
        /// Name of the message handler; empty for none. With one, going back loads a page anew: none comes back from
        /// a cache and waits for answers of before.
        std::string nachrichtenname;
        Nachrichtenempfaenger nachrichten;
        bool wischgesten{true}; ///< Back and forward by swiping.
        /// Pages of strangers: none may fill the screen, and Fensteranfrage::geste is asked for also where the engine's own
        /// memory of the click, one second, has run out.
        bool fremdeSeiten{false};
        /// Deadlines of the loads that laden() does not begin: links, scripts, forms, reloads, steps in the history. What
        /// sends something first has longer, since that may be files and a slow line.
        std::chrono::seconds ladefrist{60};
        std::chrono::seconds sendefrist{600};
        /// A process that answers nothing for so long, and somebody waits for it, is ended: prozessGestorben() follows.
        std::chrono::seconds haengefrist{30};
    };

    virtual ~Webansicht() = default;

    /// Default cache policy. When no answer has come within `frist`, the load fails with a German description and its
    /// address; so do loads that something else begins, within Einrichtung's deadlines.
    virtual void laden(std::string const& adresse, std::chrono::seconds frist = std::chrono::seconds{60}) = 0;
    /// A document without an address of its own. It is shown also when laden() is called at once: that begins when the
    /// document is there.
    virtual void ladenHtml(std::string const& html) = 0;
    /// Shows `html` in place of the page at `adresse`, so that loading again tries that page.
    virtual void ladenErsatz(std::string const& html, std::string const& adresse) = 0;
    /// Where nothing with an address has been shown yet, the load under way begins anew.
    virtual void neuLaden() = 0;
    /// Ends the load under way; the document stays.
    virtual void anhalten() = 0;
    virtual void zurueck() = 0;
    virtual void vorwaerts() = 0;
    [[nodiscard]] virtual bool kannZurueck() const = 0;
    /// Loads here what neuesFenster() asks for, as the page meant it: with method, body and referrer, not only the address.
    /// Only while neuesFenster() runs; false when there is nothing to load.
    virtual bool anfrageUebernehmen() = 0;
    /// Whether the document that dokument() tells came from a server that has proven who it is. Our own pages did not.
    [[nodiscard]] virtual bool gesichert() const = 0;
    /// What the view shows or is loading; nothing when there is no address ("about:blank" counts as none).
    [[nodiscard]] virtual std::optional<std::string> adresse() const = 0;
    /// The document that skript() speaks to, as it would send itself; number 0 before the first one.
    [[nodiscard]] virtual Absender dokument() const = 0;
    /// Runs a script in the document that dokument() tells; its result and its errors are dropped. A document of another
    /// origin that is just taking that one's place does not run it.
    virtual void skript(std::string const& quelltext) = 0;
    /// Uses a person's doing up, which starts one thing and no second one. False when it is 0, or used already, or another
    /// one has come since. Views that pages of this one opened share it.
    virtual bool gesteVerbrauchen(std::uint64_t geste) = 0;
    /// Calls the page's function `window.FUNKTION` with the elements of `werte`, the text of a JSON array, as its
    /// arguments: in the document of this number and in no other one. Does nothing when that is gone or has no such
    /// function, or without a message handler.
    virtual void zustellen(std::uint64_t dokument, std::string const& funktion, std::string const& werte) = 0;
    /// Runs the body of an async function in the page, with `werte` as its string arguments, and hands over the text
    /// that it resolves to; nothing when it throws, resolves to something else, or the page goes away, and then why.
    using Skriptantwort = std::function<void(std::optional<std::string> text, std::string const& fehler)>;
    virtual void rufen(
        std::string const& rumpf, std::map<std::string, std::string> const& werte, Skriptantwort antwort) = 0;
    /// Forgets what sites of this host have stored in the view's session: cookies and all else, also for other windows of the
    /// session. `fertig` is called once, with how many sites it was, or nothing when it could not be found out.
    virtual void anmeldedatenLoeschen(
        std::string const& wirt, std::function<void(std::optional<std::size_t>)> fertig) = 0;
    /// The desktop's print dialog as a sheet of `fenster`, with the page fitted to the paper's width and centred.
    virtual void drucken(Programmfenster& fenster) = 0;
};

} // namespace quillmate::ports
