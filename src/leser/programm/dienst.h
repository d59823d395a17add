#pragma once

#include "texterkennung/leser.h"
#include "texterkennung/sprachstand.h"

#include <functional>
#include <memory>

namespace quillmate::leser::programm {

/// What a reader brings along: everything that opens files is done by the time it is made.
struct Werkzeug {
    std::unique_ptr<Texterkennung::Leser> leser;
    Texterkennung::Sprachstand sprachstand{Texterkennung::Sprachstand::keine};
};

/// The life of a reader process, from main() to its end: ties its life to the parent's, has `bau` make the
/// engines, locks itself up, says that it is ready, and reads file after file until the channel ends.
/// Returns the exit status.
[[nodiscard]] int alsLeserDienen(std::function<Werkzeug()> const& bau);

/// Judges a lack of memory: whoever runs out of what every reader begins with does so because of the file, which
/// then counts as read and without text. Only when the machine itself has no memory (ohneMittel stays) may the
/// file be tried again. `begrenzt`: this process has a memory limit.
[[nodiscard]] Texterkennung::Lesung mangelBeurteilt(Texterkennung::Lesung lesung, bool begrenzt);

} // namespace quillmate::leser::programm
