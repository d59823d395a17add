#include "plattform_linux/lesezeichen_inode.h"
#include "ziel.h"

using namespace quillmate::plattform;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    Bytes const bytes{quillmate::fuzz::alsText(daten, groesse)};
    if (auto const satz = entschluesseln(bytes)) {
        VERSPROCHEN(satz->pfad.starts_with('/'));
        VERSPROCHEN(entschluesseln(verschluesseln(*satz)) == satz);
    }
    return 0;
}
