#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::dauer {

/// A process as /proc has it.
struct Prozess {
    pid_t nummer{0};
    pid_t eltern{0};
    char zustand{'?'};    ///< "Z": has ended and nobody has asked how.
    std::string programm; ///< File name of the executable; empty where it cannot be read.
};

/// What a process holds.
struct Verbrauch {
    std::size_t deskriptoren{0};
    std::size_t faeden{0};
    std::size_t speicher_kb{0}; ///< Resident, without what belongs to files.
};

/// All that were started, by whatever way, by something that had this in its environment.
[[nodiscard]] std::vector<Prozess> mitMarke(std::string const& marke);
/// All below `wurzel`, itself left out.
[[nodiscard]] std::vector<Prozess> nachkommen(pid_t wurzel);
[[nodiscard]] std::vector<pid_t> nachkommen(pid_t wurzel, std::string_view programm);
[[nodiscard]] Verbrauch verbrauch(pid_t nummer);

} // namespace quillmate::dauer
