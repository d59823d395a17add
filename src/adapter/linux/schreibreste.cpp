#include "schreibreste.h"

#include <unistd.h>

#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

namespace quillmate::adapter::linux {

void schreibresteEntfernen(std::string const& datei) {
    std::filesystem::path const ziel{datei};
    auto const beginn = ziel.filename().string() + '.';
    constexpr std::string_view endung = ".neu";
    std::error_code fehler;
    std::vector<std::filesystem::path> reste;
    for (std::filesystem::directory_iterator eintrag{ziel.parent_path(), fehler}, ende;
         !fehler && eintrag != ende; eintrag.increment(fehler)) {
        auto const name = eintrag->path().filename().string();
        if (!name.starts_with(beginn) || !name.ends_with(endung) ||
            name.size() < beginn.size() + endung.size())
            continue;
        auto const mitte =
            std::string_view{name}.substr(beginn.size(), name.size() - beginn.size() - endung.size());
        if (!mitte.empty() && mitte.find_first_not_of("0123456789-") == std::string_view::npos)
            reste.push_back(eintrag->path());
    }
    for (auto const& rest : reste)
        (void)::unlink(rest.c_str());
}

} // namespace quillmate::adapter::linux
