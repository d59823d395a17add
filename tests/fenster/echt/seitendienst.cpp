#include "seitendienst.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace quillmate::fenster_echt {
namespace {

using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;

/// Shorter than any time-out of the engine; then the page asks again.
constexpr std::chrono::seconds haltezeit{15};
constexpr std::chrono::seconds geduld{30};

/// A document that comes back from the history is a new one for the test.
constexpr std::string_view haende = R"(<script>
(() => {
  const Rumpf = Object.getPrototypeOf(async function () {}).constructor;
  const ausfuehren = async ({nummer, rumpf}) => {
    let ergebnis;
    try { ergebnis = {wert: (await new Rumpf(rumpf)()) ?? null}; }
    catch (fehler) { ergebnis = {fehler: String(fehler)}; }
    // The call may have begun a navigation, which ends open requests: again, and beyond the document's own end.
    const body = JSON.stringify(ergebnis);
    for (;;) {
      try {
        return await fetch('/ergebnis?nummer=' + nummer, {method: 'POST', body, keepalive: body.length < 60000});
      } catch { await new Promise(auf => setTimeout(auf, 20)); }
    }
  };
  let aktuell;
  const lauschen = async () => {
    const ich = aktuell = Math.random().toString(36).slice(2);
    let erhalten = 0;
    while (aktuell === ich) {
      try {
        const antwort = await fetch(`/befehl?seite=NAME&exemplar=${ich}&erhalten=${erhalten}`, {cache: 'no-store'});
        if (antwort.status === 410) return;
        if (antwort.status !== 200) continue;
        const befehl = await antwort.json();
        erhalten = befehl.nummer;
        ausfuehren(befehl);
      } catch { await new Promise(auf => setTimeout(auf, 20)); }
    }
  };
  addEventListener('pageshow', () => lauschen());
})();
</script>)";

std::string wert(HttpAnfrage const& anfrage, std::string_view name) {
    for (auto const& [schluessel, inhalt] : anfrage.abfrage)
        if (schluessel == name)
            return inhalt;
    return {};
}

/// A proxy is asked with whole addresses.
std::string pfadVon(std::string const& ziel) {
    constexpr std::string_view schema = "http://";
    if (!ziel.starts_with(schema))
        return ziel;
    auto const anfang = ziel.find('/', schema.size());
    return anfang == std::string::npos ? "/" : ziel.substr(anfang);
}

} // namespace

Seitendienst::Seitendienst()
    : server_([this](HttpAnfrage const& anfrage) { return behandeln(anfrage); }) {}

Seitendienst::~Seitendienst() {
    std::lock_guard const schutz{sperre_};
    ende_ = true;
    aenderung_.notify_all();
}

void Seitendienst::antworte(std::string const& pfad, HttpAntwort antwort) {
    antworte(pfad, [antwort = std::move(antwort)](HttpAnfrage const&) { return antwort; });
}

void Seitendienst::antworte(std::string const& pfad, Behandlung behandlung) {
    std::lock_guard const schutz{sperre_};
    behandlungen_[pfad] = std::move(behandlung);
}

void Seitendienst::vergiss(std::string const& pfad) {
    std::lock_guard const schutz{sperre_};
    behandlungen_.erase(pfad);
}

void Seitendienst::alsSeite(std::string const& pfad, std::string const& name) {
    antworte(pfad, [this, name](HttpAnfrage const&) { return dokument(name); });
}

void Seitendienst::inhalt(std::string html) {
    std::lock_guard const schutz{sperre_};
    inhalt_ = std::move(html);
}

HttpAntwort Seitendienst::behandeln(HttpAnfrage const& wie) {
    auto anfrage = wie;
    anfrage.pfad = pfadVon(anfrage.pfad);
    if (anfrage.pfad == "/befehl")
        return befehl(
            wert(anfrage, "seite"), wert(anfrage, "exemplar"), std::stoi(wert(anfrage, "erhalten")));
    Behandlung behandlung;
    {
        std::lock_guard const schutz{sperre_};
        if (anfrage.pfad == "/ergebnis") {
            auto const nummer = std::stoi(wert(anfrage, "nummer"));
            ergebnisse_[nummer] = nlohmann::json::parse(anfrage.koerper);
            // What has been done is not done again by the next document, whoever said that it was received.
            for (auto& [name, seite] : seiten_)
                std::erase_if(seite.wartend, [&](auto const& paar) { return paar.first == nummer; });
            aenderung_.notify_all();
            return {.status = 204};
        }
        if (auto const fund = behandlungen_.find(anfrage.pfad); fund != behandlungen_.end())
            behandlung = fund->second;
    }
    if (behandlung)
        return behandlung(anfrage); // Without the lock: it may wait.
    constexpr std::string_view vorsatz = "/seite/";
    if (anfrage.pfad == "/uebersicht")
        return dokument("haupt");
    if (anfrage.pfad.starts_with(vorsatz))
        return dokument(anfrage.pfad.substr(vorsatz.size()));
    return {.status = 404, .koerper = "nicht da", .inhaltstyp = "text/plain"};
}

HttpAntwort Seitendienst::dokument(std::string const& name) const {
    std::string skript{haende};
    skript.replace(skript.find("NAME"), 4, name);
    std::lock_guard const schutz{sperre_};
    return {
        .koerper = "<!doctype html><html lang=\"de\"><meta charset=\"utf-8\"><title>" + name +
                   "</title><body>" + inhalt_ + skript + "</body></html>",
        .inhaltstyp = "text/html; charset=utf-8",
        .weitererKopf = "Cache-Control: no-store\r\n"};
}

HttpAntwort Seitendienst::befehl(std::string const& name, std::string const& exemplar, int erhalten) {
    std::unique_lock schutz{sperre_};
    auto& seite = seiten_[name];
    if (seite.gesehen.insert(exemplar).second) {
        seite.exemplar = exemplar;
        ++seite.dokumente;
        aenderung_.notify_all();
    }
    // A navigation that leads nowhere ends the document's open requests, but not the document. So nothing counts as
    // received until the document says so.
    auto const offen = [&] {
        return std::ranges::any_of(seite.wartend, [&](auto const& paar) { return paar.first > erhalten; });
    };
    aenderung_.wait_for(schutz, haltezeit, [&] { return ende_ || seite.exemplar != exemplar || offen(); });
    if (seite.exemplar != exemplar)
        return {.status = 410};
    std::erase_if(seite.wartend, [&](auto const& paar) { return paar.first <= erhalten; });
    if (ende_ || seite.wartend.empty())
        return {.status = 204};
    auto const& [nummer, rumpf] = seite.wartend.front();
    return {
        .koerper = nlohmann::json{{"nummer", nummer}, {"rumpf", rumpf}}.dump(),
        .weitererKopf = "Cache-Control: no-store\r\n"};
}

int Seitendienst::beginne(std::string_view rumpf, std::string const& seite) {
    std::lock_guard const schutz{sperre_};
    seiten_[seite].wartend.emplace_back(++zaehler_, rumpf);
    aenderung_.notify_all();
    return zaehler_;
}

bool Seitendienst::fertig(int nummer) const {
    std::lock_guard const schutz{sperre_};
    return ergebnisse_.contains(nummer);
}

nlohmann::json Seitendienst::ergebnis(int nummer, std::chrono::seconds grenze) {
    std::unique_lock schutz{sperre_};
    if (!aenderung_.wait_for(schutz, grenze, [&] { return ergebnisse_.contains(nummer); }))
        throw std::runtime_error{"Die Seite hat nicht geantwortet"};
    auto const antwort = ergebnisse_[nummer];
    if (antwort.contains("fehler"))
        throw std::runtime_error{antwort["fehler"].get<std::string>()};
    return antwort["wert"];
}

nlohmann::json Seitendienst::rufe(std::string_view rumpf, std::string const& seite) {
    return ergebnis(beginne(rumpf, seite));
}

int Seitendienst::dokumente(std::string const& seite) const {
    std::lock_guard const schutz{sperre_};
    auto const fund = seiten_.find(seite);
    return fund == seiten_.end() ? 0 : fund->second.dokumente;
}

bool Seitendienst::warteAufDokument(int wievieltes, std::string const& seite) const {
    std::unique_lock schutz{sperre_};
    return aenderung_.wait_for(schutz, geduld, [&] {
        auto const fund = seiten_.find(seite);
        return fund != seiten_.end() && fund->second.dokumente >= wievieltes;
    });
}

std::vector<HttpAnfrage> Seitendienst::anfragenAn(std::string_view pfad) const {
    auto alle = server_.anfragen();
    std::erase_if(alle, [&](HttpAnfrage const& anfrage) { return pfadVon(anfrage.pfad) != pfad; });
    return alle;
}

} // namespace quillmate::fenster_echt
