#include "wahrheit.h"

#include "grundlage/datei.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <sstream>

namespace quillmate::bench {

namespace {

namespace fs = std::filesystem;

constexpr int eckenSpalten = 8; // NNN.csv: x and y of four corners, then the text.

/// Nothing in it when there is no such file.
std::string inhalt(fs::path const& pfad) {
    constexpr std::uint64_t hoechstgroesse = 16U << 20U;
    return leseDatei(pfad.string(), hoechstgroesse).value_or("");
}

} // namespace

std::string wahrerText(fs::path const& csv) {
    std::istringstream zeilen{inhalt(csv)};
    std::string text;
    for (std::string zeile; std::getline(zeilen, zeile);) {
        std::size_t stelle = 0;
        for (int i = 0; i < eckenSpalten && stelle != std::string::npos; ++i)
            stelle = zeile.find(',', stelle + (i > 0 ? 1 : 0));
        if (stelle != std::string::npos)
            text += zeile.substr(stelle + 1) + "\n";
    }
    return text;
}

std::string wahreSumme(fs::path const& json) {
    auto const alles = nlohmann::json::parse(inhalt(json), nullptr, false);
    auto const summe = alles.is_object() ? alles.value("total", "") : "";
    auto const anfang = summe.find_first_of("0123456789");
    return anfang == std::string::npos ? "" : summe.substr(anfang);
}

bool hatBetragWie(std::string text, std::string betrag) {
    std::ranges::replace(text, ',', '.');
    std::ranges::replace(betrag, ',', '.');
    auto const ziffer = [&](std::size_t stelle) {
        return stelle < text.size() && text[stelle] >= '0' && text[stelle] <= '9';
    };
    for (auto stelle = text.find(betrag); stelle != std::string::npos; stelle = text.find(betrag, stelle + 1))
        if ((stelle == 0 || !ziffer(stelle - 1)) && !ziffer(stelle + betrag.size()))
            return true;
    return false;
}

std::size_t haelfte(std::string_view name) {
    std::uint32_t summe = 2'166'136'261U; // FNV-1a.
    for (auto const zeichen : name)
        summe = (summe ^ static_cast<unsigned char>(zeichen)) * 16'777'619U;
    return summe >> 31U;
}

} // namespace quillmate::bench
