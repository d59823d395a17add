#pragma once

#include "dateiquelle.h"
#include "ocr.h"
#include "pdf.h"
#include "rechenwacht.h"
#include "schrifterkenner.h"
#include "texterkennung/leser.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace quillmate::leser::motoren {

/// Reads PDFs and pictures in the calling process: MuPDF, the picture decoders and Tesseract.
/// Threads: any number at once; each has an engine for itself while it recognises. Engines are made when
/// first needed, as many as threads recognise at once, and kept. Files: the language data is opened by the
/// constructor; for the rest see vorwaermen().
class LeserImProzess final : public Texterkennung::Leser {
public:
    /// Makes one recognition engine; null when there is none to be had.
    using Motorbau = std::function<std::unique_ptr<Schrifterkenner>()>;

    /// With Tesseract and the language data found in `sprachordner`. Says once in the log, and which package
    /// to install, when German or English or both are missing.
    explicit LeserImProzess(std::vector<std::string> const& sprachordner = ueblicheSprachordner());
    /// With Tesseract and this language data; nothing missing is said.
    explicit LeserImProzess(std::optional<Sprachdaten> daten);
    /// With another engine. `motorbau` may be called from several threads at once.
    explicit LeserImProzess(Motorbau motorbau);

    /// From now on readings are watched, with these limits for a PDF. Before the first reading.
    /// Ownership: borrows `wacht`.
    void bewachen(Rechenwacht& wacht, PdfGrenzen const& grenzen = {});

    /// Makes `motoren` engines, and does everything that opens files: from then on nothing is opened. Blocks,
    /// about 0.1 s per engine.
    void vorwaermen(std::size_t motoren = 1);

    [[nodiscard]] Texterkennung::Lesung lesen(int deskriptor, Texterkennung::Dateiart art) override;

private:
    [[nodiscard]] std::unique_ptr<Schrifterkenner> motorHolen();
    void motorZurueck(std::unique_ptr<Schrifterkenner> motor);
    /// The recognised text; where there is none or it could not be had, `sonst`.
    [[nodiscard]] Texterkennung::Lesung erkannt(Graubild bild, std::optional<std::string> sonst);
    [[nodiscard]] Texterkennung::Lesung pdfLesen(Dateiquelle const& quelle);
    [[nodiscard]] Texterkennung::Lesung bildLesen(Dateiquelle const& quelle);

    Motorbau const motorbau_;
    Rechenwacht* wacht_{nullptr};
    PdfGrenzen pdfGrenzen_;
    std::mutex sperre_;
    std::vector<std::unique_ptr<Schrifterkenner>> frei_; // Guarded by sperre_.
};

/// The reader with its usual engines.
[[nodiscard]] std::unique_ptr<Texterkennung::Leser> leserImProzess();

} // namespace quillmate::leser::motoren
