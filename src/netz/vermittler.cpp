#include "vermittler.h"

#include <string_view>

namespace quillmate::netz {

std::vector<std::string> curlVermittler(std::vector<std::string> const& genannt) {
    std::vector<std::string> wege;
    for (auto const& einer : genannt) {
        auto const schema = schemaVon(einer);
        auto const rest = std::string_view{einer}.substr(schema.size());
        if (schema == "direct")
            wege.emplace_back();
        else if (schema == "http" || schema == "https" || schema == "socks4a")
            wege.push_back(einer);
        else if (schema == "socks" || schema == "socks5")
            wege.push_back("socks5h" + std::string{rest});
        else if (schema == "socks4")
            wege.push_back("socks4a" + std::string{rest});
    }
    if (wege.empty())
        wege.emplace_back();
    return wege;
}

} // namespace quillmate::netz
