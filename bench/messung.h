#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// What every figure of quillmate-bench needs: a place to work, clocks, and a line in the final table.
/// A figure is one file of this folder; it registers itself with an object of type Anmeldung.
/// Threads: one.
/// Errors: what a figure throws ends that figure with a line, not the program.
namespace quillmate::bench {

using Sekunden = std::chrono::duration<double>;

/// What the command line says, and the folder for generated data.
struct Umgebung {
    std::optional<std::filesystem::path> korpus; ///< --korpus: a folder with documents of the user's own.
    std::optional<std::filesystem::path>
        fotos; ///< --fotos: a folder with large photographs of anything but documents.
    std::optional<std::filesystem::path> vorher; ///< --vorher: quillmate-bench-lesen of another state.
    std::optional<std::filesystem::path>
        ablage; ///< --ablage: where the peer's readings are kept from run to run.
    std::optional<std::filesystem::path>
        tabelle; ///< --tabelle: the file in which the table of recognition is replaced.
    std::optional<std::filesystem::path> einzeln; ///< --einzeln: gets a line for each picture that is read.
    std::set<std::string, std::less<>> arten;     ///< --art: kinds of pictures; all when empty.
    std::size_t runden{7};                        ///< --runden: repetitions of which the median counts.
    std::filesystem::path arbeitsordner;          ///< Empty at the start, removed at the end.
};

/// On which side of its goal a ratio is to stay.
enum class Richtung { hoechstens, mindestens };

/// One row of the final table.
struct Zeile {
    std::string kennzahl;
    std::string unsere;                ///< With unit.
    std::string vergleich;             ///< With unit, and what exactly was measured.
    std::optional<double> verhaeltnis; ///< Ours divided by the peer's, or by a fixed amount.
    std::optional<double> ziel;        ///< The ratio is to stay at or below this, or at or above it.
    Richtung richtung{Richtung::hoechstens};
};

struct Kennzahl {
    std::string name;  ///< As --nur takes it.
    std::string frage; ///< One sentence, shown before the measurement.
    std::function<std::vector<Zeile>(Umgebung const&)> messen;
};

/// All figures, by name.
[[nodiscard]] std::vector<Kennzahl> const& kennzahlen();

struct Anmeldung {
    explicit Anmeldung(Kennzahl kennzahl);
};

/// One run of a child process.
struct Lauf {
    bool gelungen{false}; ///< It could be started and ended with status 0.
    Sekunden dauer{0};
    Sekunden benutzerzeit{0};
    Sekunden systemzeit{0};
    /// Bytes of resident memory at the peak of the largest one of it and the processes that it started.
    std::size_t hoechstspeicher{0};
    /// The same of all of them together at one time; pages of files (programs, libraries) count once for it and
    /// once for all that it started, since these run the same program. Looked at every few milliseconds.
    std::size_t familienspeicher{0};
    std::string ausgabe; ///< What it wrote to standard output, if asked for.
};

enum class Ausgabe { verwerfen, behalten };
/// Whether Lauf::familienspeicher is wanted. Looking costs about a hundredth of a processor.
enum class Familie { nicht, beobachten };

/// Runs a program (looked up in PATH when it has no slash) to its end.
[[nodiscard]] Lauf ausfuehren(
    std::vector<std::string> const& befehl, Ausgabe ausgabe = Ausgabe::verwerfen,
    Familie familie = Familie::nicht);

/// The processes that a process started and has not waited for.
[[nodiscard]] std::vector<pid_t> kinder(pid_t pid);
/// Resident memory of a running process at its peak so far, in bytes.
[[nodiscard]] std::size_t hoechststand(pid_t pid);

/// Whether a program of this name is in PATH; otherwise a line says that the comparison is left out.
[[nodiscard]] bool installiert(std::string const& programm);

/// Path of a program that was built beside this one.
[[nodiscard]] std::filesystem::path nachbarprogramm(std::string const& name);

/// Calls all functions in turn, `runden` times, so that a disturbance of the machine hits each of them alike;
/// one round before that only warms up. The median of what each returned.
[[nodiscard]] std::vector<double> abwechselnd(
    std::size_t runden, std::vector<std::function<double()>> const& laeufe);

[[nodiscard]] double median(std::vector<double> werte);

/// "12.3 ms", "4.56 s"
[[nodiscard]] std::string alsZeit(double sekunden);

/// A line of progress on standard error, so that standard output holds only the table.
void hinweis(std::string const& text);

} // namespace quillmate::bench
