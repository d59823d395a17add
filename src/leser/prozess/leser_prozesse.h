#pragma once

#include "texterkennung/leser.h"

#include <chrono>
#include <memory>
#include <string>

namespace quillmate::leser::prozess {

/// Reads documents in helper processes ("quillmate-leser") that are locked up before they see a foreign byte. One
/// process per thread that reads; kept for the next file, ended when there is none.
///
/// A reader that dies, hangs, floods or talks nonsense costs the file its text: the file counts as read and
/// without text, one log line says so, and the next file gets another reader. A reader that could not be
/// started says nothing about the file (Lesung::Art::ohneLeser).
///
/// Threads: any number at once, each at its own priority, which its reader takes over. Owns one thread that
/// starts and ends the processes: the kernel ends a process together with the thread that started it, so that
/// thread must be one that stays.
/// Ownership: nobody may be in lesen() when this object is destroyed; see beenden().
class LeserProzesse final : public Texterkennung::Leser {
public:
    struct Vorgaben {
        /// The reader's program; empty for "quillmate-leser" beside the running one.
        std::string programm{};
        /// How long a reader without work is kept: longer than a pause within a scan, short enough that some
        /// 60 MB are not held for nothing.
        std::chrono::milliseconds leerlauf{20'000};
        /// After so many files a reader is replaced, so that what libraries leak or remember of hostile files
        /// does not pile up. Starting one takes as long as reading a few invoices.
        unsigned dateienJeLeser{250};
        /// From the start to the first message; 0.02 s on an idle machine.
        std::chrono::milliseconds startfrist{60'000};
        /// Processor time for one file. The reader's own limits end at 20 s for decoding plus 30 s for recognition,
        /// and 15 s for a PDF; beyond that it no longer looks at the clock. Not wall time, so that a busy
        /// machine does not decide what a file holds.
        std::chrono::milliseconds rechenfrist{60'000};
        /// Time on the clock for one file, for whoever sleeps or waits for a file system that hangs.
        std::chrono::milliseconds wandfrist{300'000};
    };

    LeserProzesse();
    explicit LeserProzesse(Vorgaben vorgaben);
    /// Ends all readers.
    ~LeserProzesse() override;
    LeserProzesse(LeserProzesse const&) = delete;
    LeserProzesse& operator=(LeserProzesse const&) = delete;

    [[nodiscard]] Texterkennung::Lesung lesen(int deskriptor, Texterkennung::Dateiart art) override;

    /// For the end of the program: whoever waits in lesen() gets ohneLeser at once, and so does everyone later.
    /// Threads: any.
    void beenden() noexcept;

private:
    struct Innen;
    std::unique_ptr<Innen> innen_;
};

/// Path of the program beside the running one.
[[nodiscard]] std::string leserprogramm();

} // namespace quillmate::leser::prozess
