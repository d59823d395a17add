#include "multipart.h"

#include <algorithm>
#include <cstring>

namespace quillmate::demo {

namespace {

constexpr std::string_view zeilenende = "\r\n";

char klein(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool beginntMit(std::string_view text, std::string_view anfang) {
    return text.size() >= anfang.size() &&
           std::ranges::equal(text.substr(0, anfang.size()), anfang, {}, klein, klein);
}

std::string_view ohneRand(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

/// std::string_view::find() stops at every '\r' of a binary body; memmem(3) skips ahead.
std::size_t finde(std::string_view text, std::string_view gesucht, std::size_t ab) {
    if (ab > text.size())
        return std::string_view::npos;
    auto const* const treffer = ::memmem(text.data() + ab, text.size() - ab, gesucht.data(), gesucht.size());
    return treffer == nullptr ? std::string_view::npos
                              : static_cast<std::size_t>(static_cast<char const*>(treffer) - text.data());
}

constexpr std::string_view dateinamenfeld = "filename=\"";

/// Takes the next header line off `kopf`. A line end within the quotes of a file name does not end the line.
std::string_view naechsteZeile(std::string_view& kopf) {
    auto ende = kopf.find(zeilenende);
    auto const feld = kopf.substr(0, ende).find(dateinamenfeld);
    if (ende != std::string_view::npos && feld != std::string_view::npos) {
        auto const schluss = kopf.find('"', feld + dateinamenfeld.size());
        if (schluss != std::string_view::npos && schluss > ende)
            ende = kopf.find(zeilenende, schluss);
    }
    auto const zeile = kopf.substr(0, ende);
    kopf.remove_prefix(ende == std::string_view::npos ? kopf.size() : ende + zeilenende.size());
    return zeile;
}

/// Reads name and file name from the value of a Content-Disposition line. False without a name.
bool liesAngaben(std::string_view wert, Formularteil& teil) {
    constexpr std::string_view art = "form-data";
    if (!beginntMit(wert, art))
        return false;
    wert.remove_prefix(art.size());
    bool benannt = false;
    for (;;) {
        wert = ohneRand(wert);
        if (wert.empty() || wert.front() != ';')
            break;
        wert = ohneRand(wert.substr(1));
        auto const gleich = wert.find('=');
        if (gleich == std::string_view::npos)
            break;
        auto const schluessel = ohneRand(wert.substr(0, gleich));
        wert.remove_prefix(gleich + 1);
        std::string_view inhalt;
        if (!wert.empty() && wert.front() == '"') {
            wert.remove_prefix(1);
            // Whatever stands in a file name was written as it is: only the last quote of the line ends it.
            bool const istDateiname = schluessel.size() == 8 && beginntMit(schluessel, "filename");
            auto const ende = istDateiname ? wert.rfind('"') : wert.find('"');
            if (ende == std::string_view::npos)
                return false;
            inhalt = wert.substr(0, ende);
            wert.remove_prefix(ende + 1);
        } else {
            inhalt = ohneRand(wert.substr(0, wert.find(';')));
            wert.remove_prefix(std::min(wert.find(';'), wert.size()));
        }
        if (schluessel.size() == 4 && beginntMit(schluessel, "name")) {
            teil.name = inhalt;
            benannt = true;
        } else if (schluessel.size() == 8 && beginntMit(schluessel, "filename")) {
            teil.dateiname = inhalt;
        }
    }
    return benannt;
}

/// Where the header lines of a part end, and where its content begins; both relative to `rest`.
struct Kopfende {
    std::size_t kopf;
    std::size_t inhalt;
};

std::optional<Kopfende> findeKopfende(std::string_view rest) {
    auto const suchraum = rest.substr(0, hoechstensKopf_byte);
    std::string_view offen = suchraum;
    while (!offen.empty()) {
        auto const vorher = offen.size();
        auto const zeile = naechsteZeile(offen);
        auto const anfang = suchraum.size() - vorher;
        if (zeile.size() == vorher)
            return std::nullopt; // No line end any more.
        if (zeile.empty())
            return Kopfende{.kopf = anfang, .inhalt = anfang + zeilenende.size()};
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> grenzeAusTyp(std::string_view inhaltstyp) {
    constexpr std::string_view art = "multipart/form-data";
    constexpr std::string_view feld = "boundary=";
    constexpr std::size_t hoechstlaenge = 200;
    inhaltstyp = ohneRand(inhaltstyp);
    if (!beginntMit(inhaltstyp, art))
        return std::nullopt;
    inhaltstyp.remove_prefix(art.size());
    while (!inhaltstyp.empty()) {
        if (inhaltstyp.front() != ';')
            return std::nullopt;
        inhaltstyp = ohneRand(inhaltstyp.substr(1));
        if (!beginntMit(inhaltstyp, feld)) {
            inhaltstyp.remove_prefix(std::min(inhaltstyp.find(';'), inhaltstyp.size()));
            continue;
        }
        inhaltstyp.remove_prefix(feld.size());
        std::string_view grenze;
        if (!inhaltstyp.empty() && inhaltstyp.front() == '"') {
            auto const ende = inhaltstyp.find('"', 1);
            if (ende == std::string_view::npos)
                return std::nullopt;
            grenze = inhaltstyp.substr(1, ende - 1);
        } else {
            grenze = ohneRand(inhaltstyp.substr(0, inhaltstyp.find(';')));
        }
        if (grenze.empty() || grenze.size() > hoechstlaenge)
            return std::nullopt;
        return std::string{grenze};
    }
    return std::nullopt;
}

std::optional<std::vector<Formularteil>> zerlege(std::string_view koerper, std::string_view grenze) {
    if (grenze.empty())
        return std::nullopt;
    std::string const trenner = "\r\n--" + std::string{grenze};

    // The first boundary has no line before it, unless there is a preamble.
    std::size_t stelle = 0;
    if (koerper.starts_with(std::string_view{trenner}.substr(zeilenende.size()))) {
        stelle = trenner.size() - zeilenende.size();
    } else {
        auto const erste = finde(koerper, trenner, 0);
        if (erste == std::string_view::npos)
            return std::nullopt;
        stelle = erste + trenner.size();
    }

    std::vector<Formularteil> teile;
    for (;;) {
        auto rest = koerper.substr(stelle);
        if (rest.starts_with("--"))
            break;
        // Blanks after a boundary are allowed, anything else is not.
        while (!rest.empty() && (rest.front() == ' ' || rest.front() == '\t'))
            rest.remove_prefix(1);
        if (!rest.starts_with(zeilenende) || teile.size() == hoechstensTeile)
            return std::nullopt;
        rest.remove_prefix(zeilenende.size());

        auto const ende = findeKopfende(rest);
        if (!ende)
            return std::nullopt;
        Formularteil teil;
        bool benannt = false;
        for (auto kopf = rest.substr(0, ende->kopf); !kopf.empty();) {
            auto const zeile = naechsteZeile(kopf);
            auto const doppelpunkt = zeile.find(':');
            if (doppelpunkt == std::string_view::npos)
                continue;
            auto const feld = ohneRand(zeile.substr(0, doppelpunkt));
            auto const wert = ohneRand(zeile.substr(doppelpunkt + 1));
            if (feld.size() == 19 && beginntMit(feld, "content-disposition"))
                benannt = liesAngaben(wert, teil);
            else if (feld.size() == 12 && beginntMit(feld, "content-type"))
                teil.typ = wert;
        }
        if (!benannt)
            return std::nullopt;

        auto const anfang = static_cast<std::size_t>(rest.data() - koerper.data()) + ende->inhalt;
        // An empty part: its boundary's line end is the one that closed the header.
        auto const schluss = finde(koerper, trenner, anfang - zeilenende.size());
        if (schluss == std::string_view::npos)
            return std::nullopt;
        teil.inhalt = schluss < anfang ? std::string_view{} : koerper.substr(anfang, schluss - anfang);
        stelle = schluss + trenner.size();
        teile.push_back(std::move(teil));
    }
    if (teile.empty())
        return std::nullopt;
    return teile;
}

} // namespace quillmate::demo
