#pragma once

#include "speicher.h"
#include "texterkennung/leser.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>

namespace quillmate::demo {

/// The kind of document that bytes are by their first ones, else by the extension of their name; nothing for
/// what no reader takes.
[[nodiscard]] std::optional<Texterkennung::Dateiart> dateiart(std::string_view bytes, std::string_view name);

/// Has received files read and matched with bookings: those of scans one after the other on a thread of
/// lowest priority, so that a scan on the same machine is not slowed down; others at once, for their senders'
/// answers. Threads:   anstossen() and sofort() any number at once.
/// Ownership: borrows `speicher` and
/// `leser`, which must outlive this object.
class Auswertung {
public:
    /// Begins with what an earlier run left unread. Without `leser` nothing is ever read.
    Auswertung(Speicher& speicher, Texterkennung::Leser* leser);
    /// Waits for the file that is being read.
    ~Auswertung();
    Auswertung(Auswertung const&) = delete;
    Auswertung& operator=(Auswertung const&) = delete;

    [[nodiscard]] bool liest() const noexcept { return leser_ != nullptr; }
    /// There may be something new to read.
    void anstossen();
    /// Reads a receipt on the calling thread, unless it is read already, and returns it with its text. It
    /// stays Zustand::ungelesen when no reader can tell. Blocks up to many seconds.
    /// Errors: nothing for an
    /// unknown receipt or a failing storage.
    [[nodiscard]] std::optional<Beleg> sofort(std::int64_t id);
    /// No further file is begun. Returns whether the thread is at rest; false while it still reads one.
    [[nodiscard]] bool anhalten();

private:
    void leseReihum();
    /// False when no reader could tell anything about the file.
    bool lies(Beleg const& beleg);

    Speicher& speicher_;
    Texterkennung::Leser* leser_;
    std::int64_t altbestand_{0}; ///< Highest receipt of earlier runs.

    std::mutex sperre_;
    std::condition_variable bereit_;
    bool neues_{true};     ///< Under sperre_.
    bool anhalten_{false}; ///< Under sperre_.
    bool ruht_{true};      ///< Under sperre_: the thread holds no file.
    std::thread faden_;
};

} // namespace quillmate::demo
