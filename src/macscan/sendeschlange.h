#pragma once

#include "grundlage/belegdatei.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace quillmate::MacScan {

/// A judged file that waits for its upload.
struct Sendung {
    std::size_t index; ///< Among the candidates.
    Belegdatei datei;
};

/// The files between readers and senders. A file is opened when a reader takes it and stays open until it was sent, so
/// that what is sent is what was judged. However slow the line is, only some of the waiting files keep their descriptor;
/// the others are opened again, and sent only if they are still the same ones in the same state.
/// Threads: any.
class Sendeschlange {
public:
    /// Far below the 1,024 descriptors that a process has at least on any desktop.
    static constexpr std::size_t hoechstensOffen = 64;

    /// A reader begins, or has ended: then nothing more comes from it.
    void leserAnmelden() {
        std::lock_guard const schutz{sperre_};
        ++leser_;
    }
    void leserAbmelden() {
        std::lock_guard const schutz{sperre_};
        --leser_;
        geaendert_.notify_all();
    }

    void anstellen(Sendung sendung) {
        std::lock_guard const schutz{sperre_};
        if (wartende_.size() >= hoechstensOffen)
            sendung.datei.schliessen();
        wartende_.push_back(std::move(sendung));
        geaendert_.notify_one();
    }
    /// Waits for the next one; nothing when none can come any more.
    [[nodiscard]] std::optional<Sendung> naechste() {
        std::unique_lock schutz{sperre_};
        geaendert_.wait(schutz, [this] { return !wartende_.empty() || leser_ == 0; });
        if (wartende_.empty())
            return std::nullopt;
        std::optional<Sendung> sendung{std::move(wartende_.front())};
        wartende_.pop_front();
        return sendung;
    }
    /// Gives up the descriptors of all that wait.
    void deskriptorenAbgeben() {
        std::lock_guard const schutz{sperre_};
        for (auto& sendung : wartende_)
            sendung.datei.schliessen();
    }

private:
    std::mutex sperre_; ///< Guards everything below.
    std::condition_variable geaendert_;
    std::deque<Sendung> wartende_;
    int leser_{0}; ///< At work.
};

} // namespace quillmate::MacScan
