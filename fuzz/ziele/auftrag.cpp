#include "leser/protokoll/nachricht.h"
#include "ziel.h"

#include <algorithm>

using namespace quillmate;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    std::span<std::uint8_t const> const bytes{daten, groesse};
    if (auto const auftrag = leser::protokoll::auftragAus(bytes))
        VERSPROCHEN(std::ranges::equal(leser::protokoll::alsBytes(*auftrag), bytes));
    if (auto const bereit = leser::protokoll::bereitschaftAus(bytes))
        VERSPROCHEN(std::ranges::equal(leser::protokoll::alsBytes(*bereit), bytes));
    return 0;
}
