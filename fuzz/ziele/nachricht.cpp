#include "bruecke/aktionen.h"
#include "bruecke/zitat.h"
#include "ziel.h"

#include <nlohmann/json.hpp>

using namespace quillmate;

int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse) {
    auto const text = fuzz::alsText(daten, groesse);
    if (auto const nachricht = bruecke::entschluesseln(text)) {
        auto const baum = nlohmann::json::parse(text, nullptr, false);
        VERSPROCHEN(baum.is_object() && baum.at("id").is_number());
        VERSPROCHEN(baum.at("aktion").get<std::string>() == nachricht->aktion);
        for (auto const& aktion : bruecke::aktionen()) {
            for (auto const& [schluessel, art, noetig] : aktion.angaben) {
                auto const stelle = baum.find(schluessel);
                auto const wert = nachricht->argumente.text(schluessel);
                VERSPROCHEN(wert.has_value() == (stelle != baum.end() && stelle->is_string()));
                VERSPROCHEN(!wert || *wert == stelle->get<std::string>());
                if (auto const liste = nachricht->argumente.liste(schluessel))
                    VERSPROCHEN(liste->size() <= bruecke::Argumente::hoechsteListe);
                (void)nachricht->argumente.ganzzahl(schluessel);
                (void)nachricht->argumente.wahr(schluessel);
            }
            (void)bruecke::vollstaendig(aktion, nachricht->argumente);
        }
    }
    // What is written into a script is one literal, whatever it holds.
    auto const literal = nlohmann::json::parse(bruecke::zitat(text), nullptr, false);
    VERSPROCHEN(literal.is_string());
    return 0;
}
