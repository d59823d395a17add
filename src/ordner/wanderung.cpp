// The walk through a folder tree, by several threads and yet in a fixed order.
//
// Parts, from the bottom:
//
//   Knoten    One folder: first pending, then being read, then read. What it keeps of its contents
//             is an Ordnerinhalt: candidates and subfolders, sorted by name (ordnerleser.h).
//   Faden     One thread's tools: its reader and its list of pending folders.
//   Wanderer  The state that the threads share, under one lock that is held for moments, once or
//             twice a folder.
//
// How data moves:
//
//   reading   A thread takes a pending folder, opens it relative to its parent, reads it, and
//             publishes it as read. Its subfolders become pending at the young end of the thread's
//             own list, the first in order at the very end: each thread goes depth first. A thread
//             without pending folders takes the oldest of another thread, the one nearest to the
//             root: so it carries off a large piece, and the two stay apart.
//   passing   Only the calling thread passes the read folders, in enumeration order, and hands the
//             candidates on. Where the next folder in order is pending, it reads that one first;
//             where another thread is reading it just now, it reads something else meanwhile, and
//             waits only when there is nothing else. A folder is forgotten once it is passed.
//
//      calling thread   reads /   reads /a         passes /, /a   reads /b      passes /b, /c
//      helper                     takes /c         reads /c/1     reads /c/2    takes /d
//
// Descriptors: a folder's descriptor stays open while subfolders of it wait to be opened, because
// names are only safe to use relative to it. In a deep tree that would be one per level, so only
// `hoechstensOffen` stay open; the oldest is closed, and its device and inode are noted. When it is
// needed again it is looked up from the nearest open ancestor, and used only if it is still the same
// folder. When the process has no descriptor left, open ones are given up in the same way; if that
// does not help, the helpers end and the calling thread goes on alone.
//
// Memory: a helper that gets none puts its folder back and ends, as one without descriptor does; nothing
// may leave a helper's thread, that would end the program. On the calling thread it ends the walk.
//
// Circles: links are not followed, and where the kernel notices that a folder appears below itself it
// refuses to open it. A file system in user space or on a server can still show a folder below itself as
// if it were ever a new one, with ever new inode numbers, so that nothing tells it from a deep tree. What
// is below `hoechsteTiefe` is therefore passed over.

#include "wanderung.h"

#include "grundlage/datei.h"
#include "ordnerleser.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <utility>
#include <vector>

namespace quillmate::Ordner {

namespace {

/// Descriptors that are kept for pending subfolders, over all threads.
constexpr std::size_t hoechstensOffen = 96;
/// Of these, how many a way back down leaves open just above the folder that it leads to.
constexpr std::size_t nachbarschaft = 24;
/// Folders that the calling thread reads before it starts helpers: a small tree is done before a thread runs.
constexpr std::size_t alleinBis = 48;
/// More threads than this only wait for each other, whatever the caller asks for.
constexpr std::size_t hoechstensFaeden = 32;
/// Candidates and folders that may have been read but not passed. Beyond that the helpers pause: a caller
/// that takes its time over each find must not make the whole tree pile up in memory.
constexpr std::size_t hoechsterVorrat = 250'000;
/// Levels below the searched folder that are entered; nobody keeps receipts deeper.
constexpr std::size_t hoechsteTiefe = 50'000;
/// How long the calling thread waits before it asks again whether to go on.
constexpr std::chrono::milliseconds fragepause{10};

constexpr int ordnerflaggen = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

struct Knoten;

enum class Zustand : std::uint8_t { wartet, inArbeit, gelesen };

struct Knoten {
    Knoten* eltern{nullptr};
    std::string_view name; ///< In the parent's `inhalt`.
    std::size_t tiefe{0};  ///< Levels below the searched folder.

    // Written by the thread that reads the folder; after Zustand::gelesen only the calling thread looks at
    // them.
    Ordnerinhalt inhalt;
    std::unique_ptr<Knoten[]> kinder; ///< One for each subfolder of `inhalt`.
    /// Set to `gelesen` as the last thing that any other thread does with this folder and those above it:
    /// from then on the calling thread may forget them.
    std::atomic<Zustand> zustand{Zustand::wartet};

    // Guarded by Wanderer::sperre_.
    int deskriptor{-1};
    std::size_t ungeoeffnet{0}; ///< Subfolders that have not been read yet.
    std::size_t nutzer{0};      ///< Threads that are using `deskriptor`.
    bool aufgegeben{false}; ///< `deskriptor` was given up; `geraet` and `inode` say which folder it showed.
    dev_t geraet{0};
    ino_t inode{0};
    Knoten* aelter{nullptr}; ///< Neighbours in the list of pending folders.
    Knoten* juenger{nullptr};
    std::size_t liste{0};          ///< Number of the thread whose list that is.
    Knoten* frueherOffen{nullptr}; ///< Neighbours in the list of open folders.
    Knoten* spaeterOffen{nullptr};
};

/// Tools of one thread.
struct Faden {
    explicit Faden(Wanderauftrag const& auftrag, std::size_t stelle)
        : nummer(stelle)
        , leser(auftrag) {}

    std::size_t nummer;
    Ordnerleser leser;
    // Pending folders. Guarded by Wanderer::sperre_.
    Knoten* aeltester{nullptr};
    Knoten* juengster{nullptr};
};

/// A pending folder that a thread has taken, with its parent's descriptor as it was then (-1: given up).
struct Arbeit {
    Knoten* knoten{nullptr};
    int elterndeskriptor{-1};
    explicit operator bool() const noexcept { return knoten != nullptr; }
};

enum class Lesung { fertig, keinDeskriptor, keinSpeicher };

/// Made of nothing that could need memory itself: short texts stand in the object.
Fehler keinSpeicher(std::string_view wo) noexcept {
    Fehler fehler{.art = Fehlerart::keineMittel, .ursache = {Ursache::Herkunft::errnoWert, ENOMEM}};
    try {
        fehler.satz = "Kein Speicher";
        fehler.wo = wo;
    } catch (std::bad_alloc const&) {
        // Then without the place.
    }
    return fehler;
}

/// The folder's path as the paths of its finds begin, without slash at the end.
std::string alsVorsatz(std::string const& ordner) {
    // ".." after a link does not lead back: such a path is left as it is.
    auto vorsatz = ordner;
    bool const rueckwaerts = ("/" + ordner + "/").find("/../") != std::string::npos;
    if (!rueckwaerts || !ordner.starts_with('/'))
        vorsatz = rueckwaerts ? standardisiert(".") + "/" + ordner : standardisiert(ordner);
    while (vorsatz.ends_with('/'))
        vorsatz.pop_back();
    return vorsatz;
}

/// Frees the folders below without recursion, because the tree can be deeper than the stack, and without
/// memory of its own, because the lack of it may be why the walk ended.
void abbauen(Knoten& wurzel) noexcept {
    auto* knoten = &wurzel;
    for (;;) {
        if (knoten->kinder && knoten->inhalt.unterordner > 0) {
            auto& kind = knoten->kinder[--knoten->inhalt.unterordner];
            if (kind.deskriptor >= 0)
                ::close(kind.deskriptor);
            kind.eltern = knoten;
            knoten = &kind;
            continue;
        }
        knoten->kinder.reset();
        if (knoten == &wurzel)
            return;
        knoten = knoten->eltern;
    }
}

class Wanderer {
public:
    Wanderer(Wanderauftrag const& auftrag, Abnehmer& abnehmer, std::string pfad, Deskriptor wurzel);
    ~Wanderer();
    Wanderer(Wanderer const&) = delete;
    Wanderer& operator=(Wanderer const&) = delete;

    /// Walks the whole tree, or as far as the memory suffices; the return value is the number counted with
    /// Ziel::anzahl.
    std::int64_t laufen();

private:
    // Passing; calling thread only.
    void uebergehen();
    struct Stelle {
        Knoten* knoten;
        std::size_t naechster;
        std::size_t pfadlaenge; ///< Of the folder above.
    };
    Knoten* uebergehenBisUngelesen();
    void betreten(Knoten& knoten);
    void verlassen();
    void ausgelassenesZaehlen(Knoten const& knoten);
    Arbeit holenFuerAufrufer(Knoten& naechster);
    bool alleinWeiter(Arbeit& arbeit);
    void helferStarten();
    [[nodiscard]] std::size_t faeden() const {
        return std::min<std::size_t>(auftrag_.faeden, hoechstensFaeden);
    }

    // Any thread.
    void helfen(Faden& faden);
    Arbeit holenFuerHelfer(Faden& faden);
    Lesung lesen(Faden& faden, Arbeit const& arbeit, bool aufrufer);
    void abschliessen(Faden& faden, Knoten& knoten, Deskriptor eigener);
    [[nodiscard]] bool halt(bool fragen);

    // Descriptors.
    Deskriptor oeffnen(Arbeit const& arbeit);
    template<typename Oeffne>
    Deskriptor mitPlatz(Oeffne&& oeffne);
    bool wiederOeffnen(Knoten& knoten, int& deskriptor);

    // With the lock held.
    void einreihen(Faden& faden, Knoten& knoten);
    void ausreihen(Knoten& knoten);
    Arbeit nehmen(Knoten& knoten);
    Arbeit naechsteArbeit(Faden& faden);
    void offenMerken(Knoten& knoten, Deskriptor deskriptor);
    bool aeltestenAufgeben();
    [[nodiscard]] Deskriptor offenVergessen(Knoten& knoten);
    [[nodiscard]] Deskriptor loslassen(Knoten& knoten);
    void zuruecklegen(Faden& faden, Knoten& knoten);

    Wanderauftrag const& auftrag_;
    Knoten wurzel_;

    // Calling thread only.
    Abnehmer& abnehmer_;
    std::string pfad_; ///< Of the folder that is being passed.
    std::vector<Stelle> stapel_;
    std::size_t gelesen_{0};
    std::size_t uebergangen_{0}; ///< Not yet subtracted from `vorrat_`.
    std::int64_t anzahl_{0};

    std::atomic<bool> halt_{false}; ///< All threads end soon.
    /// Candidates that may still be passed; only the calling thread changes it. A folder that is being read
    /// comes after all that have been passed, so it cannot contribute more than this, early as it is asked.
    std::atomic<std::size_t> noch_;

    std::mutex sperre_;
    std::condition_variable neueArbeit_;   ///< For helpers.
    std::condition_variable etwasGelesen_; ///< For the calling thread.
    // Guarded by sperre_.
    std::size_t wartende_{0}; ///< Folders, not threads.
    std::size_t wartendeHelfer_{0};
    std::size_t lebendeHelfer_{0};
    bool aufruferWartet_{false};
    bool knapp_{
        false}; ///< Descriptors or memory ran out: helpers end after the folder that they are reading.
    std::size_t vorrat_{0};
    std::size_t offene_{0};
    Knoten* ersterOffener_{nullptr};
    Knoten* letzterOffener_{nullptr};

    std::vector<std::unique_ptr<Faden>> faeden_; ///< The first is the calling thread's.

    std::vector<std::jthread> helfer_; ///< Calling thread only.
};

Wanderer::Wanderer(Wanderauftrag const& auftrag, Abnehmer& abnehmer, std::string pfad, Deskriptor wurzel)
    : auftrag_(auftrag)
    , abnehmer_(abnehmer)
    , pfad_(std::move(pfad))
    , noch_(auftrag.hoechstens) {
    faeden_.push_back(std::make_unique<Faden>(auftrag_, 0));
    einreihen(*faeden_.front(), wurzel_);
    wurzel_.deskriptor = wurzel.abgeben();
}

Wanderer::~Wanderer() {
    {
        std::lock_guard const schutz{sperre_};
        halt_ = true;
    }
    neueArbeit_.notify_all();
    helfer_.clear(); // joins
    abbauen(wurzel_);
    ::close(wurzel_.deskriptor);
}

// ---- passing
// ------------------------------------------------------------------------------------------------

std::int64_t Wanderer::laufen() {
    try {
        uebergehen();
    } catch (std::bad_alloc const&) {
        // What has been passed until here stands. The helpers end with this object.
        if (auftrag_.bilanz != nullptr)
            auftrag_.bilanz->abbruch = keinSpeicher(pfad_);
    }
    for (auto const& stelle : stapel_) // where the walk ended early
        if (stelle.knoten->zustand.load(std::memory_order_acquire) == Zustand::gelesen)
            ausgelassenesZaehlen(*stelle.knoten);
    return anzahl_;
}

void Wanderer::uebergehen() {
    if (auftrag_.hoechstens == 0)
        return;
    betreten(wurzel_);
    while (!halt_ && abnehmer_.weiter()) {
        auto* const naechster = uebergehenBisUngelesen();
        if (naechster == nullptr)
            break;
        auto arbeit = holenFuerAufrufer(*naechster);
        if (!arbeit)
            continue;
        if (lesen(*faeden_.front(), arbeit, true) == Lesung::keinDeskriptor && !alleinWeiter(arbeit))
            break;
        ++gelesen_;
        if (gelesen_ >= alleinBis && faeden_.size() < faeden())
            helferStarten();
    }
}

void Wanderer::betreten(Knoten& knoten) {
    stapel_.push_back({.knoten = &knoten, .naechster = 0, .pfadlaenge = pfad_.size()});
    if (knoten.eltern != nullptr)
        pfad_.append(1, '/').append(knoten.name);
}

void Wanderer::verlassen() {
    auto const& stelle = stapel_.back();
    auto& knoten = *stelle.knoten;
    ausgelassenesZaehlen(knoten); // it names the folder by the path
    pfad_.resize(stelle.pfadlaenge);
    anzahl_ += knoten.inhalt.gezaehlt;
    uebergangen_ += 1 + knoten.inhalt.eintraege.size();
    // The children have all been left, so this goes one level deep.
    knoten.kinder.reset();
    knoten.inhalt = {};
    stapel_.pop_back();
}

void Wanderer::ausgelassenesZaehlen(Knoten const& knoten) {
    auto const* const ausgelassen = knoten.inhalt.ausgelassen.get();
    if (ausgelassen == nullptr || auftrag_.bilanz == nullptr)
        return;
    auto& bilanz = *auftrag_.bilanz;
    bilanz.pakete += ausgelassen->pakete;
    bilanz.verweiseHinaus += ausgelassen->verweiseHinaus;
    bilanz.unlesbareOrdner += ausgelassen->lesefehler != 0 ? 1 : 0;
    try {
        for (auto const& name : ausgelassen->paketnamen)
            if (bilanz.paketnamen.size() < Suchbilanz::hoechstensNamen)
                bilanz.paketnamen.push_back(name);
        if (ausgelassen->lesefehler != 0 && !bilanz.ersterUnlesbarer)
            bilanz.ersterUnlesbarer =
                errnoFehler(pfad_, "Ordner nicht lesbar", ausgelassen->lesefehler).error();
    } catch (std::bad_alloc const&) {
        // The numbers stand; a name is not worth the finds.
    }
}

/// Passes what has been read, as far as it goes. The folder that comes next but has not been read; nothing
/// when the walk is over.
Knoten* Wanderer::uebergehenBisUngelesen() {
    while (!stapel_.empty()) {
        auto& stelle = stapel_.back();
        auto& knoten = *stelle.knoten;
        if (knoten.zustand.load(std::memory_order_acquire) != Zustand::gelesen)
            return &knoten;
        if (stelle.naechster == knoten.inhalt.eintraege.size()) {
            verlassen();
            continue;
        }
        auto const& eintrag = knoten.inhalt.eintraege[stelle.naechster++];
        if (eintrag.unterordner != Ordnerinhalt::keinOrdner) {
            betreten(knoten.kinder[eintrag.unterordner]);
            if (!abnehmer_.weiter())
                return nullptr;
            continue;
        }
        if (!abnehmer_.nimm(pfad_, eintrag.kandidat) || --noch_ == 0)
            return nullptr;
    }
    return nullptr;
}

/// Something for the calling thread to read; nothing when it should look again at what has been read.
Arbeit Wanderer::holenFuerAufrufer(Knoten& naechster) {
    std::unique_lock schutz{sperre_};
    bool const warVoll = vorrat_ >= hoechsterVorrat;
    vorrat_ -= std::exchange(uebergangen_, 0);
    if (warVoll && vorrat_ < hoechsterVorrat)
        neueArbeit_.notify_all();
    switch (naechster.zustand.load(std::memory_order_relaxed)) {
    case Zustand::wartet:
        return nehmen(naechster);
    case Zustand::gelesen:
        return {};
    case Zustand::inArbeit:
        break;
    }
    if (vorrat_ < hoechsterVorrat)
        if (auto arbeit = naechsteArbeit(*faeden_.front()))
            return arbeit;
    aufruferWartet_ = true;
    etwasGelesen_.wait_for(schutz, fragepause);
    aufruferWartet_ = false;
    return {};
}

/// After descriptors ran out: waits until the helpers have ended and given up theirs, then reads once more.
/// False when the walk is to end.
bool Wanderer::alleinWeiter(Arbeit& arbeit) {
    {
        std::unique_lock schutz{sperre_};
        knapp_ = true;
        neueArbeit_.notify_all();
        while (lebendeHelfer_ > 0) {
            aufruferWartet_ = true;
            etwasGelesen_.wait_for(schutz, fragepause);
            aufruferWartet_ = false;
            schutz.unlock();
            if (!abnehmer_.weiter())
                return false;
            schutz.lock();
        }
        // Meanwhile another thread may have found the way back to the parent.
        arbeit.elterndeskriptor = arbeit.knoten->eltern->deskriptor;
    }
    if (lesen(*faeden_.front(), arbeit, true) == Lesung::keinDeskriptor) {
        // Somebody else in this process holds all of them: the folder counts as unreadable.
        arbeit.knoten->inhalt.auslassen().lesefehler = EMFILE;
        abschliessen(*faeden_.front(), *arbeit.knoten, {});
    }
    return true;
}

void Wanderer::helferStarten() {
    std::lock_guard const schutz{sperre_};
    if (knapp_ || wartende_ < 2)
        return;
    try {
        while (faeden_.size() < faeden())
            faeden_.push_back(std::make_unique<Faden>(auftrag_, faeden_.size()));
        while (helfer_.size() + 1 < faeden_.size()) {
            auto& faden = *faeden_[helfer_.size() + 1];
            helfer_.emplace_back([this, &faden] { helfen(faden); });
            ++lebendeHelfer_;
        }
    } catch (std::exception const&) {
        // No more threads or memory to be had: those that run suffice.
    }
}

// ---- helpers
// --------------------------------------------------------------------------------------------------

void Wanderer::helfen(Faden& faden) {
    while (auto const arbeit = holenFuerHelfer(faden)) {
        if (lesen(faden, arbeit, false) == Lesung::fertig)
            continue;
        std::lock_guard const schutz{sperre_};
        knapp_ = true;
        zuruecklegen(faden, *arbeit.knoten);
    }
    std::lock_guard const schutz{sperre_};
    --lebendeHelfer_;
    etwasGelesen_.notify_one();
}

Arbeit Wanderer::holenFuerHelfer(Faden& faden) {
    std::unique_lock schutz{sperre_};
    for (;;) {
        if (halt_ || knapp_)
            return {};
        if (vorrat_ < hoechsterVorrat)
            if (auto arbeit = naechsteArbeit(faden))
                return arbeit;
        ++wartendeHelfer_;
        neueArbeit_.wait(schutz);
        --wartendeHelfer_;
    }
}

/// Whether to leave a folder unfinished. Only the calling thread may ask `abnehmer_`.
bool Wanderer::halt(bool fragen) {
    if (fragen && !abnehmer_.weiter())
        halt_ = true;
    return halt_.load(std::memory_order_relaxed);
}

// ---- reading one folder
// ----------------------------------------------------------------------------------------

Lesung Wanderer::lesen(Faden& faden, Arbeit const& arbeit, bool aufrufer) {
    auto& knoten = *arbeit.knoten;
    Deskriptor eigener;
    try {
        if (knoten.eltern != nullptr) {
            eigener = oeffnen(arbeit);
            int const grund = errno;
            if (!eigener && (grund == EMFILE || grund == ENFILE))
                return Lesung::keinDeskriptor;
            // What is gone or became something else meanwhile is no folder that could not be read.
            if (!eigener && grund != ENOENT && grund != ENOTDIR && grund != ELOOP && grund != ECANCELED)
                knoten.inhalt.auslassen().lesefehler = grund;
        }
        int const ordner = knoten.eltern != nullptr ? eigener.get() : wurzel_.deskriptor;
        if (ordner >= 0 && knoten.tiefe <= hoechsteTiefe) {
            knoten.inhalt = faden.leser.lesen(ordner, noch_, [this, aufrufer] { return halt(aufrufer); });
            if (knoten.inhalt.unterordner > 0)
                knoten.kinder = std::make_unique<Knoten[]>(knoten.inhalt.unterordner);
        }
    } catch (std::bad_alloc const&) {
        knoten.inhalt = {};
        if (aufrufer)
            throw;
        return Lesung::keinSpeicher;
    }
    for (auto const& eintrag : knoten.inhalt.eintraege)
        if (eintrag.unterordner != Ordnerinhalt::keinOrdner) {
            knoten.kinder[eintrag.unterordner].eltern = &knoten;
            knoten.kinder[eintrag.unterordner].name = eintrag.kandidat.name;
            knoten.kinder[eintrag.unterordner].tiefe = knoten.tiefe + 1;
        }
    abschliessen(faden, knoten, std::move(eigener));
    return Lesung::fertig;
}

/// Publishes the folder and makes its subfolders pending. Afterwards the calling thread may forget it.
void Wanderer::abschliessen(Faden& faden, Knoten& knoten, Deskriptor eigener) {
    Deskriptor entbehrlicher; // Closed after the lock is free.
    std::lock_guard const schutz{sperre_};
    vorrat_ += 1 + knoten.inhalt.eintraege.size();
    if (knoten.inhalt.unterordner > 0) {
        knoten.ungeoeffnet = knoten.inhalt.unterordner;
        if (knoten.eltern != nullptr)
            offenMerken(knoten, std::move(eigener));
        for (auto i = knoten.inhalt.unterordner; i-- > 0;) // The first in order becomes the youngest.
            einreihen(faden, knoten.kinder[i]);
        // The thread that is here takes one of them itself.
        if (wartendeHelfer_ > 0 && wartende_ > 2)
            neueArbeit_.notify_all();
        else if (wartendeHelfer_ > 0 && wartende_ > 1)
            neueArbeit_.notify_one();
    }
    if (knoten.eltern != nullptr) {
        --knoten.eltern->ungeoeffnet;
        entbehrlicher = loslassen(*knoten.eltern);
    }
    knoten.zustand.store(Zustand::gelesen, std::memory_order_release);
    if (aufruferWartet_)
        etwasGelesen_.notify_one();
}

// ---- descriptors
// ------------------------------------------------------------------------------------------------

Deskriptor Wanderer::oeffnen(Arbeit const& arbeit) {
    int eltern = arbeit.elterndeskriptor;
    if (eltern < 0 && !wiederOeffnen(*arbeit.knoten->eltern, eltern))
        return {};
    return mitPlatz([&] { return ::openat(eltern, arbeit.knoten->name.data(), ordnerflaggen); });
}

/// Opens; when the process has no descriptor left, gives up one that is not in use and tries again.
template<typename Oeffne>
Deskriptor Wanderer::mitPlatz(Oeffne&& oeffne) {
    for (;;) {
        Deskriptor deskriptor{oeffne()};
        int const grund = errno;
        if (deskriptor || (grund != EMFILE && grund != ENFILE))
            return deskriptor;
        std::lock_guard const schutz{sperre_};
        if (!aeltestenAufgeben()) {
            errno = grund;
            return {};
        }
    }
}

/// Finds the way down to a folder whose descriptor was given up. The caller of this has it in use, so what is
/// found stays open for as long. False with errno when the way is barred or leads to another folder now.
bool Wanderer::wiederOeffnen(Knoten& ziel, int& deskriptor) {
    struct Schritt {
        Knoten* knoten;
        bool behalten;
    };
    std::vector<Schritt> weg; // From below.
    Knoten* gehalten = nullptr;
    int hier = -1;
    {
        std::lock_guard const schutz{sperre_};
        std::size_t gebrauchte = 0;
        auto* knoten = &ziel;
        for (; knoten->deskriptor < 0; knoten = knoten->eltern) {
            // The walk will come back up here. So the folders just above that are still needed stay open, and
            // farther up some at doubling distances, from which the next way down is short.
            bool const gebraucht = knoten->ungeoeffnet > 0;
            gebrauchte += gebraucht ? 1 : 0;
            weg.push_back(
                {.knoten = knoten,
                 .behalten = gebraucht && (gebrauchte <= nachbarschaft || std::has_single_bit(gebrauchte))});
        }
        gehalten = knoten;
        ++gehalten->nutzer;
        hier = gehalten->deskriptor;
    }
    int grund = 0;
    Deskriptor unterwegs;
    while (!weg.empty() && grund == 0) {
        auto& knoten = *weg.back().knoten;
        bool const behalten = weg.back().behalten;
        weg.pop_back();
        auto naechster = mitPlatz([&] {
            return ::openat(hier, knoten.name.data(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        });
        struct stat lage {};
        if (!naechster || ::fstat(naechster.get(), &lage) != 0) {
            grund = errno;
            break;
        }
        Deskriptor entbehrlicher;
        std::lock_guard const schutz{sperre_};
        bool const derselbe =
            knoten.aufgegeben && knoten.geraet == lage.st_dev && knoten.inode == lage.st_ino;
        if (&knoten == &ziel && !derselbe)
            grund = ESTALE;
        if (gehalten != nullptr)
            entbehrlicher = loslassen(*std::exchange(gehalten, nullptr));
        if (derselbe && behalten && knoten.ungeoeffnet > 0) {
            gehalten = &knoten;
            ++gehalten->nutzer;
            if (knoten.deskriptor < 0) // Otherwise another thread was faster.
                offenMerken(knoten, std::move(naechster));
            hier = knoten.deskriptor;
            unterwegs = {};
        } else {
            hier = naechster.get();
            unterwegs = std::move(naechster);
        }
        if (halt_)
            grund = ECANCELED;
    }
    Deskriptor entbehrlicher;
    if (gehalten != nullptr) {
        std::lock_guard const schutz{sperre_};
        entbehrlicher = loslassen(*gehalten);
    }
    deskriptor = hier;
    errno = grund;
    return grund == 0;
}

// ---- with the lock held
// ------------------------------------------------------------------------------------------

void Wanderer::einreihen(Faden& faden, Knoten& knoten) {
    knoten.liste = faden.nummer;
    knoten.aelter = faden.juengster;
    knoten.juenger = nullptr;
    (faden.juengster != nullptr ? faden.juengster->juenger : faden.aeltester) = &knoten;
    faden.juengster = &knoten;
    ++wartende_;
}

void Wanderer::ausreihen(Knoten& knoten) {
    auto& faden = *faeden_[knoten.liste];
    (knoten.aelter != nullptr ? knoten.aelter->juenger : faden.aeltester) = knoten.juenger;
    (knoten.juenger != nullptr ? knoten.juenger->aelter : faden.juengster) = knoten.aelter;
    --wartende_;
}

Arbeit Wanderer::nehmen(Knoten& knoten) {
    ausreihen(knoten);
    knoten.zustand.store(Zustand::inArbeit, std::memory_order_relaxed);
    if (knoten.eltern == nullptr)
        return {.knoten = &knoten};
    ++knoten.eltern->nutzer;
    return {.knoten = &knoten, .elterndeskriptor = knoten.eltern->deskriptor};
}

/// The youngest folder of the thread's own, or the oldest of another's.
Arbeit Wanderer::naechsteArbeit(Faden& faden) {
    if (faden.juengster != nullptr)
        return nehmen(*faden.juengster);
    for (std::size_t i = 1; i < faeden_.size(); ++i)
        if (auto* const aeltester = faeden_[(faden.nummer + i) % faeden_.size()]->aeltester;
            aeltester != nullptr)
            return nehmen(*aeltester);
    return {};
}

/// For a folder that was taken and could not be read.
void Wanderer::zuruecklegen(Faden& faden, Knoten& knoten) {
    knoten.zustand.store(Zustand::wartet, std::memory_order_relaxed);
    einreihen(faden, knoten);
    (void)loslassen(*knoten.eltern);
}

void Wanderer::offenMerken(Knoten& knoten, Deskriptor deskriptor) {
    knoten.deskriptor = deskriptor.abgeben();
    knoten.frueherOffen = letzterOffener_;
    knoten.spaeterOffen = nullptr;
    (letzterOffener_ != nullptr ? letzterOffener_->spaeterOffen : ersterOffener_) = &knoten;
    letzterOffener_ = &knoten;
    if (++offene_ > hoechstensOffen)
        aeltestenAufgeben();
}

Deskriptor Wanderer::offenVergessen(Knoten& knoten) {
    (knoten.frueherOffen != nullptr ? knoten.frueherOffen->spaeterOffen : ersterOffener_) =
        knoten.spaeterOffen;
    (knoten.spaeterOffen != nullptr ? knoten.spaeterOffen->frueherOffen : letzterOffener_) =
        knoten.frueherOffen;
    --offene_;
    return Deskriptor{std::exchange(knoten.deskriptor, -1)};
}

/// Closes the descriptor that was opened first among those not in use; false when there is none.
bool Wanderer::aeltestenAufgeben() {
    for (auto* knoten = ersterOffener_; knoten != nullptr; knoten = knoten->spaeterOffen) {
        if (knoten->nutzer > 0)
            continue;
        struct stat lage {};
        // A folder that cannot even be identified is not found again, and what is below it is passed over.
        knoten->aufgegeben = ::fstat(knoten->deskriptor, &lage) == 0;
        knoten->geraet = lage.st_dev;
        knoten->inode = lage.st_ino;
        (void)offenVergessen(*knoten);
        return true;
    }
    return false;
}

/// Ends a thread's use of the folder's descriptor. What is returned is needed no more.
Deskriptor Wanderer::loslassen(Knoten& knoten) {
    --knoten.nutzer;
    bool const geoeffnet = knoten.deskriptor >= 0 && knoten.eltern != nullptr;
    return geoeffnet && knoten.nutzer == 0 && knoten.ungeoeffnet == 0 ? offenVergessen(knoten) : Deskriptor{};
}

} // namespace

Wanderergebnis wandern(std::string const& ordner, Wanderauftrag const& auftrag, Abnehmer& abnehmer) {
    try {
        // The folder itself may be a link; only those below are not followed.
        auto wurzel = quillmate::oeffnen(ordner, O_RDONLY | O_DIRECTORY);
        if (!wurzel) {
            if (auftrag.bilanz != nullptr)
                auftrag.bilanz->abbruch = errnoFehler(ordner, "Ordner nicht zu öffnen").error();
            return {};
        }
        auto mitWurzel = auftrag;
        mitWurzel.wurzel = wurzel.get();
        Wanderer wanderer{mitWurzel, abnehmer, alsVorsatz(ordner), std::move(wurzel)};
        return {.begonnen = true, .anzahl = wanderer.laufen()};
    } catch (std::bad_alloc const&) {
        if (auftrag.bilanz != nullptr)
            auftrag.bilanz->abbruch = keinSpeicher({});
        return {}; // Not even enough memory to begin.
    }
}

} // namespace quillmate::Ordner
