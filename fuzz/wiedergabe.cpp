// Replays files through a fuzz target: TARGET FILE-OR-FOLDER... Ends badly where the target does, and when there
// was nothing to replay.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse);

namespace {

namespace fs = std::filesystem;

void wiedergeben(fs::path const& pfad) {
    std::ifstream datei{pfad, std::ios::binary};
    std::vector<char> const inhalt{std::istreambuf_iterator<char>{datei}, {}};
    std::printf("%s\n", pfad.c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(inhalt.data()), inhalt.size());
}

} // namespace

int main(int argc, char** argv) {
    int anzahl = 0;
    for (auto* const argument : std::span{argv, static_cast<std::size_t>(argc)}.subspan(1)) {
        std::vector<fs::path> dateien;
        if (fs::is_directory(argument))
            for (auto const& eintrag : fs::recursive_directory_iterator{argument})
                dateien.push_back(eintrag.path());
        else
            dateien.emplace_back(argument);
        for (auto const& datei : dateien)
            if (fs::is_regular_file(datei)) {
                wiedergeben(datei);
                ++anzahl;
            }
    }
    return anzahl > 0 ? 0 : 1;
}
