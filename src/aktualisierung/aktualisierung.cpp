#include "aktualisierung.h"

#include "grundlage/protokoll.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <utility>

namespace quillmate::aktualisierung {

namespace {

using Anzeige = ports::Aktualisierungsanzeige;

std::optional<std::int64_t> zahl(std::optional<std::string> const& text) {
    if (!text)
        return std::nullopt;
    std::int64_t wert = 0;
    auto const* const ende = text->data() + text->size();
    auto const [bis, fehler] = std::from_chars(text->data(), ende, wert);
    return fehler == std::errc{} && bis == ende && wert >= 0 ? std::optional{wert} : std::nullopt;
}

struct Text {
    char const* meldung;
    std::string erklaerung;
};

Text textFuer(Fehlschlag const& fehlschlag) {
    switch (fehlschlag.art) {
    case Fehlschlag::abgebrochen:
        return {"Das Update wurde abgebrochen", "Quillmate bleibt, wie es ist."};
    case Fehlschlag::offline:
        return {
            "Keine Verbindung",
            "Quillmate konnte nicht nach Updates fragen. Prüfe die Internetverbindung und "
            "versuche es noch einmal."};
    case Fehlschlag::dienstfehler:
        return {
            "Das Update ist gerade nicht zu bekommen",
            "Der Server hat nicht wie erwartet geantwortet. Versuche es später noch einmal."};
    case Fehlschlag::nichtVertrauenswuerdig:
        return {
            "Das Update wurde abgelehnt", "Was angekommen ist, stammt nicht nachweislich von uns oder wurde "
                                          "unterwegs verändert. Quillmate bleibt, "
                                          "wie es ist."};
    case Fehlschlag::abgelaufen:
        return {
            "Die Auskunft über Updates ist veraltet",
            "Stimmt die Uhr dieses Rechners? Wenn ja, versuche es später noch einmal."};
    case Fehlschlag::veraltet:
        return {
            "Die Auskunft über Updates ist veraltet",
            "Sie ist älter als eine, die dieser Rechner schon kennt. Versuche es später noch einmal."};
    case Fehlschlag::abgerissen:
        return {
            "Das Update ist unterwegs abgerissen",
            "Es ist nicht ganz angekommen. Versuche es noch einmal. Quillmate bleibt, wie es ist."};
    case Fehlschlag::unvollstaendig:
        return {
            "Diese Fassung aktualisiert sich nicht",
            "Ihr fehlen Angaben darüber, welche sie ist. Lade Quillmate neu herunter."};
    case Fehlschlag::nichtLesbar:
        return {
            "Das Update ist gerade nicht zu prüfen",
            "Die Einstellungen von Quillmate lassen sich nicht lesen. Versuche es später noch einmal."};
    case Fehlschlag::keinPlatz:
        return {
            "Das Update passt nicht auf den Datenträger",
            "Schaffe etwas Platz und versuche es noch einmal. Quillmate bleibt, wie es ist."};
    case Fehlschlag::nichtEinzubauen:
        return {
            "Das Update lässt sich hier nicht einbauen",
            fehlschlag.genauer.empty() ? "Quillmate bleibt, wie es ist."
                                       : fehlschlag.genauer + " Quillmate bleibt, wie es ist."};
    }
    return {"Das Update hat nicht geklappt", "Quillmate bleibt, wie es ist."};
}

/// Why the bundle cannot be replaced, for people.
std::string erklaerungFuer(ports::Einbauhindernis const& hindernis) {
    switch (hindernis.art) {
    case ports::Einbauhindernis::Art::paketverwaltung:
        return "Quillmate wurde für alle Benutzer dieses Rechners installiert. Neue Fassungen kommen von "
               "dort, "
               "woher auch die anderen Programme sie bekommen.";
    case ports::Einbauhindernis::Art::nichtBeschreibbar:
        return fmt::format(
            "Der Ordner „{}“, in dem Quillmate liegt, lässt sich nicht ändern.", hindernis.ordner);
    case ports::Einbauhindernis::Art::andereSchreiben:
        return fmt::format(
            "In den Ordner „{}“ dürfen auch andere schreiben; sie könnten ein Update austauschen. Lege "
            "Quillmate "
            "in einen Ordner, der nur dir gehört.",
            hindernis.ordner);
    case ports::Einbauhindernis::Art::ortUnbekannt:
        return fmt::format(
            "Wer in den Ordner „{}“ schreiben darf, ist nicht festzustellen.", hindernis.ordner);
    }
    return {};
}

std::string kurzfassungVon(std::optional<ports::Buendel> const& buendel) {
    return buendel && buendel->kurzfassung ? *buendel->kurzfassung : std::string{"unbekannt"};
}

} // namespace

Aktualisierung::Aktualisierung(Hilfen hilfen)
    : hilfen_(std::move(hilfen))
    , eigenes_(hilfen_.buendelkunde.lesen(hilfen_.buendelkunde.laufend())) {}

Aktualisierung::~Aktualisierung() {
    if (abbruch_)
        *abbruch_ = true;
}

// ------------------------------------------------------------------------------------------------ schedule

void Aktualisierung::starten() {
    if (!eigenes_ || !zeitplanAus(eigenes_->updates).automatisch)
        return;
    if (auto const hindernis = hilfen_.einbau.hindernis(eigenes_->pfad)) {
        if (hindernis->art != ports::Einbauhindernis::Art::paketverwaltung)
            protokoll("Aktualisierung: Hier wird nicht nach Updates gesucht: " + erklaerungFuer(*hindernis));
        return;
    }
    auto& voreinstellungen = hilfen_.voreinstellungen;
    // On the first start nobody wants to be greeted with an update; it counts as a check just done.
    if (!zahl(voreinstellungen.text(schluesselLetztePruefung)))
        voreinstellungen.setzeText(
            schluesselLetztePruefung, std::to_string(hilfen_.jetzt().time_since_epoch().count()));
    planen();
}

void Aktualisierung::planen() {
    if (geplant_)
        return;
    std::optional<std::chrono::sys_seconds> letzte;
    if (auto const sekunden = zahl(hilfen_.voreinstellungen.text(schluesselLetztePruefung)))
        letzte = std::chrono::sys_seconds{std::chrono::seconds{*sekunden}};
    auto const warten = wartezeit(zeitplanAus(eigenes_->updates), letzte, hilfen_.jetzt());
    if (!warten)
        return;
    // A timer does not count while the machine sleeps; looking at the clock once an hour does. And a program that has
    // just started has better things to do.
    constexpr std::chrono::seconds mindestens{10};
    constexpr std::chrono::seconds hoechstens{std::chrono::hours{1}};
    geplant_ = true;
    hilfen_.schleife.nach(
        std::clamp(*warten, mindestens, hoechstens),
        [this, lebt = std::weak_ptr{lebt_}, faellig = *warten <= hoechstens] {
            if (lebt.expired())
                return;
            geplant_ = false;
            if (faellig && zustand_ == Zustand::ruht)
                suche(Wunsch::derZeitplan);
            else
                planen();
        });
}

// -------------------------------------------------------------------------------------------------- search

void Aktualisierung::nachUpdatesSuchen() {
    if (zustand_ == Zustand::sucht && still_) {
        // The user's question goes on where the schedule's began.
        still_ = false;
        hilfen_.anzeige.beschaeftigt("Nach Updates wird gesucht …", [this] { abbrechen(); });
        return;
    }
    if (zustand_ != Zustand::ruht) {
        hilfen_.anzeige.nachVorn();
        return;
    }
    if (!eigenes_ || !eigenes_->updates.feed) {
        teileMit(
            "Diese Fassung aktualisiert sich nicht",
            "Sie ist nicht aus einer Veröffentlichung entstanden und kennt keinen Ort für Updates.");
        return;
    }
    if (auto const hindernis = hilfen_.einbau.hindernis(eigenes_->pfad))
        return meldeHindernis(*hindernis);
    suche(Wunsch::derNutzer);
}

std::expected<Anlass, Fehlschlag> Aktualisierung::anlass() const {
    auto const eigene =
        eigenes_ && eigenes_->buildnummer ? Fassungsnummer::lesen(*eigenes_->buildnummer) : std::nullopt;
    if (!eigene || !eigenes_->kennung || !eigenes_->updates.feed)
        return std::unexpected(Fehlschlag{Fehlschlag::unvollstaendig});
    auto const gesehen = hilfen_.voreinstellungen.text(schluesselAusgabe);
    // Without it an old appcast would be as good as a new one.
    if (!gesehen && !hilfen_.voreinstellungen.lesbar())
        return std::unexpected(Fehlschlag{Fehlschlag::nichtLesbar});
    Anlass anlass{
        .feed = *eigenes_->updates.feed,
        .schluessel = {},
        .kennung = *eigenes_->kennung,
        .eigene = *eigene,
        .architektur = hilfen_.architektur,
        .gesehen = static_cast<std::uint64_t>(zahl(gesehen).value_or(0)),
        .jetzt = hilfen_.jetzt(),
        .auchHttp = hilfen_.auchHttp};
    for (auto const& text : eigenes_->updates.schluessel)
        if (auto const schluessel = schluesselLesen(text))
            anlass.schluessel.push_back(*schluessel);
    return anlass;
}

template<typename Arbeit, typename Danach>
void Aktualisierung::nebenher(Arbeit arbeit, Danach danach) {
    abbruch_ = std::make_shared<std::atomic<bool>>(false);
    auto const schritt = ++schritt_;
    // The new worker waits for the one before, which is ending: the main thread must not.
    arbeiter_ = std::jthread{[this, schritt, arbeit = std::move(arbeit), danach = std::move(danach),
                              lebt = std::weak_ptr{lebt_}, &schleife = hilfen_.schleife, abbruch = abbruch_,
                              voriger = std::move(arbeiter_)]() mutable {
        if (voriger.joinable())
            voriger.join();
        auto ergebnis = arbeit(*abbruch);
        schleife.spaeter([this, schritt, lebt, danach = std::move(danach), ergebnis = std::move(ergebnis)] {
            if (!lebt.expired() && schritt == schritt_)
                danach(ergebnis);
        });
    }};
}

void Aktualisierung::abbrechen() {
    if (abbruch_)
        *abbruch_ = true;
    ++schritt_;
    zustand_ = Zustand::ruht;
    hilfen_.anzeige.schliessen();
    planen();
}

void Aktualisierung::suche(Wunsch wunsch) {
    auto const grund = anlass();
    if (!grund) {
        if (wunsch == Wunsch::derNutzer)
            melde(grund.error());
        return;
    }
    zustand_ = Zustand::sucht;
    still_ = wunsch == Wunsch::derZeitplan;
    hilfen_.voreinstellungen.setzeText(
        schluesselLetztePruefung, std::to_string(hilfen_.jetzt().time_since_epoch().count()));
    if (!still_)
        hilfen_.anzeige.beschaeftigt("Nach Updates wird gesucht …", [this] { abbrechen(); });
    nebenher(
        [grund = *grund, &lader = hilfen_.lader](std::atomic<bool> const& abbruch) {
            return suchen(grund, lader, abbruch);
        },
        [this](Suchergebnis const& ergebnis) {
            gefunden(still_ ? Wunsch::derZeitplan : Wunsch::derNutzer, ergebnis);
        });
}

void Aktualisierung::gefunden(Wunsch wunsch, Suchergebnis const& ergebnis) {
    zustand_ = Zustand::ruht;
    planen();
    bool const still = wunsch == Wunsch::derZeitplan;
    if (ergebnis.fehlschlag) {
        if (!still)
            melde(*ergebnis.fehlschlag);
        return;
    }
    hilfen_.voreinstellungen.setzeText(schluesselAusgabe, std::to_string(ergebnis.ausgabe));
    if (!ergebnis.angebot) {
        if (!still)
            teileMit(
                "Quillmate ist aktuell",
                fmt::format("Du hast die Fassung {}, eine neuere gibt es nicht.", kurzfassungVon(eigenes_)));
        return;
    }
    if (still && hilfen_.voreinstellungen.text(schluesselUebersprungen) == ergebnis.angebot->fassungstext)
        return;
    bieteAn(*ergebnis.angebot);
}

// --------------------------------------------------------------------------------------- offer and install

void Aktualisierung::bieteAn(Angebot const& angebot) {
    zustand_ = Zustand::fragt;
    protokoll("Aktualisierung: Angeboten wird die Fassung " + angebot.kurzfassung);
    hilfen_.anzeige.anbieten(
        {.meldung = "Es gibt eine neue Fassung von Quillmate",
         .erklaerung = fmt::format(
             "Quillmate {} ist da, du hast die Fassung {}. Möchtest du sie jetzt installieren?",
             angebot.kurzfassung, kurzfassungVon(eigenes_)),
         .notizen = angebot.notizen},
        [this, angebot](Anzeige::Wahl wahl) {
            zustand_ = Zustand::ruht;
            switch (wahl) {
            case Anzeige::Wahl::installieren:
                installiere(angebot);
                return;
            case Anzeige::Wahl::ueberspringen:
                hilfen_.voreinstellungen.setzeText(schluesselUebersprungen, angebot.fassungstext);
                break;
            case Anzeige::Wahl::spaeter:
                break;
            }
            hilfen_.anzeige.schliessen();
        });
}

void Aktualisierung::installiere(Angebot const& angebot) {
    auto const grund = anlass();
    if (!grund)
        return melde(grund.error());
    zustand_ = Zustand::laedt;
    auto const meldung = fmt::format("Quillmate {} wird geladen …", angebot.kurzfassung);
    auto const zeige = [this, meldung, gesamt = angebot.laenge](std::uint64_t geladen) {
        hilfen_.anzeige.fortschritt(meldung, geladen, gesamt, [this] { abbrechen(); });
    };
    zeige(0);
    // One step of the bar at a time: a fast line must not flood the main loop.
    auto const melder = [this, zeige, lebt = std::weak_ptr{lebt_}, &schleife = hilfen_.schleife,
                         schritt = schritt_ + 1, gesamt = angebot.laenge,
                         zuletzt = std::make_shared<std::uint64_t>(0)](std::uint64_t geladen) {
        if (geladen < gesamt && geladen - *zuletzt < gesamt / 100 + 1)
            return;
        *zuletzt = geladen;
        schleife.spaeter([this, zeige, lebt, schritt, geladen] {
            if (!lebt.expired() && schritt == schritt_)
                zeige(geladen);
        });
    };
    nebenher(
        [grund = *grund, angebot, melder, buendel = eigenes_->pfad, &lader = hilfen_.lader,
         &einbau = hilfen_.einbau, &kunde = hilfen_.buendelkunde](std::atomic<bool> const& abbruch) {
            return bereitstellen(angebot, grund, buendel, lader, einbau, kunde, melder, abbruch);
        },
        [this, angebot](std::optional<Fehlschlag> const& fehlschlag) {
            bereitgestellt(angebot, fehlschlag);
        });
}

void Aktualisierung::bereitgestellt(Angebot const& angebot, std::optional<Fehlschlag> fehlschlag) {
    zustand_ = Zustand::ruht;
    auto const helfer = fehlschlag ? Ergebnis<void>{} : hilfen_.einbau.einbauenNachEnde(eigenes_->pfad);
    if (!helfer) {
        protokoll("Aktualisierung: " + helfer.error().text());
        hilfen_.einbau.verwerfen(eigenes_->pfad);
        fehlschlag = Fehlschlag{
            Fehlschlag::nichtEinzubauen, "Das Hilfsprogramm dafür lässt sich gerade nicht starten."};
    }
    if (fehlschlag)
        return melde(*fehlschlag);
    hilfen_.voreinstellungen.setzeText(schluesselEingebaut, angebot.fassungstext);
    hilfen_.anzeige.schliessen();
    hilfen_.schleife.beenden();
}

void Aktualisierung::teileMit(std::string const& meldung, std::string const& erklaerung) {
    protokoll("Aktualisierung: " + meldung);
    hilfen_.anzeige.mitteilen(meldung, erklaerung);
}

void Aktualisierung::melde(Fehlschlag const& fehlschlag) {
    if (fehlschlag == Fehlschlag::abgebrochen)
        return hilfen_.anzeige.schliessen();
    auto const text = textFuer(fehlschlag);
    teileMit(text.meldung, text.erklaerung);
}

void Aktualisierung::meldeHindernis(ports::Einbauhindernis const& hindernis) {
    teileMit(
        hindernis.art == ports::Einbauhindernis::Art::paketverwaltung
            ? "Die Paketverwaltung hält Quillmate aktuell"
            : "Updates lassen sich hier nicht einbauen",
        erklaerungFuer(hindernis));
}

// ------------------------------------------------------------------------------------------------ after it

void Aktualisierung::angelaufen() {
    if (eigenes_)
        hilfen_.einbau.bestaetigen(eigenes_->pfad);
}

void Aktualisierung::gestartet() {
    if (!eigenes_)
        return;
    angelaufen();
    meldeAusgang();
}

void Aktualisierung::meldeAusgang() {
    auto const gescheitert = hilfen_.voreinstellungen.text(schluesselGescheitert);
    auto const eingebaut = hilfen_.voreinstellungen.text(schluesselEingebaut);
    hilfen_.voreinstellungen.entferne(schluesselGescheitert);
    hilfen_.voreinstellungen.entferne(schluesselEingebaut);
    // Not offered by itself any more; who asks may try again.
    if (gescheitert)
        hilfen_.voreinstellungen.setzeText(schluesselUebersprungen, *gescheitert);
    if (gescheitert && eigenes_->buildnummer != *gescheitert)
        teileMit(
            "Die neue Fassung ließ sich nicht starten",
            fmt::format("Quillmate {} läuft deshalb weiter wie zuvor.", kurzfassungVon(eigenes_)));
    else if (eingebaut && eigenes_->buildnummer == *eingebaut)
        teileMit(
            "Quillmate wurde aktualisiert",
            fmt::format("Du hast jetzt die Fassung {}.", kurzfassungVon(eigenes_)));
    else if (eingebaut)
        teileMit(
            "Das Update wurde nicht eingebaut", fmt::format(
                                                    "Quillmate {} läuft weiter wie zuvor. Mit „Nach Updates "
                                                    "suchen …“ versuchst du es noch einmal.",
                                                    kurzfassungVon(eigenes_)));
}

} // namespace quillmate::aktualisierung
