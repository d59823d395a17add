#pragma once

#include <map>
#include <string>

/// How much of a known text a recognised one holds. Pure functions.
namespace quillmate::bench {

using Woerter = std::map<std::string, int, std::less<>>;

/// Words in upper case (of ASCII letters), without punctuation at their ends, and how often each stands there.
[[nodiscard]] Woerter zerlegt(std::string const& text);

/// Processor time of this process so far, in seconds.
[[nodiscard]] double rechenzeit();

/// What was found of what is known to be there.
struct Anteil {
    int alle{0};
    int gefunden{0};
    [[nodiscard]] double wert() const { return alle > 0 ? static_cast<double>(gefunden) / alle : 0; }
};

/// Adds the words of `wahr` for which `zaehlt` holds. A word that stands there twice must be found twice.
template<typename Praedikat>
void vergleiche(Anteil& anteil, Woerter const& wahr, Woerter const& gelesen, Praedikat zaehlt) {
    for (auto const& [wort, anzahl] : wahr) {
        if (!zaehlt(wort))
            continue;
        anteil.alle += anzahl;
        auto const treffer = gelesen.find(wort);
        if (treffer != gelesen.end())
            anteil.gefunden += treffer->second < anzahl ? treffer->second : anzahl;
    }
}

} // namespace quillmate::bench
