#include "anmeldung.h"

#include "grundlage/adressteile.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace quillmate::anmeldung {

namespace {

/// The items of a query as they were written.
std::vector<std::string_view> rohePosten(std::string_view abfrage) {
    std::vector<std::string_view> posten;
    while (!abfrage.empty()) {
        auto const einer = abfrage.substr(0, abfrage.find('&'));
        posten.push_back(einer);
        abfrage.remove_prefix(std::min(abfrage.size(), einer.size() + 1));
    }
    return posten;
}

std::string nameVon(std::string_view posten) {
    return ohneProzent(posten.substr(0, posten.find('=')));
}

std::string verbunden(std::vector<std::string_view> const& posten) {
    return fmt::format("{}", fmt::join(posten, "&"));
}

/// What a web engine leaves unescaped although no address may hold it ("|", "{") as percent escapes.
std::string strenggenommen(std::string_view text) {
    std::string ergebnis;
    for (char const c : text) {
        auto const byte = static_cast<unsigned char>(c);
        if (byte <= 0x20 || byte >= 0x7F || std::string_view{"\"<>\\^`{|}"}.contains(c))
            ergebnis += fmt::format("%{:02X}", byte);
        else
            ergebnis += c;
    }
    return ergebnis;
}

/// The host as it was written, without user and port.
std::string_view wirtWieGeschrieben(std::string_view adresse) {
    auto rest = adresse.substr(std::min(adresse.find(':'), adresse.size() - 1) + 1);
    if (!rest.starts_with("//"))
        return {};
    rest.remove_prefix(2);
    rest = rest.substr(0, rest.find_first_of("/?#"));
    rest.remove_prefix(rest.rfind('@') == std::string_view::npos ? 0 : rest.rfind('@') + 1);
    return rest.substr(0, rest.find(':'));
}

} // namespace

struct Anmeldung::Weg {
    bool kennzeichenEindeutig;
    bool adresseInsProtokoll; ///< The bank's start address holds a project's token.
    char const* startet;
    char const* startetNicht;
    char const* abgebrochen;
    char const* fehlgeschlagen;
    char const* meldung;
    char const* erklaerung;
    void (Anmeldung::*rueckweg)(std::string const&);
};

std::optional<std::string> mitAppKennzeichen(std::string const& adresse, bool eindeutig) {
    auto const gelesen = Adresse::lesen(strenggenommen(adresse));
    if (!gelesen)
        return std::nullopt;
    auto const abfrage = gelesen->abfrage().value_or("");
    auto posten = rohePosten(abfrage);
    if (eindeutig)
        std::erase_if(posten, [](std::string_view einer) { return nameVon(einer) == "app"; });
    posten.emplace_back("app=1");
    auto const neu = gelesen->mitAbfrage(verbunden(posten));
    return neu ? std::optional{neu->text()} : std::nullopt;
}

Anmeldung::Anmeldung(Umgebung umgebung)
    : umgebung_(std::move(umgebung)) {}

void Anmeldung::anmeldenMitGoogle(std::string const& adresse) {
    static constexpr Weg weg{
        .kennzeichenEindeutig = false,
        .adresseInsProtokoll = true,
        .startet = "Anmeldung startet",
        .startetNicht = "Anmeldung liess sich nicht starten",
        .abgebrochen = "Anmeldung vom Nutzer abgebrochen",
        .fehlgeschlagen = "Anmeldung fehlgeschlagen",
        .meldung = "Die Anmeldung geht in deinem Browser weiter",
        .erklaerung =
            "Melde dich dort mit deinem Google-Konto an. Danach kommst du von selbst hierher zurück.",
        .rueckweg = &Anmeldung::einloesen};
    beginnen(weg, adresse);
}

void Anmeldung::bankVerbinden(std::string const& adresse) {
    static constexpr Weg weg{
        .kennzeichenEindeutig = true,
        .adresseInsProtokoll = false,
        .startet = "Bankfreigabe startet",
        .startetNicht = "Bankfreigabe liess sich nicht starten",
        .abgebrochen = "Bankfreigabe vom Nutzer abgebrochen",
        .fehlgeschlagen = "Bankfreigabe fehlgeschlagen",
        .meldung = "Die Bankfreigabe geht in deinem Browser weiter",
        .erklaerung = "Gib dort den Zugriff auf dein Konto frei. Danach kommst du von selbst hierher zurück.",
        .rueckweg = &Anmeldung::bankRueckweg};
    beginnen(weg, adresse);
}

void Anmeldung::beginnen(Weg const& weg, std::string const& adresse) {
    auto const start = mitAppKennzeichen(adresse, weg.kennzeichenEindeutig);
    if (!start)
        return;
    protokoll(weg.adresseInsProtokoll ? fmt::format("{}: {}", weg.startet, *start) : weg.startet);
    auto const nummer = ++*lauf_;
    auto const sitzung = umgebung_.werk.sitzung(
        {.adresse = *start,
         .rueckwegschema = "quillmate",
         .meldung = weg.meldung,
         .erklaerung = weg.erklaerung},
        [this, &weg, nummer, lauf = std::weak_ptr{lauf_}](ports::Anmeldeausgang const& ausgang) {
            auto const jetziger = lauf.lock();
            if (!jetziger || *jetziger != nummer)
                return;
            ++*jetziger; // a second completion of the same session counts as late
            anmeldung_.reset();
            if (ausgang.rueckweg)
                (this->*weg.rueckweg)(*ausgang.rueckweg);
            else if (ausgang.fehler && ausgang.fehler->nummer == ports::Anmeldeausgang::Fehler::abgebrochen)
                protokoll(weg.abgebrochen);
            else
                protokoll(fmt::format(
                    "{}: {}", weg.fehlgeschlagen, ausgang.fehler ? ausgang.fehler->beschreibung : "-"));
        });
    anmeldung_ = sitzung; // the former one ends here
    if (!sitzung || !sitzung->starten())
        protokoll(weg.startetNicht);
}

void Anmeldung::einloesen(std::string const& rueckweg) {
    auto const teile = Adressteile::lesen(rueckweg);
    auto const posten = abfrageteile(teile ? teile->abfrage.value_or("") : "");
    auto const merkmal = std::ranges::find(posten, "merkmal", &Abfrageteil::name);
    if (merkmal == posten.end() || !merkmal->wert) {
        protokoll(
            "Rückweg ohne Merkmal: " +
            einzeilig(rueckweg, 2000)); // foreign text must not make lines of its own
        return;
    }
    auto const ziel = umgebung_.start.mit("/auth/app/anmelden", "merkmal=" + mitProzent(*merkmal->wert));
    if (!ziel)
        return;
    protokoll("löse Anmeldung ein");
    umgebung_.laden(ziel->text());
}

void Anmeldung::bankRueckweg(std::string const& rueckweg) {
    auto const gelesen = Adresse::lesen(rueckweg);
    if (!gelesen || wirtWieGeschrieben(rueckweg) != "bank") {
        protokoll("Unbekannter Bank-Rückweg");
        return;
    }
    auto const abfrage = gelesen->abfrage().value_or("");
    auto posten = rohePosten(abfrage);
    std::erase_if(posten, [](std::string_view einer) {
        auto const name = nameVon(einer);
        return name != "client" && name != "bank";
    });
    auto const ziel = umgebung_.start.mit("/bank", verbunden(posten));
    if (!ziel)
        return;
    protokoll("Bankfreigabe kehrt in die App zurück");
    umgebung_.laden(ziel->text());
}

} // namespace quillmate::anmeldung
