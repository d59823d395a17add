#include "anmeldung.h"

#include "grundlage/adresse.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace quillmate::anmeldung {

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

std::optional<std::string> mitAppKennzeichen(std::string const& text, bool eindeutig) {
    auto const adresse = Adresse::vomMotor(text);
    if (!adresse)
        return std::nullopt;
    auto posten = adresse->posten();
    if (eindeutig)
        std::erase_if(posten, [](Posten const& einer) { return einer.name() == "app"; });
    posten.emplace_back("app", "1");
    auto const neu = adresse->mitPosten(posten);
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
    auto const adresse = Adresse::vomMotor(rueckweg);
    auto const posten = adresse ? adresse->posten() : std::vector<Posten>{};
    auto const merkmal = std::ranges::find(posten, "merkmal", &Posten::name);
    if (merkmal == posten.end() || !merkmal->wert()) {
        protokoll(
            "Rückweg ohne Merkmal: " +
            einzeilig(rueckweg, 2000)); // foreign text must not make lines of its own
        return;
    }
    auto const ziel = umgebung_.start.mit("/auth/app/anmelden", {{"merkmal", *merkmal->wert()}});
    if (!ziel)
        return;
    protokoll("löse Anmeldung ein");
    umgebung_.laden(ziel->text());
}

void Anmeldung::bankRueckweg(std::string const& rueckweg) {
    auto const adresse = Adresse::vomMotor(rueckweg);
    if (!adresse || adresse->wirt() != "bank") {
        protokoll("Unbekannter Bank-Rückweg");
        return;
    }
    auto posten = adresse->posten();
    std::erase_if(
        posten, [](Posten const& einer) { return einer.name() != "client" && einer.name() != "bank"; });
    auto const ziel = umgebung_.start.mit("/bank", posten);
    if (!ziel)
        return;
    protokoll("Bankfreigabe kehrt in die App zurück");
    umgebung_.laden(ziel->text());
}

} // namespace quillmate::anmeldung
