// quillmate-bench: measures the program's figures and prints one table at the end.
// Exit status: 0 also when a figure misses its goal (a busy machine is no error), 1 when a figure could not
// be measured, 2 for a wrong command line.

#include "messung.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace {

using namespace quillmate::bench;

constexpr std::string_view aufruf = "quillmate-bench [--korpus ORDNER] [--fotos ORDNER] [--vorher PROGRAMM] "
                                    "[--ablage ORDNER] [--tabelle DATEI] "
                                    "[--einzeln DATEI] [--art ART]... [--nur KENNZAHL]... [--runden N]";

struct Kommandozeile {
    Umgebung umgebung;
    std::set<std::string, std::less<>> nur;
};

/// What an argument with a path sets; null for any other.
std::optional<std::filesystem::path>* pfadangabe(Umgebung& umgebung, std::string_view argument) {
    if (argument == "--fotos")
        return &umgebung.fotos;
    if (argument == "--vorher")
        return &umgebung.vorher;
    if (argument == "--ablage")
        return &umgebung.ablage;
    if (argument == "--tabelle")
        return &umgebung.tabelle;
    return argument == "--einzeln" ? &umgebung.einzeln : nullptr;
}

std::optional<Kommandozeile> gelesen(std::vector<std::string_view> const& argumente) {
    Kommandozeile zeile;
    for (std::size_t i = 1; i < argumente.size(); i += 2) {
        if (i + 1 == argumente.size())
            return std::nullopt;
        auto const wert = argumente[i + 1];
        if (argumente[i] == "--korpus") {
            zeile.umgebung.korpus = wert;
        } else if (auto const ordner = pfadangabe(zeile.umgebung, argumente[i])) {
            *ordner = wert;
        } else if (argumente[i] == "--art") {
            zeile.umgebung.arten.emplace(wert);
        } else if (argumente[i] == "--nur") {
            if (std::ranges::find(kennzahlen(), wert, &Kennzahl::name) == kennzahlen().end())
                return std::nullopt;
            zeile.nur.emplace(wert);
        } else if (argumente[i] == "--runden") {
            auto const [ende, fehler] =
                std::from_chars(wert.data(), wert.data() + wert.size(), zeile.umgebung.runden);
            if (fehler != std::errc{} || ende != wert.data() + wert.size() || zeile.umgebung.runden == 0)
                return std::nullopt;
        } else {
            return std::nullopt;
        }
    }
    return zeile;
}

/// A new folder below TMPDIR; removed with all that is in it.
class Arbeitsordner {
public:
    Arbeitsordner() {
        auto muster = (std::filesystem::temp_directory_path() / "quillmate-bench-XXXXXX").string();
        if (::mkdtemp(muster.data()) == nullptr)
            throw std::runtime_error{"no temporary folder: " + muster};
        pfad_ = muster;
    }
    ~Arbeitsordner() {
        std::error_code fehler;
        std::filesystem::remove_all(pfad_, fehler);
    }
    Arbeitsordner(Arbeitsordner const&) = delete;
    Arbeitsordner& operator=(Arbeitsordner const&) = delete;
    [[nodiscard]] std::filesystem::path const& pfad() const { return pfad_; }

private:
    std::filesystem::path pfad_;
};

/// Columns on a screen; every character of the table is one column wide.
std::size_t breite(std::string_view text) {
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }));
}

void tabelleDrucken(std::vector<Zeile> const& zeilen) {
    using Reihe = std::array<std::string, 6>;
    std::vector<Reihe> reihen{{"figure", "ours", "peer", "ratio", "goal", "ok?"}};
    for (auto const& zeile : zeilen) {
        std::string urteil = "-";
        bool const hoechstens = zeile.richtung == Richtung::hoechstens;
        if (zeile.verhaeltnis && zeile.ziel)
            urteil = (hoechstens ? *zeile.verhaeltnis <= *zeile.ziel : *zeile.verhaeltnis >= *zeile.ziel)
                         ? "ok"
                         : "MISSED";
        reihen.push_back(
            {zeile.kennzahl, zeile.unsere, zeile.vergleich,
             zeile.verhaeltnis ? fmt::format("{:.3f}", *zeile.verhaeltnis) : "-",
             zeile.ziel ? fmt::format("{} {}", hoechstens ? "<=" : ">=", *zeile.ziel) : "-", urteil});
    }
    std::array<std::size_t, 6> breiten{};
    for (auto const& reihe : reihen)
        for (std::size_t i = 0; i < reihe.size(); ++i)
            breiten[i] = std::max(breiten[i], breite(reihe[i]));
    for (auto const& reihe : reihen) {
        for (std::size_t i = 0; i < reihe.size(); ++i)
            fmt::print(
                "{}{}{}", i > 0 ? " | " : "", reihe[i], std::string(breiten[i] - breite(reihe[i]), ' '));
        fmt::print("\n");
    }
}

} // namespace

int main(int argc, char** argv) try {
    auto zeile = gelesen({argv, argv + argc});
    if (!zeile) {
        std::string namen;
        for (auto const& kennzahl : kennzahlen())
            namen += " " + kennzahl.name;
        hinweis(fmt::format("{}\nKennzahlen:{}", aufruf, namen));
        return 2;
    }
    Arbeitsordner const arbeitsordner;
    zeile->umgebung.arbeitsordner = arbeitsordner.pfad();
    std::vector<Zeile> zeilen;
    bool vollstaendig = true;
    for (auto const& kennzahl : kennzahlen()) {
        if (!zeile->nur.empty() && !zeile->nur.contains(kennzahl.name))
            continue;
        hinweis(fmt::format("{}: {}", kennzahl.name, kennzahl.frage));
        try {
            for (auto& ergebnis : kennzahl.messen(zeile->umgebung))
                zeilen.push_back(std::move(ergebnis));
        } catch (std::exception const& fehler) {
            hinweis(fmt::format("{}: nicht gemessen: {}", kennzahl.name, fehler.what()));
            vollstaendig = false;
        }
    }
    tabelleDrucken(zeilen);
    return vollstaendig ? 0 : 1;
} catch (std::exception const& fehler) {
    std::fputs(fehler.what(), stderr);
    std::fputs("\n", stderr);
    return 1;
}
