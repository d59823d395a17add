// leserhalter READER FILE...: reads each file on a thread of its own, for ever; there to be killed.
#include "grundlage/datei.h"
#include "leser/prozess/leser_prozesse.h"

#include <cstdio>
#include <span>
#include <thread>
#include <vector>

int main(int argc, char** argv) {
    std::span<char*> const argumente{argv, static_cast<std::size_t>(argc)};
    quillmate::leser::prozess::LeserProzesse leser{{.programm = argumente[1]}};
    std::vector<std::jthread> faeden;
    for (auto* const pfad : argumente.subspan(2))
        faeden.emplace_back([&leser, pfad] {
            for (;;) {
                auto const datei = quillmate::oeffneDatei(pfad);
                auto const lesung = leser.lesen(datei.get(), quillmate::Texterkennung::Dateiart::pdf);
                std::printf("%s\n", lesung.text.value_or("-").c_str());
                std::fflush(stdout);
            }
        });
}
