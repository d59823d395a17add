#include "suchstand.h"

#include <chrono>
#include <utility>

namespace quillmate::MacScan {

namespace {

double sekunden(ports::Uhr::Zeitpunkt von, ports::Uhr::Zeitpunkt bis) {
    return std::chrono::duration<double>{bis - von}.count();
}

} // namespace

void SuchStand::neu(std::string art) {
    std::lock_guard const schutz{sperre_};
    laeuft_ = true;
    art_ = std::move(art);
    beginn_ = uhr_.jetzt();
    schritte_.clear();
}

int SuchStand::beginne(
    std::string schluessel, std::optional<std::string> name, std::optional<std::int64_t> gesamt) {
    std::lock_guard const schutz{sperre_};
    schritte_.push_back(
        {.schluessel = std::move(schluessel),
         .name = std::move(name),
         .anzahl = {},
         .gesamt = gesamt,
         .zusatz = {},
         .fertig = false,
         .start = uhr_.jetzt(),
         .ende = {}});
    return static_cast<int>(schritte_.size()) - 1;
}

SuchStand::Schritt* SuchStand::schritt(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= schritte_.size())
        return nullptr;
    return &schritte_[static_cast<std::size_t>(index)];
}

void SuchStand::setze(
    int index, std::optional<std::int64_t> anzahl, std::optional<std::int64_t> gesamt, Zusatz const& zusatz) {
    std::lock_guard const schutz{sperre_};
    auto* const s = schritt(index);
    if (!s)
        return;
    if (anzahl)
        s->anzahl = anzahl;
    if (gesamt)
        s->gesamt = gesamt;
    for (auto const& [schluessel, wert] : zusatz)
        s->zusatz.insert_or_assign(schluessel, wert);
}

void SuchStand::fertig(int index, std::optional<std::int64_t> anzahl) {
    std::lock_guard const schutz{sperre_};
    auto* const s = schritt(index);
    if (!s)
        return;
    if (anzahl)
        s->anzahl = anzahl;
    s->fertig = true;
    s->ende = uhr_.jetzt();
}

void SuchStand::ende() {
    std::lock_guard const schutz{sperre_};
    laeuft_ = false;
}

Json SuchStand::bericht() const {
    std::lock_guard const schutz{sperre_};
    auto const jetzt = uhr_.jetzt();
    auto schritte = Json::array();
    for (auto const& s : schritte_) {
        Json eintrag{
            {"schluessel", s.schluessel},
            {"fertig", s.fertig},
            {"sekunden", sekunden(s.start, s.ende.value_or(jetzt))}};
        if (s.name)
            eintrag["name"] = *s.name;
        if (s.anzahl)
            eintrag["anzahl"] = *s.anzahl;
        if (s.gesamt)
            eintrag["gesamt"] = *s.gesamt;
        if (!s.zusatz.empty())
            eintrag["zusatz"] = s.zusatz;
        schritte.push_back(std::move(eintrag));
    }
    Json bericht{{"laeuft", laeuft_}, {"art", art_}};
    if (beginn_)
        bericht["sekunden"] = sekunden(*beginn_, jetzt);
    else
        bericht["sekunden"] = 0;
    bericht["schritte"] = std::move(schritte);
    return bericht;
}

} // namespace quillmate::MacScan
