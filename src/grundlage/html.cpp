#include "html.h"

namespace quillmate {

std::string fuerHtml(std::string_view text) {
    std::string ergebnis;
    for (char const c : text) {
        if (c == '&')
            ergebnis += "&amp;";
        else if (c == '<')
            ergebnis += "&lt;";
        else
            ergebnis += c;
    }
    return ergebnis;
}

std::string fuerHtmlAttribut(std::string_view text) {
    std::string ergebnis;
    for (char const c : fuerHtml(text)) {
        if (c == '>')
            ergebnis += "&gt;";
        else if (c == '"')
            ergebnis += "&quot;";
        else if (c == '\'')
            ergebnis += "&#39;";
        else
            ergebnis += c;
    }
    return ergebnis;
}

} // namespace quillmate
