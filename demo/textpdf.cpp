#include "textpdf.h"

#include <fmt/format.h>

#include <cstddef>
#include <string_view>

namespace quillmate::demo {

namespace {

/// As a PDF string in WinAnsiEncoding, whose upper half is Latin-1 but for the euro and a few more.
std::string alsPdfText(std::string_view text) {
    std::string ergebnis = "(";
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const byte = static_cast<unsigned char>(text[i]);
        if (byte == '(' || byte == ')' || byte == '\\') {
            ergebnis += '\\';
            ergebnis += text[i];
        } else if (byte >= 0x20 && byte < 0x7F) {
            ergebnis += text[i];
        } else if ((byte == 0xC2 || byte == 0xC3) && i + 1 < text.size()) {
            auto const zweites = static_cast<unsigned char>(text[++i]);
            ergebnis += fmt::format("\\{:03o}", ((byte & 0x03U) << 6U) | (zweites & 0x3FU));
        } else if (text.substr(i).starts_with("€")) {
            ergebnis += "\\200";
            i += std::string_view{"€"}.size() - 1;
        } else if ((byte & 0xC0U) != 0x80) {
            ergebnis += '?'; // Once per character.
        }
    }
    return ergebnis + ')';
}

} // namespace

std::string textPdf(std::vector<std::string> const& zeilen) {
    std::string inhalt = "BT /F1 13 Tf 20 TL 60 780 Td\n";
    for (auto const& zeile : zeilen)
        inhalt += alsPdfText(zeile) + " Tj T*\n";
    inhalt += "ET\n";
    std::vector<std::string> const teile{
        "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Contents 4 0 R /Resources << /Font << /F1 5 0 "
        "R "
        ">> >> >>",
        fmt::format("<< /Length {} >>\nstream\n{}endstream", inhalt.size(), inhalt),
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>"};
    std::string pdf =
        "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n"; // The second line says that bytes above 0x7F may follow.
    std::string verzeichnis = "0000000000 65535 f \n";
    for (std::size_t i = 0; i < teile.size(); ++i) {
        verzeichnis += fmt::format("{:010} 00000 n \n", pdf.size());
        pdf += fmt::format("{} 0 obj\n{}\nendobj\n", i + 1, teile[i]);
    }
    auto const stelle = pdf.size();
    pdf += fmt::format(
        "xref\n0 {0}\n{1}trailer\n<< /Size {0} /Root 1 0 R >>\nstartxref\n{2}\n%%EOF\n", teile.size() + 1,
        verzeichnis, stelle);
    return pdf;
}

} // namespace quillmate::demo
