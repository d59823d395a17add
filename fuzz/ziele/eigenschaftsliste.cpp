#include "plist.h"
#include "ziel.h"

using namespace quillmate::plattform;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    auto const liste = plistLesen(quillmate::fuzz::alsText(daten, groesse));
    if (!liste)
        return 0;
    for (auto const* schluessel : {"CFBundleIdentifier", "CFBundleVersion", "a"}) {
        (void)plistText(liste.get(), schluessel);
        (void)plistWahrheitswert(liste.get(), schluessel);
        if (auto* const knoten = plist_dict_get_item(liste.get(), schluessel); knoten != nullptr) {
            (void)plistText(knoten);
            (void)plistDaten(knoten);
        }
    }
    if (auto const geschrieben = plistSchreiben(liste.get()))
        VERSPROCHEN(plistLesen(*geschrieben) != nullptr);
    return 0;
}
