#include "zitat.h"

#include "grundlage/text.h"

#include <fmt/format.h>

#include <iterator>

namespace quillmate::bruecke {

std::string zitat(std::string_view text) {
    std::string ergebnis = "\"";
    for (char const c : alsUtf8(text)) {
        switch (c) {
        case '\r':
            ergebnis += "\\r";
            break;
        case '\n':
            ergebnis += "\\n";
            break;
        case '\t':
            ergebnis += "\\t";
            break;
        case '\\':
            ergebnis += "\\\\";
            break;
        case '"':
            ergebnis += "\\\"";
            break;
        default:
            if (static_cast<unsigned char>(c) < 32)
                fmt::format_to(std::back_inserter(ergebnis), "\\u{:04x}", static_cast<unsigned>(c));
            else
                ergebnis += c;
        }
    }
    ergebnis += '"';
    return ergebnis;
}

} // namespace quillmate::bruecke
