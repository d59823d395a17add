#include "leserziel.h"

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    quillmate::fuzz::lesenAls("????ftypavif", daten, groesse);
    return 0;
}
