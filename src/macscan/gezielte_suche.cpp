#include "gezielte_suche.h"

#include "am_ort.h"
#include "dateizugriff.h"
#include "doppelte.h"
#include "grundlage/belegdatei.h"
#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "ordner/dateisuche.h"
#include "ordner/orte.h"
#include "texterkennung/heuristik.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <iterator>
#include <memory>
#include <utility>

namespace quillmate::MacScan {

namespace {

/// How far apart two times are, without overflow: "unknown" is the smallest time there is.
std::uint64_t abstand(Ordner::Zeit a, Ordner::Zeit b) {
    auto const groesser = static_cast<std::uint64_t>(std::max(a, b).time_since_epoch().count());
    auto const kleiner = static_cast<std::uint64_t>(std::min(a, b).time_since_epoch().count());
    return groesser - kleiner;
}

std::vector<Ordner::Fund> alleFunde(
    Umgebung const& umgebung, std::vector<std::string> const& orte,
    std::shared_ptr<Ordner::Suchorte const> const& suchorte, std::function<bool()> const& gestoppt) {
    std::vector<Ordner::Fund> funde;
    for (auto const& ort : orte) {
        auto teil = amOrt(ort, umgebung.ortsfrist, gestoppt, {}, [ort, suchorte](Ortszeichen& zeichen) {
            return Ordner::durchsuchen(
                ort, {.hoechstens = hoechstensJeOrt,
                      .abbrechen = [&] { return zeichen.soll_enden(); },
                      .orte = suchorte.get()});
        });
        if (!teil) {
            protokoll(fmt::format(
                "MacScan: {} antwortet nicht und wird ausgelassen", alsUtf8(Ordner::ortName(ort))));
            continue;
        }
        funde.insert(
            funde.end(), std::make_move_iterator(teil->begin()), std::make_move_iterator(teil->end()));
    }
    ohneDoppelte(funde);
    return funde;
}

/// A file that is not readable now does not fit; the search for the others goes on, and the next one reads it again.
std::optional<std::string> textVon(
    Umgebung const& umgebung, Belegdatei& datei, Abbruchfrage const& abbrechen) {
    try {
        auto befund = umgebung.erkenner.text(datei, abbrechen);
        if (!befund)
            protokoll(fmt::format("MacScan: jetzt nicht lesbar: {}", alsUtf8(befund.error().text())));
        return std::move(befund).value_or(std::nullopt);
    } catch (std::exception const& fehler) {
        protokoll(fmt::format("MacScan: {} nicht gelesen: {}", alsUtf8(datei.pfad()), fehler.what()));
        return std::nullopt;
    }
}

/// The find, open; nothing and a log line when it cannot be.
std::optional<Belegdatei> geoeffnet(Dateizugriff const& zugriff, Ordner::Fund const& fund) {
    auto datei = zugriff.oeffnen(fund);
    if (datei)
        return *std::move(datei);
    protokoll("MacScan: " + alsUtf8(datei.error().text()));
    return std::nullopt;
}

} // namespace

bool Suchbegriffe::passt(std::string_view text) const {
    auto const form = Texterkennung::betragNormalisiert(zusammengesetzt(kleingeschrieben(text)));
    auto const enthalten = [&](std::string const& begriff) {
        return form.find(begriff) != std::string::npos;
    };
    return (worte.empty() || std::ranges::any_of(worte, enthalten)) &&
           (betraege.empty() || std::ranges::any_of(betraege, enthalten));
}

Suchbegriffe suchbegriffe(Suchanfrage const& anfrage) {
    constexpr std::size_t zuKurz = 3; // "DB", "Kfz": would be found inside any text
    Suchbegriffe begriffe;
    for (auto const& stichwort : anfrage.stichworte) {
        auto wort = zusammengesetzt(kleingeschrieben(stichwort));
        if (zeichenzahl(wort, zuKurz + 1) > zuKurz)
            begriffe.worte.push_back(std::move(wort));
    }
    for (auto const& text : anfrage.betragTexte) {
        auto betrag = Texterkennung::betragNormalisiert(text);
        if (!betrag.empty())
            begriffe.betraege.push_back(std::move(betrag));
    }
    return begriffe;
}

void gezielteSuche(
    Umgebung const& umgebung, Suchanfrage const& anfrage, Suchbegriffe const& begriffe, Melder const& melden,
    std::stop_token const& ende) {
    Ordner::OffeneOrdner const offen{umgebung.merkliste};
    auto const gestoppt = [&ende] {
        return ende.stop_requested();
    };
    auto const orte = Ordner::alleOrte(umgebung.standardorte, offen.alle());
    auto const offeneOrte = orteOeffnen(orte, umgebung.ortsfrist, gestoppt);
    Dateizugriff const zugriff{offeneOrte, umgebung.ortsfrist, gestoppt};
    auto funde = alleFunde(umgebung, orte, offeneOrte.orte, gestoppt);
    if (anfrage.datum)
        std::ranges::stable_sort(
            funde, {}, [&](Ordner::Fund const& fund) { return abstand(fund.juengstes(), *anfrage.datum); });

    struct Treffer {
        Ordner::Fund const& fund;
        Belegdatei datei; // open, so that what is attached is what fitted
    };
    std::vector<Treffer> treffer;
    std::vector<bool> getroffen(funde.size(), false);
    for (std::size_t i = 0; i < funde.size() && treffer.size() < hoechstensTreffer; ++i) {
        if (begriffe.passt(alsUtf8(letzteKomponente(funde[i].pfad)))) {
            getroffen[i] = true;
            if (auto datei = geoeffnet(zugriff, funde[i]))
                treffer.push_back({.fund = funde[i], .datei = *std::move(datei)});
        }
    }

    std::int64_t gelesen = 0;
    bool abgebrochen = false;
    auto const beginn = umgebung.uhr.jetzt();
    for (std::size_t i = 0; i < funde.size() && treffer.size() < hoechstensTreffer; ++i) {
        if (getroffen[i])
            continue;
        if (ende.stop_requested() ||
            std::chrono::duration<double>{umgebung.uhr.jetzt() - beginn}.count() > lesezeitSekunden) {
            abgebrochen = true;
            break;
        }
        auto datei = geoeffnet(zugriff, funde[i]);
        ++gelesen;
        if (!datei)
            continue;
        auto const text = textVon(umgebung, *datei, gestoppt);
        if (text && begriffe.passt(*text))
            treffer.push_back({.fund = funde[i], .datei = *std::move(datei)});
    }

    auto angehaengt = Json::array();
    for (auto& [fund, datei] : treffer)
        if (zugriff.zumSenden(fund, datei) == true &&
            umgebung.dienst.hochladenAnBuchung(anfrage.zugang, anfrage.transactionId, datei))
            angehaengt.push_back(alsUtf8(letzteKomponente(fund.pfad)));
    melden(
        {{"durchsucht", funde.size()},
         {"gelesen", gelesen},
         {"abgebrochen", abgebrochen},
         {"treffer", std::move(angehaengt)}});
}

} // namespace quillmate::MacScan
