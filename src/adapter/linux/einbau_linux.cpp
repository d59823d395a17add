// Timeline of an update, old program on the left, helper in the middle, new program on the right:
//
//   baustelle, bereiten            unpacked beside the bundle, on the disk
//   einbauenNachEnde ──starts──►   waits
//   ends                           sees the end
//                                  locks the probe file, writes the new build number into it
//                                  exchanges bundle and .neu in one step
//                                  starts the bundle ─────────────────►  shows its window
//                                                                        bestaetigen: removes the probe file
//                                  sees it gone, removes .neu
//   or: the new program ends with a failure, or says nothing in time
//                                  exchanges again, starts the old one
//
// A helper killed at any point leaves a whole bundle in its place; the next start removes what lies beside it. If what
// was put in last does not come up by then, nobody is there to take it back but itself (selbstprobe()): its first start
// leaves a mark in the probe file, its second one exchanges.
#include "einbau_linux.h"

#include "baum.h"
#include "buendel.h"
#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "prozessstart.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <thread>
#include <utility>

namespace quillmate::adapter::linux {

namespace {

using Zeit = std::chrono::steady_clock;

std::string ordnerVon(std::string const& buendel) {
    return std::filesystem::path{buendel}.parent_path().string();
}
std::string daneben(std::string const& buendel, std::string_view endung) {
    return ordnerVon(buendel) + "/." + std::string{letzteKomponente(buendel)} + std::string{endung};
}
std::string neuesVon(std::string const& buendel) {
    return daneben(buendel, ".neu");
}
std::string probeVon(std::string const& buendel) {
    return daneben(buendel, ".probe");
}

bool tausche(std::string const& einer, std::string const& anderer) {
    return ::renameat2(AT_FDCWD, einer.c_str(), AT_FDCWD, anderer.c_str(), RENAME_EXCHANGE) == 0;
}

bool gibtEs(std::string const& pfad) {
    struct stat lage {};
    return ::lstat(pfad.c_str(), &lage) == 0;
}

/// The process's environment is the user's own: whoever starts a helper sees to that.
std::optional<pid_t> starteBuendel(std::string const& buendel) {
    auto const gelesen = buendelAn(buendel);
    if (!gelesen || !gelesen->programm)
        return std::nullopt;
    return prozessStarten({*gelesen->programm});
}

/// False when the parent still lives after `frist`.
bool endeAbgewartet(pid_t elternteil, std::chrono::milliseconds frist) {
    // Asked as our parent: the number could by now be another process's.
    Deskriptor const griff{static_cast<int>(::syscall(SYS_pidfd_open, elternteil, 0U))};
    if (::getppid() != elternteil)
        return true;
    auto const bis = Zeit::now() + frist;
    while (::getppid() == elternteil) {
        auto const rest = std::chrono::duration_cast<std::chrono::milliseconds>(bis - Zeit::now()).count();
        if (rest <= 0)
            return false;
        pollfd wartet{.fd = griff.get(), .events = POLLIN, .revents = 0};
        // Without such a descriptor (an old kernel) the poll is only a pause.
        (void)::poll(&wartet, griff ? 1 : 0, static_cast<int>(griff ? rest : std::min<long long>(rest, 50)));
    }
    return true;
}

std::string buildnummerVon(std::string const& buendel) {
    auto const gelesen = buendelAn(buendel);
    return gelesen && gelesen->buildnummer ? *gelesen->buildnummer : std::string{};
}

/// The probe file, locked; empty when there is none, somebody else watches, or something else is in its place.
Deskriptor gesperrteProbe(std::string const& buendel, int flaggen = 0) {
    auto probe = oeffnen(probeVon(buendel), O_RDWR | O_NOFOLLOW | O_NONBLOCK | flaggen);
    struct stat lage {};
    if (!probe || ::flock(probe.get(), LOCK_EX | LOCK_NB) != 0)
        return {};
    // Whoever had it locked before may have removed it.
    if (::fstat(probe.get(), &lage) != 0 || !S_ISREG(lage.st_mode) || lage.st_nlink == 0)
        return {};
    return probe;
}

/// Replaces what is in the probe file. True when it is on the disk.
bool beschrifte(Deskriptor const& probe, std::string const& text) {
    return ::ftruncate(probe.get(), 0) == 0 &&
           ::pwrite(probe.get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()) &&
           ::fsync(probe.get()) == 0;
}

std::string aufschrift(Deskriptor const& probe) {
    std::array<char, 256> puffer{};
    auto const gelesen = ::pread(probe.get(), puffer.data(), puffer.size(), 0);
    return gelesen > 0 ? std::string{puffer.data(), static_cast<std::size_t>(gelesen)} : std::string{};
}

std::string aufProbe(std::string const& buildnummer) {
    return buildnummer + '\n';
}
std::string unbeaufsichtigtBegonnen(std::string const& buildnummer) {
    return aufProbe(buildnummer) + "begonnen\n";
}

/// Puts the version before in the bundle's place again and clears up. False when that cannot be done.
bool zuruecknehmen(std::string const& buendel, Rueckmeldung const& zurueckgenommen) {
    auto const neues = neuesVon(buendel);
    if (!tausche(neues, buendel))
        return false;
    (void)ordnerSichern(ordnerVon(buendel));
    (void)baumLoeschen(probeVon(buendel));
    auto const gescheitert = buildnummerVon(neues);
    (void)baumLoeschen(neues);
    // Before the old version starts, which is to tell its user.
    zurueckgenommen(gescheitert);
    return true;
}

/// Whether the new version has started.
bool laeuft(std::string const& buendel, pid_t kind, std::chrono::milliseconds frist) {
    auto const bis = Zeit::now() + frist;
    for (;;) {
        if (!gibtEs(probeVon(buendel)))
            return true;
        int ausgang = 0;
        auto const geendet = ::waitpid(kind, &ausgang, WNOHANG);
        if (geendet == kind) {
            // An orderly end is a start too: the user quit at once, or another instance runs.
            return !gibtEs(probeVon(buendel)) || (WIFEXITED(ausgang) && WEXITSTATUS(ausgang) == 0);
        }
        if (Zeit::now() >= bis) {
            (void)::kill(kind, SIGKILL);
            (void)::waitpid(kind, &ausgang, 0);
            return !gibtEs(probeVon(buendel));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{50});
    }
}

} // namespace

EinbauLinux::EinbauLinux(Umgebungswerte urspruenglich, Deskriptor eigeneProbe)
    : urspruenglich_(std::move(urspruenglich))
    , eigeneProbe_(std::move(eigeneProbe)) {}

bool EinbauLinux::moeglich(std::string const& buendel) {
    // What lies there belongs to a package manager, also where the user is root.
    if (buendel.starts_with("/usr/") && !buendel.starts_with("/usr/local/"))
        return false;
    // Renaming needs the folder above; removing the old version afterwards needs its own.
    for (auto const& ordner : {ordnerVon(buendel), buendel, buendel + "/Contents"})
        if (::faccessat(AT_FDCWD, ordner.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
            return false;
    return true;
}

std::string EinbauLinux::baustelle(std::string const& buendel) {
    auto const ordner = neuesVon(buendel);
    constexpr mode_t rechte = 0755;
    if (!baumLoeschen(ordner) || ::mkdir(ordner.c_str(), rechte) != 0)
        return {};
    return ordner;
}

ports::Hindernis EinbauLinux::bereiten(std::string const& buendel) {
    auto const neues = neuesVon(buendel);
    if (auto hindernis = baumSichern(neues))
        return hindernis;
    // Not every file system can exchange; better to know while the old version still runs.
    auto const probe = probeVon(buendel);
    constexpr mode_t rechte = 0700;
    if (!baumLoeschen(probe) || ::mkdir(probe.c_str(), rechte) != 0)
        return hindernissatz("Nicht anzulegen ist", probe, errno);
    bool const tauschbar = tausche(neues, probe);
    auto const grund = errno;
    if (tauschbar && !tausche(neues, probe))
        return hindernissatz("Nicht auszutauschen ist", buendel, errno);
    (void)baumLoeschen(probe);
    if (!tauschbar)
        return hindernissatz("Nicht auszutauschen ist", buendel, grund);
    if (!ordnerSichern(ordnerVon(buendel)))
        return hindernissatz("Nicht zu sichern ist", ordnerVon(buendel), errno);
    return std::nullopt;
}

bool EinbauLinux::einbauenNachEnde(std::string const& buendel) {
    std::error_code fehler;
    auto const ich = std::filesystem::canonical("/proc/self/exe", fehler);
    return !fehler &&
           prozessStarten(
               {ich.string(), einbauschalter, std::to_string(::getpid()), buendel}, urspruenglich_);
}

void EinbauLinux::verwerfen(std::string const& buendel) {
    (void)baumLoeschen(neuesVon(buendel));
}

void EinbauLinux::bestaetigen(std::string const& buendel) {
    auto const probe = probeVon(buendel);
    eigeneProbe_ = {}; // Otherwise it would look like a helper's below.
    auto const datei = oeffnen(probe, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    (void)baumLoeschen(probe);
    // A helper that lives holds the lock and removes the old version itself, once it has seen that we run.
    if (!datei || ::flock(datei.get(), LOCK_EX | LOCK_NB) == 0)
        (void)baumLoeschen(neuesVon(buendel));
}

Einbauausgang einbauAbschliessen(
    pid_t alterProzess, std::string const& buendel, Rueckmeldung const& zurueckgenommen,
    Einbaufristen const& fristen) {
    auto const neues = neuesVon(buendel);
    auto const probe = probeVon(buendel);
    auto const nummer = buildnummerVon(neues);
    if (!endeAbgewartet(alterProzess, fristen.ende)) {
        protokoll("Aktualisierung: Das alte Programm endet nicht, die neue Fassung wird verworfen");
        (void)baumLoeschen(neues);
        return Einbauausgang::nichtEingebaut;
    }
    auto const sperre = gesperrteProbe(buendel, O_CREAT);
    bool const bereit = sperre && beschrifte(sperre, aufProbe(nummer)) && ordnerSichern(ordnerVon(buendel));
    if (!bereit || !tausche(neues, buendel)) {
        protokoll(
            "Aktualisierung: Die neue Fassung konnte nicht eingebaut werden: " +
            hindernissatz("Nicht auszutauschen ist", buendel, errno));
        (void)baumLoeschen(probe);
        (void)baumLoeschen(neues);
        (void)starteBuendel(buendel);
        return Einbauausgang::nichtEingebaut;
    }
    (void)ordnerSichern(ordnerVon(buendel));
    auto const kind = starteBuendel(buendel);
    if (kind && laeuft(buendel, *kind, fristen.anlauf)) {
        (void)baumLoeschen(probe);
        (void)baumLoeschen(neues);
        return Einbauausgang::eingebaut;
    }
    protokoll("Aktualisierung: Die neue Fassung startet nicht, die vorige wird wieder eingesetzt");
    if (!zuruecknehmen(buendel, zurueckgenommen)) {
        // Nothing better can be done: the new version stays, the old one beside it.
        protokoll("Aktualisierung: Auch das ist nicht gelungen");
        return Einbauausgang::nichtEingebaut;
    }
    (void)starteBuendel(buendel);
    return Einbauausgang::zurueckgenommen;
}

Deskriptor selbstprobe(
    std::string const& buendel, Rueckmeldung const& zurueckgenommen, Umgebungswerte const& urspruenglich) {
    auto probe = gesperrteProbe(buendel);
    if (!probe)
        return {};
    auto const nummer = buildnummerVon(buendel);
    auto const text = aufschrift(probe);
    if (text == unbeaufsichtigtBegonnen(nummer)) {
        protokoll("Aktualisierung: Die neue Fassung ist beim vorigen Mal nicht hochgekommen");
        // What lies beside must be a program: better a version that may come up than none.
        auto const vorige = buendelAn(neuesVon(buendel));
        if (!vorige || !vorige->programm || ::access(vorige->programm->c_str(), X_OK) != 0 ||
            !zuruecknehmen(buendel, zurueckgenommen))
            return probe;
        protokoll("Aktualisierung: Die vorige Fassung ist wieder eingesetzt");
        if (auto const altes = buendelAn(buendel); altes && altes->programm)
            prozessErsetzen({*altes->programm}, urspruenglich);
        return {};
    }
    // A version that was there before the exchange is none on trial, whatever lies beside it.
    if (text != aufProbe(nummer) || !beschrifte(probe, unbeaufsichtigtBegonnen(nummer)))
        return {};
    return probe;
}

std::optional<int> alsEinbauhelfer(
    std::span<char const* const> argumente, Rueckmeldung const& zurueckgenommen) {
    constexpr std::size_t anzahl = 4;
    if (argumente.size() != anzahl || std::string_view{argumente[1]} != einbauschalter)
        return std::nullopt;
    std::string_view const nummer{argumente[2]};
    pid_t prozess = 0;
    auto const [bis, fehler] = std::from_chars(nummer.data(), nummer.data() + nummer.size(), prozess);
    if (fehler != std::errc{} || bis != nummer.data() + nummer.size() || prozess <= 0)
        return 2;
    std::string const buendel = argumente[3];
    auto const ausgang = einbauAbschliessen(prozess, buendel, zurueckgenommen);
    return ausgang == Einbauausgang::eingebaut ? 0 : 1;
}

} // namespace quillmate::adapter::linux
