#pragma once

#include "grundlage/json.h"
#include "ports/hauptschleife.h"
#include "ports/webansicht.h"

#include <cstdint>
#include <memory>
#include <string_view>

namespace quillmate::bruecke {

/// The road of one call's replies, to the document that called and to none after it: each document counts its calls
/// from 1, so the next one's call of the same number would be settled, and a foreign one would read the reply.
/// Threads: a copy may be used on any thread, also when bridge and view are gone; then it does nothing. Replies are
/// delivered on the main thread, later.
/// Errors: what JSON cannot say is dropped without a word; the page's call then waits on.
class Antwortweg {
public:
    /// `bruecke` expires with the bridge. `dokument` is the number of the document that called, `id` its call's.
    Antwortweg(
        ports::Hauptschleife& schleife, std::weak_ptr<ports::Webansicht> web, std::weak_ptr<void> bruecke,
        std::uint64_t dokument, std::int64_t id) noexcept;

    void antworte(Json const& ergebnis) const;
    /// A German sentence: the page's promise is rejected with it.
    void antworteFehler(std::string_view text) const { antworte({{"fehler", text}}); }

private:
    ports::Hauptschleife* schleife_;
    std::weak_ptr<ports::Webansicht> web_;
    std::weak_ptr<void> bruecke_;
    std::uint64_t dokument_;
    std::int64_t id_;
};

} // namespace quillmate::bruecke
