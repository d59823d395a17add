#include "prozessstart.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <csignal>

extern char** environ;

namespace quillmate::plattform {

std::optional<pid_t> prozessStarten(std::vector<std::string> befehl) {
    std::vector<char*> argumente;
    for (auto& teil : befehl)
        argumente.push_back(teil.data());
    argumente.push_back(nullptr);

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
    bool const gelungen =
        ::posix_spawn(&kind, befehl.front().c_str(), &dateien, &werte, argumente.data(), environ) == 0;
    ::posix_spawn_file_actions_destroy(&dateien);
    ::posix_spawnattr_destroy(&werte);
    return gelungen ? std::optional{kind} : std::nullopt;
}

} // namespace quillmate::plattform
