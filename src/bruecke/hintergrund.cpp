#include "hintergrund.h"

#include <utility>

namespace quillmate::bruecke {

void Hintergrund::ausfuehren(Arbeit arbeit) {
    {
        std::lock_guard const schutz{sperre_};
        if (!faden_.joinable())
            faden_ = std::jthread{[this](std::stop_token const& ende) {
                arbeiten(ende);
            }};
        offen_.push_back(std::move(arbeit));
    }
    neues_.notify_one();
}

void Hintergrund::arbeiten(std::stop_token const& ende) {
    arbeitsfaden_.alsHilfsarbeit();
    for (;;) {
        Arbeit arbeit;
        {
            std::unique_lock schutz{sperre_};
            neues_.wait(schutz, ende, [this] { return !offen_.empty(); });
            if (ende.stop_requested())
                return;
            arbeit = std::move(offen_.front());
            offen_.pop_front();
        }
        arbeit(ende);
    }
}

} // namespace quillmate::bruecke
