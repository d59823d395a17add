// Timeline of an update, old program on the left, helper in the middle, new program on the right:
//
//   baustelle, bereiten            unpacked beside the bundle, on the disk
//   einbauenNachEnde ──starts──►   waits
//                                  and the mark that names both (einbaumarke.h)
//   ends                           sees the end, takes the lock of the mark and the program's own
//                                  the mark now says: on trial
//                                  exchanges bundle and .neu in one step
//                                  gives the program's lock back
//                                  starts the bundle ─────────────────►  shows its window
//                                                                        bestaetigen: removes the mark
//                                  sees it gone, removes .neu
//   or: the new program ends with a failure, or says nothing in time
//                                  takes the program's lock, exchanges again, starts the old one
//
// With the program's lock nobody can start in the middle of an exchange, and none is taken back that runs: a start by the
// user, between exchange and confirmation, holds it. Such a start confirms as well as the helper's.
// A helper killed at any point leaves a whole bundle in its place; the next start removes what lies beside it. If what
// was put in last does not come up by then, nobody is there to take it back but itself (selbstprobe()): its first start
// says so in the mark, its second one exchanges.
#include "einbau_linux.h"

#include "baum.h"
#include "buendel.h"
#include "einbaumarke.h"
#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "ordnerrechte.h"
#include "prozessstart.h"

#include <fcntl.h>
#include <poll.h>
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
/// For trying whether the file system can exchange.
std::string tauschprobeVon(std::string const& buendel) {
    return daneben(buendel, ".tausch");
}

bool tausche(std::string const& einer, std::string const& anderer) {
    return ::renameat2(AT_FDCWD, einer.c_str(), AT_FDCWD, anderer.c_str(), RENAME_EXCHANGE) == 0;
}

/// The process's environment is the user's own: whoever starts a helper sees to that.
std::optional<pid_t> starteBuendel(std::string const& buendel) {
    auto const gelesen = buendelAn(buendel);
    if (!gelesen || !gelesen->programm) {
        protokoll("Aktualisierung: Im Bündel ist kein Programm: " + buendel);
        return std::nullopt;
    }
    auto const kind = prozessStarten({*gelesen->programm});
    if (!kind) {
        protokoll("Aktualisierung: " + kind.error().text());
        return std::nullopt;
    }
    return *kind;
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

constexpr std::chrono::milliseconds takt{50};

/// Asks again and again until there is a lock or the time is over.
template<typename Belegen>
Deskriptor geduldig(Belegen const& belegen, std::chrono::milliseconds frist) {
    auto const bis = Zeit::now() + frist;
    for (;;) {
        if (auto sperre = belegen())
            return sperre;
        if (Zeit::now() >= bis)
            return {};
        std::this_thread::sleep_for(takt);
    }
}

/// Removes what was prepared and never put in.
void aufraeumen(std::string const& buendel, Markenplatz const& platz) {
    (void)platz.entfernen();
    (void)baumLoeschen(neuesVon(buendel));
}

/// Puts the version before in the bundle's place again and clears up. False when that cannot be done, or the two are not
/// those that the mark names.
bool zuruecknehmen(
    std::string const& buendel, Markenplatz const& platz, Einbaumarke marke, Einbauhilfen const& hilfen) {
    auto const neues = neuesVon(buendel);
    if (ausweisVon(buendel) != marke.neues || ausweisVon(neues) != marke.altes)
        return false;
    marke.stand = Einbaumarke::Stand::zurueck;
    (void)platz.schreiben(marke); // A full disk must not keep a version in its place that does not start.
    if (!tausche(neues, buendel))
        return false;
    (void)ordnerSichern(ordnerVon(buendel));
    // Before the old version starts, which is to tell its user.
    hilfen.zurueckgenommen(marke.neuesBuild);
    aufraeumen(buendel, platz);
    return true;
}

enum class Anlauf { bestaetigt, gescheitert, offen };

/// How the start of the new version goes.
Anlauf beobachte(
    Markenplatz const& platz, pid_t kind, Einbauhilfen const& hilfen, Zeit::time_point bis,
    std::string const& buendel) {
    bool kindLebt = true;
    for (;;) {
        if (!platz.vorhanden())
            return Anlauf::bestaetigt;
        int ausgang = 0;
        if (kindLebt && ::waitpid(kind, &ausgang, WNOHANG) == kind) {
            kindLebt = false;
            if (!platz.vorhanden())
                return Anlauf::bestaetigt;
            if (!WIFEXITED(ausgang) || WEXITSTATUS(ausgang) != 0)
                return Anlauf::gescheitert;
        }
        // It left in order without having come up: the user was quicker and another start runs, which may confirm.
        if (!kindLebt && hilfen.einzelinstanz())
            return platz.vorhanden() ? Anlauf::offen : Anlauf::bestaetigt;
        if (Zeit::now() >= bis) {
            if (!kindLebt)
                return Anlauf::offen;
            (void)::kill(kind, SIGKILL);
            (void)::waitpid(kind, &ausgang, 0);
            if (platz.vorhanden())
                return Anlauf::gescheitert;
            (void)starteBuendel(buendel); // It confirmed in the very last moment.
            return Anlauf::bestaetigt;
        }
        std::this_thread::sleep_for(takt);
    }
}

} // namespace

EinbauLinux::EinbauLinux(std::string marken, Umgebungswerte urspruenglich, Deskriptor eigeneProbe)
    : marken_(std::move(marken))
    , urspruenglich_(std::move(urspruenglich))
    , eigeneProbe_(std::move(eigeneProbe)) {}

std::optional<ports::Einbauhindernis> EinbauLinux::hindernis(std::string const& buendel) {
    using enum ports::Einbauhindernis::Art;
    // What lies there belongs to a package manager, also where the user is root.
    if (buendel.starts_with("/usr/") && !buendel.starts_with("/usr/local/"))
        return ports::Einbauhindernis{.art = paketverwaltung, .ordner = buendel};
    // Renaming needs the folder above; removing the old version afterwards needs its own.
    for (auto const& ordner : {ordnerVon(buendel), buendel, buendel + "/Contents"})
        if (::faccessat(AT_FDCWD, ordner.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
            return ports::Einbauhindernis{.art = nichtBeschreibbar, .ordner = ordner};
    for (auto const& ordner : {buendel + "/Contents/Linux", buendel + "/Contents", buendel})
        if (auto const allein = nurWirSchreiben(ordner); !allein)
            return ports::Einbauhindernis{
                .art = allein.error().art == Fehlerart::nichtErlaubt ? andereSchreiben : ortUnbekannt,
                .ordner = allein.error().wo};
    // The folder above is one of those on the way, where the sticky bit would do; for making entries it does not.
    if (auto const allein = nurWirSchreiben(ordnerVon(buendel)); !allein)
        return ports::Einbauhindernis{.art = andereSchreiben, .ordner = allein.error().wo};
    return std::nullopt;
}

Ergebnis<std::string> EinbauLinux::baustelle(std::string const& buendel) {
    auto sperre = Markenplatz{marken_, buendel}.sperren();
    if (!sperre)
        return std::unexpected(sperre.error());
    vorbereitung_ = *std::move(sperre);
    auto const ordner = neuesVon(buendel);
    constexpr mode_t rechte = 0755;
    if (!baumLoeschen(ordner))
        return errnoFehler(ordner, "Nicht zu leeren ist");
    if (::mkdir(ordner.c_str(), rechte) != 0)
        return errnoFehler(ordner, "Nicht anzulegen ist");
    return ordner;
}

ports::Hindernis EinbauLinux::bereiten(std::string const& buendel) {
    auto const neues = neuesVon(buendel);
    if (auto hindernis = baumSichern(neues))
        return hindernis;
    // Not every file system can exchange, and not every one leaves folders their numbers then; better to know while the
    // old version still runs.
    auto const probe = tauschprobeVon(buendel);
    constexpr mode_t rechte = 0700;
    if (!baumLoeschen(probe) || ::mkdir(probe.c_str(), rechte) != 0)
        return hindernissatz("Nicht anzulegen ist", probe, errno);
    auto const vorher = ausweisVon(neues);
    bool const tauschbar = tausche(neues, probe);
    auto const grund = errno;
    bool const folgt = tauschbar && vorher && ausweisVon(probe) == vorher;
    if (tauschbar && !tausche(neues, probe))
        return hindernissatz("Nicht auszutauschen ist", buendel, errno);
    (void)baumLoeschen(probe);
    if (!tauschbar)
        return hindernissatz("Nicht auszutauschen ist", buendel, grund);
    auto const altes = ausweisVon(buendel);
    if (!folgt || !altes || altes->geraet != vorher->geraet)
        return hindernissatz("Nicht auszutauschen ist", buendel, EOPNOTSUPP);
    if (!ordnerSichern(ordnerVon(buendel)))
        return hindernissatz("Nicht zu sichern ist", ordnerVon(buendel), errno);
    auto const geschrieben = Markenplatz{marken_, buendel}.schreiben(
        {.stand = Einbaumarke::Stand::bereit,
         .buendel = buendel,
         .altes = *altes,
         .neues = *vorher,
         .altesBuild = buildnummerVon(buendel),
         .neuesBuild = buildnummerVon(neues)});
    if (!geschrieben)
        return geschrieben.error().text() + '.';
    return std::nullopt;
}

Ergebnis<void> EinbauLinux::einbauenNachEnde(std::string const& buendel) {
    std::error_code grund;
    auto const ich = std::filesystem::canonical("/proc/self/exe", grund);
    if (grund)
        return errnoFehler("/proc/self/exe", "Das eigene Programm ist nicht zu finden", grund.value());
    auto const helfer =
        prozessStarten({ich.string(), einbauschalter, std::to_string(::getpid()), buendel}, urspruenglich_);
    if (!helfer)
        return std::unexpected(helfer.error());
    return {};
}

void EinbauLinux::verwerfen(std::string const& buendel) {
    if (vorbereitung_) // Otherwise what lies there is somebody else's.
        aufraeumen(buendel, Markenplatz{marken_, buendel});
    vorbereitung_ = {};
}

void EinbauLinux::bestaetigen(std::string const& buendel) {
    Markenplatz const platz{marken_, buendel};
    eigeneProbe_ = {}; // Otherwise it would look like a helper's below.
    // A helper that lives holds the lock and removes the old version itself, once it has seen that we run.
    if (auto const sperre = platz.sperren(); sperre) {
        (void)platz.entfernen();
        (void)baumLoeschen(tauschprobeVon(buendel));
        (void)baumLoeschen(neuesVon(buendel));
    } else if (auto const marke = platz.lesen(); marke && ausweisVon(buendel) == marke->neues) {
        (void)platz.entfernen();
    }
    // Helpers of versions up to 0.6 wait for the end of this file.
    (void)::unlink(daneben(buendel, ".probe").c_str());
}

Einbauausgang einbauAbschliessen(
    pid_t alterProzess, std::string const& buendel, Einbauhilfen const& hilfen,
    Einbaufristen const& fristen) {
    auto const neues = neuesVon(buendel);
    Markenplatz const platz{hilfen.marken, buendel};
    bool const geendet = endeAbgewartet(alterProzess, fristen.ende);
    auto const sperre =
        geduldig([&] { return platz.sperren().value_or(Deskriptor{}); }, geendet ? fristen.luecke : takt);
    if (!geendet) {
        protokoll("Aktualisierung: Das alte Programm endet nicht, die neue Fassung wird verworfen");
        if (sperre)
            aufraeumen(buendel, platz);
        return Einbauausgang::nichtEingebaut;
    }
    auto instanz = sperre ? geduldig(hilfen.einzelinstanz, fristen.luecke) : Deskriptor{};
    if (!instanz) {
        protokoll("Aktualisierung: Das Programm läuft schon wieder, die neue Fassung wird verworfen");
        if (sperre)
            aufraeumen(buendel, platz);
        return Einbauausgang::nichtEingebaut;
    }
    auto const nichtEingebaut = [&](std::string const& grund) {
        protokoll("Aktualisierung: Die neue Fassung konnte nicht eingebaut werden: " + grund);
        aufraeumen(buendel, platz);
        instanz = {};
        (void)starteBuendel(buendel);
        return Einbauausgang::nichtEingebaut;
    };
    auto marke = platz.lesen();
    if (!marke || marke->stand != Einbaumarke::Stand::bereit || ausweisVon(buendel) != marke->altes ||
        ausweisVon(neues) != marke->neues)
        return nichtEingebaut("Was neben dem Programm liegt, ist nicht das Vorbereitete");
    if (auto const allein = nurWirSchreiben(ordnerVon(buendel)); !allein)
        return nichtEingebaut(allein.error().text());
    marke->stand = Einbaumarke::Stand::probe;
    if (auto const geschrieben = platz.schreiben(*marke); !geschrieben)
        return nichtEingebaut(geschrieben.error().text());
    if (!tausche(neues, buendel))
        return nichtEingebaut(hindernissatz("Nicht auszutauschen ist", buendel, errno));
    (void)ordnerSichern(ordnerVon(buendel));
    instanz = {};
    auto const bis = Zeit::now() + fristen.anlauf;
    auto const kind = starteBuendel(buendel);
    auto anlauf = kind ? beobachte(platz, *kind, hilfen, bis, buendel) : Anlauf::gescheitert;
    if (anlauf == Anlauf::gescheitert) {
        // Perhaps the user has started it too, and that one comes up.
        instanz = geduldig(
            [&] {
                return platz.vorhanden() ? hilfen.einzelinstanz()
                                         : Deskriptor{::open("/dev/null", O_RDONLY | O_CLOEXEC)};
            },
            fristen.anlauf);
        if (!platz.vorhanden()) {
            anlauf = Anlauf::bestaetigt;
        } else if (!instanz) {
            marke->stand = Einbaumarke::Stand::begonnen;
            (void)platz.schreiben(*marke);
            anlauf = Anlauf::offen;
        }
    }
    switch (anlauf) {
    case Anlauf::bestaetigt:
        (void)baumLoeschen(neues);
        return Einbauausgang::eingebaut;
    case Anlauf::offen:
        return Einbauausgang::offen;
    case Anlauf::gescheitert:
        break;
    }
    protokoll("Aktualisierung: Die neue Fassung startet nicht, die vorige wird wieder eingesetzt");
    if (!zuruecknehmen(buendel, platz, *marke, hilfen)) {
        // Nothing better can be done: the new version stays, the old one beside it.
        protokoll("Aktualisierung: Auch das ist nicht gelungen");
        return Einbauausgang::nichtEingebaut;
    }
    instanz = {};
    (void)starteBuendel(buendel);
    return Einbauausgang::zurueckgenommen;
}

Deskriptor selbstprobe(
    std::string const& buendel, Einbauhilfen const& hilfen, Umgebungswerte const& urspruenglich) {
    using enum Einbaumarke::Stand;
    Markenplatz const platz{hilfen.marken, buendel};
    if (!platz.vorhanden())
        return {};
    auto sperre = platz.sperren().value_or(Deskriptor{});
    auto marke = sperre ? platz.lesen() : std::nullopt;
    if (!marke)
        return {};
    auto const hier = ausweisVon(buendel);
    if (hier == marke->altes && marke->stand == zurueck)
        hilfen.zurueckgenommen(marke->neuesBuild); // Ended between taking back and telling.
    if (hier != marke->neues) {
        // From before the exchange, or put there by hand since: none on trial, whatever lies beside it.
        (void)platz.entfernen();
        return {};
    }
    if (marke->stand == begonnen || marke->stand == zurueck) {
        protokoll("Aktualisierung: Die neue Fassung ist beim vorigen Mal nicht hochgekommen");
        // What lies beside must be a program: better a version that may come up than none.
        auto const vorige = buendelAn(neuesVon(buendel));
        if (!vorige || !vorige->programm || ::access(vorige->programm->c_str(), X_OK) != 0 ||
            !zuruecknehmen(buendel, platz, *marke, hilfen))
            return sperre;
        protokoll("Aktualisierung: Die vorige Fassung ist wieder eingesetzt");
        if (auto const altes = buendelAn(buendel); altes && altes->programm)
            prozessErsetzen({*altes->programm}, urspruenglich);
        return {};
    }
    marke->stand = begonnen;
    if (!platz.schreiben(*marke))
        return {};
    return sperre;
}

std::optional<int> alsEinbauhelfer(std::span<char const* const> argumente, Einbauhilfen const& hilfen) {
    constexpr std::size_t anzahl = 4;
    if (argumente.size() != anzahl || std::string_view{argumente[1]} != einbauschalter)
        return std::nullopt;
    std::string_view const nummer{argumente[2]};
    pid_t prozess = 0;
    auto const [bis, fehler] = std::from_chars(nummer.data(), nummer.data() + nummer.size(), prozess);
    if (fehler != std::errc{} || bis != nummer.data() + nummer.size() || prozess <= 0)
        return 2;
    std::string const buendel = argumente[3];
    auto const ausgang = einbauAbschliessen(prozess, buendel, hilfen);
    return ausgang == Einbauausgang::eingebaut || ausgang == Einbauausgang::offen ? 0 : 1;
}

} // namespace quillmate::adapter::linux
