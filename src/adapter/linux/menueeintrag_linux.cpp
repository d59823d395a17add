#include "menueeintrag_linux.h"

#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "schemahandler.h"

namespace quillmate::adapter::linux {

namespace {

/// Makes the bundle's picture the icon of that name, where it is not so yet. Without it the menu shows a placeholder.
void symbolAblegen(ports::Buendel const& buendel, std::string const& daten) {
    constexpr std::uint64_t hoechstgroesse = std::uint64_t{1} << 20U;
    auto const bild = leseDatei(buendel.pfad + "/Contents/Resources/quillmate.svg", hoechstgroesse);
    auto const ordner = daten + "/icons/hicolor/scalable/apps";
    auto const ziel = ordner + '/' + *buendel.kennung + ".svg";
    if (!bild || leseDatei(ziel, hoechstgroesse) == bild)
        return;
    if (!ordnerAnlegen(ordner) || !schreibeAtomar(ziel, *bild, Dauerhaft::nein))
        protokoll("Symbol konnte nicht abgelegt werden: " + ziel);
}

} // namespace

void MenueeintragLinux::eintragen(ports::Buendel const& buendel) {
    // The identifier becomes a file name.
    if (!buendel.kennung || buendel.kennung->empty() || buendel.kennung->find('/') != std::string::npos ||
        !buendel.programm) {
        protokoll("Menüeintrag nicht angelegt: kein vollständiges Bündel an " + buendel.pfad);
        return;
    }
    auto ordner = Anwendungsordner::desBenutzers();
    symbolAblegen(buendel, ordner.daten);
    (void)Schemahandler{
        {.schema = "quillmate",
         .kennung = *buendel.kennung,
         .name = buendel.name.value_or("Quillmate"),
         .programm = *buendel.programm},
        std::move(ordner)}
        .sicherstellen();
}

} // namespace quillmate::adapter::linux
