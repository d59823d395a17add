#include "portaladresse.h"

#include "grundlage/text.h"

#include <fmt/format.h>
#include <unicode/idna.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace quillmate::portal {

namespace {

/// No address that a person types comes near this; what a page or a file claims to be one may.
constexpr std::size_t hoechsteLaenge = 8192;

constexpr std::string_view sicher = "https://";

bool istBuchstabeOderZiffer(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

/// The host in the letters that addresses have: "müller.example" becomes "xn--mller-kva.example".
std::optional<std::string> alsAscii(std::string_view wirt) {
    if (std::ranges::all_of(wirt, [](char c) { return static_cast<unsigned char>(c) < 0x80; }))
        return std::string{wirt};
    UErrorCode fehler = U_ZERO_ERROR;
    std::unique_ptr<icu::IDNA> const idna{icu::IDNA::createUTS46Instance(
        UIDNA_NONTRANSITIONAL_TO_ASCII | UIDNA_USE_STD3_RULES | UIDNA_CHECK_BIDI | UIDNA_CHECK_CONTEXTJ,
        fehler)};
    if (U_FAILURE(fehler))
        return std::nullopt;
    std::string ergebnis;
    icu::StringByteSink<std::string> senke{&ergebnis};
    icu::IDNAInfo auskunft;
    idna->nameToASCII_UTF8(
        icu::StringPiece{wirt.data(), static_cast<std::int32_t>(wirt.size())}, senke, auskunft, fehler);
    if (U_FAILURE(fehler) || auskunft.hasErrors())
        return std::nullopt;
    return ergebnis;
}

bool istWirtsname(std::string_view wirt) {
    if (wirt.size() > 2 && wirt.front() == '[' && wirt.back() == ']') // IPv6
        return std::ranges::all_of(wirt.substr(1, wirt.size() - 2), [](char c) {
            return istBuchstabeOderZiffer(c) || c == ':' || c == '.';
        });
    return !wirt.empty() && std::ranges::all_of(wirt, [](char c) {
        return istBuchstabeOderZiffer(c) || c == '-' || c == '.' || c == '_';
    });
}

bool istAnschluss(std::string_view port) {
    return port.size() <= 5 && std::ranges::all_of(port, [](char c) { return c >= '0' && c <= '9'; }) &&
           (port.empty() || std::stoi(std::string{port}) <= 65535);
}

/// Blanks and what lies beyond ASCII in percent escapes; everything else stays and is judged by Adresse.
std::string mitEscapes(std::string_view text) {
    std::string ergebnis;
    for (char const c : text) {
        if (c == ' ' || static_cast<unsigned char>(c) >= 0x80)
            ergebnis += fmt::format("%{:02X}", static_cast<unsigned char>(c));
        else
            ergebnis += c;
    }
    return ergebnis;
}

std::string_view ohneVorsatz(std::string_view text) {
    for (auto const vorsatz : {sicher, std::string_view{"www."}})
        if (text.starts_with(vorsatz))
            text.remove_prefix(vorsatz.size());
    return text;
}

} // namespace

PortalAdresse::PortalAdresse(ports::Voreinstellungen& voreinstellungen, ports::Adressdialog& dialog)
    : voreinstellungen_(voreinstellungen)
    , dialog_(dialog) {}

std::optional<Adresse> PortalAdresse::normalisieren(std::string_view eingabe) {
    if (eingabe.size() > hoechsteLaenge || alsUtf8(eingabe) != eingabe)
        return std::nullopt;
    auto text = ohneRandleerraum(eingabe);
    if (text.empty() || hatSteuerzeichen(text))
        return std::nullopt;
    if (!text.contains("://"))
        text.insert(0, sicher);
    std::string_view rest = text;
    if (kleingeschrieben(rest.substr(0, sicher.size())) != sicher)
        return std::nullopt;
    rest.remove_prefix(sicher.size());
    auto const hoheit = rest.substr(0, rest.find_first_of("/?#"));
    rest.remove_prefix(hoheit.size());
    if (hoheit.contains('@')) // user, password
        return std::nullopt;
    auto const doppelpunkt = hoheit.starts_with('[')
                                 ? hoheit.find(':', std::min(hoheit.find(']'), hoheit.size()))
                                 : hoheit.find(':');
    auto const wirt = alsAscii(hoheit.substr(0, doppelpunkt));
    auto const port = doppelpunkt == std::string_view::npos ? std::string_view{} : hoheit.substr(doppelpunkt);
    if (!wirt || !istWirtsname(*wirt) || !istAnschluss(port.empty() ? port : port.substr(1)))
        return std::nullopt;
    return Adresse::lesen(fmt::format("{}{}{}{}", sicher, *wirt, port, mitEscapes(rest)));
}

std::vector<std::string> PortalAdresse::passende(
    std::vector<std::string> const& adressen, std::string_view text) {
    auto const getippt = kleingeschrieben(ohneRandleerraum(text));
    std::vector<std::string> treffer;
    std::ranges::copy_if(adressen, std::back_inserter(treffer), [&](std::string const& adresse) {
        auto const klein = kleingeschrieben(adresse);
        return klein.starts_with(getippt) || ohneVorsatz(klein).starts_with(ohneVorsatz(getippt));
    });
    return treffer;
}

std::vector<std::string> PortalAdresse::verlauf() {
    std::vector<std::string> adressen;
    for (auto const& text : voreinstellungen_.textliste(schluessel).value_or(std::vector<std::string>{})) {
        // Anyone may have written the list; more than we ever write is not ours.
        if (adressen.size() == hoechstensGemerkt)
            break;
        if (auto const adresse = normalisieren(text))
            adressen.push_back(adresse->text());
    }
    return adressen;
}

void PortalAdresse::merken(Adresse const& adresse) {
    auto adressen = verlauf();
    std::erase(adressen, adresse.text());
    adressen.insert(adressen.begin(), adresse.text());
    if (adressen.size() > hoechstensGemerkt)
        adressen.resize(hoechstensGemerkt);
    voreinstellungen_.setzeTextliste(schluessel, adressen);
}

std::optional<PortalZiel> PortalAdresse::auswaehlen(std::optional<std::string> const& name) {
    if (offen_)
        return std::nullopt;
    auto const bisherige = verlauf();
    auto const fuer = ersteZeichen(name.value_or(""), PortalZiel::hoechsterName);
    ports::Adressfrage const frage{
        .meldung = "Weiteres Anbieterportal öffnen",
        .erklaerung = "Die Adresse wird von dir in der App eingegeben und nicht von der Website vorgegeben. "
                      "Bereits verwendete Portale erscheinen beim nächsten Mal in dieser Liste.",
        .beanstandung = "Bitte gib eine vollständige HTTPS-Adresse ohne Benutzername oder Passwort ein, zum "
                        "Beispiel https://portal.example/.",
        .beschriftung = (fuer.empty() ? "Gib die Adresse des Rechnungsportals ein."
                                      : "Portal für " + fuer + ": Gib die Adresse ein.") +
                        std::string{" Es werden nur sichere HTTPS-Adressen geöffnet."},
        .platzhalter = "portal.example/rechnungen",
        .oeffnen = "Portal öffnen",
        .abbrechen = "Abbrechen",
        .bisherige = bisherige,
        .passende = [&bisherige](std::string const& text) { return passende(bisherige, text); },
        .annehmbar =
            [](std::string const& text) {
                return normalisieren(text).has_value();
            }};
    offen_ = true;
    auto const text = dialog_.fragen(frage);
    offen_ = false;
    auto const adresse = text ? normalisieren(*text) : std::nullopt;
    if (!adresse)
        return std::nullopt;
    merken(*adresse);
    return PortalZiel::weiteres(name.value_or(""), *adresse);
}

} // namespace quillmate::portal
