// What the program takes for an address is the same address for the engine, which loads it: asked of a real page.
#include "echte_webansicht.h"
#include "grundlage/adresse.h"
#include "werkzeug/zufallsadressen.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace quillmate::adapter::gtk {
namespace {

TEST_F(EchteWebansicht, WhatIsAcceptedAsAnAddressHasTheSameHostAndPortForTheEngine) {
    constexpr int anzahl = 100'000;
    constexpr std::size_t jeFrage = 2'000; // a script of some 100 KB
    oeffnen();
    laden("/");
    std::vector<Adresse> stapel;
    std::size_t verglichen = 0;
    std::size_t abgelehnt = 0;
    auto const fragen = [&] {
        auto texte = nlohmann::json::array();
        for (auto const& adresse : stapel)
            texte.push_back(adresse.text());
        auto const antwort = nlohmann::json::parse(wert(
            "JSON.stringify(" + texte.dump() +
            ".map(t => { try { const u = new URL(t); return [u.protocol, u.hostname, u.port]; }"
            " catch (fehler) { return ['-', '-', '-']; } }))"));
        ASSERT_EQ(antwort.size(), stapel.size());
        for (std::size_t i = 0; i < stapel.size(); ++i) {
            auto const& adresse = stapel[i];
            if (antwort[i][0] == "-") { // WebKit takes "1230x7f" for a spoilt number; then nothing is loaded
                ++abgelehnt;
                continue;
            }
            EXPECT_EQ(antwort[i][0], std::string{adresse.schema()} + ':') << adresse.text();
            EXPECT_EQ(
                werkzeug::verglichenerWirt(antwort[i][1]),
                werkzeug::verglichenerWirt(std::string{*adresse.wirt()}))
                << adresse.text();
            std::string const anschluss = antwort[i][2];
            int const usus = adresse.schema() == "https" ? 443 : 80;
            EXPECT_EQ(anschluss.empty() ? usus : std::stoi(anschluss), adresse.wirksamerAnschluss())
                << adresse.text();
        }
        verglichen += stapel.size();
        stapel.clear();
    };
    werkzeug::Zufallsadressen adressen{20'261};
    for (int i = 0; i < anzahl && !HasFailure(); ++i) {
        auto const roh = adressen.naechste();
        for (auto const& adresse : {Adresse::lesen(roh), Adresse::vomMotor(roh), Adresse::getippt(roh)})
            if (adresse && adresse->istWeb())
                stapel.push_back(*adresse);
        if (stapel.size() >= jeFrage)
            fragen();
    }
    fragen();
    EXPECT_LT(abgelehnt, verglichen / 1000);
    EXPECT_GT(verglichen, std::size_t{anzahl / 20}); // the series is not all rubbish
}

} // namespace
} // namespace quillmate::adapter::gtk
