#include "standardorte_xdg.h"

#include "grundlage/datei.h"
#include "grundlage/ergebnis.h"
#include "grundlage/protokoll.h"
#include "verzeichnisse.h"

#include <cerrno>
#include <cstdint>
#include <optional>
#include <utility>

namespace quillmate::adapter::linux {

namespace {

/// The path of one line's quoted value; nothing when the line is no such entry.
std::optional<std::string> wertVon(std::string_view zeile, std::string_view name, std::string const& heim) {
    auto const ohneLeerraum = [](std::string_view text) {
        auto const anfang = text.find_first_not_of(" \t");
        return anfang == std::string_view::npos ? std::string_view{} : text.substr(anfang);
    };
    zeile = ohneLeerraum(zeile);
    if (!zeile.starts_with(name))
        return std::nullopt;
    zeile = ohneLeerraum(zeile.substr(name.size()));
    if (!zeile.starts_with('='))
        return std::nullopt;
    zeile = ohneLeerraum(zeile.substr(1));
    if (!zeile.starts_with('"'))
        return std::nullopt;
    zeile.remove_prefix(1);

    std::string pfad;
    constexpr std::string_view heimvariable = "$HOME";
    if (zeile.starts_with(heimvariable)) {
        pfad = heim;
        zeile.remove_prefix(heimvariable.size());
        if (!zeile.starts_with('/') && !zeile.starts_with('"'))
            return std::nullopt;
    } else if (!zeile.starts_with('/')) {
        return std::nullopt; // relative paths are not allowed there
    }
    for (std::size_t i = 0; i < zeile.size() && zeile[i] != '"'; ++i) {
        if (zeile[i] == '\\' && i + 1 < zeile.size())
            ++i;
        pfad += zeile[i];
    }
    pfad = standardisiert(pfad);
    if (pfad == standardisiert(heim))
        return std::nullopt;
    return pfad;
}

} // namespace

ports::Standardorte::Pfade standardorteAus(std::string const& heim, std::string_view benutzerordner) {
    ports::Standardorte::Pfade pfade{
        .schreibtisch = heim + "/Desktop",
        .dokumente = heim + "/Documents",
        .downloads = heim + "/Downloads",
        .wolke = heim + "/Library/Mobile Documents/com~apple~CloudDocs",
    };
    while (!benutzerordner.empty()) {
        auto const ende = benutzerordner.find('\n');
        auto const zeile = benutzerordner.substr(0, ende);
        if (auto pfad = wertVon(zeile, "XDG_DESKTOP_DIR", heim))
            pfade.schreibtisch = *pfad;
        if (auto pfad = wertVon(zeile, "XDG_DOCUMENTS_DIR", heim))
            pfade.dokumente = *pfad;
        if (auto pfad = wertVon(zeile, "XDG_DOWNLOAD_DIR", heim))
            pfade.downloads = *pfad;
        benutzerordner.remove_prefix(ende == std::string_view::npos ? benutzerordner.size() : ende + 1);
    }
    return pfade;
}

ports::Standardorte::Pfade StandardorteXdg::pfade() {
    constexpr std::uint64_t hoechstgroesse = std::uint64_t{64} * 1024;
    auto const datei = konfigurationsordner() + "/user-dirs.dirs";
    auto inhalt = leseDatei(datei, hoechstgroesse);
    int const grund = inhalt ? 0 : errno;
    std::lock_guard const schutz{sperre_};
    // A moment without memory or descriptors must not turn the user's folders into the usual ones.
    if (inhalt || grund == ENOENT || grund == ENOTDIR) {
        zuletzt_ = std::move(inhalt).value_or("");
    } else if (grund != gemeldet_) {
        protokoll(errnoFehler(datei, "Standardorte nicht lesbar", grund).error().text());
    }
    gemeldet_ = grund;
    return standardorteAus(heimordner(), zuletzt_);
}

} // namespace quillmate::adapter::linux
