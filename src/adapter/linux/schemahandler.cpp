#include "schemahandler.h"

#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "grundlage/text.h"
#include "verzeichnisse.h"

#include <fmt/format.h>
#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <utility>

namespace quillmate::adapter::linux {

namespace {

/// A list of all the user's file types has some ten kilobytes.
constexpr std::uint64_t hoechstgroesse = std::uint64_t{1} << 20U;

std::vector<std::string> getrennt(std::string_view text, char trenner) {
    std::vector<std::string> teile;
    while (!text.empty()) {
        auto const teil = text.substr(0, text.find(trenner));
        if (!teil.empty())
            teile.emplace_back(teil);
        text.remove_prefix(std::min(text.size(), teil.size() + 1));
    }
    return teile;
}

/// The lines of a text without their line ends.
std::vector<std::string> zeilenVon(std::string_view text) {
    std::vector<std::string> zeilen;
    while (!text.empty()) {
        auto const zeile = text.substr(0, text.find('\n'));
        zeilen.emplace_back(zeile);
        text.remove_prefix(std::min(text.size(), zeile.size() + 1));
    }
    return zeilen;
}

std::string_view gestutzt(std::string_view text) {
    constexpr std::string_view leer = " \t\r";
    text.remove_prefix(std::min(text.find_first_not_of(leer), text.size()));
    return text.substr(0, text.find_last_not_of(leer) + 1);
}

/// The key of a line "key=value"; empty for every other line.
std::string_view schluesselVon(std::string_view zeile) {
    auto const gleich = zeile.find('=');
    return gleich == std::string_view::npos || zeile.starts_with('#') ? std::string_view{}
                                                                      : gestutzt(zeile.substr(0, gleich));
}

using Programme = std::vector<std::string>;

/// One key of one group of a key file, changed by `aenderung`. A group may stand in the file several times and a key
/// several times in it; the last one counts and is the only one that is left.
class Liste {
public:
    explicit Liste(std::string_view text)
        : zeilen_(zeilenVon(text)) {}

    enum class Fehlt { lassen, anlegen };
    void aendern(
        std::string_view gruppe, std::string_view schluessel, Fehlt fehlt,
        std::function<void(Programme&)> const& aenderung) {
        auto const kopf = fmt::format("[{}]", gruppe);
        std::vector<std::size_t> stellen;
        std::optional<std::size_t> gruppenanfang;
        bool darin = false;
        for (std::size_t i = 0; i < zeilen_.size(); ++i) {
            auto const zeile = gestutzt(zeilen_[i]);
            if (zeile.starts_with('[')) {
                darin = zeile == kopf;
                if (darin && !gruppenanfang)
                    gruppenanfang = i;
            } else if (darin && schluesselVon(zeile) == schluessel) {
                stellen.push_back(i);
            }
        }
        if (stellen.empty() && fehlt == Fehlt::lassen)
            return;
        Programme programme;
        if (!stellen.empty()) {
            auto const& zeile = zeilen_[stellen.back()];
            programme = getrennt(gestutzt(std::string_view{zeile}.substr(zeile.find('=') + 1)), ';');
        }
        auto neu = programme;
        aenderung(neu);
        if (neu == programme && stellen.size() <= 1 && !(stellen.empty() && !neu.empty()))
            return;
        auto wert = fmt::format("{}=", schluessel);
        for (auto const& programm : neu)
            wert += programm + ';';
        std::optional<std::size_t> ziel;
        if (!stellen.empty()) {
            ziel = stellen.front();
            for (auto i = stellen.size(); i-- > 1;)
                loeschen(stellen[i]);
            if (neu.empty())
                loeschen(*ziel);
            else
                zeilen_[*ziel] = wert;
        } else if (gruppenanfang) {
            zeilen_.insert(zeilen_.begin() + static_cast<std::ptrdiff_t>(*gruppenanfang) + 1, wert);
        } else {
            if (!zeilen_.empty() && !zeilen_.back().empty())
                zeilen_.emplace_back();
            zeilen_.push_back(kopf);
            zeilen_.push_back(wert);
        }
        geaendert_ = true;
    }
    [[nodiscard]] bool geaendert() const { return geaendert_; }
    [[nodiscard]] std::string text() const {
        std::string text;
        for (auto const& zeile : zeilen_)
            text += zeile + '\n';
        return text;
    }

private:
    void loeschen(std::size_t i) { zeilen_.erase(zeilen_.begin() + static_cast<std::ptrdiff_t>(i)); }

    std::vector<std::string> zeilen_;
    bool geaendert_{false};
};

/// The program at the front, once.
void nachVorn(Programme& programme, std::string_view programm) {
    Programme neu{std::string{programm}};
    std::ranges::copy_if(programme, std::back_inserter(neu), [&](auto const& p) { return p != programm; });
    programme = std::move(neu);
}

/// Where a write has to go: a list that is a link (people keep their settings in a repository) stays one.
std::string hinterVerweisen(std::string const& datei) {
    std::error_code fehler;
    auto const ziel = std::filesystem::weakly_canonical(datei, fehler);
    return fehler ? datei : ziel.string();
}

/// The file's text, an empty one where there is no file; nothing when it cannot be read.
std::optional<std::string> textVon(std::string const& datei) {
    if (auto inhalt = leseDatei(datei, hoechstgroesse))
        return inhalt;
    return errno == ENOENT || errno == ENOTDIR ? std::optional{std::string{}} : std::nullopt;
}

bool nichtEingetragen(std::string const& grund) {
    protokoll("Rückwege zur App konnten nicht eingerichtet werden: " + grund);
    return false;
}

} // namespace

Anwendungsordner Anwendungsordner::desBenutzers() {
    char const* const systemdaten = std::getenv("XDG_DATA_DIRS");
    char const* const desktops = std::getenv("XDG_CURRENT_DESKTOP");
    return {
        .daten = datenordner(),
        .konfiguration = konfigurationsordner(),
        .systemdaten =
            getrennt(systemdaten && *systemdaten ? systemdaten : "/usr/local/share:/usr/share", ':'),
        .desktops = getrennt(kleingeschrieben(desktops ? desktops : ""), ':')};
}

namespace {

/// A value of a key file with its escapes.
std::string mitFluchtzeichen(std::string_view text) {
    std::string wert;
    for (char const c : text) {
        switch (c) {
        case '\\':
            wert += "\\\\";
            break;
        case '\n':
            wert += "\\n";
            break;
        case '\r':
            wert += "\\r";
            break;
        case '\t':
            wert += "\\t";
            break;
        default:
            wert += c;
        }
    }
    return wert;
}

/// One argument of Exec in three layers, from the inside out: what a quoted argument escapes, "%" as a field code, and
/// the escapes of every value of a key file.
std::string execArgument(std::string_view text) {
    std::string argument;
    for (char const c : text) {
        if (c == '"' || c == '`' || c == '$' || c == '\\')
            argument += '\\';
        if (c == '%')
            argument += '%';
        argument += c;
    }
    return '"' + mitFluchtzeichen(argument) + '"';
}

} // namespace

std::string execZeile(std::string_view programm) {
    auto const zeile = execArgument(programm) + " %u";
    // The first argument may hold no "=", and GLib looks for the program before it resolves "%%". As a later argument
    // the same path is understood.
    if (programm.find_first_of("%=") != std::string_view::npos)
        return "/bin/sh -c " + execArgument(R"(exec "$0" "$@")") + ' ' + zeile;
    return zeile;
}

std::optional<std::string> desktopEintrag(Schemaeintrag const& eintrag) {
    if (!eintrag.programm.starts_with('/') || alsUtf8(eintrag.programm) != eintrag.programm)
        return std::nullopt;
    return fmt::format(
        "[Desktop Entry]\n"
        "Type=Application\n"
        "Name={}\n"
        "Comment=Belege finden und Buchungen zuordnen\n"
        "Exec={}\n"
        "TryExec={}\n"
        "Icon={}\n"
        "Terminal=false\n"
        "Categories=Office;Finance;\n"
        "MimeType=x-scheme-handler/{};\n",
        eintrag.name, execZeile(eintrag.programm), mitFluchtzeichen(eintrag.programm), eintrag.kennung,
        eintrag.schema);
}

std::string mitStandard(std::string_view mimeapps, std::string_view mimetyp, std::string_view desktopdatei) {
    Liste liste{mimeapps};
    auto const vorn = [&](Programme& programme) {
        nachVorn(programme, desktopdatei);
    };
    liste.aendern("Default Applications", mimetyp, Liste::Fehlt::anlegen, vorn);
    // Without this an entry counts only once somebody has renewed the cache of the applications folder.
    liste.aendern("Added Associations", mimetyp, Liste::Fehlt::anlegen, vorn);
    liste.aendern("Removed Associations", mimetyp, Liste::Fehlt::lassen, [&](Programme& programme) {
        std::erase(programme, desktopdatei);
    });
    return liste.geaendert() ? liste.text() : std::string{mimeapps};
}

Schemahandler::Schemahandler(Schemaeintrag eintrag, Anwendungsordner ordner)
    : eintrag_(std::move(eintrag))
    , ordner_(std::move(ordner)) {}

std::string Schemahandler::eintragsdatei() const {
    return fmt::format("{}/applications/{}.desktop", ordner_.daten, eintrag_.kennung);
}

namespace {

/// Where a program lies that an entry names with its path or by a name that is looked up; links are followed.
std::string programmAus(std::string_view exec) {
    auto name = std::string{exec.substr(0, exec.find(' '))};
    if (!name.starts_with('/')) {
        char* const gefunden = g_find_program_in_path(name.c_str());
        name = gefunden != nullptr ? gefunden : "";
        g_free(gefunden);
    }
    return hinterVerweisen(name);
}

} // namespace

bool Schemahandler::vomPaketGestellt() const {
    auto const exec = execZeile(eintrag_.programm);
    auto const eigenes = hinterVerweisen(eintrag_.programm);
    auto const typ = "x-scheme-handler/" + eintrag_.schema;
    return std::ranges::any_of(ordner_.systemdaten, [&](std::string const& ordner) {
        auto const inhalt =
            leseDatei(fmt::format("{}/applications/{}.desktop", ordner, eintrag_.kennung), hoechstgroesse);
        if (!inhalt)
            return false;
        bool richtigesProgramm = false;
        bool richtigerTyp = false;
        for (auto const& zeile : zeilenVon(*inhalt)) {
            // A package names its program with less quoting, or by a name that is looked up, of a link.
            if (schluesselVon(zeile) == "Exec") {
                auto const wert = gestutzt(std::string_view{zeile}.substr(zeile.find('=') + 1));
                richtigesProgramm = wert == exec || programmAus(wert) == eigenes;
            }
            if (schluesselVon(zeile) == "MimeType")
                richtigerTyp =
                    std::ranges::count(
                        getrennt(gestutzt(std::string_view{zeile}.substr(zeile.find('=') + 1)), ';'), typ) >
                    0;
        }
        return richtigesProgramm && richtigerTyp;
    });
}

bool Schemahandler::schreibeEintrag(std::string const& inhalt) const {
    auto const datei = eintragsdatei();
    if (leseDatei(datei, hoechstgroesse) == inhalt)
        return true;
    if (!ordnerAnlegen(ordner_.daten + "/applications") || !schreibeAtomar(datei, inhalt, Dauerhaft::ja))
        return nichtEingetragen(datei);
    return true;
}

/// The user's own entry hides the package's, and would stay when the package goes.
void Schemahandler::entferneEintrag() const {
    std::error_code fehler;
    std::filesystem::remove(eintragsdatei(), fehler);
    if (fehler)
        protokoll(
            fmt::format("{} verdeckt den Menüeintrag des Pakets: {}", eintragsdatei(), fehler.message()));
}

bool Schemahandler::stelleStandard() const {
    auto const typ = "x-scheme-handler/" + eintrag_.schema;
    auto const programm = eintrag_.kennung + ".desktop";
    std::vector<std::string> dateien{ordner_.konfiguration + "/mimeapps.list"};
    // A desktop's own list wins over the common one, but only where it names the type at all.
    for (auto const& desktop : ordner_.desktops) {
        auto const datei = fmt::format("{}/{}-mimeapps.list", ordner_.konfiguration, desktop);
        auto const inhalt = leseDatei(datei, hoechstgroesse);
        if (inhalt && std::ranges::any_of(
                          zeilenVon(*inhalt), [&](std::string const& z) { return schluesselVon(z) == typ; }))
            dateien.push_back(datei);
    }
    if (!ordnerAnlegen(ordner_.konfiguration))
        return nichtEingetragen(ordner_.konfiguration);
    return std::ranges::all_of(dateien, [&](std::string const& datei) {
        auto const bisher = textVon(datei);
        if (!bisher)
            return nichtEingetragen(datei); // not knowing what is in it, writing would throw it away
        auto const neu = mitStandard(*bisher, typ, programm);
        return neu == *bisher || schreibeAtomar(hinterVerweisen(datei), neu, Dauerhaft::ja) ||
               nichtEingetragen(datei);
    });
}

bool Schemahandler::sicherstellen() {
    auto const inhalt = desktopEintrag(eintrag_);
    if (!inhalt)
        return nichtEingetragen(alsUtf8(eintrag_.programm));
    if (vomPaketGestellt())
        entferneEintrag();
    else if (!schreibeEintrag(*inhalt))
        return false;
    return stelleStandard();
}

void Schemahandler::auffrischen() {
    std::error_code fehler;
    if (!std::filesystem::exists(eintragsdatei(), fehler))
        return;
    if (vomPaketGestellt())
        entferneEintrag();
    else if (auto const inhalt = desktopEintrag(eintrag_))
        (void)schreibeEintrag(*inhalt);
}

} // namespace quillmate::adapter::linux
