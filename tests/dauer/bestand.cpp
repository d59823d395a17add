#include "bestand.h"

#include "grundlage/pruefsumme.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace quillmate::dauer {

namespace {

namespace fs = std::filesystem;

std::string hashVon(std::string const& bytes) {
    return hexadezimal(sha256(bytes));
}

struct Lage {
    std::int64_t geaendert_ns;
    std::uint64_t groesse;
};

Lage lageVon(std::string const& pfad) {
    struct stat lage {};
    if (::lstat(pfad.c_str(), &lage) != 0)
        throw std::runtime_error{"stat " + pfad};
    constexpr std::int64_t jeSekunde = 1'000'000'000;
    return {lage.st_mtim.tv_sec * jeSekunde + lage.st_mtim.tv_nsec, static_cast<std::uint64_t>(lage.st_size)};
}

void schreibe(std::string const& pfad, std::string const& bytes) {
    fs::create_directories(fs::path{pfad}.parent_path());
    std::ofstream datei{pfad, std::ios::binary | std::ios::trunc};
    datei << bytes;
    if (!datei.flush())
        throw std::runtime_error{"write " + pfad};
}

/// Behind the end of its content every format takes some more bytes: readers see the same, the digest does not.
std::string abgewandelt(std::string bytes, int nummer) {
    return std::move(bytes) + fmt::format("\n% {}\n", nummer);
}

bool istUnter(std::string_view pfad, std::string_view ordner) {
    return pfad.starts_with(ordner) && pfad.size() > ordner.size() && pfad[ordner.size()] == '/';
}

} // namespace

void Bestand::trageEin(std::string const& pfad, Datei datei) {
    auto const lage = lageVon(pfad);
    datei.geaendert_ns = lage.geaendert_ns;
    datei.groesse = lage.groesse;
    if (datei.entscheidung != "nichtGefunden" || !jemals_.contains(datei.hash))
        jemals_[datei.hash] = datei;
    dateien_[pfad] = std::move(datei);
}

void Bestand::uebernehmen(std::string const& beispielliste) {
    auto const liste = nlohmann::json::parse(werkzeug::inhaltVon(beispielliste));
    // Candidates last: a decoy has the bytes of a receipt.
    for (bool const kandidaten : {false, true})
        for (auto const& eintrag : liste.at("dateien")) {
            auto const entscheidung = eintrag.at("entscheidung").get<std::string>();
            if ((entscheidung != "nichtGefunden") != kandidaten)
                continue;
            auto const pfad = heim_ + "/" + eintrag.at("pfad").get<std::string>();
            auto const bytes = werkzeug::inhaltVon(pfad);
            trageEin(
                pfad, {.hash = hashVon(bytes),
                       .entscheidung = entscheidung,
                       .betrag = eintrag.value("betrag", std::string{}),
                       .haendler = eintrag.value("haendler", std::string{})});
            auto const art = eintrag.at("art").get<std::string>();
            if (art == "rechnung")
                vorlagenBeleg_.push_back(pfad);
            else if (entscheidung == "keinBeleg")
                vorlagenBrief_.push_back(pfad);
            else if (art == "foto" || art == "urlaubsfoto" || art == "scan")
                vorlagenBild_.push_back(pfad);
            else
                continue;
            vorlagen_[pfad] = bytes;
            // The samples themselves may be renamed and deleted later; what they were stays.
            vorlagen_[pfad + "\n"] =
                nlohmann::json{
                    {"entscheidung", entscheidung},
                    {"betrag", dateien_[pfad].betrag},
                    {"haendler", dateien_[pfad].haendler}}
                    .dump();
        }
}

void Bestand::dazu(
    std::string const& ordner, int anzahl, unsigned prozentBelege, int bilder, Zufall& zufall) {
    for (int i = 0; i < anzahl + bilder; ++i) {
        auto const& vorlagen = i >= anzahl                 ? vorlagenBild_
                               : zufall.mit(prozentBelege) ? vorlagenBeleg_
                                                           : vorlagenBrief_;
        auto const& vorlage = zufall.eins(vorlagen);
        auto const wissen = nlohmann::json::parse(vorlagen_.at(vorlage + "\n"));
        auto const nummer = ++zaehler_;
        auto const bytes = abgewandelt(vorlagen_.at(vorlage), nummer);
        auto const pfad = fmt::format(
            "{}/Mappe {}/Blatt {}{}", ordner, nummer / 40, nummer, fs::path{vorlage}.extension().string());
        schreibe(pfad, bytes);
        trageEin(
            pfad, {.hash = hashVon(bytes),
                   .entscheidung = wissen.at("entscheidung").get<std::string>(),
                   .betrag = wissen.at("betrag").get<std::string>(),
                   .haendler = wissen.at("haendler").get<std::string>()});
    }
}

bool Bestand::angekommen(std::string const& pfad, std::string const& hash) {
    auto const stelle = jemals_.find(hash);
    if (stelle == jemals_.end() || hashVon(werkzeug::inhaltVon(pfad)) != hash)
        return false;
    trageEin(pfad, stelle->second);
    return true;
}

void Bestand::entferne(std::string const& pfad) {
    fs::remove(pfad);
    dateien_.erase(pfad);
}

void Bestand::aendere(std::string const& pfad, Zufall& zufall) {
    auto datei = dateien_.at(pfad);
    auto const bytes = abgewandelt(
        werkzeug::inhaltVon(pfad), static_cast<int>(100'000 + zufall.unter(1'000'000)) + ++zaehler_);
    schreibe(pfad, bytes);
    datei.hash = hashVon(bytes);
    trageEin(pfad, std::move(datei));
}

void Bestand::benenneUm(std::string const& von, std::string const& nach) {
    fs::rename(von, nach);
    std::map<std::string, Datei> neu;
    for (auto const& [pfad, datei] : dateien_)
        neu[istUnter(pfad, von) ? nach + pfad.substr(von.size()) : pfad] = datei;
    dateien_ = std::move(neu);
}

bool Bestand::istFort(std::string const& pfad) const {
    return std::ranges::any_of(fort_, [&](auto const& ordner) { return istUnter(pfad, ordner); });
}

std::vector<std::string> Bestand::fremde() const {
    std::vector<std::string> gefunden;
    for (auto const& ordner : ordner_) {
        if (fort_.contains(ordner) || !fs::exists(ordner))
            continue;
        for (auto const& eintrag : fs::recursive_directory_iterator{ordner})
            if (!eintrag.is_directory() && !dateien_.contains(eintrag.path().string()))
                gefunden.push_back(eintrag.path().string());
    }
    return gefunden;
}

std::vector<std::string> Bestand::abweichungen() const {
    std::vector<std::string> saetze;
    for (auto const& pfad : fremde())
        saetze.push_back("a file that nobody made: " + pfad);
    for (auto const& [pfad, datei] : dateien_) {
        if (istFort(pfad))
            continue;
        if (!fs::exists(fs::symlink_status(pfad))) {
            saetze.push_back("a file of the user has gone: " + pfad);
            continue;
        }
        auto const lage = lageVon(pfad);
        if (lage.geaendert_ns != datei.geaendert_ns || lage.groesse != datei.groesse)
            saetze.push_back("a file of the user was written to: " + pfad);
        else if (hashVon(werkzeug::inhaltVon(pfad)) != datei.hash)
            saetze.push_back("a file of the user has other bytes: " + pfad);
    }
    return saetze;
}

} // namespace quillmate::dauer
