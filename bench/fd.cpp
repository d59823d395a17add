#include "fd.h"

#include "ordner/dateisuche.h"

namespace quillmate::bench {

std::vector<std::string> fdBefehl(std::vector<std::string> const& wurzeln) {
    std::vector<std::string> befehl{"fdfind", "-j2", "--no-ignore", "-t", "f"};
    for (auto const& endung : Ordner::endungen)
        befehl.insert(befehl.end(), {"-e", endung});
    for (auto const& name : Ordner::ausgeschlosseneNamen)
        if (!name.starts_with('.')) // hidden names are left out anyway
            befehl.insert(befehl.end(), {"-E", name});
    for (auto const& endung : Ordner::ausgeschlosseneEndungen)
        befehl.insert(befehl.end(), {"-E", "*" + endung});
    befehl.emplace_back(".");
    befehl.insert(befehl.end(), wurzeln.begin(), wurzeln.end());
    return befehl;
}

} // namespace quillmate::bench
