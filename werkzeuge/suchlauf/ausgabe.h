#pragma once

#include "grundlage/json.h"

#include <cstddef>
#include <string>

namespace quillmate::suchlauf {

/// Turns the scan's own reports into lines for people. Pure; one thread at a time.
class Ausgabe {
public:
    /// Lines for the steps of the report that have finished since the last call; each step is told once.
    [[nodiscard]] std::string neueSchritte(Json const& bericht);
    /// The line that changes in place while the files are read; empty when nothing is being read.
    [[nodiscard]] static std::string laufend(Json const& bericht);
    /// The summary: counts per decision, outcome and place.
    [[nodiscard]] static std::string zusammenfassung(Json const& meldung);

private:
    std::size_t erzaehlt_{0};
};

} // namespace quillmate::suchlauf
