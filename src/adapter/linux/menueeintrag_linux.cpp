#include "menueeintrag_linux.h"

#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "schemahandler.h"

#include <fmt/format.h>

namespace quillmate::adapter::linux {

namespace {

/// Makes a file of the bundle the icon of that name, where it is not so yet.
void bildAblegen(std::string const& quelle, std::string const& ordner, std::string const& name) {
    constexpr std::uint64_t hoechstgroesse = std::uint64_t{1} << 20U;
    auto const bild = leseDatei(quelle, hoechstgroesse);
    auto const ziel = ordner + '/' + name;
    if (!bild || leseDatei(ziel, hoechstgroesse) == bild)
        return;
    if (!ordnerAnlegen(ordner) || !schreibeAtomar(ziel, *bild, Dauerhaft::nein))
        protokoll("Symbol konnte nicht abgelegt werden: " + ziel);
}

/// Without these the menu shows a placeholder; the drawing alone is not enough where nothing can read SVG.
void symbolAblegen(ports::Buendel const& buendel, std::string const& daten) {
    auto const ressourcen = buendel.pfad + "/Contents/Resources/";
    auto const symbole = daten + "/icons/hicolor/";
    bildAblegen(ressourcen + "quillmate.svg", symbole + "scalable/apps", *buendel.kennung + ".svg");
    bildAblegen(
        ressourcen + "quillmate-symbolic.svg", symbole + "symbolic/apps", *buendel.kennung + "-symbolic.svg");
    for (int const seite : {16, 24, 32, 48, 64, 128, 256, 512})
        bildAblegen(
            fmt::format("{}symbol/quillmate-{}.png", ressourcen, seite),
            fmt::format("{}{}x{}/apps", symbole, seite, seite), *buendel.kennung + ".png");
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
