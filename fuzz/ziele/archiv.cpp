#include "aktualisierung/auspacken.h"
#include "werkzeug/ordner_auf_zeit.h"
#include "ziel.h"

#include <filesystem>

using namespace quillmate;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    namespace fs = std::filesystem;
    static werkzeug::OrdnerAufZeit const ordner;
    auto const ziel = ordner.pfad("a/ziel");
    fs::create_directories(ziel);
    constexpr aktualisierung::Auspackgrenzen grenzen{.bytes = 1'000'000, .eintraege = 100};
    (void)aktualisierung::auspacken(fuzz::alsText(daten, groesse), ziel, grenzen);
    // Nothing beside the folder, and nothing in it that leads out or is larger than allowed.
    VERSPROCHEN(std::distance(fs::directory_iterator{ordner.pfad("a")}, {}) == 1);
    VERSPROCHEN(std::distance(fs::directory_iterator{ordner.pfad()}, {}) == 1);
    std::uintmax_t bytes = 0;
    for (auto const& eintrag : fs::recursive_directory_iterator{ziel}) {
        auto const art = eintrag.symlink_status().type();
        VERSPROCHEN(
            art == fs::file_type::regular || art == fs::file_type::directory ||
            art == fs::file_type::symlink);
        if (art == fs::file_type::regular)
            bytes += eintrag.file_size();
        if (art == fs::file_type::symlink) {
            auto const wohin =
                (eintrag.path().parent_path() / fs::read_symlink(eintrag.path())).lexically_normal();
            VERSPROCHEN(wohin.string().starts_with(ziel));
        }
    }
    VERSPROCHEN(bytes <= grenzen.bytes);
    fs::remove_all(ordner.pfad("a"));
    return 0;
}
