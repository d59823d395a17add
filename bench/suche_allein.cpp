// quillmate-bench-suche: one search as a process of its own, so that it is compared with other search
// programs on equal terms, their start included. It links nothing but the search, as they link nothing but
// theirs.
//
//   quillmate-bench-suche ORDNER FAEDEN      the program's search
//   quillmate-bench-suche ORDNER einfach     the same with the standard library's directory iterator
//
// Prints the paths, one a line.

#include "ordner/dateisuche.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>

namespace {

using namespace quillmate;

bool gewuenscht(std::string const& name) {
    auto endung = std::filesystem::path{name}.extension().string();
    std::ranges::transform(endung, endung.begin(), [](unsigned char zeichen) {
        return static_cast<char>(zeichen >= 'A' && zeichen <= 'Z' ? zeichen + ('a' - 'A') : zeichen);
    });
    return endung.size() > 1 && Ordner::endungen.contains(std::string_view{endung}.substr(1));
}

/// What one writes first: every entry, its type, its size and its time, then the rules.
std::vector<Ordner::Fund> einfach(std::string const& ordner) {
    std::vector<Ordner::Fund> funde;
    std::error_code fehler;
    using std::filesystem::directory_options;
    for (std::filesystem::recursive_directory_iterator stelle{
             ordner, directory_options::skip_permission_denied};
         stelle != std::filesystem::recursive_directory_iterator{}; ++stelle) {
        auto const name = stelle->path().filename().string();
        if (stelle->is_directory(fehler)) {
            if (Ordner::ueberspringen(name))
                stelle.disable_recursion_pending();
            continue;
        }
        auto const groesse = std::filesystem::file_size(stelle->path(), fehler);
        auto const zeit = std::filesystem::last_write_time(stelle->path(), fehler);
        if (name.starts_with('.') || !gewuenscht(name))
            continue;
        funde.push_back(
            {.pfad = stelle->path().string(),
             .groesse = static_cast<std::int64_t>(groesse),
             .geaendert = std::chrono::time_point_cast<std::chrono::nanoseconds>(
                 std::chrono::file_clock::to_sys(zeit))});
    }
    std::ranges::stable_sort(funde, std::ranges::greater{}, &Ordner::Fund::geaendert);
    return funde;
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 3)
        return 2;
    std::string const ordner = argv[1];
    std::string_view const art = argv[2];
    auto const funde = art == "einfach" ? einfach(ordner)
                                        : Ordner::durchsuchen(
                                              ordner, {.hoechstens = static_cast<std::size_t>(-1),
                                                       .faeden = static_cast<unsigned>(std::atoi(argv[2]))});
    std::string ausgabe;
    for (auto const& fund : funde)
        ausgabe.append(fund.pfad).append(1, '\n');
    return std::fwrite(ausgabe.data(), 1, ausgabe.size(), stdout) == ausgabe.size() ? 0 : 1;
} catch (std::exception const& fehler) {
    std::fputs(fehler.what(), stderr);
    return 1;
}
