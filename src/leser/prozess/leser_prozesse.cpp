// Map of this file
//
//   lesen()    on the caller's thread: have a child born for the file (geboren), wait for its answer, kill it.
//   Waerter    the one thread that starts the template, ends it when it has been idle for too long, and waits for
//              the dead. Whoever needs a template orders it and waits.
//
// Each file has a pipe that is made here. Its writing end goes to the template together with the file, and so to the one
// child that is forked for them; nobody else can answer for the file, and its end is the child's end.
//
// All processes are children of this one, also those that the template forks. A child is at any time in exactly one
// place: on a caller's stack (working) or in `sterbende` (told to end, or killed, and not yet waited for). Process
// numbers stay ours until they are waited for, so a kill never hits a stranger.
#include "leser_prozesse.h"

#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "kindprozess.h"
#include "leser/protokoll/ende.h"
#include "leser/protokoll/nachricht.h"
#include "leser/protokoll/sanitizer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <exception>
#include <expected>
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
/// At the end of the program the killed are waited for that long, so that it ends within five seconds whatever hangs.
constexpr std::chrono::seconds abschiedsfrist{2};
constexpr std::chrono::milliseconds totenschau{10}; // How often the dying are looked after.
/// A process that closed its channel is about to be gone; this long its cause of death is waited for.
constexpr std::chrono::milliseconds fristUrsache{500};

constexpr std::chrono::milliseconds blickAbstand{100}; // How often a child's size is looked at.
constexpr std::chrono::seconds geburtsfrist{30};       // A fork takes a millisecond.

struct Vorlage {
    Kindprozess prozess;
    std::uint32_t nummer{0}; ///< Of the last order.
    Texterkennung::Sprachstand sprachstand{Texterkennung::Sprachstand::keine};
};

/// A child that reads a file for us.
struct Kind {
    pid_t pid{-1};
    Deskriptor pipe;
    std::uint32_t nummer{0};
};

enum class Ausgang {
    fertig,
    gestorben,
    unsinn,
    rechenfrist,
    wandfrist,
    zuGross,
    beendet, ///< beenden() was called, or nobody wants the answer any more.
};

struct Schranken {
    std::chrono::milliseconds wandfrist;
    std::chrono::milliseconds rechenfrist;
    std::size_t speicher{std::numeric_limits<std::size_t>::max()};
    Abbruchfrage const* abbrechen{nullptr};
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

/// 0, or errno.
int auftragSenden(int kanal, leser::protokoll::Auftrag const& auftrag, int datei, int pipe) {
    std::array const beide{datei, pipe};
    auto bytes = leser::protokoll::alsBytes(auftrag);
    iovec stueck{bytes.data(), bytes.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof beide)> beilage{};
    msghdr nachricht{};
    nachricht.msg_iov = &stueck;
    nachricht.msg_iovlen = 1;
    nachricht.msg_control = beilage.data();
    nachricht.msg_controllen = beilage.size();
    auto* const kopf = CMSG_FIRSTHDR(&nachricht);
    kopf->cmsg_level = SOL_SOCKET;
    kopf->cmsg_type = SCM_RIGHTS;
    kopf->cmsg_len = CMSG_LEN(sizeof beide);
    std::memcpy(CMSG_DATA(kopf), beide.data(), sizeof beide);
    // The channel is empty whenever this is sent, so sixteen bytes always fit.
    return ::sendmsg(kanal, &nachricht, MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size()) ? 0 : errno;
}

/// Whether an idle template is as it was left: it neither ended nor said anything.
bool still(int kanal) {
    pollfd lage{kanal, POLLIN, 0};
    return ::poll(&lage, 1, 0) == 0;
}

Texterkennung::Lesung stoerung(Texterkennung::Lesung::Art art) {
    return {.art = art};
}

Texterkennung::Lesung ohneLeser(std::string_view warum) {
    return {
        .art = Texterkennung::Lesung::Art::ohneLeser,
        .grund = fmt::format(
            "Belege können nicht gelesen werden: {}. Es wurde nichts gesendet, was nicht gelesen ist.",
            warum)};
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

    Texterkennung::Lesung lesen(int deskriptor, Texterkennung::Dateiart art, Abbruchfrage const& abbrechen);
    void beenden() noexcept;

    // On the caller's thread.
    std::expected<Kind, Texterkennung::Lesung> geboren(int deskriptor, Texterkennung::Dateiart art);
    std::expected<Kind, Texterkennung::Lesung> gebaeren(int deskriptor, Texterkennung::Dateiart art);
    std::optional<Texterkennung::Lesung> vorlageHolen();
    std::optional<Texterkennung::Lesung> vorlageStarten();
    void vorlageAufgeben();
    Texterkennung::Lesung antwortAbwarten(
        Kind& kind, int deskriptor, Texterkennung::Dateiart art, Abbruchfrage const& abbrechen);
    Texterkennung::Lesung beurteilt(Ausgang ausgang, std::optional<int> status, int deskriptor);
    std::optional<int> toeten(pid_t pid, Deskriptor kanal, bool erwartet);
    template<typename Nimm>
    Ausgang empfange(pid_t pid, int kanal, Schranken const& schranken, Nimm const& nimm) const;
    Texterkennung::Lesung startfehler(std::string_view satz, std::string const& grund);
    void riegelMelden(leser::protokoll::Riegel riegel);

    // On the thread of the keeper.
    void waerterarbeit();
    void starten(std::unique_lock<std::mutex>& schloss);
    void bestatten();

    struct Bestellung {
        bool erledigt{false};
        std::optional<Kindprozess> prozess;
        int fehler{0};
    };
    struct Sterbender {
        pid_t pid;
        Deskriptor kanal;
        Uhr::time_point spaetestens; ///< Then it is killed.
        bool getoetet{false};
    };

    Vorgaben const vorgaben;
    std::string const programm;
    Deskriptor programmdatei;            // O_PATH. Used by the keeper only.
    std::atomic<bool> neuOeffnen{false}; // It did not start; by now there may be one in its place that does.
    Deskriptor const endzeichen;         // Readable once beenden() was called.
    std::atomic<bool> beendet{false};
    std::once_flag riegelGemeldet;
    std::once_flag sprachstandGemeldet;
    std::once_flag unbrauchbarGemeldet;

    // Taken before `sperre`, and for as long as a template starts.
    std::mutex vorlagensperre;
    // Guarded by vorlagensperre.
    std::optional<Vorlage> vorlage;
    bool startfehlerGemeldet{false};
    std::optional<Texterkennung::Lesung>
        fehlstart; ///< What the last start came to, unless it was a template.
    Uhr::time_point fehlstartZeit{};

    std::mutex sperre;
    std::condition_variable fuerWaerter;
    std::condition_variable fuerBesteller;
    // Guarded by sperre.
    Bestellung* bestellung{nullptr};
    std::vector<Sterbender> sterbende;
    unsigned lesende{0};
    bool vorlageDa{false};
    Uhr::time_point ruhtSeit{};
    bool schluss{false};

    std::thread waerter;
};

// -------------------------------------------------------------------------------------------- the caller's side

/// Kills a process and leaves it to the keeper. `erwartet`: it is about to end by itself, and what of is wanted; the
/// status as waitpid() has it, nothing when it had not ended.
std::optional<int> LeserProzesse::Innen::toeten(pid_t pid, Deskriptor kanal, bool erwartet) {
    int status = 0;
    auto const ende = Uhr::now() + fristUrsache;
    while (erwartet && Uhr::now() < ende) {
        if (geendet(pid, status))
            return status;
        std::this_thread::sleep_for(std::chrono::milliseconds{1});
    }
    (void)::kill(pid, SIGKILL);
    std::scoped_lock const gesperrt{sperre};
    sterbende.push_back({pid, std::move(kanal), Uhr::now(), true});
    fuerWaerter.notify_all();
    return std::nullopt;
}

/// Reads from the channel until `nimm` has enough. `nimm(bytes)` returns how many more it wants, 0 for enough,
/// nothing for nonsense; it is called once without bytes.
template<typename Nimm>
Ausgang LeserProzesse::Innen::empfange(
    pid_t pid, int kanal, Schranken const& schranken, Nimm const& nimm) const {
    auto const wandEnde = Uhr::now() + schranken.wandfrist;
    auto const rechenEnde = rechenzeit(pid) + schranken.rechenfrist;
    bool const bewacht = schranken.speicher != std::numeric_limits<std::size_t>::max();
    std::array<std::uint8_t, 16'384> puffer; // NOLINT(*-member-init): filled by read().
    std::optional<std::size_t> noch = nimm(std::span<std::uint8_t const>{});
    while (noch && *noch > 0) {
        // One thread uses no more processor time than time passes, so it need not be looked at sooner.
        Uhr::duration const wandrest = wandEnde - Uhr::now();
        Uhr::duration rest = std::min<Uhr::duration>(wandrest, rechenEnde - rechenzeit(pid));
        if (rest <= Uhr::duration::zero())
            return wandrest <= Uhr::duration::zero() ? Ausgang::wandfrist : Ausgang::rechenfrist;
        if (bewacht)
            rest = std::min<Uhr::duration>(rest, blickAbstand);
        std::array<pollfd, 2> lage{{{kanal, POLLIN, 0}, {endzeichen.get(), POLLIN, 0}}};
        if (::poll(lage.data(), lage.size(), alsMillisekunden(rest)) < 0 && errno != EINTR)
            return Ausgang::gestorben;
        if (beendet || (schranken.abbrechen && *schranken.abbrechen && (*schranken.abbrechen)()))
            return Ausgang::beendet;
        if (bewacht && groesse(pid) > schranken.speicher)
            return Ausgang::zuGross;
        if (lage[0].revents == 0)
            continue;
        auto const n = ::read(kanal, puffer.data(), std::min(*noch, puffer.size()));
        if (n < 0 && (errno == EAGAIN || errno == EINTR))
            continue;
        if (n <= 0)
            return Ausgang::gestorben;
        noch = nimm(std::span<std::uint8_t const>{puffer.data(), static_cast<std::size_t>(n)});
    }
    return noch ? Ausgang::fertig : Ausgang::unsinn;
}

/// Nobody can read for now; said once in the log until a template starts again.
Texterkennung::Lesung LeserProzesse::Innen::startfehler(std::string_view satz, std::string const& grund) {
    if (!std::exchange(startfehlerGemeldet, true))
        quillmate::protokoll(fmt::format(
            "Texterkennung: der Leseprozess {} lässt sich nicht starten ({}); Dateien werden nicht gelesen",
            programm, grund));
    neuOeffnen = true;
    fehlstart = ohneLeser(satz);
    fehlstartZeit = Uhr::now();
    return *fehlstart;
}

void LeserProzesse::Innen::vorlageAufgeben() {
    if (vorlage)
        (void)toeten(vorlage->prozess.pid, std::move(vorlage->prozess.kanal), false);
    vorlage.reset();
}

/// Nothing when there is a template now. Called with vorlagensperre held.
std::optional<Texterkennung::Lesung> LeserProzesse::Innen::vorlageHolen() {
    if (vorlage && still(vorlage->prozess.kanal.get()))
        return std::nullopt;
    vorlageAufgeben(); // It died while it had nothing to do, and took no file with it.
    if (fehlstart && Uhr::now() - fehlstartZeit < vorgaben.startpause)
        return fehlstart;
    auto fehler = vorlageStarten();
    if (!fehler) {
        fehlstart.reset();
        startfehlerGemeldet = false;
    }
    return fehler;
}

std::optional<Texterkennung::Lesung> LeserProzesse::Innen::vorlageStarten() {
    Bestellung eigene;
    {
        std::unique_lock schloss{sperre};
        bestellung = &eigene;
        fuerWaerter.notify_all();
        fuerBesteller.wait(schloss, [&] { return eigene.erledigt; });
    }
    if (!eigene.prozess) {
        if (eigene.fehler == EAGAIN || eigene.fehler == ENOMEM || eigene.fehler == EMFILE ||
            eigene.fehler == ENFILE)
            return stoerung(Texterkennung::Lesung::Art::ohneMittel);
        return startfehler(
            "das Programm „quillmate-leser“ fehlt oder lässt sich nicht starten; bitte Quillmate neu "
            "installieren",
            std::strerror(eigene.fehler));
    }
    vorlage.emplace(Vorlage{.prozess = std::move(*eigene.prozess)});
    std::optional<leser::protokoll::Bereitschaft> bereitschaft;
    auto const ausgang = empfange(
        vorlage->prozess.pid, vorlage->prozess.kanal.get(),
        {.wandfrist = vorgaben.startfrist, .rechenfrist = vorgaben.startfrist},
        [&](std::span<std::uint8_t const> bytes) -> std::optional<std::size_t> {
            if (bytes.empty())
                return protokoll::kopfBytes;
            bereitschaft = leser::protokoll::bereitschaftAus(bytes);
            return bereitschaft ? std::optional<std::size_t>{0} : std::nullopt;
        });
    if (ausgang != Ausgang::fertig) {
        auto const status =
            toeten(vorlage->prozess.pid, std::move(vorlage->prozess.kanal), ausgang == Ausgang::gestorben);
        vorlage.reset();
        if (ausgang == Ausgang::beendet)
            return stoerung(Texterkennung::Lesung::Art::gestoppt);
        if (ausgang == Ausgang::unsinn)
            return startfehler(
                "das Programm „quillmate-leser“ gehört zu einer anderen Fassung; bitte Quillmate neu "
                "installieren",
                "er gehört zu einer anderen Fassung");
        if (ausgang != Ausgang::gestorben)
            return startfehler("das Programm „quillmate-leser“ wird nicht bereit", "er wird nicht bereit");
        if (status && WIFSIGNALED(*status) && WTERMSIG(*status) == SIGKILL)
            return stoerung(Texterkennung::Lesung::Art::gestoert);
        return startfehler(
            "das Programm „quillmate-leser“ endet sofort; bitte Quillmate neu installieren",
            status ? todesursache(*status) : "er hat sich abgemeldet");
    }
    if (!bereitschaft->riegel.seccomp && !protokoll::mitSanitizer) {
        vorlageAufgeben();
        return startfehler(
            "dieses System kann Leseprozesse nicht einschließen (Seccomp fehlt)",
            "Seccomp fehlt, und ohne Seccomp wird nichts Fremdes gelesen");
    }
    riegelMelden(bereitschaft->riegel);
    vorlage->sprachstand = bereitschaft->sprachstand;
    std::call_once(sprachstandGemeldet, [&] { Texterkennung::sprachstandMelden(bereitschaft->sprachstand); });
    if (bereitschaft->sprachstand == Texterkennung::Sprachstand::keine)
        std::call_once(unbrauchbarGemeldet, [] {}); // Said already.
    return std::nullopt;
}

void LeserProzesse::Innen::riegelMelden(leser::protokoll::Riegel riegel) {
    if (riegel.landlock || protokoll::mitSanitizer)
        return;
    std::call_once(riegelGemeldet, [] {
        quillmate::protokoll(
            "Texterkennung: dieses System kann die Leseprozesse nicht ganz einschließen (es fehlt: "
            "Landlock)");
    });
}

/// One attempt, with vorlagensperre held and a template there. The template is given up when it does not do as it should.
std::expected<Kind, Texterkennung::Lesung> LeserProzesse::Innen::gebaeren(
    int deskriptor, Texterkennung::Dateiart art) {
    std::array<int, 2> enden{};
    if (::pipe2(enden.data(), O_CLOEXEC) != 0)
        return std::unexpected(stoerung(Texterkennung::Lesung::Art::ohneMittel));
    Kind kind{.pipe = Deskriptor{enden[0]}, .nummer = ++vorlage->nummer};
    Deskriptor schreibend{enden[1]};
    (void)::fcntl(kind.pipe.get(), F_SETFL, O_NONBLOCK); // Of this end only.
    auto const kanal = vorlage->prozess.kanal.get();
    if (int const fehler = auftragSenden(kanal, {kind.nummer, art}, deskriptor, schreibend.get());
        fehler != 0) {
        vorlageAufgeben();
        return std::unexpected(stoerung(
            fehler == EPIPE || fehler == ECONNRESET ? Texterkennung::Lesung::Art::gestoert
                                                    : Texterkennung::Lesung::Art::ohneMittel));
    }
    schreibend = Deskriptor{}; // From here on the pipe ends with the child.
    std::optional<leser::protokoll::Geburt> geburt;
    auto const ausgang = empfange(
        vorlage->prozess.pid, kanal, {.wandfrist = geburtsfrist, .rechenfrist = geburtsfrist},
        [&](std::span<std::uint8_t const> bytes) -> std::optional<std::size_t> {
            if (bytes.empty())
                return protokoll::kopfBytes;
            geburt = leser::protokoll::geburtAus(bytes);
            return geburt && geburt->nummer == kind.nummer ? std::optional<std::size_t>{0} : std::nullopt;
        });
    if (ausgang != Ausgang::fertig || (geburt->pid != 0 && !istKind(geburt->pid))) {
        vorlageAufgeben();
        return std::unexpected(stoerung(
            ausgang == Ausgang::beendet ? Texterkennung::Lesung::Art::gestoppt
                                        : Texterkennung::Lesung::Art::gestoert));
    }
    if (geburt->pid == 0)
        return std::unexpected(stoerung(Texterkennung::Lesung::Art::ohneMittel));
    kind.pid = geburt->pid;
    return kind;
}

std::expected<Kind, Texterkennung::Lesung> LeserProzesse::Innen::geboren(
    int deskriptor, Texterkennung::Dateiart art) {
    // A template may be killed like any other process; another one takes the order.
    constexpr int versuche = 3;
    auto ergebnis = std::expected<Kind, Texterkennung::Lesung>{
        std::unexpect, stoerung(Texterkennung::Lesung::Art::gestoppt)};
    std::scoped_lock const gesperrt{vorlagensperre};
    for (int versuch = 0; versuch < versuche && !beendet; ++versuch) {
        if (auto fehler = vorlageHolen())
            ergebnis = std::unexpected(*std::move(fehler));
        else
            ergebnis = gebaeren(deskriptor, art);
        if (ergebnis || ergebnis.error().art != Texterkennung::Lesung::Art::gestoert)
            break;
    }
    {
        std::scoped_lock const auch{sperre};
        vorlageDa = vorlage.has_value();
    }
    return ergebnis;
}

Texterkennung::Lesung LeserProzesse::Innen::antwortAbwarten(
    Kind& kind, int deskriptor, Texterkennung::Dateiart art, Abbruchfrage const& abbrechen) {
    rangGeben(kind.pid, Rang::desFadens());
    leser::protokoll::AntwortEingang eingang{kind.nummer};
    auto ausgang = Ausgang::gestorben;
    try {
        ausgang = empfange(
            kind.pid, kind.pipe.get(),
            {.wandfrist = vorgaben.wandfrist,
             .rechenfrist = vorgaben.rechenfrist,
             .speicher = art == Texterkennung::Dateiart::pdf ? vorgaben.speicherPdf : vorgaben.speicherBild,
             .abbrechen = &abbrechen},
            [&](std::span<std::uint8_t const> stueck) -> std::optional<std::size_t> {
                if (eingang.nimm(stueck) == leser::protokoll::AntwortEingang::Stand::falsch)
                    return std::nullopt;
                return eingang.noch();
            });
    } catch (...) {
        (void)toeten(kind.pid, std::move(kind.pipe), false);
        throw;
    }
    // Whatever else it has in mind: one answer is all that it may give, and then it ends.
    auto const status = toeten(kind.pid, std::move(kind.pipe), ausgang == Ausgang::gestorben);
    if (ausgang != Ausgang::fertig)
        return beurteilt(ausgang, status, deskriptor);
    auto lesung = eingang.lesung();
    if (lesung.art == Texterkennung::Lesung::Art::ohneMotor) {
        std::call_once(unbrauchbarGemeldet, [] {
            Texterkennung::sprachstandMelden(Texterkennung::Sprachstand::unbrauchbar);
        });
        lesung.grund =
            "Die Sprachdaten der Texterkennung fehlen oder sind unbrauchbar; Bilder und Scans werden nicht "
            "gelesen. Bitte die Pakete tesseract-ocr-deu und tesseract-ocr-eng installieren.";
    }
    return lesung;
}

/// What the end of a child without an answer says about its file.
Texterkennung::Lesung LeserProzesse::Innen::beurteilt(
    Ausgang ausgang, std::optional<int> status, int deskriptor) {
    auto const melden = [&](std::string_view was, std::string_view folge) {
        quillmate::protokoll(
            fmt::format("Texterkennung: {}: der Leseprozess {}; {}", dateiname(deskriptor), was, folge));
    };
    constexpr std::string_view ohneText = "die Datei gilt als Datei ohne Text";
    constexpr std::string_view spaeter = "die Datei ist jetzt nicht lesbar";
    switch (ausgang) {
    case Ausgang::beendet:
        return stoerung(Texterkennung::Lesung::Art::gestoppt);
    case Ausgang::wandfrist: // It slept, or its file system hangs; the bytes would not have kept it.
        melden("ist in der Zeit nicht fertig geworden, ohne zu rechnen", spaeter);
        return {.art = Texterkennung::Lesung::Art::gestoert, .leserGestorben = true};
    case Ausgang::gestorben: {
        bool const signal = status && WIFSIGNALED(*status);
        int const nummer = !status ? 0 : signal ? WTERMSIG(*status) : WEXITSTATUS(*status);
        if (status && !signal && nummer == protokoll::endeOhneRiegel)
            return ohneLeser("dieses System kann Leseprozesse nicht einschließen (Seccomp fehlt)");
        // Nothing in a child sends itself this one, and we had not yet: the kernel, short of memory, or somebody else.
        if ((signal && nummer == SIGKILL) || (status && !signal && nummer == protokoll::endeVonAussen)) {
            melden(signal ? "wurde von außen getötet" : "wurde von außen beendet", spaeter);
            return {.art = Texterkennung::Lesung::Art::gestoert, .leserGestorben = true};
        }
        melden(
            status ? fmt::format("ist daran gestorben ({})", todesursache(*status)) : "hat sich abgemeldet",
            ohneText);
        return {};
    }
    case Ausgang::unsinn:
        melden("hat Unsinn geantwortet", ohneText);
        return {};
    case Ausgang::zuGross:
        melden("ist zu groß geworden", ohneText);
        return {};
    case Ausgang::rechenfrist:
    case Ausgang::fertig:
        melden("hat zu lange gebraucht", ohneText);
        return {};
    }
    return {};
}

Texterkennung::Lesung LeserProzesse::Innen::lesen(
    int deskriptor, Texterkennung::Dateiart art, Abbruchfrage const& abbrechen) {
    struct Anwesenheit { // As long as somebody reads, the template does not rest.
        Innen& innen;
        explicit Anwesenheit(Innen& i)
            : innen(i) {
            std::scoped_lock const gesperrt{innen.sperre};
            ++innen.lesende;
        }
        Anwesenheit(Anwesenheit const&) = delete;
        Anwesenheit& operator=(Anwesenheit const&) = delete;
        ~Anwesenheit() {
            std::scoped_lock const gesperrt{innen.sperre};
            --innen.lesende;
            innen.ruhtSeit = Uhr::now();
            innen.fuerWaerter.notify_all();
        }
    } const anwesenheit{*this};
    auto kind = geboren(deskriptor, art);
    return kind ? antwortAbwarten(*kind, deskriptor, art, abbrechen) : std::move(kind).error();
}

void LeserProzesse::Innen::beenden() noexcept {
    beendet = true;
    std::uint64_t const eins = 1;
    (void)!::write(endzeichen.get(), &eins, sizeof eins);
}

// -------------------------------------------------------------------------------------------- the keeper's side

/// Starts what was ordered. Starting takes some milliseconds, during which the lock is open.
void LeserProzesse::Innen::starten(std::unique_lock<std::mutex>& schloss) {
    auto* const auftrag = std::exchange(bestellung, nullptr);
    if (auftrag == nullptr)
        return;
    schloss.unlock();
    std::optional<Kindprozess> prozess;
    int fehler = 0;
    try {
        if (neuOeffnen.exchange(false) || !programmdatei)
            programmdatei = oeffnen(programm, O_PATH);
        if (!programmdatei || !(prozess = kindStarten(programmdatei.get())))
            fehler = errno;
    } catch (std::exception const&) {
        fehler = ENOMEM;
    }
    schloss.lock();
    auftrag->prozess = std::move(prozess);
    auftrag->fehler = fehler;
    auftrag->erledigt = true;
    fuerBesteller.notify_all();
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
        if (vorlageDa && lesende == 0) {
            naechstes = ruhtSeit + vorgaben.leerlauf;
            // Nobody reads, so nobody holds its lock for longer than a moment, nor waits for ours with it.
            if (naechstes <= jetzt && vorlagensperre.try_lock()) {
                if (vorlage)
                    sterbende.push_back({vorlage->prozess.pid, {}, jetzt + gnadenfrist});
                vorlage.reset(); // Closes its channel.
                vorlageDa = false;
                naechstes = Uhr::time_point::max();
                vorlagensperre.unlock();
            } else {
                naechstes = std::max(naechstes, jetzt + totenschau);
            }
        }
        bestatten();
        if (!sterbende.empty())
            naechstes = std::min(naechstes, jetzt + totenschau);
        if (bestellung != nullptr || schluss)
            continue;
        if (naechstes == Uhr::time_point::max())
            fuerWaerter.wait(schloss);
        else
            fuerWaerter.wait_until(schloss, naechstes);
    }
    // The end of the program: nobody has anything to lose any more, and nobody is in lesen().
    if (vorlage)
        sterbende.push_back({vorlage->prozess.pid, std::move(vorlage->prozess.kanal), Uhr::now(), true});
    vorlage.reset();
    for (auto& s : sterbende) {
        (void)::kill(s.pid, SIGKILL);
        s.getoetet = true;
    }
    // A process inside a file system that hangs cannot be waited for; it ends when it comes out.
    auto const spaetestens = Uhr::now() + abschiedsfrist;
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
    return lesenAbbrechbar(deskriptor, art, {});
}

Texterkennung::Lesung LeserProzesse::lesenAbbrechbar(
    int deskriptor, Texterkennung::Dateiart art, Abbruchfrage const& abbrechen) {
    try {
        return innen_->lesen(deskriptor, art, abbrechen);
    } catch (std::exception const&) {
        return {.art = Texterkennung::Lesung::Art::ohneMittel}; // Memory ran out in this process.
    }
}

void LeserProzesse::beenden() noexcept {
    innen_->beenden();
}

} // namespace quillmate::leser::prozess
