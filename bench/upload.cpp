// How fast do receipts of 200 kB leave, compared with the transfer library's own handle in a loop?
// See README.md.

#include "dienst/dienst.h"
#include "grundlage/datei.h"
#include "messung.h"
#include "netz/mehrteilig.h"
#include "scanheim.h"
#include "senke.h"

#include <curl/curl.h>
#include <fmt/format.h>

#include <atomic>
#include <cstdint>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace quillmate::bench {

namespace {

namespace fs = std::filesystem;

constexpr double ziel = 0.5;
constexpr std::size_t anzahl = 400;
constexpr std::size_t groesse = 200'000;
constexpr int faedenzahl = 2; ///< As a scan has.

/// What the peer posts: it had all the time to make it.
struct Formular {
    std::string inhaltstyp;
    std::string koerper;
};

struct Belege {
    std::vector<std::string> pfade;
    std::vector<Formular> formulare;
};

/// Bytes that neither repeat nor compress, different ones for each number.
std::string rauschen(std::uint64_t nummer) {
    std::string bytes(groesse, '\0');
    auto stand = nummer * 0x9E3779B97F4A7C15U + 1;
    for (auto& byte : bytes) {
        stand ^= stand << 13U;
        stand ^= stand >> 7U;
        stand ^= stand << 17U;
        byte = static_cast<char>(stand >> 56U);
    }
    return bytes;
}

Belege anlegen(fs::path const& ordner) {
    fs::create_directories(ordner);
    Belege belege;
    for (std::size_t i = 0; i < anzahl; ++i) {
        auto const name = fmt::format("Rechnung {}.pdf", i);
        auto const pfad = (ordner / name).string();
        auto const inhalt = rauschen(i);
        std::ofstream datei{pfad, std::ios::binary};
        datei << inhalt;
        if (!datei.flush())
            throw std::runtime_error{"cannot write " + pfad};
        auto const grenze = netz::neueGrenze("grenze-");
        belege.pfade.push_back(pfad);
        belege.formulare.push_back(
            {.inhaltstyp = "Content-Type: multipart/form-data; boundary=" + grenze,
             .koerper = netz::textteil(grenze, "quellpfad", pfad) +
                        netz::dateikopf(grenze, "file", name, "application/pdf") + inhalt +
                        netz::abschluss(grenze)});
    }
    return belege;
}

/// `bekannte`: as Dienst::hochladen() takes it; when there are any, each file is hashed before it is sent.
double unsere(dienst::Zugang const& zugang, Belege const& belege, dienst::Textmenge const& bekannte) {
    auto const beginn = std::chrono::steady_clock::now();
    dienst::Dienst dienst;
    std::atomic<std::size_t> naechste{0};
    std::atomic<bool> gelungen{true};
    {
        std::vector<std::jthread> faeden;
        for (int i = 0; i < faedenzahl; ++i)
            faeden.emplace_back([&] {
                for (auto n = naechste++; n < belege.pfade.size(); n = naechste++)
                    if (dienst.hochladen(zugang, belege.pfade[n], bekannte, false) !=
                        dienst::Uebertragung::hochgeladen)
                        gelungen = false;
            });
    }
    if (!gelungen)
        throw std::runtime_error{"uploads fail"};
    return Sekunden{std::chrono::steady_clock::now() - beginn}.count();
}

double ihre(dienst::Zugang const& zugang, Belege const& belege) {
    auto const url = fmt::format(
        "{}/clients/{}/local-receipts/upload?token={}", zugang.server, zugang.clientId, zugang.token);
    curl_write_callback const verwerfen = [](char*, std::size_t, std::size_t n, void*) {
        return n;
    };
    auto const beginn = std::chrono::steady_clock::now();
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> const griff{curl_easy_init(), &curl_easy_cleanup};
    curl_easy_setopt(griff.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(griff.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(griff.get(), CURLOPT_WRITEFUNCTION, verwerfen);
    for (auto const& formular : belege.formulare) {
        std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> const koepfe{
            curl_slist_append(nullptr, formular.inhaltstyp.c_str()), &curl_slist_free_all};
        curl_easy_setopt(griff.get(), CURLOPT_HTTPHEADER, koepfe.get());
        curl_easy_setopt(
            griff.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(formular.koerper.size()));
        curl_easy_setopt(griff.get(), CURLOPT_POSTFIELDS, formular.koerper.data());
        long status = 0;
        if (curl_easy_perform(griff.get()) != CURLE_OK ||
            curl_easy_getinfo(griff.get(), CURLINFO_RESPONSE_CODE, &status) != CURLE_OK || status != 200)
            throw std::runtime_error{"the peer's uploads fail"};
    }
    return Sekunden{std::chrono::steady_clock::now() - beginn}.count();
}

Zeile zeile(
    std::string_view wohin, double unsereZeit, std::string_view was, double ihreZeit,
    std::optional<double> zielrate) {
    auto const rate = [](double zeit) {
        return static_cast<double>(anzahl) / zeit;
    };
    return {
        .kennzahl = fmt::format("upload of {} files of 200 kB, {}", anzahl, wohin),
        .unsere = fmt::format("{:.0f} /s, {}", rate(unsereZeit), was),
        .vergleich = fmt::format("{:.0f} /s libcurl, one connection, from memory", rate(ihreZeit)),
        .verhaeltnis = ihreZeit / unsereZeit,
        .ziel = zielrate,
        .richtung = Richtung::mindestens};
}

std::vector<Zeile> messen(Umgebung const& umgebung) {
    auto const belege = anlegen(umgebung.arbeitsordner / "belege");
    dienst::Textmenge const keine;
    dienst::Textmenge const eine{std::string(64, '0')};
    std::vector<Zeile> zeilen;
    {
        Senke const senke;
        auto const zeiten = abwechselnd(
            umgebung.runden, {[&] { return unsere(senke.zugang(), belege, keine); },
                              [&] { return unsere(senke.zugang(), belege, eine); },
                              [&] {
                                  return ihre(senke.zugang(), belege);
                              }});
        constexpr std::string_view wohin = "nobody stores them";
        zeilen.push_back(zeile(wohin, zeiten[0], "read from disk", zeiten[2], ziel));
        zeilen.push_back(zeile(wohin, zeiten[1], "read from disk and hashed", zeiten[2], {}));
    }
    if (!fs::exists(nachbarprogramm("quillmate-demodienst"))) {
        hinweis("  ohne Dienst: quillmate-demodienst ist nicht gebaut");
        return zeilen;
    }
    // A service that has a file already stores nothing: each run gets a new one.
    auto const mitNeuemDienst = [&](auto const& seite) {
        Dienstprozess const dienst{umgebung.arbeitsordner / "dienst"};
        return seite(dienst.zugang());
    };
    auto const zeiten = abwechselnd(
        umgebung.runden,
        {[&] { return mitNeuemDienst([&](auto const& zugang) { return unsere(zugang, belege, keine); }); },
         [&] {
             return mitNeuemDienst([&](auto const& zugang) { return ihre(zugang, belege); });
         }});
    zeilen.push_back(zeile("the service stores them", zeiten[0], "read from disk", zeiten[1], ziel));
    return zeilen;
}

Anmeldung const anmeldung{
    {.name = "upload",
     .frage = "How fast do receipts of 200 kB leave, reading them included?",
     .messen = messen}};

} // namespace

} // namespace quillmate::bench
