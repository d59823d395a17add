#include "neustart_linux.h"

#include "grundlage/datei.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <csignal>

extern char** environ;

namespace quillmate::plattform {

namespace {

// $0: the process to wait for; $1: the bundle; $2: mount point of the volume to eject, or empty; $3: name of the
// program in the bundle. The shell's own kill is used, /bin/kill is not on every system. A file system mounted by
// the desktop is ejected by the desktop's service, any other the ordinary way; by force means: as soon as nobody
// uses it any more.
constexpr char const* skript = R"(n=0
while kill -0 "$0" 2>/dev/null && [ "$n" -lt 100 ]; do /bin/sleep 0.1; n=$((n+1)); done
"$1/Contents/Linux/$3" &
if [ -n "$2" ]; then
  quelle=$(findmnt -n -o SOURCE --mountpoint "$2")
  { udisksctl unmount --no-user-interaction -b "$quelle" || umount "$2"; } >/dev/null 2>&1 || { /bin/sleep 2; { udisksctl unmount --no-user-interaction --force -b "$quelle" || umount -l "$2"; } >/dev/null 2>&1; }
fi
)";

/// Owns the attributes of a process to be started.
struct Startwerte {
    posix_spawn_file_actions_t dateien{};
    posix_spawnattr_t werte{};
    Startwerte() {
        ::posix_spawn_file_actions_init(&dateien);
        ::posix_spawnattr_init(&werte);
    }
    ~Startwerte() {
        ::posix_spawn_file_actions_destroy(&dateien);
        ::posix_spawnattr_destroy(&werte);
    }
    Startwerte(Startwerte const&) = delete;
    Startwerte& operator=(Startwerte const&) = delete;
};

} // namespace

std::vector<std::string> neustartbefehl(int prozess, Buendel const& ziel, std::string const& auswerfen) {
    std::string const programm{ziel.programm ? letzteKomponente(*ziel.programm) : "quillmate"};
    return {"/bin/sh", "-c", skript, std::to_string(prozess), ziel.pfad, auswerfen, programm};
}

void NeustartLinux::vorbereiten(Buendel const& ziel, std::string const& auswerfen) {
    auto befehl = neustartbefehl(::getpid(), ziel, auswerfen);
    std::vector<char*> argumente;
    for (auto& teil : befehl)
        argumente.push_back(teil.data());
    argumente.push_back(nullptr);

    Startwerte start;
    ::posix_spawn_file_actions_addopen(&start.dateien, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addchdir_np(&start.dateien, "/");
    // The lock on the single instance and everything else must end with this process.
    ::posix_spawn_file_actions_addclosefrom_np(&start.dateien, STDERR_FILENO + 1);
    sigset_t keine;
    sigset_t vorgabe;
    ::sigemptyset(&keine);
    ::sigfillset(&vorgabe);
    ::posix_spawnattr_setsigmask(&start.werte, &keine);
    ::posix_spawnattr_setsigdefault(&start.werte, &vorgabe); // we ignore SIGPIPE, a new program must not
    ::posix_spawnattr_setflags(
        &start.werte, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t kind = 0;
    (void)::posix_spawn(&kind, "/bin/sh", &start.dateien, &start.werte, argumente.data(), environ);
}

} // namespace quillmate::plattform
