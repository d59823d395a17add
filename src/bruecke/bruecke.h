#pragma once

#include "anfrage.h"
#include "einspielung.h"
#include "grundlage/adresse.h"
#include "grundlage/json.h"
#include "hintergrund.h"
#include "macscan/suche.h"
#include "ordner/merkliste.h"
#include "ports/aktualisierer.h"
#include "ports/arbeitsfaden.h"
#include "ports/hauptschleife.h"
#include "ports/ordnertafel.h"
#include "ports/webansicht.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::bruecke {

/// A page asks for the window of a vendor's portal.
struct Portalanfrage {
    std::string kennung;
    std::int64_t clientId{0};
    std::string token;
    std::optional<std::string> name;           ///< Of a portal that the user entered.
    std::optional<std::int64_t> transactionId; ///< The booking that receipts shall be attached to.
};

/// Where the program lies now.
struct Umzugslage {
    std::string ort; ///< "programme", "downloads", "dmg" or "anderswo".
    bool umzugNoetig{false};
    /// Moves the program, going by this very assessment. Set when `umzugNoetig`.
    std::function<void()> ausfuehren{};
};

/// What the bridge works with. Borrowed: everything must outlive the Bruecke, the main loop also the `suche`, whose
/// threads still send their last messages through it.
struct Brueckenumgebung {
    ports::Hauptschleife& schleife;
    ports::Ordnertafel& ordnertafel;
    ports::Arbeitsfaden& arbeitsfaden;
    ports::Aktualisierer* aktualisierer; ///< May be missing.
    Ordner::Merkliste& merkliste;
    MacScan::Suche& suche;
    std::function<Umzugslage()> umzugLage;
    Adresse start; ///< The start page: pages of its host and port may speak to the bridge.
};

/// The web page's way to the native side: judges who speaks, decodes the message, obeys, and answers by a call of
/// `window.__quillmateAntwort` in the main web view, as long as that shows the document that called.
/// Threads: main thread. Replies may come from any thread inside; they are delivered on the main thread, later.
/// Errors: none reach the caller. What is not understood or not allowed is logged. Who may not speak gets no answer.
/// Ownership: holds the web view weakly; without it replies are dropped. Destroying stops a count of images that
/// is under way.
class Bruecke {
public:
    /// Name of the message handler.
    static constexpr std::string_view name = "quillmate";
    /// Opens a portal and answers at once.
    using PortalOeffnen = std::function<Json(Portalanfrage const&)>;

    /// Without `portalOeffnen` pages are told that there are no portals.
    Bruecke(std::weak_ptr<ports::Webansicht> web, PortalOeffnen portalOeffnen, Brueckenumgebung umgebung);
    ~Bruecke();
    Bruecke(Bruecke const&) = delete;
    Bruecke& operator=(Bruecke const&) = delete;

    /// The script for every page, made afresh.
    [[nodiscard]] static ports::Nutzerskript einspielung(Programmangaben const& angaben);

    /// Takes one message from a page: `json` as Webansicht::Nachrichtenempfaenger gets it.
    void empfangen(std::string_view json, ports::Absender const& absender);

private:
    /// The road of one call's replies, to the document that called and to none after it: each document counts its calls
    /// from 1, so the next one's call of the same number would be settled, and a foreign one would read the reply.
    /// A copy may be used on any thread, also when the bridge is gone; then it does nothing.
    class Antwortweg {
    public:
        Antwortweg(Bruecke const& bruecke, ports::Absender const& absender, std::int64_t id) noexcept;
        void antworte(Json const& ergebnis) const;
        void antworteFehler(std::string_view text) const { antworte({{"fehler", text}}); }

    private:
        ports::Hauptschleife* schleife_;
        std::weak_ptr<ports::Webansicht> web_;
        std::weak_ptr<void> bruecke_;
        std::uint64_t dokument_;
        std::int64_t id_;
    };
    using Handlung = void (Bruecke::*)(Nachricht const&, Antwortweg const&);
    struct Aktion {
        std::string_view name;
        Handlung handlung;
    };
    static std::vector<Aktion> const& aktionen();

    /// For scans: each of their messages becomes a reply to the call.
    [[nodiscard]] static MacScan::Melder melder(Antwortweg weg);

    void ordnerWaehlen(Nachricht const& nachricht, Antwortweg const& weg);
    void gemerkterOrdner(Nachricht const& nachricht, Antwortweg const& weg);
    void gemerkteOrdner(Nachricht const& nachricht, Antwortweg const& weg);
    void ordnerVergessen(Nachricht const& nachricht, Antwortweg const& weg);
    void portalOeffnen(Nachricht const& nachricht, Antwortweg const& weg);
    void macScannen(Nachricht const& nachricht, Antwortweg const& weg);
    void bilderZaehlen(Nachricht const& nachricht, Antwortweg const& weg);
    void gezieltSuchen(Nachricht const& nachricht, Antwortweg const& weg);
    void inProgrammeVerschieben(Nachricht const& nachricht, Antwortweg const& weg);
    void suchStand(Nachricht const& nachricht, Antwortweg const& weg);
    void nachUpdatesSuchen(Nachricht const& nachricht, Antwortweg const& weg);
    void gezaehlt(std::string const& kennung, Json const& ergebnis);
    /// Logs an origin that may not speak, once for as long as the view shows the same document. It gets no answer: an
    /// answer to a number that it guessed would settle the page's own call of that number.
    void fremdeMelden(ports::Absender const& absender);

    Brueckenumgebung const umgebung_;
    std::weak_ptr<ports::Webansicht> const web_;
    PortalOeffnen const portalOeffnen_;
    std::shared_ptr<void> const lebt_; ///< Watched by what outlives the bridge.
    bool tafelOffen_{false};
    std::set<std::string, std::less<>> fremde_; ///< Origins that were logged.
    std::uint64_t fremdeVon_{0};                ///< Number of the document that was shown then.
    /// Calls that wait for the count of a folder's images, by its identifier. They share one count.
    std::map<std::string, std::vector<Antwortweg>> zaehlungen_;
    Hintergrund hintergrund_; ///< Last member: its thread ends first.
};

} // namespace quillmate::bruecke
