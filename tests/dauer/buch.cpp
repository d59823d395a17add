#include "buch.h"

#include <fmt/format.h>

#include <algorithm>

namespace quillmate::dauer {

namespace {

constexpr int hoechstversuche = 3;

bool gut(Vorgang const& vorgang) {
    return vorgang.status >= 200 && vorgang.status < 300;
}

bool istHochladen(Vorgang const& vorgang) {
    return vorgang.pfad.ends_with("/local-receipts/upload") && !vorgang.quellpfad.empty();
}

bool istBild(std::string const& pfad) {
    auto endung = pfad.substr(pfad.rfind('.') + 1);
    std::ranges::transform(
        endung, endung.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return endung == "jpg" || endung == "jpeg" || endung == "png" || endung == "heic" || endung == "heif";
}

} // namespace

void Buch::pruefeSendungen(
    Lauf const& lauf, std::vector<Vorgang> const& vorgaenge, Bestand const& bestand,
    std::vector<std::string>& saetze) {
    // Without the service's list the program cannot know what is there.
    bool const listeGelesen =
        !lauf.alles && lauf.laeufe == 1 && std::ranges::any_of(vorgaenge, [](Vorgang const& v) {
            return v.pfad.ends_with("/seen-paths") && v.zugestellt && gut(v);
        });
    std::map<std::string, int> versuche;
    std::map<std::string, int> angenommen;
    for (auto const& vorgang : vorgaenge) {
        if (vorgang.hash.empty())
            continue;
        ++sendungen_;
        auto const inhalt = bestand.jemals().find(vorgang.hash);
        if (!istHochladen(vorgang)) {
            if (inhalt == bestand.jemals().end() && !weitere_.contains(vorgang.hash))
                saetze.push_back("sent, but no file of the user: " + vorgang.dateiname);
            continue;
        }
        auto const& pfad = vorgang.quellpfad;
        auto const wort = pfad + " " + vorgang.hash;
        if (inhalt == bestand.jemals().end())
            saetze.push_back("sent with bytes that the file never had: " + pfad);
        else if (
            inhalt->second.entscheidung != "hochladen" && !(lauf.art == Lauf::Art::bilder && istBild(pfad)))
            saetze.push_back(fmt::format("sent though it is {}: {}", inhalt->second.entscheidung, pfad));
        if (++versuche[wort] == hoechstversuche * lauf.laeufe + 1)
            saetze.push_back(fmt::format("sent more than {} times: {}", hoechstversuche * lauf.laeufe, pfad));
        if (vorgang.zugestellt && gut(vorgang) && ++angenommen[wort] == lauf.laeufe + 1)
            saetze.push_back("sent again though it had arrived: " + pfad);
        auto const frueher = zugestellt_.find(pfad);
        if (listeGelesen && lauf.art == Lauf::Art::voll && frueher != zugestellt_.end() &&
            frueher->second == vorgang.hash)
            saetze.push_back("sent though the service's list names it: " + pfad);
    }
    for (auto const& vorgang : vorgaenge)
        if (istHochladen(vorgang) && vorgang.zugestellt && gut(vorgang))
            zugestellt_[vorgang.quellpfad] = vorgang.hash;
}

void Buch::pruefeEingaenge(
    std::vector<Eingang> const& eingaenge, Bestand const& bestand, std::vector<std::string>& saetze) {
    std::set<std::string> da;
    for (auto const& eingang : eingaenge) {
        if (!da.insert(eingang.hash).second)
            saetze.push_back("twice at the service: " + eingang.hash);
        if (!bestand.jemals().contains(eingang.hash) && !weitere_.contains(eingang.hash))
            saetze.push_back("at the service, but nobody's: " + eingang.hash);
    }
    for (auto const& hash : vorhanden_)
        if (!da.contains(hash))
            saetze.push_back("the service had it and has lost it: " + hash);
    vorhanden_ = std::move(da);
}

std::vector<std::string> Buch::pruefe(
    Lauf const& lauf, std::vector<Vorgang> const& vorgaenge, std::vector<Eingang> const& eingaenge,
    std::map<std::string, std::string> const& gesehen, Bestand const& bestand) {
    std::vector<std::string> saetze;
    pruefeSendungen(lauf, vorgaenge, bestand, saetze);
    pruefeEingaenge(eingaenge, bestand, saetze);
    // What was answered as taken is there, whatever happened afterwards.
    for (auto const& vorgang : vorgaenge)
        if (!vorgang.hash.empty() && vorgang.zugestellt && gut(vorgang) && !vorhanden_.contains(vorgang.hash))
            saetze.push_back("answered as taken, but not at the service: " + vorgang.dateiname);
    if (lauf.art == Lauf::Art::voll && lauf.ungestoert)
        for (auto const& [pfad, datei] : bestand.dateien()) {
            if (datei.entscheidung != "hochladen" || bestand.istFort(pfad))
                continue;
            auto const stelle = gesehen.find(pfad);
            if (!vorhanden_.contains(datei.hash))
                saetze.push_back("lost: the service does not have " + pfad);
            else if (stelle == gesehen.end() || stelle->second != datei.hash)
                saetze.push_back("the service does not know this path: " + pfad);
        }
    return saetze;
}

} // namespace quillmate::dauer
