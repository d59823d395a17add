// Timeline of an update, old program on the left, helper in the middle, new program on the right:
//
//   baustelle, bereiten            unpacked beside the bundle, on the disk
//   einbauenNachEnde ──starts──►   waits
//   ends                           sees the end
//                                  writes and locks the probe file
//                                  exchanges bundle and .neu in one step
//                                  starts the bundle ─────────────────►  shows its window
//                                                                        bestaetigen: removes the probe file
//                                  sees it gone, removes .neu
//   or: the new program ends with a failure, or says nothing in time
//                                  exchanges again, starts the old one
//
// A helper killed at any point leaves a whole bundle in its place; the next start removes what lies beside it.
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
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <thread>

namespace quillmate::plattform {

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

Hindernis EinbauLinux::bereiten(std::string const& buendel) {
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
    return !fehler && prozessStarten({ich.string(), einbauschalter, std::to_string(::getpid()), buendel});
}

void EinbauLinux::verwerfen(std::string const& buendel) {
    (void)baumLoeschen(neuesVon(buendel));
}

void EinbauLinux::bestaetigen(std::string const& buendel) {
    auto const probe = probeVon(buendel);
    auto const datei = oeffnen(probe, O_RDONLY | O_NOFOLLOW);
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
    if (!endeAbgewartet(alterProzess, fristen.ende)) {
        protokoll("Aktualisierung: Das alte Programm endet nicht, die neue Fassung wird verworfen");
        (void)baumLoeschen(neues);
        return Einbauausgang::nichtEingebaut;
    }
    auto const sperre = oeffnen(probe, O_RDWR | O_CREAT | O_NOFOLLOW);
    bool const bereit =
        sperre && ::flock(sperre.get(), LOCK_EX | LOCK_NB) == 0 && ordnerSichern(ordnerVon(buendel));
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
    if (!tausche(neues, buendel)) {
        // Nothing better can be done: the new version stays, the old one beside it.
        protokoll("Aktualisierung: Auch das ist nicht gelungen");
        return Einbauausgang::nichtEingebaut;
    }
    (void)ordnerSichern(ordnerVon(buendel));
    (void)baumLoeschen(probe);
    auto const gescheitert = buendelAn(neues);
    (void)baumLoeschen(neues);
    // Before the old version starts, which is to tell its user.
    zurueckgenommen(gescheitert && gescheitert->buildnummer ? *gescheitert->buildnummer : std::string{});
    (void)starteBuendel(buendel);
    return Einbauausgang::zurueckgenommen;
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

} // namespace quillmate::plattform
