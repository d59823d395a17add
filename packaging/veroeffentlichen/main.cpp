// quillmate-veroeffentlichen: keys, signatures and the appcast of a release. See packaging/README.md.
#include "adapter/linux/buendel.h"
#include "aktualisierung/appcast.h"
#include "grundlage/datei.h"
#include "grundlage/prozesswerte.h"
#include "veroeffentlichen/werkzeug.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <iostream>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace {

using namespace quillmate;
using veroeffentlichen::Geheimnis;

constexpr auto hilfe = R"(quillmate-veroeffentlichen schluessel DATEI
    Legt einen neuen geheimen Schlüssel an (nie ins Repository, zweimal sichern) und gibt den öffentlichen aus.
quillmate-veroeffentlichen oeffentlich DATEI
    Gibt den öffentlichen Teil eines Schlüssels aus.
quillmate-veroeffentlichen appcast --buendel X.app --archiv DATEI --adresse URL --ausgabe N
        --schluessel DATEI [--schluessel DATEI] [--tage N] [--notizen DATEI]
    Gibt den signierten Appcast aus; --adresse ist die Adresse des Archivs, --ausgabe höher als bei jedem früheren,
    --tage die Gültigkeit (sonst 90).
quillmate-veroeffentlichen pruefen --schluessel-oeffentlich BASE64 APPCAST
    Prüft einen Appcast, wie das Programm es tut.
)";

int scheitern(std::string const& grund) {
    std::cerr << "quillmate-veroeffentlichen: " << grund << '\n';
    return 1;
}

std::optional<std::string> lies(
    std::string const& datei, std::uint64_t hoechstens = std::uint64_t{1} << 20U) {
    return leseDatei(datei, hoechstens);
}

std::optional<std::uint64_t> zahl(std::string const& text) {
    std::uint64_t wert = 0;
    auto const [bis, fehler] = std::from_chars(text.data(), text.data() + text.size(), wert);
    return fehler == std::errc{} && bis == text.data() + text.size() ? std::optional{wert} : std::nullopt;
}

int schluesselAnlegen(std::string const& datei) {
    // Never over an existing one: it may be the only way to reach those who have the program.
    Deskriptor const ziel{::open(datei.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)};
    if (!ziel)
        return scheitern("Die Datei gibt es schon, oder sie lässt sich nicht anlegen: " + datei);
    auto const geheimnis = Geheimnis::neu();
    auto const pem = geheimnis ? geheimnis->alsPem() : std::string{};
    if (pem.empty() || ::write(ziel.get(), pem.data(), pem.size()) != static_cast<ssize_t>(pem.size()) ||
        ::fsync(ziel.get()) != 0)
        return scheitern("Der Schlüssel ließ sich nicht schreiben");
    std::cout << geheimnis->oeffentlich() << '\n';
    return 0;
}

int oeffentlichZeigen(std::string const& datei) {
    auto const pem = lies(datei);
    auto const geheimnis = pem ? Geheimnis::ausPem(*pem) : std::nullopt;
    if (!geheimnis)
        return scheitern("Kein Schlüssel: " + datei);
    std::cout << geheimnis->oeffentlich() << '\n';
    return 0;
}

int appcast(std::multimap<std::string, std::string> const& werte) {
    auto const wert = [&](std::string const& name) {
        auto const fund = werte.find(name);
        return fund == werte.end() ? std::string{} : fund->second;
    };
    std::vector<Geheimnis> schluessel;
    for (auto [von, bis] = werte.equal_range("--schluessel"); von != bis; ++von) {
        auto const pem = lies(von->second);
        auto const geheimnis = pem ? Geheimnis::ausPem(*pem) : std::nullopt;
        if (!geheimnis)
            return scheitern("Kein Schlüssel: " + von->second);
        schluessel.push_back(*geheimnis);
    }
    auto const buendel = adapter::linux::buendelAn(wert("--buendel"));
    auto const archiv = lies(wert("--archiv"), aktualisierung::hoechstgroesseArchiv);
    auto const ausgabe = zahl(wert("--ausgabe"));
    auto const tage = werte.contains("--tage") ? zahl(wert("--tage")) : std::optional<std::uint64_t>{90};
    auto const notizen =
        werte.contains("--notizen") ? lies(wert("--notizen")) : std::optional<std::string>{""};
    if (schluessel.empty() || !buendel || !buendel->kennung || !buendel->buildnummer ||
        !buendel->kurzfassung || !archiv || !ausgabe || !tage || *tage > 3650 || !notizen ||
        wert("--adresse").empty())
        return scheitern("Es fehlt etwas oder ist nicht zu lesen\n\n" + std::string{hilfe});
    utsname rechner{};
    ::uname(&rechner);
    auto const jetzt = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    veroeffentlichen::Liste const liste{
        .kennung = *buendel->kennung,
        .ausgabe = *ausgabe,
        .gueltigBis = jetzt + std::chrono::days{static_cast<int>(*tage)},
        .eintraege = {
            {.fassung = *buendel->buildnummer,
             .kurzfassung = *buendel->kurzfassung,
             .architektur = static_cast<char const*>(rechner.machine),
             .adresse = wert("--adresse"),
             .laenge = archiv->size(),
             .signaturen = veroeffentlichen::signaturen(*archiv, schluessel),
             .notizen = *notizen}}};
    auto const text = veroeffentlichen::alsXml(liste);
    // What the program would refuse must not be published.
    if (!aktualisierung::appcastLesen(text))
        return scheitern(
            "Der Appcast hätte nicht die Form, die das Programm annimmt (Adresse mit https? Fassung?)");
    std::cout << veroeffentlichen::mitSignatur(text, schluessel);
    return 0;
}

int pruefen(std::string const& schluesseltext, std::string const& datei) {
    auto const schluessel = aktualisierung::schluesselLesen(schluesseltext);
    auto const bytes = lies(datei);
    if (!schluessel || !bytes)
        return scheitern("Schlüssel oder Datei nicht zu lesen");
    auto const teil = aktualisierung::signierterTeil(*bytes, std::span{&*schluessel, 1});
    if (!teil)
        return scheitern("Die Signatur stimmt nicht");
    auto const liste = aktualisierung::appcastLesen(*teil);
    if (!liste)
        return scheitern("Der Appcast hat nicht die richtige Form");
    for (auto const& angebot : liste->angebote)
        fmt::print(
            "{} ({}), {}, {} Bytes, {}\n", angebot.kurzfassung, angebot.fassungstext, angebot.architektur,
            angebot.laenge, angebot.url);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const argumente(argv + 1, argv + argc);
    if (argumente.size() == 2 && argumente[0] == "schluessel")
        return schluesselAnlegen(argumente[1]);
    if (argumente.size() == 2 && argumente[0] == "oeffentlich")
        return oeffentlichZeigen(argumente[1]);
    if (argumente.size() == 4 && argumente[0] == "pruefen" && argumente[1] == "--schluessel-oeffentlich")
        return pruefen(argumente[2], argumente[3]);
    if (argumente.size() % 2 == 1 && argumente.size() > 1 && argumente[0] == "appcast") {
        std::multimap<std::string, std::string> werte;
        for (std::size_t i = 1; i + 1 < argumente.size(); i += 2)
            werte.emplace(argumente[i], argumente[i + 1]);
        return appcast(werte);
    }
    auto const erstes = argumente.empty() ? std::string{"--help"} : argumente[0];
    if (erstes == "--help" || erstes == "-h" || erstes == "--hilfe") {
        std::cout << hilfe;
        return 0;
    }
    if (erstes == "--version") {
        fmt::print("quillmate-veroeffentlichen {}\n", fassungstext);
        return 0;
    }
    fmt::print(
        stderr,
        "quillmate-veroeffentlichen: Unbekannt oder unvollständig: {}\n„quillmate-veroeffentlichen --help“ "
        "zeigt, was es "
        "gibt.\n",
        erstes);
    return 2;
}
