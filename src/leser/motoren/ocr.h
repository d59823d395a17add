#pragma once

#include "grundlage/datei.h"
#include "kostprobe.h"
#include "schrifterkenner.h"
#include "texterkennung/sprachstand.h"
#include "textzeile.h"

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tesseract {
class TessBaseAPI;
}

namespace quillmate::leser::motoren {

/// Where language data was found, and which of German and English; open, so that engines can be made where no
/// file can be opened any more. Copies share the descriptors.
struct Sprachdaten {
    std::string ordner;   ///< Folder with the *.traineddata files.
    std::string sprachen; ///< As Tesseract takes them: "deu+eng", "deu" or "eng".
    std::map<std::string, std::shared_ptr<Deskriptor const>, std::less<>> dateien; ///< By file name.
};

/// The folders in which language data is looked for, in this order: $TESSDATA_PREFIX and its "tessdata", then
/// the places of Debian, Fedora, Arch and local builds. Threads: none may change the environment meanwhile.
[[nodiscard]] std::vector<std::string> ueblicheSprachordner();

/// The first folder that has both languages; without one, the first that has German; else English; else
/// nothing.
[[nodiscard]] std::optional<Sprachdaten> sucheSprachdaten(std::span<std::string const> ordner);
[[nodiscard]] Texterkennung::Sprachstand sprachstand(std::optional<Sprachdaten> const& daten);

/// Tesseract with German and English, tuned for receipts.
/// Threads: one at a time per object, several objects side by side.
class TesseractErkenner final : public Schrifterkenner {
public:
    /// Reads the language data (some 6 MB, about 0.1 s) and opens nothing.
    /// Nothing when the engine refuses the data.
    [[nodiscard]] static std::unique_ptr<TesseractErkenner> laden(Sprachdaten const& daten);
    ~TesseractErkenner() override;

    void auflegen(Graubild bild) override;
    [[nodiscard]] std::optional<int> textfelder() override;
    [[nodiscard]] Gelesen lesen(Ausrichtung ausrichtung, Erkennungsende ende) override;
    void vergessen() noexcept override;

private:
    explicit TesseractErkenner(std::unique_ptr<tesseract::TessBaseAPI> api);
    void setzen(Graubild const& bild);
    [[nodiscard]] Graubild holen();
    void ausrichten(Ausrichtung ausrichtung);
    [[nodiscard]] std::vector<Textzeile> erkannteZeilen(Erkennungsende ende);
    [[nodiscard]] std::vector<Textzeile> andersherumProbieren(Streifen streifen, Erkennungsende ende);
    [[nodiscard]] std::vector<Wort> probeLesen(Graubild const& stueck);
    [[nodiscard]] std::vector<Wort> stueckLesen(Graubild const& bild, Kasten kasten, Erkennungsende ende);

    std::unique_ptr<tesseract::TessBaseAPI> api_;
    // The engine copies a picture and keeps the copy, with the lines that it found, until it is read: to hold it here
    // as well would cost 3 MB for each page. So it lies either there, or here while the engine has something else.
    std::optional<Graubild> bild_;
    Ausrichtung liegt_{Ausrichtung::aufrecht}; ///< How the picture lies, wherever it is.
    std::optional<Streifen> kostprobe_;        ///< Of the last reading, to be tried the other way round.
};

} // namespace quillmate::leser::motoren
