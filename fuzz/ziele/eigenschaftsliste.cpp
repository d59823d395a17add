#include "plist.h"
#include "ziel.h"

using namespace quillmate;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    auto const liste = adapter::linux::plistLesen(quillmate::fuzz::alsText(daten, groesse));
    if (!liste)
        return 0;
    for (auto const* schluessel : {"CFBundleIdentifier", "CFBundleVersion", "a"}) {
        (void)adapter::linux::plistText(liste.get(), schluessel);
        (void)adapter::linux::plistWahrheitswert(liste.get(), schluessel);
        if (auto* const knoten = plist_dict_get_item(liste.get(), schluessel); knoten != nullptr) {
            (void)adapter::linux::plistText(knoten);
            (void)adapter::linux::plistDaten(knoten);
        }
    }
    if (auto const geschrieben = adapter::linux::plistSchreiben(liste.get()))
        VERSPROCHEN(adapter::linux::plistLesen(*geschrieben) != nullptr);
    return 0;
}
