#pragma once

#include "dienst/zugang.h"
#include "messung.h"

#include <sched.h>
#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

/// What a whole scan needs: a home folder with documents, a service, and the scan as a process.
namespace quillmate::bench {

/// A home folder with the documents that scans are measured on; removed at the end.
/// With --korpus: below "Documents", the PDFs of its folder "einvoices" and the pictures of its folder
/// "receipts", or, when it has neither, every file that a scan looks at. Without: the samples that the build
/// generates.
/// Errors: throws when there is nothing to copy, or on a failure of the file system.
class Scanheim {
public:
    Scanheim(Umgebung const& umgebung, std::string const& name);
    ~Scanheim();
    Scanheim(Scanheim const&) = delete;
    Scanheim& operator=(Scanheim const&) = delete;

    [[nodiscard]] std::filesystem::path const& pfad() const noexcept { return pfad_; }
    /// Those places of a scan that exist.
    [[nodiscard]] std::vector<std::string> orte() const;
    /// One full scan by "quillmate-suchlauf" or a program like it. Throws when it fails.
    [[nodiscard]] Lauf suchlauf(
        dienst::Zugang const& zugang, std::string const& programm = "quillmate-suchlauf",
        Familie familie = Familie::nicht) const;

private:
    std::filesystem::path const pfad_;
};

/// A "quillmate-demodienst" that does not read what it gets, with new, empty data; ended, and its data
/// removed, at the end.
/// Errors: throws when it does not come up.
class Dienstprozess {
public:
    explicit Dienstprozess(std::filesystem::path daten);
    ~Dienstprozess();
    Dienstprozess(Dienstprozess const&) = delete;
    Dienstprozess& operator=(Dienstprozess const&) = delete;

    [[nodiscard]] dienst::Zugang const& zugang() const noexcept { return zugang_; }

private:
    std::filesystem::path const daten_;
    pid_t kind_{-1};
    dienst::Zugang zugang_;
};

/// While it lives, this process and those that it starts use no more than two processors: a scan then has two
/// readers, whatever the machine has.
class ZweiProzessoren {
public:
    ZweiProzessoren();
    ~ZweiProzessoren();
    ZweiProzessoren(ZweiProzessoren const&) = delete;
    ZweiProzessoren& operator=(ZweiProzessoren const&) = delete;

private:
    cpu_set_t vorher_{};
};

} // namespace quillmate::bench
