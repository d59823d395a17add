#include "leserziel.h"

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    quillmate::fuzz::lesenAls(std::string_view{groesse % 2 == 0 ? "II*\0" : "MM\0*", 4}, daten, groesse);
    return 0;
}
