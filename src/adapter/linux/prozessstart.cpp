#include "prozessstart.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <csignal>
#include <string_view>

extern char** environ;

namespace quillmate::adapter::linux {

namespace {

/// Texts as the kernel wants them; valid as long as `texte` is not touched.
std::vector<char*> alsListe(std::vector<std::string>& texte) {
    std::vector<char*> liste;
    for (auto& text : texte)
        liste.push_back(text.data());
    liste.push_back(nullptr);
    return liste;
}

/// Our environment, "NAME=value" each, with these variables put back.
std::vector<std::string> umgebungMit(Umgebungswerte const& urspruenglich) {
    std::vector<std::string> umgebung;
    for (auto* const* stelle = environ; stelle && *stelle; ++stelle) {
        std::string_view const eintrag{*stelle};
        if (!urspruenglich.contains(std::string{eintrag.substr(0, eintrag.find('='))}))
            umgebung.emplace_back(eintrag);
    }
    for (auto const& [name, wert] : urspruenglich)
        if (wert)
            umgebung.push_back(name + '=' + *wert);
    return umgebung;
}

} // namespace

Ergebnis<pid_t> prozessStarten(std::vector<std::string> befehl, Umgebungswerte const& urspruenglich) {
    auto const argumente = alsListe(befehl);
    auto umgebung = umgebungMit(urspruenglich);
    auto const variablen = alsListe(umgebung);

    posix_spawn_file_actions_t dateien{};
    posix_spawnattr_t werte{};
    ::posix_spawn_file_actions_init(&dateien);
    ::posix_spawnattr_init(&werte);
    ::posix_spawn_file_actions_addopen(&dateien, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addchdir_np(&dateien, "/");
    ::posix_spawn_file_actions_addclosefrom_np(&dateien, STDERR_FILENO + 1);
    sigset_t keine;
    sigset_t vorgabe;
    ::sigemptyset(&keine);
    ::sigfillset(&vorgabe);
    ::posix_spawnattr_setsigmask(&werte, &keine);
    ::posix_spawnattr_setsigdefault(&werte, &vorgabe); // we ignore SIGPIPE, a new program must not
    ::posix_spawnattr_setflags(&werte, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t kind = 0;
    // It returns the reason; errno says nothing.
    auto const grund =
        ::posix_spawn(&kind, befehl.front().c_str(), &dateien, &werte, argumente.data(), variablen.data());
    ::posix_spawn_file_actions_destroy(&dateien);
    ::posix_spawnattr_destroy(&werte);
    if (grund != 0)
        return errnoFehler(befehl.front(), "Das Programm ist nicht zu starten", grund);
    return kind;
}

void prozessErsetzen(std::vector<std::string> befehl, Umgebungswerte const& urspruenglich) {
    auto const argumente = alsListe(befehl);
    auto umgebung = umgebungMit(urspruenglich);
    auto const variablen = alsListe(umgebung);
    struct sigaction vorgabe {};
    vorgabe.sa_handler = SIG_DFL; // an ignored signal would stay ignored
    ::sigaction(SIGPIPE, &vorgabe, nullptr);
    ::execve(befehl.front().c_str(), argumente.data(), variablen.data());
}

} // namespace quillmate::adapter::linux
