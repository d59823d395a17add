#include "antworten.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace quillmate::dienst {

namespace {

std::unexpected<Fehler> unlesbar() {
    return fehler(Fehlerart::falscheForm, {}, "Die Antwort des Dienstes ist nicht lesbar");
}
std::unexpected<Fehler> keinSpeicher() {
    return fehler(Fehlerart::keineMittel, {}, "Für die Antwort des Dienstes ist kein Speicher frei");
}

} // namespace

Ergebnis<FremdesJson> objektLesen(std::string_view antwort) noexcept {
    try {
        auto json = FremdesJson::parse(antwort, nullptr, false);
        if (!json.is_object())
            return unlesbar();
        return json;
    } catch (std::exception const&) {
        return keinSpeicher();
    }
}

FremdesJson objektAus(std::optional<std::string> const& antwort) noexcept {
    if (antwort)
        if (auto objekt = objektLesen(*antwort))
            return *std::move(objekt);
    return FremdesJson(FremdesJson::value_t::object);
}

Vorgabe vorgabeAus(FremdesJson const& antwort) {
    Vorgabe vorgabe;
    if (auto const datum = antwort.find("min_file_date"); datum != antwort.end() && datum->is_string())
        vorgabe.fruehestens = datum->get<std::string>();
    if (auto const worte = antwort.find("context_keywords");
        worte != antwort.end() && worte->is_array() &&
        std::ranges::all_of(*worte, [](auto const& wort) { return wort.is_string(); }))
        vorgabe.stichworte = worte->get<std::vector<std::string>>();
    return vorgabe;
}

std::optional<bool> gestopptAus(FremdesJson const& antwort) {
    auto const gestoppt = antwort.find("gestoppt");
    if (gestoppt == antwort.end() || !gestoppt->is_boolean())
        return std::nullopt;
    return gestoppt->get<bool>();
}

namespace {

/// Takes over one array of text and one object of text to text that stand directly in the top object, under
/// given keys, while the parser passes by. Everything else is read over.
class Sammler {
public:
    using number_integer_t = FremdesJson::number_integer_t;
    using number_unsigned_t = FremdesJson::number_unsigned_t;
    using number_float_t = FremdesJson::number_float_t;
    using string_t = FremdesJson::string_t;
    using binary_t = FremdesJson::binary_t;

    Sammler(std::string_view listenschluessel, std::string_view tabellenschluessel)
        : listenschluessel_(listenschluessel)
        , tabellenschluessel_(tabellenschluessel) {}

    std::vector<std::string> liste;
    Texttabelle tabelle;
    bool zuViel{false}; ///< There were more entries than are believed.

    // What the parser calls; true: go on.
    bool null() { return andererWert(); }
    bool boolean(bool) { return andererWert(); }
    bool number_integer(number_integer_t) { return andererWert(); }
    bool number_unsigned(number_unsigned_t) { return andererWert(); }
    bool number_float(number_float_t, string_t const&) { return andererWert(); }
    bool binary(binary_t&) { return andererWert(); }
    bool string(string_t& wert) {
        if (tiefe_ == 2 && ziel_ == Ziel::liste)
            nimm([&] { liste.push_back(std::move(wert)); }, liste.size());
        else if (tiefe_ == 2 && ziel_ == Ziel::tabelle)
            nimm([&] { tabelle.insert_or_assign(std::move(schluessel_), std::move(wert)); }, tabelle.size());
        return true;
    }
    bool key(string_t& schluessel) {
        if (tiefe_ == 1)
            oben_ = std::move(schluessel);
        else if (tiefe_ == 2)
            schluessel_ = std::move(schluessel);
        return true;
    }
    bool start_object(std::size_t) { return hinein(tabellenschluessel_, Ziel::tabelle); }
    bool end_object() { return hinaus(); }
    bool start_array(std::size_t) { return tiefe_ == 0 ? false : hinein(listenschluessel_, Ziel::liste); }
    bool end_array() { return hinaus(); }
    bool parse_error(std::size_t, std::string const&, nlohmann::detail::exception const&) { return false; }

private:
    enum class Ziel { keines, liste, tabelle };

    bool hinein(std::string_view gesuchterSchluessel, Ziel ziel) {
        andererWert(); // inside a list or table of text, a nested one is a value of another type
        if (tiefe_ == 1 && !gesuchterSchluessel.empty() && oben_ == gesuchterSchluessel) {
            ziel_ = ziel;
            gueltig_ = true;
            leere(); // of a key that comes twice, the last one counts
        }
        ++tiefe_;
        return true;
    }
    bool hinaus() {
        if (--tiefe_ == 1)
            ziel_ = Ziel::keines;
        return true;
    }
    bool andererWert() {
        if (tiefe_ == 2 && ziel_ != Ziel::keines)
            verwirf();
        return true;
    }
    template<typename Aufnahme>
    void nimm(Aufnahme aufnahme, std::size_t bisher) {
        if (!gueltig_)
            return;
        if (bisher >= hoechstensEintraege) {
            zuViel = true;
            verwirf();
        } else {
            aufnahme();
        }
    }
    void verwirf() {
        gueltig_ = false;
        leere();
    }
    void leere() {
        if (ziel_ == Ziel::liste)
            liste.clear();
        else if (ziel_ == Ziel::tabelle)
            tabelle.clear();
    }

    std::string_view const listenschluessel_;
    std::string_view const tabellenschluessel_;
    std::size_t tiefe_{0}; ///< 1 inside the top object.
    std::string oben_;     ///< Last key of the top object.
    std::string schluessel_;
    Ziel ziel_{Ziel::keines};
    bool gueltig_{true};
};

/// May throw when memory runs out.
Ergebnis<void> lies(std::string_view antwort, Sammler& sammler) {
    if (antwort.empty() || !FremdesJson::sax_parse(antwort, &sammler))
        return unlesbar();
    if (sammler.zuViel)
        return fehler(Fehlerart::zuGross, {}, "Die Liste des Dienstes ist zu lang");
    return {};
}

} // namespace

Ergebnis<GesehenePfade> gesehenePfadeLesen(std::string_view antwort) noexcept {
    try {
        Sammler sammler{"paths", "path_hashes"};
        if (auto gelesen = lies(antwort, sammler); !gelesen)
            return std::unexpected(std::move(gelesen.error()));
        GesehenePfade gesehen;
        gesehen.hashes = std::move(sammler.tabelle);
        gesehen.pfade.reserve(sammler.liste.size());
        for (auto& pfad : sammler.liste)
            gesehen.pfade.insert(std::move(pfad));
        return gesehen;
    } catch (std::exception const&) {
        return keinSpeicher();
    }
}

GesehenePfade gesehenePfadeAus(std::string_view antwort) noexcept {
    auto gesehen = gesehenePfadeLesen(antwort);
    return gesehen ? *std::move(gesehen) : GesehenePfade{};
}

Ergebnis<std::vector<std::string>> hashesLesen(std::string_view antwort) noexcept {
    try {
        Sammler sammler{"hashes", {}};
        if (auto gelesen = lies(antwort, sammler); !gelesen)
            return std::unexpected(std::move(gelesen.error()));
        return std::move(sammler.liste);
    } catch (std::exception const&) {
        return keinSpeicher();
    }
}

} // namespace quillmate::dienst
