#include "neustart_linux.h"

#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "prozessstart.h"

#include <unistd.h>

#include <utility>

namespace quillmate::adapter::linux {

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

} // namespace

std::vector<std::string> neustartbefehl(
    int prozess, ports::Buendel const& ziel, std::string const& auswerfen) {
    std::string const programm{ziel.programm ? letzteKomponente(*ziel.programm) : "quillmate"};
    return {"/bin/sh", "-c", skript, std::to_string(prozess), ziel.pfad, auswerfen, programm};
}

NeustartLinux::NeustartLinux(Umgebungswerte urspruenglich)
    : urspruenglich_(std::move(urspruenglich)) {}

void NeustartLinux::vorbereiten(ports::Buendel const& ziel, std::string const& auswerfen) {
    if (auto const kind = prozessStarten(neustartbefehl(::getpid(), ziel, auswerfen), urspruenglich_); !kind)
        protokoll("Umzug: " + kind.error().text());
}

} // namespace quillmate::adapter::linux
