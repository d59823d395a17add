#include "appcast.h"

#include "grundlage/adresse.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <charconv>
#include <memory>
#include <utility>

namespace quillmate::aktualisierung {

namespace {

constexpr auto namensraum = "urn:tandemwerk:quillmate:appcast:1";
constexpr std::size_t hoechstensAngebote = 64;
constexpr std::size_t hoechstlaengeText = 200;
constexpr std::size_t hoechstlaengeAdresse = 2000;
constexpr std::size_t hoechstlaengeNotizen = std::size_t{64} * 1024;

struct XmlFrei {
    void operator()(xmlDoc* dokument) const noexcept { xmlFreeDoc(dokument); }
    void operator()(xmlChar* text) const noexcept { xmlFree(text); }
};

char const* alsText(xmlChar const* text) {
    return reinterpret_cast<char const*>(text);
}
xmlChar const* alsXml(char const* text) {
    return reinterpret_cast<xmlChar const*>(text);
}

bool heisst(xmlNode const* knoten, std::string_view name, bool eigener) {
    if (knoten->type != XML_ELEMENT_NODE || name != alsText(knoten->name))
        return false;
    return eigener ? knoten->ns && std::string_view{namensraum} == alsText(knoten->ns->href) : !knoten->ns;
}

/// The only child element of that name; null when there is none or more than one, since whoever reads it twice must
/// not get different answers.
xmlNode* kind(xmlNode* eltern, std::string_view name, bool eigener) {
    xmlNode* fund = nullptr;
    for (auto* k = eltern ? eltern->children : nullptr; k; k = k->next) {
        if (!heisst(k, name, eigener))
            continue;
        if (fund)
            return nullptr;
        fund = k;
    }
    return fund;
}

std::optional<std::string> inhalt(xmlNode* knoten, std::size_t hoechstens) {
    if (!knoten)
        return std::nullopt;
    for (auto const* k = knoten->children; k; k = k->next)
        if (k->type != XML_TEXT_NODE && k->type != XML_CDATA_SECTION_NODE)
            return std::nullopt;
    std::unique_ptr<xmlChar, XmlFrei> const text{xmlNodeGetContent(knoten)};
    if (!text)
        return std::nullopt;
    std::string ergebnis = alsText(text.get());
    if (ergebnis.size() > hoechstens)
        return std::nullopt;
    return ergebnis;
}

/// Text for one line: not empty, no control characters.
std::optional<std::string> zeile(xmlNode* knoten) {
    auto text = inhalt(knoten, hoechstlaengeText);
    if (!text || text->empty())
        return std::nullopt;
    for (char const zeichen : *text)
        if (static_cast<unsigned char>(zeichen) < 0x20 || zeichen == 0x7F)
            return std::nullopt;
    return text;
}

std::optional<std::string> eigenschaft(xmlNode* knoten, char const* name, bool eigene) {
    if (!knoten)
        return std::nullopt;
    std::unique_ptr<xmlChar, XmlFrei> const text{
        eigene ? xmlGetNsProp(knoten, alsXml(name), alsXml(namensraum))
               : xmlGetNoNsProp(knoten, alsXml(name))};
    if (!text)
        return std::nullopt;
    return std::string{alsText(text.get())};
}

std::optional<std::uint64_t> zahl(std::optional<std::string> const& text) {
    if (!text || text->empty())
        return std::nullopt;
    std::uint64_t wert = 0;
    auto const* const ende = text->data() + text->size();
    auto const [bis, fehler] = std::from_chars(text->data(), ende, wert);
    return fehler == std::errc{} && bis == ende ? std::optional{wert} : std::nullopt;
}

bool istErlaubteAdresse(std::string const& url, bool auchHttp) {
    if (url.size() > hoechstlaengeAdresse)
        return false;
    auto const adresse = Adresse::lesen(url);
    return adresse && (adresse->istSicher() || (auchHttp && adresse->istWeb()));
}

std::optional<Angebot> angebotLesen(xmlNode* knoten, bool auchHttp) {
    auto const fassungstext = zeile(kind(knoten, "fassung", true));
    auto const fassung = fassungstext ? Fassungsnummer::lesen(*fassungstext) : std::nullopt;
    auto kurzfassung = zeile(kind(knoten, "kurzfassung", true));
    auto architektur = zeile(kind(knoten, "architektur", true));
    auto notizen = inhalt(kind(knoten, "description", false), hoechstlaengeNotizen);
    auto* const anlage = kind(knoten, "enclosure", false);
    auto url = eigenschaft(anlage, "url", false);
    auto const laenge = zahl(eigenschaft(anlage, "length", false));
    auto const signaturtext = eigenschaft(anlage, "signatur", true);
    auto signaturen = signaturtext ? signaturenLesen(*signaturtext) : std::nullopt;
    if (!fassung || !kurzfassung || !architektur || !notizen || !url || !istErlaubteAdresse(*url, auchHttp) ||
        !laenge || *laenge == 0 || *laenge > hoechstgroesseArchiv || !signaturen)
        return std::nullopt;
    return Angebot{
        .fassung = *fassung,
        .fassungstext = *fassungstext,
        .kurzfassung = *std::move(kurzfassung),
        .architektur = *std::move(architektur),
        .url = *std::move(url),
        .laenge = *laenge,
        .signaturen = *std::move(signaturen),
        .notizen = *std::move(notizen)};
}

} // namespace

std::optional<std::string_view> signierterTeil(
    std::string_view bytes, std::span<Schluessel const> schluessel) {
    constexpr std::string_view anfang = "<!-- signatur ";
    constexpr std::string_view ende = " -->\n";
    if (bytes.size() > hoechstgroesseAppcast || !bytes.ends_with(ende))
        return std::nullopt;
    auto const umbruch = bytes.rfind('\n', bytes.size() - 2);
    if (umbruch == std::string_view::npos)
        return std::nullopt;
    auto letzte = bytes.substr(umbruch + 1);
    if (!letzte.starts_with(anfang) || letzte.size() < anfang.size() + ende.size())
        return std::nullopt;
    letzte.remove_prefix(anfang.size());
    letzte.remove_suffix(ende.size());
    auto const signaturen = signaturenLesen(letzte);
    auto const teil = bytes.substr(0, umbruch + 1);
    if (!signaturen || !istSigniert(teil, *signaturen, schluessel))
        return std::nullopt;
    return teil;
}

std::optional<std::chrono::sys_seconds> zeitLesen(std::string_view text) {
    constexpr std::string_view muster = "0000-00-00T00:00:00Z";
    if (text.size() != muster.size())
        return std::nullopt;
    for (std::size_t i = 0; i < muster.size(); ++i)
        if (muster[i] == '0' ? text[i] < '0' || text[i] > '9' : text[i] != muster[i])
            return std::nullopt;
    auto const teil = [&](std::size_t stelle, std::size_t laenge) {
        int wert = 0;
        for (char const ziffer : text.substr(stelle, laenge))
            wert = wert * 10 + (ziffer - '0');
        return wert;
    };
    std::chrono::year_month_day const tag{
        std::chrono::year{teil(0, 4)}, std::chrono::month{static_cast<unsigned>(teil(5, 2))},
        std::chrono::day{static_cast<unsigned>(teil(8, 2))}};
    if (!tag.ok() || teil(11, 2) > 23 || teil(14, 2) > 59 || teil(17, 2) > 59)
        return std::nullopt;
    return std::chrono::sys_days{tag} + std::chrono::hours{teil(11, 2)} + std::chrono::minutes{teil(14, 2)} +
           std::chrono::seconds{teil(17, 2)};
}

std::optional<Appcast> appcastLesen(std::string_view xml, bool auchHttp) {
    // Entities are what makes XML dangerous (files read, memory multiplied), and only a document type declares any.
    if (xml.size() > hoechstgroesseAppcast || xml.find("<!DOCTYPE") != std::string_view::npos ||
        xml.find("<!ENTITY") != std::string_view::npos)
        return std::nullopt;
    std::unique_ptr<xmlDoc, XmlFrei> const dokument{xmlReadMemory(
        xml.data(), static_cast<int>(xml.size()), nullptr, nullptr,
        XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING)};
    if (!dokument || dokument->intSubset || dokument->extSubset)
        return std::nullopt;
    auto* const wurzel = xmlDocGetRootElement(dokument.get());
    if (!wurzel || !heisst(wurzel, "rss", false))
        return std::nullopt;
    auto* const kanal = kind(wurzel, "channel", false);
    auto kennung = zeile(kind(kanal, "kennung", true));
    auto const ausgabe = zahl(zeile(kind(kanal, "ausgabe", true)));
    auto const gueltigBis = zeitLesen(zeile(kind(kanal, "gueltigBis", true)).value_or(""));
    if (!kanal || !kennung || !ausgabe || !gueltigBis)
        return std::nullopt;
    Appcast appcast{
        .kennung = *std::move(kennung), .ausgabe = *ausgabe, .gueltigBis = *gueltigBis, .angebote = {}};
    for (auto* k = kanal->children; k; k = k->next) {
        if (!heisst(k, "item", false))
            continue;
        auto angebot = angebotLesen(k, auchHttp);
        if (!angebot || appcast.angebote.size() == hoechstensAngebote)
            return std::nullopt;
        appcast.angebote.push_back(*std::move(angebot));
    }
    return appcast;
}

Angebot const* neuestes(Appcast const& appcast, Fassungsnummer const& eigene, std::string_view architektur) {
    Angebot const* bestes = nullptr;
    for (auto const& angebot : appcast.angebote)
        if (angebot.architektur == architektur && angebot.fassung > eigene &&
            (!bestes || angebot.fassung > bestes->fassung))
            bestes = &angebot;
    return bestes;
}

} // namespace quillmate::aktualisierung
