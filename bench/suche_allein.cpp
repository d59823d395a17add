// quillmate-bench-suche: one search as a process of its own, so that it is compared with other search
// programs on equal terms, their start included. It links nothing but the search, as they link nothing but
// theirs.
//
//   quillmate-bench-suche ORDNER FAEDEN      the program's search
//   quillmate-bench-suche ORDNER einfach     the same as a plain loop over the standard library's directory iterator
//   quillmate-bench-suche ORDNER beschnitten the same loop, kept from entering folders to skip
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

Ordner::Fund fund(std::filesystem::directory_entry const& eintrag) {
    std::error_code fehler;
    auto const groesse = eintrag.file_size(fehler);
    auto const zeit = eintrag.last_write_time(fehler);
    return {
        .pfad = eintrag.path().string(),
        .groesse = static_cast<std::int64_t>(groesse),
        .geaendert =
            std::chrono::time_point_cast<std::chrono::nanoseconds>(std::chrono::file_clock::to_sys(zeit))};
}

bool erwuenscht(std::string const& name) {
    return !name.starts_with('.') && gewuenscht(name);
}

void neuesteZuerst(std::vector<Ordner::Fund>& funde) {
    std::ranges::stable_sort(funde, std::ranges::greater{}, &Ordner::Fund::geaendert);
}

/// What one writes first: a loop over all that the iterator gives, size and time of each, then the rules.
std::vector<Ordner::Fund> einfach(std::string const& ordner) {
    std::vector<Ordner::Fund> funde;
    std::filesystem::path const wurzel{ordner};
    for (auto const& eintrag : std::filesystem::recursive_directory_iterator{
             wurzel, std::filesystem::directory_options::skip_permission_denied}) {
        if (eintrag.is_directory())
            continue;
        auto eins = fund(eintrag);
        auto const ueber = eintrag.path().lexically_relative(wurzel).parent_path();
        if (erwuenscht(eintrag.path().filename().string()) &&
            std::ranges::none_of(
                ueber, [](auto const& teil) { return Ordner::ueberspringen(teil.string()); }))
            funde.push_back(std::move(eins));
    }
    neuesteZuerst(funde);
    return funde;
}

/// What one writes second: the same, and told not to go where the rules forbid it.
std::vector<Ordner::Fund> beschnitten(std::string const& ordner) {
    std::vector<Ordner::Fund> funde;
    std::filesystem::recursive_directory_iterator stelle{
        ordner, std::filesystem::directory_options::skip_permission_denied};
    for (; stelle != std::filesystem::recursive_directory_iterator{}; ++stelle) {
        auto const name = stelle->path().filename().string();
        if (stelle->is_directory()) {
            if (Ordner::ueberspringen(name))
                stelle.disable_recursion_pending();
            continue;
        }
        auto eins = fund(*stelle);
        if (erwuenscht(name))
            funde.push_back(std::move(eins));
    }
    neuesteZuerst(funde);
    return funde;
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 3)
        return 2;
    std::string const ordner = argv[1];
    std::string_view const art = argv[2];
    auto const suche = [&]() -> std::vector<Ordner::Fund> {
        if (art == "einfach")
            return einfach(ordner);
        if (art == "beschnitten")
            return beschnitten(ordner);
        return Ordner::durchsuchen(
            ordner, {.hoechstens = static_cast<std::size_t>(-1),
                     .faeden = static_cast<unsigned>(std::atoi(argv[2]))});
    };
    auto const funde = suche();
    std::string ausgabe;
    for (auto const& fund : funde)
        ausgabe.append(fund.pfad).append(1, '\n');
    return std::fwrite(ausgabe.data(), 1, ausgabe.size(), stdout) == ausgabe.size() ? 0 : 1;
} catch (std::exception const& fehler) {
    std::fputs(fehler.what(), stderr);
    return 1;
}
