#include "textzeile.h"

namespace quillmate::leser::motoren {

namespace {

template<typename Gelesenes>
float mittel(std::span<Gelesenes const> alle) {
    float summe = 0.0F;
    for (auto const& eins : alle)
        summe += eins.zuversicht;
    return alle.empty() ? 0.0F : summe / static_cast<float>(alle.size());
}

} // namespace

float mittlereZuversicht(std::span<Wort const> woerter) {
    return mittel(woerter);
}

float mittlereZuversicht(std::span<Textzeile const> zeilen) {
    return mittel(zeilen);
}

} // namespace quillmate::leser::motoren
