#pragma once

#include "demo/abgleich.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::demo {

/// How a receipt came in.
enum class Herkunft {
    scan = 0,    ///< The full scan of the user's folders.
    gezielt = 1, ///< The targeted search for one booking.
    portal = 2,  ///< A vendor portal's window.
};

/// What is known about a receipt's content.
enum class Zustand {
    ungelesen = 0, ///< Not read yet, or this service reads no texts.
    beleg = 1,     ///< Its text is a receipt's.
    keinBeleg = 2, ///< Its text is none, or there is none.
};

/// How a receipt and a booking belong together.
enum class Zuordnung {
    zugeordnet = 0, ///< Amount (and date) fit.
    vorschlag = 1,  ///< Someone put them together, but the amount differs; a person has to confirm.
};

/// A file on its way in. The views are borrowed for the call.
struct Eingang {
    std::int64_t kunde{0};
    Herkunft herkunft{Herkunft::scan};
    std::string_view name;      ///< UTF-8, for display only: may hold quotes, line feeds and "../".
    std::string_view quellpfad; ///< UTF-8; where the sender has the file. Empty when it does not say.
    std::string_view typ;       ///< Content type as the sender gave it, UTF-8.
    std::string_view bytes;
    bool ungelesen{false};                  ///< The sender has not read it and asks for that to be noted.
    std::optional<std::int64_t> kontingent; ///< How many receipts the client may have; any number by default.
};

struct Angenommen {
    enum class Art {
        neu,
        doppelt,        ///< The client had these very bytes already; `id` is the receipt of that time.
        ueberKontingent ///< Not taken in; there is no id.
    };
    Art art{Art::neu};
    std::int64_t id{0};
};

struct Beleg {
    std::int64_t id{0};
    std::int64_t kunde{0};
    Herkunft herkunft{Herkunft::scan};
    Zustand zustand{Zustand::ungelesen};
    bool ungelesen{false};
    std::string hash; ///< SHA-256, 64 lower-case hexadecimal digits.
    std::string name;
    std::string quellpfad; ///< Of the first upload.
    std::string typ;
    std::int64_t groesse{0};         ///< Bytes.
    std::int64_t lage{0};            ///< Where its bytes begin in the file of all bytes.
    std::optional<std::string> text; ///< What was read, UTF-8.
};

struct Verknuepfung {
    std::int64_t beleg;
    std::int64_t buchung;
    Zuordnung art;
};

/// A scan's progress as the last reports told it.
struct Fortschritt {
    bool gestoppt{false};
    bool laeuft{false};
    std::int64_t gesamt{0};
    std::int64_t verarbeitet{0};
};

/// All that the service knows, on disk: one SQLite database for the facts and one file for the receipts'
/// bytes, which only ever grows and is written before the row that points into it.
///
/// What a call reported as done survives the death of the process and of the machine: before annehmen()
/// returns, the bytes are synced and the transaction is committed with a synced write-ahead log. Uploads that
/// arrive together share both syncs.
///
/// Threads:   any number at once. Every call blocks.
/// Errors:    a failing disk or database makes a call return nothing or false; details go to the log.
/// Processes: one service per folder (locked); nurLesen() may look in beside it.
class Speicher {
public:
    /// Opens or creates the storage below `ordner`. Nothing when that fails; `grund` then says why, in
    /// German.
    [[nodiscard]] static std::unique_ptr<Speicher> oeffnen(std::string const& ordner, std::string& grund);
    /// Opens an existing storage for looking only: every call that writes fails.
    [[nodiscard]] static std::unique_ptr<Speicher> nurLesen(std::string const& ordner, std::string& grund);
    ~Speicher();
    Speicher(Speicher const&) = delete;
    Speicher& operator=(Speicher const&) = delete;

    /// Makes the client known; with `buchungen` for one that is new. Does nothing for one that exists.
    [[nodiscard]] bool kundeAnlegen(std::int64_t kunde, std::vector<Buchung> const& buchungen);

    // Receipts
    /// Takes a file in. The bytes are on disk when this returns.
    [[nodiscard]] std::optional<Angenommen> annehmen(Eingang const& eingang);
    [[nodiscard]] std::optional<Beleg> beleg(std::int64_t id);
    [[nodiscard]] std::optional<std::string> bytes(Beleg const& beleg);
    /// In the order of arrival, without their texts.
    [[nodiscard]] std::vector<Beleg> belege(std::int64_t kunde);
    /// The next receipt above `nachId` that nobody has read: one of a scan, or of any origin up to
    /// `altbestand`.
    [[nodiscard]] std::optional<Beleg> naechsterUngelesener(std::int64_t nachId, std::int64_t altbestand);
    [[nodiscard]] std::int64_t hoechsteBelegId();
    /// Records what was read, once: a receipt that is read already keeps its first reading. A receipt without
    /// a booking is matched with the client's open ones. Returns the receipt as it then is.
    [[nodiscard]] std::optional<Beleg> lesungEintragen(
        std::int64_t id, std::optional<std::string> const& text);
    /// Puts a receipt and a booking together, or changes how they belong together.
    [[nodiscard]] bool verknuepfen(Verknuepfung const& verknuepfung);
    /// All of a client's, by receipt.
    [[nodiscard]] std::vector<Verknuepfung> verknuepfungen(std::int64_t kunde);

    // What a scan asks before it starts
    struct Gesehen {
        std::string pfad;
        std::string hash; ///< Of the bytes that were uploaded from there last.
    };
    [[nodiscard]] std::vector<Gesehen> gesehenePfade(std::int64_t kunde);
    [[nodiscard]] std::vector<std::string> hashesOhneBeleg(std::int64_t kunde);
    /// The preferences as JSON text, as they were stored; nothing for an unknown client.
    [[nodiscard]] std::optional<std::string> vorgabe(std::int64_t kunde);
    [[nodiscard]] bool vorgabeSetzen(std::int64_t kunde, std::string const& json);

    // Progress
    [[nodiscard]] std::optional<Fortschritt> fortschritt(std::int64_t kunde);
    /// Changes the progress in one step, so that a stop pressed meanwhile is not lost.
    [[nodiscard]] bool fortschrittAendern(
        std::int64_t kunde, std::function<void(Fortschritt&)> const& aendere);
    /// Stores the final report (JSON) and ends the run, both or neither.
    [[nodiscard]] bool berichtSetzen(std::int64_t kunde, std::string const& json);
    /// Empty before the first report; nothing for an unknown client.
    [[nodiscard]] std::optional<std::string> letzterBericht(std::int64_t kunde);

    // Bookings
    [[nodiscard]] std::vector<Buchung> buchungen(std::int64_t kunde);
    /// The booking, if it is this client's.
    [[nodiscard]] std::optional<Buchung> buchung(std::int64_t kunde, std::int64_t id);
    /// The new booking's id.
    [[nodiscard]] std::optional<std::int64_t> buchungAnlegen(std::int64_t kunde, Buchung const& buchung);

    [[nodiscard]] std::vector<std::int64_t> kunden();

private:
    class Innen;
    explicit Speicher(std::unique_ptr<Innen> innen);
    std::unique_ptr<Innen> innen_;
};

} // namespace quillmate::demo
