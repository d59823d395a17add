#pragma once

#include "grundlage/ergebnis.h"
#include "umgebungswerte.h"

#include <sys/types.h>

#include <string>
#include <vector>

namespace quillmate::adapter::linux {

/// Starts a process that may outlive this one: a session of its own, in "/" so that it keeps no volume busy, ordinary
/// signals, and of our descriptors only standard output and error (a lock must end with us). The caller is its parent
/// and need not wait for it. Fails where it cannot be started.
/// `urspruenglich`: what of our environment it gets otherwise.
/// Threads: any.
[[nodiscard]] Ergebnis<pid_t> prozessStarten(
    std::vector<std::string> befehl, Umgebungswerte const& urspruenglich = {});

/// Lets another program go on in the place of this process, which keeps its number. Returns only when that has failed.
/// Threads: the only one.
void prozessErsetzen(std::vector<std::string> befehl, Umgebungswerte const& urspruenglich = {});

} // namespace quillmate::adapter::linux
