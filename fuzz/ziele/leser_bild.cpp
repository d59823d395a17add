#include "leserziel.h"

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    quillmate::fuzz::lesen(daten, groesse, quillmate::Texterkennung::Dateiart::bild);
    return 0;
}
