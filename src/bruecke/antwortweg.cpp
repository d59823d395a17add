#include "antwortweg.h"

#include "json_text.h"

#include <fmt/format.h>

#include <utility>

namespace quillmate::bruecke {

Antwortweg::Antwortweg(
    ports::Hauptschleife& schleife, std::weak_ptr<ports::Webansicht> web, std::weak_ptr<void> bruecke,
    std::uint64_t dokument, std::int64_t id) noexcept
    : schleife_(&schleife)
    , web_(std::move(web))
    , bruecke_(std::move(bruecke))
    , dokument_(dokument)
    , id_(id) {}

void Antwortweg::antworte(Json const& ergebnis) const {
    if (bruecke_.expired())
        return;
    auto const text = jsonText(ergebnis);
    if (!text)
        return;
    // The view is looked up on the main thread only: a lock taken here could make a worker its last owner.
    schleife_->spaeter([web = web_, dokument = dokument_, werte = fmt::format("[{},{}]", id_, *text)] {
        if (auto const ansicht = web.lock())
            ansicht->zustellen(dokument, "__quillmateAntwort", werte);
    });
}

} // namespace quillmate::bruecke
