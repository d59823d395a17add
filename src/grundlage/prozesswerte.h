#pragma once

#include "adresse.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace quillmate {

/// Version as people see it ("0.5.0"), the build's CMake project version.
extern std::string_view const fassungstext;

/// The page that the main window loads first: the value of QUILLMATE_URL where Adresse::lesen() takes it (any
/// scheme and host, letters beyond ASCII in the host included), otherwise the service's start page. Read from the
/// environment once, on the first call.
/// Threads: any, after main() has made the first call.
Adresse const& startAdresse();

/// The rule behind startAdresse(), for a given value of the environment variable.
[[nodiscard]] Adresse startAdresseAus(std::optional<std::string> const& umgebungswert);

/// The program's own hosts in lower case: the service's domain, the same with "www.", and its API.
std::set<std::string, std::less<>> const& eigeneHosts();

/// The 24 paths that belong to the service's web application.
std::set<std::string, std::less<>> const& softwarePfade();

/// Whether the address has a host and that host, in lower case, is one of eigeneHosts(). A subdomain is not.
[[nodiscard]] bool istUnserHost(std::optional<Adresse> const& url);

} // namespace quillmate
