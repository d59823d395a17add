// Reads pictures one after another in this process, so that two states of the recognition can be measured beside each
// other as programs. Argument: a file with a path per line. Standard output: for each a line of JSON.

#include "grundlage/datei.h"
#include "leser/motoren/bild.h"
#include "leser/motoren/dateiquelle.h"
#include "leser/motoren/leser_im_prozess.h"
#include "leser/motoren/textfelder.h"
#include "leser/motoren/vorbereiten.h"
#include "texterkennung/heuristik.h"
#include "wortvergleich.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

namespace {

using namespace quillmate;

/// Lines that could be print, as the glance counts them.
int felder(int deskriptor) {
    auto const quelle = leser::motoren::Dateiquelle::ausDeskriptor(deskriptor);
    auto bild = quelle ? leser::motoren::bildLaden(*quelle) : std::nullopt;
    if (!bild)
        return 0;
    leser::motoren::vorbereiten(*bild);
    auto const blick = leser::motoren::textblick(*bild);
    return std::max(leser::motoren::brauchbare(blick.quer), leser::motoren::brauchbare(blick.hoch));
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 2)
        return 2;
    std::ifstream liste{argv[1]};
    leser::motoren::LeserImProzess leser;
    leser.vorwaermen();
    for (std::string pfad; std::getline(liste, pfad);) {
        auto const datei = oeffneDatei(pfad);
        auto const beginn = bench::rechenzeit();
        auto const lesung = leser.lesen(datei.get(), Texterkennung::Dateiart::bild);
        nlohmann::json zeile{{"sekunden", bench::rechenzeit() - beginn}, {"felder", felder(datei.get())}};
        if (lesung.text)
            zeile["text"] = *lesung.text;
        std::cout << zeile.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
    }
    return 0;
} catch (std::exception const& fehler) {
    std::fputs(fehler.what(), stderr);
    std::fputs("\n", stderr);
    return 1;
}
