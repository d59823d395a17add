#include "leserprozess/nachricht.h"
#include "ziel.h"

#include <algorithm>

using namespace quillmate::Texterkennung;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    std::span<std::uint8_t const> const bytes{daten, groesse};
    if (auto const auftrag = auftragAus(bytes))
        VERSPROCHEN(std::ranges::equal(alsBytes(*auftrag), bytes));
    if (auto const bereit = bereitschaftAus(bytes))
        VERSPROCHEN(std::ranges::equal(alsBytes(*bereit), bytes));
    return 0;
}
