#include "wortvergleich.h"

#include <time.h>

#include <algorithm>
#include <cctype>
#include <sstream>

namespace quillmate::bench {

Woerter zerlegt(std::string const& text) {
    Woerter gezaehlt;
    std::istringstream strom{text};
    for (std::string wort; strom >> wort;) {
        constexpr auto* satzzeichen = ".,:;*()[]|";
        wort.erase(0, std::min(wort.find_first_not_of(satzzeichen), wort.size()));
        wort.erase(wort.find_last_not_of(satzzeichen) + 1);
        std::ranges::transform(
            wort, wort.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        if (!wort.empty())
            ++gezaehlt[wort];
    }
    return gezaehlt;
}

double rechenzeit() {
    timespec zeit{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &zeit);
    return static_cast<double>(zeit.tv_sec) + static_cast<double>(zeit.tv_nsec) / 1e9;
}

} // namespace quillmate::bench
