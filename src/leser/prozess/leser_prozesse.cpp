// Map of this file
//
//   lesen()    on the caller's thread: take a reader (hole), give it the file, wait for its answer, put it back.
//   Waerter    the one thread that starts readers, ends those that have been idle for too long, and waits for
//              the dead. Callers order a start and wait for it.
//
// A reader is at any time in exactly one place: `frei` (idle), on a caller's stack (working), or `sterbende`
// (told to end, or killed, and not yet waited for). Process numbers stay ours until they are waited for, so a
// kill never hits a stranger.
#include "leser_prozesse.h"

#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "kindprozess.h"
#include "leser/protokoll/nachricht.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <deque>
#include <exception>
#include <filesystem>
#include <limits>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <utility>
#include <vector>

namespace quillmate::leser::prozess {

namespace {

using Uhr = std::chrono::steady_clock;

/// A reader that was told to end and has nothing to do ends within milliseconds.
constexpr std::chrono::seconds gnadenfrist{5};
constexpr std::chrono::milliseconds totenschau{10}; // How often the dying are looked after.
/// A process that closed its channel is about to be gone; this long its cause of death is waited for.
constexpr std::chrono::milliseconds fristUrsache{500};

struct Prozess {
    Kindprozess kind;
    Rang rang;
    bool bereit{false};
    unsigned dateien{0};
    std::uint32_t nummer{0};
};

Prozess entnommen(std::optional<Prozess>& prozess) {
    auto besitz = std::move(*prozess);
    prozess.reset();
    return besitz;
}

enum class Ausgang {
    fertig,
    gestorben,
    unsinn,
    frist,
    beendet, ///< beenden() was called.
};

/// The path for the log, as the kernel knows it, fit for one line.
std::string dateiname(int deskriptor) {
    std::error_code fehler;
    auto name = std::filesystem::read_symlink(fmt::format("/proc/self/fd/{}", deskriptor), fehler).string();
    for (auto& byte : name)
        if (static_cast<unsigned char>(byte) < 0x20U || byte == 0x7F)
            byte = '?';
    return fehler ? "unbekannte Datei" : name;
}

int alsMillisekunden(Uhr::duration dauer) {
    auto const ms = std::chrono::ceil<std::chrono::milliseconds>(dauer).count();
    return static_cast<int>(std::clamp<std::int64_t>(ms, 0, std::numeric_limits<int>::max()));
}

bool auftragSenden(int kanal, leser::protokoll::Auftrag const& auftrag, int deskriptor) {
    auto bytes = leser::protokoll::alsBytes(auftrag);
    iovec stueck{bytes.data(), bytes.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> beilage{};
    msghdr nachricht{};
    nachricht.msg_iov = &stueck;
    nachricht.msg_iovlen = 1;
    nachricht.msg_control = beilage.data();
    nachricht.msg_controllen = beilage.size();
    auto* const kopf = CMSG_FIRSTHDR(&nachricht);
    kopf->cmsg_level = SOL_SOCKET;
    kopf->cmsg_type = SCM_RIGHTS;
    kopf->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(kopf), &deskriptor, sizeof deskriptor);
    // The channel is empty whenever this is sent, so sixteen bytes always fit.
    return ::sendmsg(kanal, &nachricht, MSG_NOSIGNAL | MSG_DONTWAIT) == static_cast<ssize_t>(bytes.size());
}

/// Whether an idle reader is as it was left: it neither ended nor said anything.
bool still(int kanal) {
    pollfd lage{kanal, POLLIN, 0};
    return ::poll(&lage, 1, 0) == 0;
}

} // namespace

std::string leserprogramm() {
    std::error_code fehler;
    auto const eigenes = std::filesystem::read_symlink("/proc/self/exe", fehler);
    return (eigenes.parent_path() / "quillmate-leser").string();
}

struct LeserProzesse::Innen {
    explicit Innen(Vorgaben v)
        : vorgaben(std::move(v))
        , programm(vorgaben.programm.empty() ? leserprogramm() : vorgaben.programm)
        , programmdatei(oeffnen(programm, O_PATH))
        , endzeichen(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        // No signal of the program is for this thread.
        sigset_t alle{};
        sigset_t vorher{};
        ::sigfillset(&alle);
        ::pthread_sigmask(SIG_SETMASK, &alle, &vorher);
        waerter = std::thread{[this] {
            waerterarbeit();
        }};
        ::pthread_sigmask(SIG_SETMASK, &vorher, nullptr);
    }
    Innen(Innen const&) = delete;
    Innen& operator=(Innen const&) = delete;
    ~Innen() {
        beenden();
        {
            std::scoped_lock const gesperrt{sperre};
            schluss = true;
        }
        fuerWaerter.notify_all();
        waerter.join();
    }

    Texterkennung::Lesung lesen(int deskriptor, Texterkennung::Dateiart art);
    void beenden() noexcept;

    // On the caller's thread.
    std::optional<Prozess> hole();
    void zurueck(Prozess prozess);
    void verabschieden(Prozess prozess);
    std::string toeten(Prozess prozess);
    bool bereitAbwarten(std::optional<Prozess>& prozess);
    std::optional<Texterkennung::Lesung> lesenMit(
        std::optional<Prozess>& prozess, int deskriptor, Texterkennung::Dateiart art);
    template<typename Nimm>
    Ausgang empfange(
        Prozess const& prozess, std::chrono::milliseconds wandfrist, std::chrono::milliseconds rechenfrist,
        Nimm const& nimm) const;
    void startfehlerMelden(std::string const& grund);
    void riegelMelden(leser::protokoll::Riegel riegel);

    // On the thread of the keeper.
    void waerterarbeit();
    void starten(std::unique_lock<std::mutex>& schloss);
    void bestatten();

    struct Bestellung {
        Rang rang;
        bool erledigt{false};
        std::optional<Prozess> prozess;
        int fehler{0};
    };
    struct Ruhender {
        Prozess prozess;
        Uhr::time_point seit;
    };
    struct Sterbender {
        pid_t pid;
        Deskriptor kanal;
        Uhr::time_point spaetestens; ///< Then it is killed.
        bool getoetet{false};
    };

    Vorgaben const vorgaben;
    std::string const programm;
    Deskriptor const programmdatei; // O_PATH
    Deskriptor const endzeichen;    // Readable once beenden() was called.
    std::atomic<bool> beendet{false};
    std::atomic<bool> startfehlerGemeldet{false};
    std::once_flag riegelGemeldet;
    std::once_flag sprachstandGemeldet;
    std::once_flag unbrauchbarGemeldet;

    std::mutex sperre;
    std::condition_variable fuerWaerter;
    std::condition_variable fuerBesteller;
    // Guarded by sperre.
    std::vector<Ruhender> frei;
    std::deque<Bestellung*> bestellungen;
    std::vector<Sterbender> sterbende;
    bool schluss{false};

    std::thread waerter;
};

// -------------------------------------------------------------------------------------------- the caller's side

std::optional<Prozess> LeserProzesse::Innen::hole() {
    Bestellung bestellung{.rang = Rang::desFadens()};
    std::unique_lock schloss{sperre};
    while (true) {
        auto const stelle =
            std::ranges::find_if(frei, [&](Ruhender const& r) { return r.prozess.rang == bestellung.rang; });
        if (stelle == frei.end())
            break;
        auto prozess = std::move(stelle->prozess);
        frei.erase(stelle);
        if (still(prozess.kind.kanal.get()))
            return prozess;
        schloss.unlock();
        (void)toeten(std::move(prozess)); // Died in its sleep, and took no file with it.
        schloss.lock();
    }
    bestellungen.push_back(&bestellung);
    fuerWaerter.notify_all();
    fuerBesteller.wait(schloss, [&] { return bestellung.erledigt; });
    if (!bestellung.prozess)
        startfehlerMelden(std::strerror(bestellung.fehler));
    return std::move(bestellung.prozess);
}

void LeserProzesse::Innen::zurueck(Prozess prozess) {
    if (prozess.dateien >= vorgaben.dateienJeLeser || beendet) {
        verabschieden(std::move(prozess));
        return;
    }
    std::scoped_lock const gesperrt{sperre};
    frei.push_back({std::move(prozess), Uhr::now()});
    fuerWaerter.notify_all();
}

/// Lets a reader without work end by itself.
void LeserProzesse::Innen::verabschieden(Prozess prozess) {
    prozess.kind.kanal = Deskriptor{};
    std::scoped_lock const gesperrt{sperre};
    sterbende.push_back({prozess.kind.pid, {}, Uhr::now() + gnadenfrist});
    fuerWaerter.notify_all();
}

/// Kills a reader; returns what it had died of already, nothing when it had not.
std::string LeserProzesse::Innen::toeten(Prozess prozess) {
    int status = 0;
    auto const ende = Uhr::now() + fristUrsache;
    pollfd lage{prozess.kind.kanal.get(), 0, 0};
    if (::poll(&lage, 1, 0) > 0) // Hung up: it is about to be gone.
        while (Uhr::now() < ende) {
            if (geendet(prozess.kind.pid, status))
                return todesursache(status);
            std::this_thread::sleep_for(std::chrono::milliseconds{1});
        }
    (void)::kill(prozess.kind.pid, SIGKILL);
    std::scoped_lock const gesperrt{sperre};
    sterbende.push_back({prozess.kind.pid, std::move(prozess.kind.kanal), Uhr::now(), true});
    fuerWaerter.notify_all();
    return {};
}

/// Reads from the channel until `nimm` has enough. `nimm(bytes)` returns how many more it wants, 0 for enough,
/// nothing for nonsense; it is called once without bytes.
template<typename Nimm>
Ausgang LeserProzesse::Innen::empfange(
    Prozess const& prozess, std::chrono::milliseconds wandfrist, std::chrono::milliseconds rechenfrist,
    Nimm const& nimm) const {
    auto const wandEnde = Uhr::now() + wandfrist;
    auto const rechenEnde = rechenzeit(prozess.kind.pid) + rechenfrist;
    std::array<std::uint8_t, 16'384> puffer; // NOLINT(*-member-init): filled by recv().
    std::optional<std::size_t> noch = nimm(std::span<std::uint8_t const>{});
    while (noch && *noch > 0) {
        // One thread uses no more processor time than time passes, so it need not be looked at sooner.
        auto const rest =
            std::min<Uhr::duration>(wandEnde - Uhr::now(), rechenEnde - rechenzeit(prozess.kind.pid));
        if (rest <= Uhr::duration::zero())
            return Ausgang::frist;
        std::array<pollfd, 2> lage{{{prozess.kind.kanal.get(), POLLIN, 0}, {endzeichen.get(), POLLIN, 0}}};
        if (::poll(lage.data(), lage.size(), alsMillisekunden(rest)) < 0 && errno != EINTR)
            return Ausgang::gestorben;
        if (beendet)
            return Ausgang::beendet;
        if (lage[0].revents == 0)
            continue;
        auto const n =
            ::recv(prozess.kind.kanal.get(), puffer.data(), std::min(*noch, puffer.size()), MSG_DONTWAIT);
        if (n < 0 && (errno == EAGAIN || errno == EINTR))
            continue;
        if (n <= 0)
            return Ausgang::gestorben;
        noch = nimm(std::span<std::uint8_t const>{puffer.data(), static_cast<std::size_t>(n)});
    }
    return noch ? Ausgang::fertig : Ausgang::unsinn;
}

/// Takes `prozess` away when it does not become ready.
bool LeserProzesse::Innen::bereitAbwarten(std::optional<Prozess>& prozess) {
    std::vector<std::uint8_t> bytes;
    std::optional<leser::protokoll::Bereitschaft> bereitschaft;
    auto const ausgang = empfange(
        *prozess, vorgaben.startfrist, vorgaben.startfrist,
        [&](std::span<std::uint8_t const> stueck) -> std::optional<std::size_t> {
            bytes.insert(bytes.end(), stueck.begin(), stueck.end());
            if (bytes.size() < leser::protokoll::kopfBytes)
                return protokoll::kopfBytes - bytes.size();
            bereitschaft = leser::protokoll::bereitschaftAus(bytes);
            return bereitschaft ? std::optional<std::size_t>{0} : std::nullopt;
        });
    if (ausgang != Ausgang::fertig) {
        auto const ursache = toeten(entnommen(prozess));
        if (ausgang == Ausgang::frist)
            startfehlerMelden("er wird nicht bereit");
        else if (ausgang == Ausgang::unsinn)
            startfehlerMelden("er gehört zu einer anderen Fassung");
        else if (ausgang == Ausgang::gestorben)
            startfehlerMelden(ursache.empty() ? "er hat sich abgemeldet" : ursache);
        return false;
    }
    prozess->bereit = true;
    startfehlerGemeldet = false;
    riegelMelden(bereitschaft->riegel);
    std::call_once(sprachstandGemeldet, [&] { Texterkennung::sprachstandMelden(bereitschaft->sprachstand); });
    if (bereitschaft->sprachstand == Texterkennung::Sprachstand::keine)
        std::call_once(unbrauchbarGemeldet, [] {}); // Said already.
    return true;
}

void LeserProzesse::Innen::startfehlerMelden(std::string const& grund) {
    if (!startfehlerGemeldet.exchange(true))
        quillmate::protokoll(fmt::format(
            "Texterkennung: der Leseprozess {} lässt sich nicht starten ({}); Dateien werden nicht gelesen",
            programm, grund));
}

void LeserProzesse::Innen::riegelMelden(leser::protokoll::Riegel riegel) {
    if (riegel == leser::protokoll::Riegel{true, true, true})
        return;
    std::call_once(riegelGemeldet, [&] {
        std::string fehlend;
        for (auto const& [da, name] :
             {std::pair{riegel.landlock, "Landlock"}, std::pair{riegel.seccomp, "Seccomp"},
              std::pair{riegel.speichergrenze, "Speichergrenze"}})
            if (!da)
                fehlend.append(fehlend.empty() ? "" : ", ").append(name);
        quillmate::protokoll(fmt::format(
            "Texterkennung: dieses System kann die Leseprozesse nicht ganz einschließen (es fehlt: {})",
            fehlend));
    });
}

Texterkennung::Lesung LeserProzesse::Innen::lesen(int deskriptor, Texterkennung::Dateiart art) {
    std::optional<Prozess> prozess;
    try {
        while (!beendet) {
            prozess = hole();
            if (!prozess || (!prozess->bereit && !bereitAbwarten(prozess)))
                break;
            if (auto lesung = lesenMit(prozess, deskriptor, art))
                return *std::move(lesung);
        }
    } catch (...) {
        if (prozess)
            (void)toeten(entnommen(prozess));
        throw;
    }
    return {Texterkennung::Lesung::Art::ohneLeser, std::nullopt};
}

/// Nothing when the reader had ended before it saw the file.
std::optional<Texterkennung::Lesung> LeserProzesse::Innen::lesenMit(
    std::optional<Prozess>& prozess, int deskriptor, Texterkennung::Dateiart art) {
    auto const nummer = ++prozess->nummer;
    if (!auftragSenden(prozess->kind.kanal.get(), {nummer, art}, deskriptor)) {
        auto const fehler = errno;
        (void)toeten(entnommen(prozess));
        if (fehler == EPIPE || fehler == ECONNRESET)
            return std::nullopt;
        return Texterkennung::Lesung{Texterkennung::Lesung::Art::ohneMittel, std::nullopt};
    }
    ++prozess->dateien;
    leser::protokoll::AntwortEingang eingang{nummer};
    auto const ausgang = empfange(
        *prozess, vorgaben.wandfrist, vorgaben.rechenfrist,
        [&](std::span<std::uint8_t const> stueck) -> std::optional<std::size_t> {
            if (eingang.nimm(stueck) == leser::protokoll::AntwortEingang::Stand::falsch)
                return std::nullopt;
            return eingang.noch();
        });
    if (ausgang == Ausgang::fertig) {
        if (eingang.lesung().art == Texterkennung::Lesung::Art::ohneMotor)
            std::call_once(unbrauchbarGemeldet, [] {
                Texterkennung::sprachstandMelden(Texterkennung::Sprachstand::unbrauchbar);
            });
        // One that ran out of memory may be full of something.
        if (eingang.lesung().art == Texterkennung::Lesung::Art::ohneMittel)
            verabschieden(entnommen(prozess));
        else
            zurueck(entnommen(prozess));
        return eingang.lesung();
    }
    auto const ursache = toeten(entnommen(prozess));
    if (ausgang == Ausgang::beendet)
        return Texterkennung::Lesung{Texterkennung::Lesung::Art::ohneLeser, std::nullopt};
    std::string was = "hat zu lange gebraucht";
    if (ausgang == Ausgang::unsinn)
        was = "hat Unsinn geantwortet";
    else if (ausgang == Ausgang::gestorben)
        was = "ist daran gestorben" + (ursache.empty() ? "" : " (" + ursache + ")");
    quillmate::protokoll(fmt::format(
        "Texterkennung: {}: der Leseprozess {}; die Datei gilt als Datei ohne Text", dateiname(deskriptor),
        was));
    return Texterkennung::Lesung{};
}

void LeserProzesse::Innen::beenden() noexcept {
    beendet = true;
    std::uint64_t const eins = 1;
    (void)!::write(endzeichen.get(), &eins, sizeof eins);
}

// -------------------------------------------------------------------------------------------- the keeper's side

/// Starts what was ordered. Starting takes some milliseconds, during which the lock is open.
void LeserProzesse::Innen::starten(std::unique_lock<std::mutex>& schloss) {
    while (!bestellungen.empty()) {
        auto* const bestellung = bestellungen.front();
        bestellungen.pop_front();
        schloss.unlock();
        std::optional<Prozess> prozess;
        int fehler = ENOENT;
        try {
            if (auto kind = programmdatei ? kindStarten(programmdatei.get()) : std::nullopt) {
                rangGeben(kind->pid, bestellung->rang);
                prozess.emplace();
                prozess->kind = std::move(*kind);
                prozess->rang = bestellung->rang;
            } else if (programmdatei) {
                fehler = errno;
            }
        } catch (std::exception const&) {
            fehler = ENOMEM;
        }
        schloss.lock();
        bestellung->prozess = std::move(prozess);
        bestellung->fehler = fehler;
        bestellung->erledigt = true;
        fuerBesteller.notify_all();
    }
}

/// Waits for those that have ended and kills those that do not end.
void LeserProzesse::Innen::bestatten() {
    std::erase_if(sterbende, [](Sterbender& s) {
        int status = 0;
        if (geendet(s.pid, status))
            return true;
        if (!s.getoetet && Uhr::now() >= s.spaetestens) {
            (void)::kill(s.pid, SIGKILL);
            s.getoetet = true;
        }
        return false;
    });
}

void LeserProzesse::Innen::waerterarbeit() {
    std::unique_lock schloss{sperre};
    while (!schluss) {
        starten(schloss);
        auto const jetzt = Uhr::now();
        auto naechstes = Uhr::time_point::max();
        std::erase_if(frei, [&](Ruhender& r) {
            auto const ende = r.seit + vorgaben.leerlauf;
            if (ende > jetzt) {
                naechstes = std::min(naechstes, ende);
                return false;
            }
            r.prozess.kind.kanal = Deskriptor{};
            sterbende.push_back({r.prozess.kind.pid, {}, jetzt + gnadenfrist});
            return true;
        });
        bestatten();
        if (!sterbende.empty())
            naechstes = std::min(naechstes, jetzt + totenschau);
        if (!bestellungen.empty() || schluss)
            continue;
        if (naechstes == Uhr::time_point::max())
            fuerWaerter.wait(schloss);
        else
            fuerWaerter.wait_until(schloss, naechstes);
    }
    // The end of the program: nobody has anything to lose any more.
    for (auto& r : frei)
        sterbende.push_back({r.prozess.kind.pid, std::move(r.prozess.kind.kanal), Uhr::now(), true});
    frei.clear();
    for (auto& s : sterbende) {
        (void)::kill(s.pid, SIGKILL);
        s.getoetet = true;
    }
    // A process inside a file system that hangs cannot be waited for; it ends when it comes out.
    auto const spaetestens = Uhr::now() + gnadenfrist;
    for (bestatten(); !sterbende.empty() && Uhr::now() < spaetestens; bestatten())
        std::this_thread::sleep_for(std::chrono::milliseconds{1});
}

// ------------------------------------------------------------------------------------------------------- outside

LeserProzesse::LeserProzesse()
    : LeserProzesse(Vorgaben{}) {}

LeserProzesse::LeserProzesse(Vorgaben vorgaben)
    : innen_(std::make_unique<Innen>(std::move(vorgaben))) {}

LeserProzesse::~LeserProzesse() = default;

Texterkennung::Lesung LeserProzesse::lesen(int deskriptor, Texterkennung::Dateiart art) {
    try {
        return innen_->lesen(deskriptor, art);
    } catch (std::exception const&) {
        return {Texterkennung::Lesung::Art::ohneMittel, std::nullopt}; // Memory ran out in this process.
    }
}

void LeserProzesse::beenden() noexcept {
    innen_->beenden();
}

} // namespace quillmate::leser::prozess
