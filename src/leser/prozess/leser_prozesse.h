#pragma once

#include "texterkennung/leser.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

namespace quillmate::leser::prozess {

/// Reads each document in a process of its own ("quillmate-leser"), which is locked up before it sees a foreign byte. The
/// processes are forked from a template that has the engines ready and parses nothing; it is kept for the next file and
/// ended when there is none.
///
/// A child that dies of its file, computes for too long, grows too large, floods or talks nonsense costs that file its
/// text: a finding, and one log line says so. A child that was ended by somebody else, or a file system that hangs, says
/// nothing about the file (Lesung::Art::gestoert); nor does a child that could not be had (ohneMittel, ohneLeser).
///
/// Threads: any number at once, each at its own priority, which the children that read for it take over. Owns one
/// thread that starts the template and waits for all processes that ended: the kernel ends a process together with the
/// thread that started it, so that thread must be one that stays.
/// Ownership: nobody may be in lesen() when this object is destroyed; see beenden().
class LeserProzesse final : public Texterkennung::Leser {
public:
    struct Vorgaben {
        /// The template's program; empty for "quillmate-leser" beside the running one.
        std::string programm{};
        /// How long a template without work is kept: longer than a pause within a scan, short enough that some
        /// 60 MB are not held for nothing.
        std::chrono::milliseconds leerlauf{20'000};
        /// From the start to the first message; 0.2 s on an idle machine.
        std::chrono::milliseconds startfrist{60'000};
        /// After a template that did not become ready no other is started for so long: a broken installation does not
        /// start to work within a scan of 10,000 files, but each would wait for it.
        std::chrono::milliseconds startpause{3'000};
        /// Processor time for one file. The reader's own limits end at 20 s for decoding plus 30 s for recognition,
        /// and 15 s for a PDF; beyond that it no longer looks at the clock. Not wall time, so that a busy
        /// machine does not decide what a file holds.
        std::chrono::milliseconds rechenfrist{60'000};
        /// Time on the clock for one file, for whoever sleeps or waits for a file system that hangs.
        std::chrono::milliseconds wandfrist{300'000};
        /// Resident memory of a child, watched from here ten times a second, whatever its own limits are worth.
        std::size_t speicherPdf{std::size_t{512} << 20U};
        std::size_t speicherBild{std::size_t{1} << 30U};
    };

    LeserProzesse();
    explicit LeserProzesse(Vorgaben vorgaben);
    /// Ends template and children.
    ~LeserProzesse() override;
    LeserProzesse(LeserProzesse const&) = delete;
    LeserProzesse& operator=(LeserProzesse const&) = delete;

    [[nodiscard]] Texterkennung::Lesung lesen(int deskriptor, Texterkennung::Dateiart art) override;
    /// The child is killed when nobody wants its answer any more.
    [[nodiscard]] Texterkennung::Lesung lesenAbbrechbar(
        int deskriptor, Texterkennung::Dateiart art, Abbruchfrage const& abbrechen) override;

    /// For the end of the program: whoever waits in lesen() gets `gestoppt` at once, and so does everyone later.
    /// Threads: any.
    void beenden() noexcept;

private:
    struct Innen;
    std::unique_ptr<Innen> innen_;
};

/// Path of the program beside the running one.
[[nodiscard]] std::string leserprogramm();

} // namespace quillmate::leser::prozess
