#include "baum.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace quillmate::bench {

namespace {

/// A generator whose numbers are fixed by its text; those of the standard library's distributions are not.
class Wuerfel {
public:
    explicit Wuerfel(std::uint64_t saat)
        : stand_(saat) {}
    /// 0 up to, not including, `ende`. (splitmix64; the slight bias of the remainder does not matter here.)
    std::size_t bis(std::size_t ende) {
        stand_ += 0x9E3779B97F4A7C15U;
        auto z = stand_;
        z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
        return static_cast<std::size_t>((z ^ (z >> 31U)) % ende);
    }
    bool chance(double anteil) { return static_cast<double>(bis(1'000'000)) < anteil * 1e6; }

private:
    std::uint64_t stand_;
};

constexpr std::array<std::string_view, 4> ausgeschlossene{
    "node_modules", "vendor", "Library", "site-packages"};
constexpr std::array<std::string_view, 6> kandidaten{"pdf", "jpg", "jpeg", "png", "PDF", "heic"};
constexpr std::array<std::string_view, 10> uebrige{"txt",  "js",   "docx", "cpp",  "h",
                                                   "html", "json", "md",   "xlsx", "log"};
constexpr std::array<std::string_view, 6> woerter{"Rechnung", "Projekt", "Notizen",
                                                  "index",    "Auszug",  "Bericht"};
constexpr std::size_t hoechsttiefe = 12;

struct Platz {
    std::filesystem::path pfad;
    std::size_t tiefe;
};

std::vector<Platz> ordnerAnlegen(std::vector<Platz> plaetze, std::size_t anzahl, Wuerfel& wuerfel) {
    for (std::size_t i = plaetze.size(); i < anzahl; ++i) {
        auto const& eltern = plaetze[wuerfel.bis(plaetze.size())];
        auto const& oben = eltern.tiefe < hoechsttiefe ? eltern : plaetze.front();
        Platz neuer{
            .pfad = oben.pfad / fmt::format("{}-{}", woerter[wuerfel.bis(woerter.size())], i),
            .tiefe = oben.tiefe + 1};
        std::filesystem::create_directory(neuer.pfad);
        plaetze.push_back(std::move(neuer));
    }
    return plaetze;
}

void dateiAnlegen(std::filesystem::path const& pfad) {
    int const deskriptor = ::open(pfad.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (deskriptor < 0)
        throw std::system_error{errno, std::generic_category(), pfad};
    ::close(deskriptor);
}

} // namespace

void baumAnlegen(std::filesystem::path const& wurzel, Baumauftrag const& auftrag) {
    Wuerfel wuerfel{auftrag.saat};
    std::filesystem::create_directories(wurzel);
    auto const draussen =
        static_cast<std::size_t>(static_cast<double>(auftrag.ordner) * auftrag.anteilAusgeschlossen);

    auto plaetze = ordnerAnlegen({{.pfad = wurzel, .tiefe = 0}}, auftrag.ordner - draussen, wuerfel);
    // Several roots that are not entered, spread over the tree, as projects spread their dependencies.
    std::vector<Platz> wurzeln;
    for (std::size_t i = 0; i < draussen / 100 + 1; ++i) {
        auto const& oben = plaetze[wuerfel.bis(plaetze.size())];
        Platz neuer{
            .pfad = oben.pfad / ausgeschlossene[wuerfel.bis(ausgeschlossene.size())],
            .tiefe = oben.tiefe + 1};
        if (std::filesystem::create_directory(neuer.pfad))
            wurzeln.push_back(std::move(neuer));
    }
    for (auto& platz : ordnerAnlegen(std::move(wurzeln), draussen, wuerfel))
        plaetze.push_back(std::move(platz));

    for (std::size_t i = 0; i < auftrag.dateien; ++i) {
        auto const endung = wuerfel.chance(auftrag.anteilKandidaten)
                                ? kandidaten[wuerfel.bis(kandidaten.size())]
                                : uebrige[wuerfel.bis(uebrige.size())];
        auto const& platz = plaetze[wuerfel.bis(plaetze.size())];
        dateiAnlegen(platz.pfad / fmt::format("{}_{}.{}", woerter[wuerfel.bis(woerter.size())], i, endung));
    }
}

} // namespace quillmate::bench
