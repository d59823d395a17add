#include "plist.h"

#include <cstdint>
#include <cstdlib>
#include <limits>

namespace quillmate::adapter::linux {

Plist plistLesen(std::string_view bytes) {
    if (bytes.empty() || bytes.size() > std::numeric_limits<std::uint32_t>::max())
        return nullptr;
    plist_t wurzel = nullptr;
    // Not plist_from_memory(): newer releases take further forms there, which nobody writes for us.
    auto const laenge = static_cast<std::uint32_t>(bytes.size());
    if (plist_is_binary(bytes.data(), laenge))
        plist_from_bin(bytes.data(), laenge, &wurzel);
    else
        plist_from_xml(bytes.data(), laenge, &wurzel);
    Plist plist{wurzel};
    if (!plist || plist_get_node_type(plist.get()) != PLIST_DICT)
        return nullptr;
    return plist;
}

std::optional<std::string> plistSchreiben(plist_t wurzel) {
    char* roh = nullptr;
    std::uint32_t laenge = 0;
    plist_to_xml(wurzel, &roh, &laenge);
    std::unique_ptr<char, decltype(&std::free)> const puffer{roh, &std::free};
    if (!puffer || laenge == 0)
        return std::nullopt;
    return std::string{puffer.get(), laenge};
}

std::optional<std::string> plistText(plist_t woerterbuch, char const* schluessel) {
    return plistText(plist_dict_get_item(woerterbuch, schluessel));
}

std::optional<std::string> plistText(plist_t knoten) {
    if (!knoten || plist_get_node_type(knoten) != PLIST_STRING)
        return std::nullopt;
    std::uint64_t laenge = 0;
    char const* const text = plist_get_string_ptr(knoten, &laenge);
    return text ? std::optional{std::string{text, static_cast<std::size_t>(laenge)}} : std::nullopt;
}

std::optional<bool> plistWahrheitswert(plist_t woerterbuch, char const* schluessel) {
    plist_t const knoten = plist_dict_get_item(woerterbuch, schluessel);
    if (!knoten || plist_get_node_type(knoten) != PLIST_BOOLEAN)
        return std::nullopt;
    std::uint8_t wert = 0;
    plist_get_bool_val(knoten, &wert);
    return wert != 0;
}

std::vector<std::string> plistTexte(plist_t woerterbuch, char const* schluessel) {
    if (auto text = plistText(woerterbuch, schluessel))
        return {*std::move(text)};
    plist_t const liste = plist_dict_get_item(woerterbuch, schluessel);
    if (!liste || plist_get_node_type(liste) != PLIST_ARRAY)
        return {};
    std::vector<std::string> texte;
    auto const anzahl = plist_array_get_size(liste);
    for (std::uint32_t i = 0; i < anzahl; ++i) {
        plist_t const knoten = plist_array_get_item(liste, i);
        if (plist_get_node_type(knoten) != PLIST_STRING)
            return {};
        std::uint64_t laenge = 0;
        char const* const text = plist_get_string_ptr(knoten, &laenge);
        texte.emplace_back(text, static_cast<std::size_t>(laenge));
    }
    return texte;
}

std::optional<std::int32_t> plistZahl(plist_t woerterbuch, char const* schluessel) {
    plist_t const knoten = plist_dict_get_item(woerterbuch, schluessel);
    if (!knoten || plist_get_node_type(knoten) != PLIST_UINT)
        return std::nullopt;
    std::uint64_t wert = 0;
    plist_get_uint_val(knoten, &wert);
    if (wert > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max()))
        return std::nullopt;
    return static_cast<std::int32_t>(wert);
}

std::optional<std::string> plistDaten(plist_t knoten) {
    if (!knoten || plist_get_node_type(knoten) != PLIST_DATA)
        return std::nullopt;
    std::uint64_t laenge = 0;
    char const* const daten = plist_get_data_ptr(knoten, &laenge);
    return daten ? std::string{daten, static_cast<std::size_t>(laenge)} : std::string{};
}

} // namespace quillmate::adapter::linux
