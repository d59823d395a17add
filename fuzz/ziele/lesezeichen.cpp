#include "adapter/linux/lesezeichen_inode.h"
#include "ziel.h"

using namespace quillmate;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    ports::Bytes const bytes{quillmate::fuzz::alsText(daten, groesse)};
    if (auto const satz = adapter::linux::entschluesseln(bytes)) {
        VERSPROCHEN(satz->pfad.starts_with('/'));
        VERSPROCHEN(adapter::linux::entschluesseln(adapter::linux::verschluesseln(*satz)) == satz);
    }
    return 0;
}
