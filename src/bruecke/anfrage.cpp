#include "anfrage.h"

#include "aktionen.h"
#include "grundlage/adressteile.h"
#include "grundlage/json.h"
#include "grundlage/prozesswerte.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace quillmate::bruecke {

namespace {

constexpr std::string_view aktionsschluessel = "aktion";
constexpr std::string_view nummernschluessel = "id";

/// Whether anybody reads the top-level value of this key.
bool bekannt(std::string_view schluessel) {
    return schluessel == aktionsschluessel || schluessel == nummernschluessel || istAngabe(schluessel);
}

std::optional<std::int64_t> alsGanzzahl(double zahl) {
    // 2^63 is the first double beyond the range, -2^63 the last one within.
    constexpr double grenze = 9223372036854775808.0;
    if (!(zahl >= -grenze && zahl < grenze) || std::trunc(zahl) != zahl)
        return std::nullopt;
    return static_cast<std::int64_t>(zahl);
}

/// Keeps the known top-level values while the text is read; builds no tree, so depth and breadth of what a page
/// sends cost nothing.
class Leser final : public nlohmann::json_sax<FremdesJson> {
public:
    [[nodiscard]] Argumente& werte() { return werte_; }

    bool null() override { return wert(std::nullopt); }
    bool boolean(bool wahrheit) override { return wert(wahrheit); }
    bool number_integer(number_integer_t zahl) override { return wert(std::int64_t{zahl}); }
    bool number_unsigned(number_unsigned_t zahl) override {
        if (zahl > static_cast<number_unsigned_t>(std::numeric_limits<std::int64_t>::max()))
            return wert(std::nullopt);
        return wert(static_cast<std::int64_t>(zahl));
    }
    bool number_float(number_float_t zahl, string_t const& /*wieGeschrieben*/) override {
        if (auto const ganz = alsGanzzahl(zahl))
            return wert(*ganz);
        return wert(std::nullopt);
    }
    bool string(string_t& text) override {
        if (tiefe_ == 2 && liste_) {
            if (liste_->size() <= Argumente::hoechsteListe)
                liste_->push_back(std::move(text));
            return true;
        }
        if (tiefe_ != 1 || schluessel_.empty())
            return tiefe_ > 0;
        return wert(std::move(text));
    }
    bool binary(binary_t& /*bytes*/) override { return false; } // no JSON text has any

    bool start_object(std::size_t /*anzahl*/) override {
        keineListe();
        ++tiefe_;
        return true;
    }
    bool key(string_t& name) override {
        if (tiefe_ == 1) {
            schluessel_ = bekannt(name) ? std::move(name) : std::string{};
            werte_.entferne(schluessel_); // of two values for one key the last counts
        }
        return true;
    }
    bool end_object() override {
        --tiefe_;
        return true;
    }
    bool start_array(std::size_t /*anzahl*/) override {
        if (tiefe_ == 0)
            return false;
        keineListe();
        if (tiefe_ == 1 && !schluessel_.empty())
            liste_.emplace();
        ++tiefe_;
        return true;
    }
    bool end_array() override {
        --tiefe_;
        if (tiefe_ == 1 && liste_)
            werte_.setze(schluessel_, *std::move(liste_));
        if (tiefe_ == 1)
            liste_.reset();
        return true;
    }
    bool parse_error(
        std::size_t /*stelle*/, std::string const& /*zeichen*/,
        nlohmann::detail::exception const& /*fehler*/) override {
        return false;
    }

private:
    /// A scalar. False ends the reading: the message is no object.
    bool wert(std::optional<Argumente::Wert> neuer) {
        keineListe();
        if (tiefe_ == 1 && !schluessel_.empty() && neuer)
            werte_.setze(schluessel_, *std::move(neuer));
        return tiefe_ > 0;
    }
    /// What now comes inside of a list is no text, so it is no list of texts.
    void keineListe() {
        if (tiefe_ == 2)
            liste_.reset();
    }

    Argumente werte_;
    std::size_t tiefe_{0};
    std::string
        schluessel_; ///< Of the top-level value that is being read; empty for one that nobody asks for.
    std::optional<Argumente::Liste>
        liste_; ///< The top-level list that is being read, as long as it may be one.
};

/// As engines write it: the port only where it is not the scheme's own.
std::string ursprung(Adressteile const& teile) {
    auto text = teile.schema + "://" + teile.wirt.value_or("");
    if (teile.port && Adressteile{.schema = teile.schema}.wirksamerPort() != teile.port)
        text += ':' + std::to_string(*teile.port);
    return text;
}

/// Half a surrogate pair, which a page gets by cutting a text in the middle of a character, as U+FFFD. The page writes it
/// as an escape:
/// it can say nothing else, and no reader of JSON takes it. Everything else as it is.
std::string mitGanzenZeichen(std::string_view json) {
    std::string text{json};
    auto const codeBei = [&text](std::size_t stelle) -> unsigned {
        unsigned code = 0;
        if (stelle + 6 > text.size() || text[stelle] != '\\' || text[stelle + 1] != 'u')
            return 0;
        auto const* const ende = text.data() + stelle + 6;
        auto const [danach, fehler] = std::from_chars(text.data() + stelle + 2, ende, code, 16);
        return fehler == std::errc{} && danach == ende ? code : 0;
    };
    for (auto stelle = text.find('\\'); stelle != std::string::npos; stelle = text.find('\\', stelle)) {
        auto const code = codeBei(stelle);
        bool const hoch = code >= 0xD800 && code < 0xDC00;
        auto const naechster = hoch ? codeBei(stelle + 6) : 0;
        if (naechster >= 0xDC00 && naechster < 0xE000) {
            stelle += 12;
            continue;
        }
        if (hoch || (code >= 0xDC00 && code < 0xE000))
            text.replace(stelle, 6, "\\ufffd");
        stelle += 2; // also past the second of two backslashes
    }
    return text;
}

} // namespace

template<typename Typ>
Typ const* Argumente::suche(std::string_view schluessel) const {
    auto const eintrag = werte_.find(schluessel);
    return eintrag == werte_.end() ? nullptr : std::get_if<Typ>(&eintrag->second);
}

std::optional<std::string> Argumente::text(std::string_view schluessel) const {
    auto const* const wert = suche<std::string>(schluessel);
    return wert ? std::optional{*wert} : std::nullopt;
}

std::optional<std::string> Argumente::nichtleererText(std::string_view schluessel) const {
    auto const* const wert = suche<std::string>(schluessel);
    return wert && !wert->empty() ? std::optional{*wert} : std::nullopt;
}

std::optional<std::int64_t> Argumente::ganzzahl(std::string_view schluessel) const {
    auto const* const wert = suche<std::int64_t>(schluessel);
    return wert ? std::optional{*wert} : std::nullopt;
}

bool Argumente::wahr(std::string_view schluessel) const {
    auto const* const wert = suche<bool>(schluessel);
    return wert && *wert;
}

std::optional<Argumente::Liste> Argumente::liste(std::string_view schluessel) const {
    auto const* const wert = suche<Liste>(schluessel);
    if (!wert)
        return Liste{};
    return wert->size() <= hoechsteListe ? std::optional{*wert} : std::nullopt;
}

void Argumente::setze(std::string schluessel, Wert wert) {
    werte_.insert_or_assign(std::move(schluessel), std::move(wert));
}

void Argumente::entferne(std::string_view schluessel) {
    if (auto const eintrag = werte_.find(schluessel); eintrag != werte_.end())
        werte_.erase(eintrag);
}

std::optional<Nachricht> entschluesseln(std::string_view json) {
    if (json.empty() || json.size() > hoechsteNachricht)
        return std::nullopt;
    Leser leser;
    if (!FremdesJson::sax_parse(mitGanzenZeichen(json), &leser))
        return std::nullopt;
    auto aktion = leser.werte().text(aktionsschluessel);
    auto const id = leser.werte().ganzzahl(nummernschluessel);
    if (!aktion || !id)
        return std::nullopt;
    return Nachricht{.aktion = *std::move(aktion), .id = *id, .argumente = std::move(leser.werte())};
}

bool darfSprechen(ports::Absender const& absender, Adresse const& start) {
    auto const seite = Adressteile::lesen(absender.dokument);
    // Another origin: of a window that the page opened, or of a document whose place this one has just taken.
    if (!seite || !seite->wirt || absender.ursprung != ursprung(*seite))
        return false;
    if (seite->schema == "https" && seite->wirksamerPort() == 443 && eigeneHosts().contains(*seite->wirt))
        return true;
    auto const anfang = Adressteile::lesen(start.text());
    return anfang && seite->schema == anfang->schema && seite->wirt == anfang->wirt &&
           seite->wirksamerPort() == anfang->wirksamerPort();
}

} // namespace quillmate::bruecke
