// From the bottom up: characters, hosts, then the three ways in, which all end in webAdresse() or undurchsichtige().
// libcurl has the last word on every web address: it is what sends, so what is judged here must be what it reads.
#include "adresse.h"

#include "text.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <fmt/format.h>
#include <unicode/idna.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <utility>

namespace quillmate {

namespace {

// ------------------------------------------------------------------------------------------------ characters

constexpr bool istBuchstabe(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr bool istZiffer(char c) {
    return c >= '0' && c <= '9';
}
constexpr bool istAscii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}
constexpr bool istUnreserviert(char c) {
    return istBuchstabe(c) || istZiffer(c) || std::string_view{"-._~"}.contains(c);
}
// RFC 3986 section 2: unreserved and reserved characters; "%" is looked at on its own.
constexpr bool darfInAdresse(char c) {
    return istUnreserviert(c) || std::string_view{":/?#[]@!$&'()*+,;="}.contains(c);
}

std::optional<unsigned> hexziffer(char c) {
    if (istZiffer(c))
        return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a') + 10;
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A') + 10;
    return std::nullopt;
}

bool istEscape(std::string_view text, std::size_t stelle) {
    return stelle + 2 < text.size() && hexziffer(text[stelle + 1]) && hexziffer(text[stelle + 2]);
}

void haengeEscapeAn(std::string& text, char c) {
    constexpr std::string_view ziffern = "0123456789ABCDEF";
    auto const byte = static_cast<unsigned char>(c);
    text += '%';
    text += ziffern[byte >> 4U];
    text += ziffern[byte & 0xFU];
}

std::string kleinAscii(std::string_view text) {
    std::string ergebnis{text};
    std::ranges::transform(ergebnis, ergebnis.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return ergebnis;
}

/// Whether the text holds nothing but characters of addresses and whole escapes.
bool istRegelrecht(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] == '%' ? !istEscape(text, i) : !darfInAdresse(text[i]))
            return false;
    return true;
}

/// `escapen` says of which forbidden characters an escape is made; the rest stays for webAdresse() to refuse.
template<typename Regel>
std::string mitEscapes(std::string_view text, Regel escapen) {
    std::string ergebnis;
    ergebnis.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool const erlaubt = text[i] == '%' ? istEscape(text, i) : darfInAdresse(text[i]);
        if (!erlaubt && escapen(text[i]))
            haengeEscapeAn(ergebnis, text[i]);
        else
            ergebnis += text[i];
    }
    return ergebnis;
}

/// What a message may show of a text: nothing, for it may hold a password or a token.
std::unexpected<Fehler> falsch(std::string_view satz) {
    return fehler(Fehlerart::falscheForm, {}, satz);
}

/// Position of the ":" behind a scheme.
std::optional<std::size_t> schemaende(std::string_view text) {
    auto const stelle = text.find(':');
    if (stelle == std::string_view::npos || stelle == 0 || !istBuchstabe(text.front()))
        return std::nullopt;
    auto const ordentlich = [](char c) {
        return istBuchstabe(c) || istZiffer(c) || c == '+' || c == '-' || c == '.';
    };
    return std::ranges::all_of(text.substr(0, stelle), ordentlich) ? std::optional{stelle} : std::nullopt;
}

constexpr bool istWebschema(std::string_view schema) {
    return schema == "https" || schema == "http";
}

constexpr std::uint16_t ueblicherAnschluss(std::string_view schema) {
    return schema == "https" ? 443 : 80;
}

// ------------------------------------------------------------------------------------------------ hosts

/// The host in the letters that addresses have: "müller.example" becomes "xn--mller-kva.example".
std::optional<std::string> alsIdna(std::string_view wirt) {
    UErrorCode fehler = U_ZERO_ERROR;
    std::unique_ptr<icu::IDNA> const idna{icu::IDNA::createUTS46Instance(
        UIDNA_NONTRANSITIONAL_TO_ASCII | UIDNA_NONTRANSITIONAL_TO_UNICODE | UIDNA_USE_STD3_RULES |
            UIDNA_CHECK_BIDI | UIDNA_CHECK_CONTEXTJ,
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

/// RFC 5952 as engines write it: always in hexadecimal, also where IPv4 is embedded.
std::string alsIpv6Text(in6_addr const& adresse) {
    std::array<unsigned, 8> gruppen{};
    for (std::size_t i = 0; i < gruppen.size(); ++i)
        gruppen.at(i) = static_cast<unsigned>(adresse.s6_addr[2 * i]) << 8U | adresse.s6_addr[2 * i + 1];
    std::size_t luecke = gruppen.size();
    std::size_t laenge = 1; // a single zero group is written out
    for (std::size_t i = 0; i < gruppen.size(); ++i) {
        std::size_t n = 0;
        while (i + n < gruppen.size() && gruppen.at(i + n) == 0)
            ++n;
        if (n > laenge) {
            luecke = i;
            laenge = n;
        }
        i += n;
    }
    std::string text = "[";
    for (std::size_t i = 0; i < gruppen.size(); ++i) {
        if (i == luecke) {
            text += i == 0 ? "::" : ":";
            i += laenge - 1;
            continue;
        }
        text += fmt::format("{:x}", gruppen.at(i));
        if (i + 1 < gruppen.size())
            text += ':';
    }
    return text + ']';
}

std::optional<std::string> ipv6Wirt(std::string_view wirt) {
    in6_addr adresse{};
    if (!wirt.starts_with('[') || wirt.size() < 4 || wirt.back() != ']' || wirt.contains('%') ||
        ::inet_pton(AF_INET6, std::string{wirt.substr(1, wirt.size() - 2)}.c_str(), &adresse) != 1)
        return std::nullopt;
    return alsIpv6Text(adresse);
}

/// Whether engines take the host for an IPv4 address in some notation: its last label is a number.
bool endetMitZahl(std::string_view wirt) {
    if (wirt.ends_with('.'))
        wirt.remove_suffix(1);
    auto const letzte = wirt.substr(wirt.rfind('.') + 1); // npos + 1 is 0
    if (letzte.empty())
        return false;
    if (std::ranges::all_of(letzte, istZiffer))
        return true;
    return letzte.starts_with("0x") &&
           std::ranges::all_of(letzte.substr(2), [](char c) { return hexziffer(c).has_value(); });
}

/// Four decimal numbers and nothing else: of other notations ("2130706433", "0x7f.1") each reader makes its own.
bool istIpv4(std::string_view wirt) {
    in_addr adresse{};
    std::array<char, INET_ADDRSTRLEN> text{};
    return ::inet_pton(AF_INET, std::string{wirt}.c_str(), &adresse) == 1 &&
           ::inet_ntop(AF_INET, &adresse, text.data(), text.size()) && wirt == text.data();
}

bool istName(std::string_view wirt) {
    constexpr std::size_t hoechsterName = 253;
    constexpr std::size_t hoechsteMarke = 63;
    if (wirt.ends_with('.'))
        wirt.remove_suffix(1);
    if (wirt.empty() || wirt.size() > hoechsterName)
        return false;
    std::size_t laenge = 0;
    for (char const c : wirt) {
        if (c == '.') {
            if (laenge == 0)
                return false;
            laenge = 0;
        } else if (!(istBuchstabe(c) || istZiffer(c) || c == '-' || c == '_') || ++laenge > hoechsteMarke) {
            return false;
        }
    }
    return laenge > 0;
}

/// The one form of a web address's host; nothing when readers could disagree about it.
std::optional<std::string> einheitlicherWirt(std::string_view roh) {
    if (roh.starts_with('['))
        return ipv6Wirt(roh);
    auto wirt = kleinAscii(roh);
    // Also what claims to be IDNA already: "xn--" and rubbish is a host for libcurl and none for an engine.
    if (!std::ranges::all_of(wirt, istAscii) || wirt.contains("xn--")) {
        auto idna = alsIdna(wirt);
        if (!idna)
            return std::nullopt;
        wirt = *std::move(idna);
    }
    if (!istName(wirt) || (endetMitZahl(wirt) && !istIpv4(wirt)))
        return std::nullopt;
    return wirt;
}

struct Hoheit {
    std::string_view wirt;
    std::optional<std::uint16_t> anschluss;
};

/// Host and port of "host:port"; nothing when the port cannot be one.
std::optional<Hoheit> hoheitTeilen(std::string_view hoheit) {
    auto const klammer = hoheit.starts_with('[') ? hoheit.find(']') : 0;
    if (klammer == std::string_view::npos)
        return std::nullopt;
    auto const doppelpunkt = hoheit.find(':', klammer);
    Hoheit teile{.wirt = hoheit.substr(0, doppelpunkt), .anschluss = {}};
    if (doppelpunkt == std::string_view::npos || doppelpunkt + 1 == hoheit.size())
        return teile;
    auto const ziffern = hoheit.substr(doppelpunkt + 1);
    std::uint16_t anschluss = 0;
    auto const* const ende = ziffern.data() + ziffern.size();
    auto const [bis, fehlercode] = std::from_chars(ziffern.data(), ende, anschluss);
    if (fehlercode != std::errc{} || bis != ende || anschluss == 0)
        return std::nullopt;
    teile.anschluss = anschluss;
    return teile;
}

// ------------------------------------------------------------------------------------------------ libcurl

class Curladresse {
public:
    /// Reads the address as the sender does.
    explicit Curladresse(std::string const& text)
        : teile_(curl_url(), &curl_url_cleanup) {
        lesbar_ = teile_ && curl_url_set(teile_.get(), CURLUPART_URL, text.c_str(), 0) == CURLUE_OK;
    }
    [[nodiscard]] std::optional<std::string> teil(CURLUPart welcher, unsigned wie = 0) const {
        char* roh = nullptr;
        if (!lesbar_ || curl_url_get(teile_.get(), welcher, &roh, wie) != CURLUE_OK)
            return std::nullopt;
        std::string text{roh};
        curl_free(roh);
        return text;
    }

private:
    std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> teile_;
    bool lesbar_{false};
};

std::string abfragetext(std::vector<Posten> const& posten) {
    std::string text;
    for (auto const& einer : posten) {
        if (&einer != &posten.front())
            text += '&';
        text += einer.roh();
    }
    return text;
}

/// Cuts off what follows `zeichen`.
std::optional<std::string> abtrennen(std::string_view& text, char zeichen) {
    auto const stelle = text.find(zeichen);
    if (stelle == std::string_view::npos)
        return std::nullopt;
    std::string rest{text.substr(stelle + 1)};
    text = text.substr(0, stelle);
    return rest;
}

} // namespace

// ---------------------------------------------------------------------------------------------------- reading

Ergebnis<Adresse> Adresse::lesen(std::string_view text) {
    if (text.size() > hoechsteLaenge)
        return fehler(Fehlerart::zuGross, {}, "Die Adresse ist zu lang");
    auto const doppelpunkt = schemaende(text);
    if (!doppelpunkt)
        return falsch("Die Adresse hat kein Schema");
    if (istWebschema(kleinAscii(text.substr(0, *doppelpunkt))))
        return webAdresse(text, *doppelpunkt);
    if (!istRegelrecht(text.substr(*doppelpunkt)))
        return falsch("Die Adresse enthält Zeichen, die keine Adresse hat");
    return undurchsichtige(text, *doppelpunkt);
}

Ergebnis<Adresse> Adresse::webAdresse(std::string_view text, std::size_t doppelpunkt) {
    Adresse adresse;
    adresse.schema_ = kleinAscii(text.substr(0, doppelpunkt));
    auto rest = text.substr(doppelpunkt + 1);
    if (!rest.starts_with("//"))
        return falsch("Die Adresse hat keinen Server");
    rest.remove_prefix(2);
    auto const hoheit = rest.substr(0, rest.find_first_of("/?#\\"));
    rest.remove_prefix(hoheit.size());
    if (!istRegelrecht(rest)) // "\" too, which is "/" to some
        return falsch("Die Adresse enthält Zeichen, die keine Adresse hat");
    if (hoheit.contains('@'))
        return falsch("Die Adresse enthält einen Benutzernamen");
    auto const teile = hoheitTeilen(hoheit);
    adresse.wirt_ = teile ? einheitlicherWirt(teile->wirt) : std::nullopt;
    if (!adresse.wirt_)
        return falsch("Die Adresse hat keinen eindeutigen Server");
    if (teile->anschluss != ueblicherAnschluss(adresse.schema_))
        adresse.anschluss_ = teile->anschluss;
    adresse.bruchstueck_ = abtrennen(rest, '#');
    adresse.abfrage_ = abtrennen(rest, '?');
    adresse.pfad_ = rest;
    adresse.zusammensetzen();

    Curladresse const curl{adresse.text_};
    auto const wirt = curl.teil(CURLUPART_HOST);
    auto const anschluss = curl.teil(CURLUPART_PORT, CURLU_DEFAULT_PORT);
    auto const pfad = curl.teil(CURLUPART_PATH);
    bool const gleicherWirt =
        wirt && (wirt->starts_with('[') ? ipv6Wirt(*wirt) == adresse.wirt_ : *wirt == *adresse.wirt_);
    if (!gleicherWirt || curl.teil(CURLUPART_SCHEME) != adresse.schema_ || !pfad ||
        anschluss != std::to_string(*adresse.wirksamerAnschluss()) || curl.teil(CURLUPART_USER))
        return falsch("Die Adresse ist nicht eindeutig");
    if (!adresse.pfad_.empty() && adresse.pfad_ != *pfad) {
        adresse.pfad_ = *pfad; // without dot segments
        adresse.zusammensetzen();
    }
    return adresse;
}

Adresse Adresse::undurchsichtige(std::string_view text, std::size_t doppelpunkt) {
    Adresse adresse;
    adresse.text_ = text;
    adresse.schema_ = kleinAscii(text.substr(0, doppelpunkt));
    auto rest = text.substr(doppelpunkt + 1);
    adresse.bruchstueck_ = abtrennen(rest, '#');
    adresse.abfrage_ = abtrennen(rest, '?');
    if (rest.starts_with("//")) {
        auto const hoheit = rest.substr(2, std::min(rest.find('/', 2), rest.size()) - 2);
        rest.remove_prefix(2 + hoheit.size());
        auto const teile = hoheit.contains('@') ? std::nullopt : hoheitTeilen(hoheit);
        if (teile && (istName(teile->wirt) || ipv6Wirt(teile->wirt))) {
            adresse.wirt_ = teile->wirt;
            adresse.anschluss_ = teile->anschluss;
        }
    }
    adresse.pfad_ = rest;
    return adresse;
}

Ergebnis<Adresse> Adresse::vomMotor(std::string_view text) {
    if (text.size() > hoechsteLaenge)
        return fehler(Fehlerart::zuGross, {}, "Die Adresse ist zu lang");
    auto const doppelpunkt = schemaende(text);
    if (!doppelpunkt)
        return falsch("Die Adresse hat kein Schema");
    // Escapes begin behind the host: before it they could only hide what the host is. A "\" before the query never
    // comes from an engine, which has made a "/" of it.
    auto anfang = *doppelpunkt + 1;
    bool const web = istWebschema(kleinAscii(text.substr(0, *doppelpunkt)));
    if (text.substr(anfang).starts_with("//"))
        anfang = std::min(text.find_first_of("/?#\\", anfang + 2), text.size());
    auto const abfrage = std::min(text.find_first_of("?#", anfang), text.size());
    // Engines strip or escape blanks and control characters; what holds some comes from elsewhere.
    auto const imPfad = [web](char c) {
        return static_cast<unsigned char>(c) > 0x20 && c != 0x7F && !(web && c == '\\');
    };
    auto const dahinter = [](char c) {
        return static_cast<unsigned char>(c) > 0x20 && c != 0x7F;
    };
    std::string regelrecht{text.substr(0, anfang)};
    regelrecht += mitEscapes(text.substr(anfang, abfrage - anfang), imPfad);
    regelrecht += mitEscapes(text.substr(abfrage), dahinter);
    return lesen(regelrecht);
}

Ergebnis<Adresse> Adresse::getippt(std::string_view eingabe) {
    constexpr std::string_view sicher = "https://";
    if (eingabe.size() > hoechsteGetippte)
        return fehler(Fehlerart::zuGross, {}, "Die Adresse ist zu lang");
    if (alsUtf8(eingabe) != eingabe)
        return falsch("Die Adresse ist kein Text");
    auto text = ohneRandleerraum(eingabe);
    if (text.empty() || hatSteuerzeichen(text))
        return falsch("Die Adresse ist leer oder enthält Steuerzeichen");
    if (!text.contains("://"))
        text.insert(0, sicher);
    if (kleinAscii(std::string_view{text}.substr(0, sicher.size())) != sicher)
        return fehler(Fehlerart::nichtErlaubt, {}, "Die Adresse beginnt nicht mit https://");
    auto const anfang = std::min(text.find_first_of("/?#\\", sicher.size()), text.size());
    auto const getipptes = [](char c) {
        return c == ' ' || !istAscii(c);
    };
    return lesen(text.substr(0, anfang) + mitEscapes(std::string_view{text}.substr(anfang), getipptes));
}

// ------------------------------------------------------------------------------------------------------ parts

std::string Adresse::anfang() const {
    return schema_ + "://" + *wirt_ + (anschluss_ ? ':' + std::to_string(*anschluss_) : std::string{});
}

void Adresse::zusammensetzen() {
    text_ = anfang() + pfad_;
    if (abfrage_)
        text_ += '?' + *abfrage_;
    if (bruchstueck_)
        text_ += '#' + *bruchstueck_;
}

std::optional<std::uint16_t> Adresse::wirksamerAnschluss() const noexcept {
    if (anschluss_ || !istWeb())
        return anschluss_;
    return ueblicherAnschluss(schema_);
}

std::string Adresse::lesbarerPfad() const {
    return ohneProzent(pfad_);
}

std::vector<Posten> Adresse::posten() const {
    std::vector<Posten> posten;
    std::string_view rest = abfrage_ ? std::string_view{*abfrage_} : std::string_view{};
    while (!rest.empty()) {
        auto const ende = std::min(rest.find('&'), rest.size());
        posten.push_back(Posten::geschrieben(rest.substr(0, ende)));
        rest.remove_prefix(std::min(ende + 1, rest.size()));
    }
    return posten;
}

bool Adresse::istWeb() const noexcept {
    return istWebschema(schema_);
}

bool Adresse::istSicher() const noexcept {
    return schema_ == "https";
}

bool Adresse::istSchleife() const noexcept {
    // A host that begins with "127." and is no IPv4 address is a name ("127.0.0.1.fremd.example").
    return istWeb() && (*wirt_ == "localhost" || *wirt_ == "[::1]" ||
                        (wirt_->starts_with("127.") && endetMitZahl(*wirt_)));
}

std::optional<Ursprung> Adresse::ursprung() const {
    if (!istWeb())
        return std::nullopt;
    return Ursprung{.schema = schema_, .wirt = *wirt_, .anschluss = *wirksamerAnschluss()};
}

Ergebnis<Adresse> Adresse::mit(std::string_view pfad) const {
    if (!wirt_)
        return falsch("Die Adresse hat keinen Server");
    if (!pfad.empty() && !pfad.starts_with('/')) // would become a part of the host
        return falsch("Der Pfad beginnt nicht mit „/“");
    if (pfad.find_first_of("?#") != std::string_view::npos)
        return falsch("Der Pfad enthält mehr als einen Pfad");
    return lesen(anfang() + std::string{pfad});
}

Ergebnis<Adresse> Adresse::mit(std::string_view pfad, std::vector<Posten> const& posten) const {
    auto adresse = mit(pfad);
    return adresse ? adresse->mitPosten(posten) : adresse;
}

Ergebnis<Adresse> Adresse::darunter(std::string_view pfad, std::vector<Posten> const& posten) const {
    auto eigener = pfad_;
    if (eigener.ends_with('/'))
        eigener.pop_back();
    return mit(eigener + std::string{pfad}, posten);
}

Ergebnis<Adresse> Adresse::mitPosten(std::vector<Posten> const& posten) const {
    auto text = text_.substr(0, text_.find_first_of("?#")) + '?' + abfragetext(posten);
    if (bruchstueck_)
        text += '#' + *bruchstueck_;
    return lesen(text);
}

Adresse Adresse::ohnePosten() const {
    auto kurz = *this;
    kurz.abfrage_.reset();
    kurz.bruchstueck_.reset();
    kurz.text_ = text_.substr(0, text_.find_first_of("?#"));
    return kurz;
}

// ----------------------------------------------------------------------------------------------- small values

Ergebnis<Ursprung> Ursprung::lesen(std::string_view text) {
    auto const adresse = Adresse::lesen(text);
    if (!adresse)
        return std::unexpected(adresse.error());
    auto const ursprung = adresse->ursprung();
    if (!ursprung || !adresse->pfad().empty() || adresse->abfrage() || adresse->bruchstueck())
        return falsch("Das ist kein Ursprung");
    return *ursprung;
}

std::string Ursprung::text() const {
    auto text = schema + "://" + wirt;
    if (anschluss != ueblicherAnschluss(schema))
        text += ':' + std::to_string(anschluss);
    return text;
}

Posten::Posten(std::string_view name, std::string_view wert)
    : name_(name)
    , wert_(std::string{wert})
    , roh_(mitProzent(name) + '=' + mitProzent(wert)) {}

Posten Posten::geschrieben(std::string_view roh) {
    Posten posten;
    posten.roh_ = roh;
    auto const gleich = roh.find('=');
    posten.name_ = ohneProzent(roh.substr(0, gleich));
    if (gleich != std::string_view::npos)
        posten.wert_ = ohneProzent(roh.substr(gleich + 1));
    return posten;
}

std::string schemaVon(std::string_view text) {
    auto const ende = schemaende(text);
    return ende ? kleinAscii(text.substr(0, *ende)) : std::string{};
}

std::string ohneProzent(std::string_view text) {
    std::string ergebnis;
    ergebnis.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && istEscape(text, i)) {
            ergebnis += static_cast<char>(*hexziffer(text[i + 1]) * 16 + *hexziffer(text[i + 2]));
            i += 2;
        } else {
            ergebnis += text[i];
        }
    }
    return ergebnis;
}

std::string mitProzent(std::string_view text) {
    std::string ergebnis;
    ergebnis.reserve(text.size());
    for (char const c : text) {
        if (istUnreserviert(c))
            ergebnis += c;
        else
            haengeEscapeAn(ergebnis, c);
    }
    return ergebnis;
}

} // namespace quillmate
