#include "speicher.h"

#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "grundlage/pruefsumme.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <future>
#include <mutex>
#include <thread>

// Two files lie in the folder:
//
//   quillmate-demo.db   facts (SQLite, write-ahead log, synchronous=FULL)
//   belege.daten        the receipts' bytes, one behind the other; a row's `lage` and `groesse` point into it
//
// An upload's way, and what a crash at each point leaves:
//
//   request thread           committer thread
//   pwrite at the end        -                        bytes that no row points to; cut off at the next start
//   queue, wait              fdatasync(belege.daten)  the same
//   -                        insert rows, COMMIT      the receipt is there
//   answer 2xx               -                        the receipt is there
//
// While the committer is in its two syncs, further uploads queue up; the next round takes all of them.

namespace quillmate::demo {

namespace {

/// A failing statement; caught at the boundary of Speicher.
struct DatenbankFehler {
    std::string text;
};

class Datenbank {
public:
    Datenbank(std::string const& pfad, int flaggen) {
        if (sqlite3_open_v2(pfad.c_str(), &db_, flaggen, nullptr) != SQLITE_OK) {
            std::string const text = db_ != nullptr ? sqlite3_errmsg(db_) : "kein Speicher";
            sqlite3_close(db_);
            throw DatenbankFehler{text};
        }
        sqlite3_busy_timeout(db_, 5000);
    }
    ~Datenbank() { sqlite3_close_v2(db_); }
    Datenbank(Datenbank const&) = delete;
    Datenbank& operator=(Datenbank const&) = delete;

    void tue(char const* sql) {
        if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
            throw DatenbankFehler{sqlite3_errmsg(db_)};
    }
    [[nodiscard]] sqlite3* roh() const noexcept { return db_; }

private:
    sqlite3* db_{nullptr};
};

/// One prepared statement. Parameters and columns count from 0.
class Befehl {
public:
    Befehl(Datenbank& db, std::string_view sql)
        : db_(db) {
        if (sqlite3_prepare_v2(db.roh(), sql.data(), static_cast<int>(sql.size()), &befehl_, nullptr) !=
            SQLITE_OK)
            throw DatenbankFehler{sqlite3_errmsg(db.roh())};
    }
    ~Befehl() { sqlite3_finalize(befehl_); }
    Befehl(Befehl const&) = delete;
    Befehl& operator=(Befehl const&) = delete;

    template<class... Werte>
    Befehl& mit(Werte const&... werte) {
        int stelle = 0;
        (binde(++stelle, werte), ...);
        return *this;
    }
    /// True while there is a row.
    bool weiter() {
        auto const lage = sqlite3_step(befehl_);
        if (lage != SQLITE_ROW && lage != SQLITE_DONE)
            throw DatenbankFehler{sqlite3_errmsg(db_.roh())};
        return lage == SQLITE_ROW;
    }
    void tue() {
        while (weiter()) {
        }
    }
    [[nodiscard]] std::int64_t zahl(int spalte) const { return sqlite3_column_int64(befehl_, spalte); }
    [[nodiscard]] bool leer(int spalte) const { return sqlite3_column_type(befehl_, spalte) == SQLITE_NULL; }
    [[nodiscard]] std::string text(int spalte) const {
        auto const* const anfang = static_cast<char const*>(sqlite3_column_blob(befehl_, spalte));
        return anfang == nullptr
                   ? std::string{}
                   : std::string{anfang, static_cast<std::size_t>(sqlite3_column_bytes(befehl_, spalte))};
    }

private:
    void pruefe(int lage) const {
        if (lage != SQLITE_OK)
            throw DatenbankFehler{sqlite3_errmsg(db_.roh())};
    }
    void binde(int stelle, std::int64_t wert) { pruefe(sqlite3_bind_int64(befehl_, stelle, wert)); }
    void binde(int stelle, std::string_view wert) {
        // A null pointer would bind NULL instead of an empty text.
        pruefe(sqlite3_bind_text64(
            befehl_, stelle, wert.data() == nullptr ? "" : wert.data(), wert.size(), SQLITE_TRANSIENT,
            SQLITE_UTF8));
    }
    void binde(int stelle, std::optional<std::string> const& wert) {
        if (wert)
            binde(stelle, std::string_view{*wert});
        else
            pruefe(sqlite3_bind_null(befehl_, stelle));
    }

    Datenbank& db_;
    sqlite3_stmt* befehl_{nullptr};
};

/// Rolls back unless it was committed.
class Vorgang {
public:
    explicit Vorgang(Datenbank& db)
        : db_(db) {
        db_.tue("BEGIN IMMEDIATE");
    }
    ~Vorgang() {
        if (!fertig_)
            sqlite3_exec(db_.roh(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
    Vorgang(Vorgang const&) = delete;
    Vorgang& operator=(Vorgang const&) = delete;
    void fertig() {
        db_.tue("COMMIT");
        fertig_ = true;
    }

private:
    Datenbank& db_;
    bool fertig_{false};
};

constexpr char const* aufbau = R"(
CREATE TABLE IF NOT EXISTS kunden(
  id INTEGER PRIMARY KEY, vorgabe TEXT NOT NULL, gestoppt INTEGER NOT NULL DEFAULT 0,
  laeuft INTEGER NOT NULL DEFAULT 0, gesamt INTEGER NOT NULL DEFAULT 0, verarbeitet INTEGER NOT NULL DEFAULT 0,
  bericht TEXT NOT NULL DEFAULT '');
CREATE TABLE IF NOT EXISTS belege(
  id INTEGER PRIMARY KEY AUTOINCREMENT, kunde INTEGER NOT NULL REFERENCES kunden(id), herkunft INTEGER NOT NULL,
  zustand INTEGER NOT NULL DEFAULT 0, ungelesen INTEGER NOT NULL, hash TEXT NOT NULL, name TEXT NOT NULL,
  quellpfad TEXT NOT NULL, typ TEXT NOT NULL, groesse INTEGER NOT NULL, lage INTEGER NOT NULL, text TEXT,
  UNIQUE(kunde, hash));
CREATE INDEX IF NOT EXISTS belege_zustand ON belege(zustand, id);
CREATE TABLE IF NOT EXISTS pfade(
  kunde INTEGER NOT NULL, pfad TEXT NOT NULL, hash TEXT NOT NULL, PRIMARY KEY(kunde, pfad)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS buchungen(
  id INTEGER PRIMARY KEY AUTOINCREMENT, kunde INTEGER NOT NULL REFERENCES kunden(id), datum TEXT NOT NULL,
  betrag INTEGER NOT NULL, gegenpartei TEXT NOT NULL, zweck TEXT NOT NULL);
CREATE INDEX IF NOT EXISTS buchungen_kunde ON buchungen(kunde, id);
CREATE TABLE IF NOT EXISTS verknuepfungen(
  beleg INTEGER NOT NULL REFERENCES belege(id), buchung INTEGER NOT NULL REFERENCES buchungen(id),
  art INTEGER NOT NULL, PRIMARY KEY(beleg, buchung)) WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS verknuepfungen_buchung ON verknuepfungen(buchung);
)";

constexpr char const* grundvorgabe = R"({"context_keywords":[],"kontingent":null,"min_file_date":null})";

#define BELEGSPALTEN "id, kunde, herkunft, zustand, ungelesen, hash, name, quellpfad, typ, groesse, lage"

Beleg alsBeleg(Befehl const& zeile) {
    return {
        .id = zeile.zahl(0),
        .kunde = zeile.zahl(1),
        .herkunft = static_cast<Herkunft>(zeile.zahl(2)),
        .zustand = static_cast<Zustand>(zeile.zahl(3)),
        .ungelesen = zeile.zahl(4) != 0,
        .hash = zeile.text(5),
        .name = zeile.text(6),
        .quellpfad = zeile.text(7),
        .typ = zeile.text(8),
        .groesse = zeile.zahl(9),
        .lage = zeile.zahl(10),
        .text = std::nullopt};
}

Buchung alsBuchung(Befehl const& zeile) {
    return {
        .id = zeile.zahl(0),
        .datum = ausIsoDatum(zeile.text(1)).value_or(Tag{}),
        .betrag = zeile.zahl(2),
        .gegenpartei = zeile.text(3),
        .zweck = zeile.text(4)};
}

bool schreibeAb(int deskriptor, std::string_view bytes, std::int64_t lage) {
    while (!bytes.empty()) {
        auto const n = ::pwrite(deskriptor, bytes.data(), bytes.size(), lage);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
        lage += n;
    }
    return true;
}

/// One upload that waits for its transaction.
struct Auftrag {
    Eingang const* eingang; ///< Lives as long as its sender waits.
    std::string hash;
    std::int64_t lage; ///< -1: the bytes are in the file already.
    std::promise<std::optional<Angenommen>> antwort;
};

} // namespace

class Speicher::Innen {
public:
    Innen(std::string const& ordner, bool schreibend)
        : lesend_(
              ordner + "/quillmate-demo.db",
              SQLITE_OPEN_NOMUTEX |
                  (schreibend ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READWRITE)) {
        if (!schreibend) {
            bytes_ = quillmate::oeffnen(ordner + "/belege.daten", O_RDONLY);
            // The journal of a service that died is taken up by whoever opens first, which needs the right to
            // write; beyond that nothing here changes anything.
            lesend_.tue("PRAGMA query_only=1");
            return;
        }
        bytes_ = quillmate::oeffnen(ordner + "/belege.daten", O_RDWR | O_CREAT);
        if (!bytes_)
            throw DatenbankFehler{fmt::format("belege.daten: {}", std::strerror(errno))};
        if (::flock(bytes_.get(), LOCK_EX | LOCK_NB) != 0)
            throw DatenbankFehler{"der Ordner wird schon von einem anderen Dienst benutzt"};
        schreibend_ = std::make_unique<Datenbank>(
            ordner + "/quillmate-demo.db", SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        schreibend_->tue("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA foreign_keys=1");
        schreibend_->tue(aufbau);
        Befehl grenze{*schreibend_, "SELECT coalesce(max(lage + groesse), 0) FROM belege"};
        ende_ = grenze.weiter() ? grenze.zahl(0) : 0;
        // What a crash left behind the last committed receipt belongs to nobody.
        if (::ftruncate(bytes_.get(), ende_.load()) != 0)
            throw DatenbankFehler{fmt::format("belege.daten: {}", std::strerror(errno))};
        Deskriptor const eltern{::open(ordner.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
        if (eltern)
            ::fsync(eltern.get()); // The names of both files.
        buchhalter_ = std::thread{[this] {
            bucheReihum();
        }};
    }

    ~Innen() {
        if (!buchhalter_.joinable())
            return;
        {
            std::scoped_lock const sperre{reihensperre_};
            ende_gewuenscht_ = true;
        }
        reihe_bereit_.notify_one();
        buchhalter_.join();
    }
    Innen(Innen const&) = delete;
    Innen& operator=(Innen const&) = delete;

    /// Runs `arbeit` on the reading connection; a default value when the database fails.
    template<class Arbeit>
    auto lies(Arbeit const& arbeit) -> decltype(arbeit(std::declval<Datenbank&>())) {
        try {
            std::scoped_lock const sperre{lesesperre_};
            return arbeit(lesend_);
        } catch (DatenbankFehler const& fehler) {
            protokoll("Demodienst: Datenbank: " + fehler.text);
            return {};
        }
    }

    /// Runs `arbeit` in one transaction; a default value (and no change) when the database fails.
    template<class Arbeit>
    auto schreibe(Arbeit const& arbeit) -> decltype(arbeit(std::declval<Datenbank&>())) {
        if (!schreibend_)
            return {};
        try {
            std::scoped_lock const sperre{schreibsperre_};
            Vorgang vorgang{*schreibend_};
            auto ergebnis = arbeit(*schreibend_);
            vorgang.fertig();
            return ergebnis;
        } catch (DatenbankFehler const& fehler) {
            protokoll("Demodienst: Datenbank: " + fehler.text);
            return {};
        }
    }

    std::optional<Angenommen> annehmen(Eingang const& eingang) {
        if (!schreibend_)
            return std::nullopt;
        Auftrag auftrag{
            .eingang = &eingang,
            .hash = hexadezimal(quillmate::sha256(eingang.bytes)),
            .lage = -1,
            .antwort = {}};
        if (!bekannt(eingang.kunde, auftrag.hash)) {
            auftrag.lage = ende_.fetch_add(static_cast<std::int64_t>(eingang.bytes.size()));
            if (!schreibeAb(bytes_.get(), eingang.bytes, auftrag.lage)) {
                protokoll(fmt::format("Demodienst: belege.daten: {}", std::strerror(errno)));
                return std::nullopt;
            }
        }
        auto antwort = auftrag.antwort.get_future();
        {
            std::scoped_lock const sperre{reihensperre_};
            reihe_.push_back(std::move(auftrag));
        }
        reihe_bereit_.notify_one();
        return antwort.get();
    }

    [[nodiscard]] int bytes() const noexcept { return bytes_.get(); }

private:
    bool bekannt(std::int64_t kunde, std::string const& hash) {
        return lies([&](Datenbank& db) {
            return Befehl{db, "SELECT 1 FROM belege WHERE kunde=? AND hash=?"}
                .mit(kunde, std::string_view{hash})
                .weiter();
        });
    }

    void bucheReihum() {
        for (;;) {
            std::vector<Auftrag> runde;
            {
                std::unique_lock sperre{reihensperre_};
                reihe_bereit_.wait(sperre, [this] { return !reihe_.empty() || ende_gewuenscht_; });
                if (reihe_.empty())
                    return;
                runde.swap(reihe_);
            }
            buche(runde);
        }
    }

    void buche(std::vector<Auftrag>& runde) {
        std::vector<std::optional<Angenommen>> antworten(runde.size());
        bool const neueBytes = std::ranges::any_of(runde, [](Auftrag const& a) { return a.lage >= 0; });
        if (neueBytes && ::fdatasync(bytes_.get()) != 0) {
            protokoll(fmt::format("Demodienst: belege.daten: {}", std::strerror(errno)));
        } else {
            auto const gebucht = schreibe([&](Datenbank& db) {
                for (std::size_t i = 0; i < runde.size(); ++i)
                    antworten[i] = trageEin(db, runde[i]);
                return true;
            });
            // One that the database refuses must not take the others of its round with it.
            if (!gebucht)
                for (std::size_t i = 0; i < runde.size(); ++i)
                    antworten[i] = schreibe([&](Datenbank& db) { return trageEin(db, runde[i]); });
        }
        for (std::size_t i = 0; i < runde.size(); ++i)
            runde[i].antwort.set_value(antworten[i]);
    }

    /// Whether a new receipt would be one too many. Bytes that are there already cost nothing.
    static bool istVoll(Datenbank& db, Eingang const& eingang, std::string_view hash) {
        Befehl zaehle{db, "SELECT count(*), coalesce(sum(hash=?), 0) FROM belege WHERE kunde=?"};
        return zaehle.mit(hash, eingang.kunde).weiter() && zaehle.zahl(1) == 0 &&
               zaehle.zahl(0) >= *eingang.kontingent;
    }

    static std::optional<Angenommen> trageEin(Datenbank& db, Auftrag const& auftrag) {
        auto const& e = *auftrag.eingang;
        std::string_view const hash = auftrag.hash;
        bool neu = false;
        if (auftrag.lage >= 0 && e.kontingent && istVoll(db, e, hash))
            return Angenommen{.art = Angenommen::Art::ueberKontingent, .id = 0};
        if (auftrag.lage >= 0) {
            // Two uploads of the same bytes may be in one round: the second finds the first.
            Befehl einfuegen{
                db,
                "INSERT INTO belege(kunde, herkunft, ungelesen, hash, name, quellpfad, typ, groesse, lage) "
                "VALUES(?,?,?,?,?,?,?,?,?) ON CONFLICT(kunde, hash) DO NOTHING"};
            einfuegen
                .mit(
                    e.kunde, static_cast<std::int64_t>(e.herkunft), static_cast<std::int64_t>(e.ungelesen),
                    hash, e.name, e.quellpfad, e.typ, static_cast<std::int64_t>(e.bytes.size()), auftrag.lage)
                .tue();
            neu = sqlite3_changes(db.roh()) > 0;
        }
        if (!e.quellpfad.empty())
            Befehl{
                db, "INSERT INTO pfade(kunde, pfad, hash) VALUES(?,?,?) ON CONFLICT DO UPDATE SET "
                    "hash=excluded.hash"}
                .mit(e.kunde, e.quellpfad, hash)
                .tue();
        Befehl suche{db, "SELECT id FROM belege WHERE kunde=? AND hash=?"};
        if (!suche.mit(e.kunde, hash).weiter())
            return std::nullopt;
        return Angenommen{.art = neu ? Angenommen::Art::neu : Angenommen::Art::doppelt, .id = suche.zahl(0)};
    }

    Deskriptor bytes_;
    std::atomic<std::int64_t> ende_{0}; ///< Where the next receipt's bytes go.

    std::mutex lesesperre_;
    Datenbank
        lesend_; ///< Under lesesperre_. Sees what is committed, without waiting for a sync of the other.
    std::mutex schreibsperre_;
    std::unique_ptr<Datenbank> schreibend_; ///< Under schreibsperre_. Absent when only looking.

    std::mutex reihensperre_;
    std::condition_variable reihe_bereit_;
    std::vector<Auftrag> reihe_;  ///< Under reihensperre_.
    bool ende_gewuenscht_{false}; ///< Under reihensperre_.
    std::thread buchhalter_;
};

Speicher::Speicher(std::unique_ptr<Innen> innen)
    : innen_(std::move(innen)) {}
Speicher::~Speicher() = default;

std::unique_ptr<Speicher> Speicher::oeffnen(std::string const& ordner, std::string& grund) {
    if (!ordnerAnlegen(ordner)) {
        grund = fmt::format("Der Ordner „{}“ lässt sich nicht anlegen: {}", ordner, std::strerror(errno));
        return nullptr;
    }
    try {
        return std::unique_ptr<Speicher>{new Speicher{std::make_unique<Innen>(ordner, true)}};
    } catch (DatenbankFehler const& fehler) {
        grund = fmt::format("Die Daten in „{}“ lassen sich nicht öffnen: {}", ordner, fehler.text);
        return nullptr;
    }
}

std::unique_ptr<Speicher> Speicher::nurLesen(std::string const& ordner, std::string& grund) {
    try {
        return std::unique_ptr<Speicher>{new Speicher{std::make_unique<Innen>(ordner, false)}};
    } catch (DatenbankFehler const& fehler) {
        grund = fmt::format("Die Daten in „{}“ lassen sich nicht öffnen: {}", ordner, fehler.text);
        return nullptr;
    }
}

bool Speicher::kundeAnlegen(std::int64_t kunde, std::vector<Buchung> const& buchungen) {
    return innen_->schreibe([&](Datenbank& db) {
        Befehl{db, "INSERT INTO kunden(id, vorgabe) VALUES(?,?) ON CONFLICT DO NOTHING"}
            .mit(kunde, std::string_view{grundvorgabe})
            .tue();
        if (sqlite3_changes(db.roh()) == 0)
            return true;
        for (auto const& b : buchungen)
            Befehl{db, "INSERT INTO buchungen(kunde, datum, betrag, gegenpartei, zweck) VALUES(?,?,?,?,?)"}
                .mit(
                    kunde, std::string_view{alsIsoDatum(b.datum)}, b.betrag, std::string_view{b.gegenpartei},
                    std::string_view{b.zweck})
                .tue();
        return true;
    });
}

std::optional<Angenommen> Speicher::annehmen(Eingang const& eingang) {
    return innen_->annehmen(eingang);
}

std::optional<Beleg> Speicher::beleg(std::int64_t id) {
    return innen_->lies([&](Datenbank& db) -> std::optional<Beleg> {
        Befehl suche{db, "SELECT " BELEGSPALTEN ", text FROM belege WHERE id=?"};
        if (!suche.mit(id).weiter())
            return std::nullopt;
        auto beleg = alsBeleg(suche);
        if (!suche.leer(11))
            beleg.text = suche.text(11);
        return beleg;
    });
}

std::optional<std::string> Speicher::bytes(Beleg const& beleg) {
    std::string inhalt(static_cast<std::size_t>(beleg.groesse), '\0');
    std::size_t gelesen = 0;
    while (gelesen < inhalt.size()) {
        auto const n = ::pread(
            innen_->bytes(), inhalt.data() + gelesen, inhalt.size() - gelesen,
            beleg.lage + static_cast<std::int64_t>(gelesen));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return std::nullopt;
        gelesen += static_cast<std::size_t>(n);
    }
    return inhalt;
}

std::vector<Beleg> Speicher::belege(std::int64_t kunde) {
    return innen_->lies([&](Datenbank& db) {
        std::vector<Beleg> liste;
        Befehl suche{db, "SELECT " BELEGSPALTEN " FROM belege WHERE kunde=? ORDER BY id"};
        for (suche.mit(kunde); suche.weiter();)
            liste.push_back(alsBeleg(suche));
        return liste;
    });
}

std::optional<Beleg> Speicher::naechsterUngelesener(std::int64_t nachId, std::int64_t altbestand) {
    return innen_->lies([&](Datenbank& db) -> std::optional<Beleg> {
        Befehl suche{
            db, "SELECT " BELEGSPALTEN
                " FROM belege WHERE zustand=0 AND id>? AND (herkunft=0 OR id<=?) ORDER BY id LIMIT 1"};
        if (!suche.mit(nachId, altbestand).weiter())
            return std::nullopt;
        return alsBeleg(suche);
    });
}

std::int64_t Speicher::hoechsteBelegId() {
    return innen_->lies([&](Datenbank& db) -> std::int64_t {
        Befehl suche{db, "SELECT coalesce(max(id), 0) FROM belege"};
        return suche.weiter() ? suche.zahl(0) : 0;
    });
}

std::optional<Beleg> Speicher::lesungEintragen(std::int64_t id, std::optional<std::string> const& text) {
    auto const eingetragen = innen_->schreibe([&](Datenbank& db) {
        auto const zustand = text && istBeleg(*text) ? Zustand::beleg : Zustand::keinBeleg;
        Befehl{db, "UPDATE belege SET zustand=?, text=? WHERE id=? AND zustand=0"}
            .mit(static_cast<std::int64_t>(zustand), text, id)
            .tue();
        if (sqlite3_changes(db.roh()) == 0 || zustand != Zustand::beleg)
            return true;
        // Within this transaction, so that two receipts do not take the same booking.
        std::vector<Buchung> offene;
        Befehl suche{
            db, "SELECT b.id, b.datum, b.betrag, b.gegenpartei, b.zweck FROM buchungen b, belege e "
                "WHERE e.id=? AND b.kunde=e.kunde AND NOT EXISTS(SELECT 1 FROM verknuepfungen v WHERE "
                "v.buchung=b.id) "
                "AND NOT EXISTS(SELECT 1 FROM verknuepfungen v WHERE v.beleg=e.id) ORDER BY b.id"};
        for (suche.mit(id); suche.weiter();)
            offene.push_back(alsBuchung(suche));
        if (auto const buchung = passendeBuchung(*text, offene))
            Befehl{db, "INSERT INTO verknuepfungen(beleg, buchung, art) VALUES(?,?,0)"}
                .mit(id, *buchung)
                .tue();
        return true;
    });
    return eingetragen ? beleg(id) : std::nullopt;
}

bool Speicher::verknuepfen(Verknuepfung const& verknuepfung) {
    return innen_->schreibe([&](Datenbank& db) {
        Befehl{
            db, "INSERT INTO verknuepfungen(beleg, buchung, art) VALUES(?,?,?) "
                "ON CONFLICT DO UPDATE SET art=excluded.art"}
            .mit(verknuepfung.beleg, verknuepfung.buchung, static_cast<std::int64_t>(verknuepfung.art))
            .tue();
        return true;
    });
}

std::vector<Verknuepfung> Speicher::verknuepfungen(std::int64_t kunde) {
    return innen_->lies([&](Datenbank& db) {
        std::vector<Verknuepfung> liste;
        Befehl suche{
            db, "SELECT v.beleg, v.buchung, v.art FROM verknuepfungen v, belege e "
                "WHERE e.id=v.beleg AND e.kunde=? ORDER BY v.beleg, v.buchung"};
        for (suche.mit(kunde); suche.weiter();)
            liste.push_back(
                {.beleg = suche.zahl(0),
                 .buchung = suche.zahl(1),
                 .art = static_cast<Zuordnung>(suche.zahl(2))});
        return liste;
    });
}

std::vector<Speicher::Gesehen> Speicher::gesehenePfade(std::int64_t kunde) {
    return innen_->lies([&](Datenbank& db) {
        std::vector<Gesehen> liste;
        Befehl suche{db, "SELECT pfad, hash FROM pfade WHERE kunde=? ORDER BY pfad"};
        for (suche.mit(kunde); suche.weiter();)
            liste.push_back({.pfad = suche.text(0), .hash = suche.text(1)});
        return liste;
    });
}

std::vector<std::string> Speicher::hashesOhneBeleg(std::int64_t kunde) {
    return innen_->lies([&](Datenbank& db) {
        std::vector<std::string> liste;
        Befehl suche{db, "SELECT hash FROM belege WHERE kunde=? AND zustand=2 ORDER BY hash"};
        for (suche.mit(kunde); suche.weiter();)
            liste.push_back(suche.text(0));
        return liste;
    });
}

std::optional<std::string> Speicher::vorgabe(std::int64_t kunde) {
    return innen_->lies([&](Datenbank& db) -> std::optional<std::string> {
        Befehl suche{db, "SELECT vorgabe FROM kunden WHERE id=?"};
        return suche.mit(kunde).weiter() ? std::optional{suche.text(0)} : std::nullopt;
    });
}

bool Speicher::vorgabeSetzen(std::int64_t kunde, std::string const& json) {
    return innen_->schreibe([&](Datenbank& db) {
        Befehl{db, "UPDATE kunden SET vorgabe=? WHERE id=?"}.mit(std::string_view{json}, kunde).tue();
        return sqlite3_changes(db.roh()) > 0;
    });
}

namespace {

std::optional<Fortschritt> liesFortschritt(Datenbank& db, std::int64_t kunde) {
    Befehl suche{db, "SELECT gestoppt, laeuft, gesamt, verarbeitet FROM kunden WHERE id=?"};
    if (!suche.mit(kunde).weiter())
        return std::nullopt;
    return Fortschritt{
        .gestoppt = suche.zahl(0) != 0,
        .laeuft = suche.zahl(1) != 0,
        .gesamt = suche.zahl(2),
        .verarbeitet = suche.zahl(3)};
}

} // namespace

std::optional<Fortschritt> Speicher::fortschritt(std::int64_t kunde) {
    return innen_->lies([&](Datenbank& db) { return liesFortschritt(db, kunde); });
}

bool Speicher::fortschrittAendern(std::int64_t kunde, std::function<void(Fortschritt&)> const& aendere) {
    return innen_->schreibe([&](Datenbank& db) {
        auto stand = liesFortschritt(db, kunde);
        if (!stand)
            return false;
        aendere(*stand);
        Befehl{db, "UPDATE kunden SET gestoppt=?, laeuft=?, gesamt=?, verarbeitet=? WHERE id=?"}
            .mit(
                static_cast<std::int64_t>(stand->gestoppt), static_cast<std::int64_t>(stand->laeuft),
                stand->gesamt, stand->verarbeitet, kunde)
            .tue();
        return true;
    });
}

bool Speicher::berichtSetzen(std::int64_t kunde, std::string const& json) {
    return innen_->schreibe([&](Datenbank& db) {
        Befehl{db, "UPDATE kunden SET bericht=?, laeuft=0 WHERE id=?"}
            .mit(std::string_view{json}, kunde)
            .tue();
        return sqlite3_changes(db.roh()) > 0;
    });
}

std::optional<std::string> Speicher::letzterBericht(std::int64_t kunde) {
    return innen_->lies([&](Datenbank& db) -> std::optional<std::string> {
        Befehl suche{db, "SELECT bericht FROM kunden WHERE id=?"};
        return suche.mit(kunde).weiter() ? std::optional{suche.text(0)} : std::nullopt;
    });
}

std::vector<Buchung> Speicher::buchungen(std::int64_t kunde) {
    return innen_->lies([&](Datenbank& db) {
        std::vector<Buchung> liste;
        Befehl suche{
            db, "SELECT id, datum, betrag, gegenpartei, zweck FROM buchungen WHERE kunde=? ORDER BY id"};
        for (suche.mit(kunde); suche.weiter();)
            liste.push_back(alsBuchung(suche));
        return liste;
    });
}

std::optional<Buchung> Speicher::buchung(std::int64_t kunde, std::int64_t id) {
    return innen_->lies([&](Datenbank& db) -> std::optional<Buchung> {
        Befehl suche{
            db, "SELECT id, datum, betrag, gegenpartei, zweck FROM buchungen WHERE kunde=? AND id=?"};
        return suche.mit(kunde, id).weiter() ? std::optional{alsBuchung(suche)} : std::nullopt;
    });
}

std::optional<std::int64_t> Speicher::buchungAnlegen(std::int64_t kunde, Buchung const& buchung) {
    return innen_->schreibe([&](Datenbank& db) -> std::optional<std::int64_t> {
        Befehl{db, "INSERT INTO buchungen(kunde, datum, betrag, gegenpartei, zweck) VALUES(?,?,?,?,?)"}
            .mit(
                kunde, std::string_view{alsIsoDatum(buchung.datum)}, buchung.betrag,
                std::string_view{buchung.gegenpartei}, std::string_view{buchung.zweck})
            .tue();
        return sqlite3_last_insert_rowid(db.roh());
    });
}

std::vector<std::int64_t> Speicher::kunden() {
    return innen_->lies([&](Datenbank& db) {
        std::vector<std::int64_t> liste;
        for (Befehl suche{db, "SELECT id FROM kunden ORDER BY id"}; suche.weiter();)
            liste.push_back(suche.zahl(0));
        return liste;
    });
}

} // namespace quillmate::demo
