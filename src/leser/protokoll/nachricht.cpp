#include "nachricht.h"

#include "grundlage/text.h"

#include <algorithm>

namespace quillmate::leser::protokoll {

namespace {

// Program and reader come from the same build; after an update under a running program they may not.
constexpr std::uint8_t fassung = 2;

enum class Botschaft : std::uint8_t { bereitschaft = 1, auftrag = 2, antwort = 3, geburt = 4 };

// Bits of the first detail of a Bereitschaft.
constexpr std::uint8_t riegelLandlock = 1;
constexpr std::uint8_t riegelSeccomp = 2;
constexpr std::uint8_t riegelSpeicher = 4;

struct Kopf {
    Botschaft botschaft{};
    std::uint32_t nummer{0};
    std::uint8_t erstes{0};
    std::uint8_t zweites{0};
    std::uint32_t laenge{0};
};

void zahlSetzen(Kopfbytes& bytes, std::size_t stelle, std::uint32_t zahl) {
    for (std::size_t i = 0; i < 4; ++i)
        bytes.at(stelle + i) = static_cast<std::uint8_t>(zahl >> (8U * i));
}

std::uint32_t zahl(std::span<std::uint8_t const> bytes, std::size_t stelle) {
    std::uint32_t wert = 0;
    for (std::size_t i = 0; i < 4; ++i)
        wert |= static_cast<std::uint32_t>(bytes[stelle + i]) << (8U * i);
    return wert;
}

Kopfbytes alsBytes(Kopf const& kopf) {
    Kopfbytes bytes{};
    bytes[0] = 'Q';
    bytes[1] = 'L';
    bytes[2] = fassung;
    bytes[3] = static_cast<std::uint8_t>(kopf.botschaft);
    zahlSetzen(bytes, 4, kopf.nummer);
    bytes[8] = kopf.erstes;
    bytes[9] = kopf.zweites;
    zahlSetzen(bytes, 12, kopf.laenge);
    return bytes;
}

std::optional<Kopf> kopfAus(std::span<std::uint8_t const> bytes, Botschaft botschaft) {
    if (bytes.size() != kopfBytes || bytes[0] != 'Q' || bytes[1] != 'L' || bytes[2] != fassung ||
        bytes[3] != static_cast<std::uint8_t>(botschaft) || bytes[10] != 0 || bytes[11] != 0)
        return std::nullopt;
    return Kopf{
        .botschaft = botschaft,
        .nummer = zahl(bytes, 4),
        .erstes = bytes[8],
        .zweites = bytes[9],
        .laenge = zahl(bytes, 12)};
}

/// The kinds of outcome that a child may tell; what became of the child itself is not for it to say.
std::optional<Texterkennung::Lesung::Art> lesungsart(std::uint8_t wert) {
    for (auto const art :
         {Texterkennung::Lesung::Art::gelesen, Texterkennung::Lesung::Art::ohneMotor,
          Texterkennung::Lesung::Art::ohneMittel, Texterkennung::Lesung::Art::gestoert})
        if (static_cast<std::uint8_t>(art) == wert)
            return art;
    return std::nullopt;
}

/// The longest beginning of valid UTF-8 that has at most `hoechstens` bytes and splits no code point.
std::string_view gekuerzt(std::string_view text, std::size_t hoechstens) {
    if (text.size() <= hoechstens)
        return text;
    auto ende = hoechstens;
    while (ende > 0 && (static_cast<std::uint8_t>(text[ende]) & 0xC0U) == 0x80U)
        --ende;
    return text.substr(0, ende);
}

} // namespace

Kopfbytes alsBytes(Bereitschaft const& bereitschaft) {
    auto const& riegel = bereitschaft.riegel;
    return alsBytes(Kopf{
        .botschaft = Botschaft::bereitschaft,
        .erstes = static_cast<std::uint8_t>(bereitschaft.sprachstand),
        .zweites = static_cast<std::uint8_t>(
            (riegel.landlock ? riegelLandlock : 0U) | (riegel.seccomp ? riegelSeccomp : 0U) |
            (riegel.speichergrenze ? riegelSpeicher : 0U))});
}

Kopfbytes alsBytes(Auftrag const& auftrag) {
    return alsBytes(Kopf{
        .botschaft = Botschaft::auftrag,
        .nummer = auftrag.nummer,
        .erstes = static_cast<std::uint8_t>(auftrag.art)});
}

Kopfbytes alsBytes(Geburt const& geburt) {
    return alsBytes(Kopf{
        .botschaft = Botschaft::geburt,
        .nummer = geburt.nummer,
        .erstes = static_cast<std::uint8_t>(geburt.fehler),
        .laenge = static_cast<std::uint32_t>(geburt.pid)});
}

std::string antwortBytes(std::uint32_t nummer, Texterkennung::Lesung const& lesung) {
    auto const ganzer = lesung.text ? alsUtf8(*lesung.text) : std::string{};
    auto const text = gekuerzt(ganzer, hoechstensTextBytes);
    auto const kopf = alsBytes(Kopf{
        .botschaft = Botschaft::antwort,
        .nummer = nummer,
        .erstes = static_cast<std::uint8_t>(lesung.art),
        .zweites = static_cast<std::uint8_t>(lesung.text ? 1 : 0),
        .laenge = static_cast<std::uint32_t>(text.size())});
    std::string bytes{kopf.begin(), kopf.end()};
    bytes += text;
    return bytes;
}

std::optional<Bereitschaft> bereitschaftAus(std::span<std::uint8_t const> bytes) {
    auto const kopf = kopfAus(bytes, Botschaft::bereitschaft);
    constexpr auto alleRiegel = riegelLandlock | riegelSeccomp | riegelSpeicher;
    if (!kopf || kopf->nummer != 0 || kopf->laenge != 0 || kopf->zweites > alleRiegel ||
        kopf->erstes > static_cast<std::uint8_t>(Texterkennung::Sprachstand::unbrauchbar))
        return std::nullopt;
    return Bereitschaft{
        .sprachstand = static_cast<Texterkennung::Sprachstand>(kopf->erstes),
        .riegel = {
            .landlock = (kopf->zweites & riegelLandlock) != 0,
            .seccomp = (kopf->zweites & riegelSeccomp) != 0,
            .speichergrenze = (kopf->zweites & riegelSpeicher) != 0}};
}

std::optional<Auftrag> auftragAus(std::span<std::uint8_t const> bytes) {
    auto const kopf = kopfAus(bytes, Botschaft::auftrag);
    if (!kopf || kopf->zweites != 0 || kopf->laenge != 0)
        return std::nullopt;
    for (auto const art : {Texterkennung::Dateiart::pdf, Texterkennung::Dateiart::bild})
        if (static_cast<std::uint8_t>(art) == kopf->erstes)
            return Auftrag{kopf->nummer, art};
    return std::nullopt;
}

std::optional<Geburt> geburtAus(std::span<std::uint8_t const> bytes) {
    auto const kopf = kopfAus(bytes, Botschaft::geburt);
    constexpr std::uint32_t hoechstePid = 1U << 22U; // The kernel's own limit.
    if (!kopf || kopf->zweites != 0 || kopf->laenge > hoechstePid ||
        (kopf->laenge == 0) == (kopf->erstes == 0))
        return std::nullopt;
    return Geburt{kopf->nummer, static_cast<std::int32_t>(kopf->laenge), kopf->erstes};
}

std::size_t AntwortEingang::noch() const noexcept {
    if (stand_ != Stand::offen)
        return 0;
    return kopfDa_ < kopfBytes ? kopfBytes - kopfDa_ : laenge_ - text_.size();
}

bool AntwortEingang::kopfNehmen() {
    auto const kopf = kopfAus(kopf_, Botschaft::antwort);
    if (!kopf || kopf->nummer != nummer_ || kopf->zweites > 1 || kopf->laenge > hoechstensTextBytes ||
        (kopf->zweites == 0 && kopf->laenge > 0))
        return false;
    auto const art = lesungsart(kopf->erstes);
    if (!art)
        return false;
    lesung_.art = *art;
    if (kopf->zweites == 1)
        lesung_.text.emplace();
    laenge_ = kopf->laenge;
    return true;
}

bool AntwortEingang::textNehmen() {
    if (alsUtf8(text_) != text_)
        return false;
    if (lesung_.text)
        lesung_.text = std::move(text_);
    return true;
}

AntwortEingang::Stand AntwortEingang::nimm(std::span<std::uint8_t const> bytes) {
    while (!bytes.empty() && stand_ == Stand::offen) {
        if (kopfDa_ < kopfBytes) {
            auto const anzahl = std::min(bytes.size(), kopfBytes - kopfDa_);
            std::ranges::copy(bytes.first(anzahl), kopf_.begin() + static_cast<std::ptrdiff_t>(kopfDa_));
            kopfDa_ += anzahl;
            bytes = bytes.subspan(anzahl);
            if (kopfDa_ < kopfBytes)
                break;
            if (!kopfNehmen())
                stand_ = Stand::falsch;
        } else {
            auto const anzahl = std::min(bytes.size(), laenge_ - text_.size());
            text_.append(reinterpret_cast<char const*>(bytes.data()), anzahl);
            bytes = bytes.subspan(anzahl);
        }
        if (stand_ == Stand::offen && kopfDa_ == kopfBytes && text_.size() == laenge_)
            stand_ = textNehmen() ? Stand::fertig : Stand::falsch;
    }
    if (!bytes.empty())
        stand_ = Stand::falsch;
    return stand_;
}

} // namespace quillmate::leser::protokoll
