#include "downloadzeile.h"

#include "grundlage/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace quillmate::fenster {

namespace {

constexpr std::uint64_t megabyte = 1'000'000;
constexpr std::size_t hoechsterName = 120;

/// "12,3", in units of a million bytes.
std::string inMegabyte(std::uint64_t bytes) {
    return fmt::format("{},{}", bytes / megabyte, bytes / (megabyte / 10) % 10);
}

std::string stand(std::uint64_t bytes, std::uint64_t gesamt) {
    if (gesamt == 0)
        return inMegabyte(bytes) + " MB";
    return fmt::format(
        "{} % ({} von {} MB)", bytes * 100 / std::max(bytes, gesamt), inMegabyte(bytes), inMegabyte(gesamt));
}

} // namespace

void Downloadzeile::begonnen(std::uint64_t nummer, std::string name, std::function<void()> abbrechen) {
    ausgang_.reset();
    laufende_[nummer] = {.name = std::move(name), .abbrechen = std::move(abbrechen)};
    zeigen();
}

void Downloadzeile::fortschritt(std::uint64_t nummer, std::uint64_t bytes, std::uint64_t gesamt) {
    auto const lauf = laufende_.find(nummer);
    if (lauf == laufende_.end())
        return;
    lauf->second.bytes = bytes;
    lauf->second.gesamt = gesamt;
    zeigen();
}

void Downloadzeile::beendet(std::uint64_t nummer, std::optional<std::string> const& ausgang) {
    if (laufende_.erase(nummer) == 0 && !ausgang)
        return;
    ausgang_ = ausgang;
    zeigen();
}

void Downloadzeile::zeigen() {
    if (laufende_.empty()) {
        if (!ausgang_)
            return zeigen_(std::nullopt);
        return zeigen_(
            ports::Fusszeile{.text = *ausgang_, .anteil = {}, .knopf = "Schließen", .gedrueckt = [this] {
                                 ausgang_.reset();
                                 zeigen();
                             }});
    }
    std::uint64_t bytes = 0;
    std::uint64_t gesamt = 0;
    bool bekannt = true;
    for (auto const& [nummer, lauf] : laufende_) {
        bytes += lauf.bytes;
        gesamt += lauf.gesamt;
        bekannt = bekannt && lauf.gesamt > 0;
    }
    if (!bekannt)
        gesamt = 0;
    auto const was =
        laufende_.size() == 1
            ? fmt::format(
                  "„{}“ wird heruntergeladen …", einzeilig(laufende_.begin()->second.name, hoechsterName))
            : fmt::format("{} Dateien werden heruntergeladen …", laufende_.size());
    zeigen_(ports::Fusszeile{
        .text = was + ' ' + stand(bytes, gesamt),
        .laeuft = true,
        .anteil =
            gesamt > 0
                ? std::optional{static_cast<double>(bytes) / static_cast<double>(std::max(bytes, gesamt))}
                : std::nullopt,
        .knopf = "Abbrechen",
        .gedrueckt = [this] {
            alleAbbrechen();
        }});
}

void Downloadzeile::alleAbbrechen() {
    // Each end takes its entry away.
    std::vector<std::function<void()>> alle;
    for (auto const& [nummer, lauf] : laufende_)
        alle.push_back(lauf.abbrechen);
    for (auto const& abbrechen : alle)
        if (abbrechen)
            abbrechen();
}

} // namespace quillmate::fenster
