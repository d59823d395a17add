#include "sprachstand.h"

#include "grundlage/protokoll.h"

namespace quillmate::Texterkennung {

void sprachstandMelden(Sprachstand stand) {
    switch (stand) {
    case Sprachstand::keine:
        protokoll("Texterkennung: keine Sprachdaten gefunden, Bilder und Scans werden nicht gelesen "
                  "(Pakete tesseract-ocr-deu und tesseract-ocr-eng installieren)");
        break;
    case Sprachstand::deutsch:
        protokoll("Texterkennung: Sprachdaten für Englisch fehlen (Paket tesseract-ocr-eng installieren)");
        break;
    case Sprachstand::englisch:
        protokoll("Texterkennung: Sprachdaten für Deutsch fehlen (Paket tesseract-ocr-deu installieren)");
        break;
    case Sprachstand::beide:
        break;
    case Sprachstand::unbrauchbar:
        protokoll("Texterkennung: die Sprachdaten sind unbrauchbar, Bilder und Scans werden nicht gelesen "
                  "(Pakete tesseract-ocr-deu und tesseract-ocr-eng neu installieren)");
        break;
    }
}

} // namespace quillmate::Texterkennung
