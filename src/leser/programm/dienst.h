#pragma once

#include "texterkennung/leser.h"
#include "texterkennung/sprachstand.h"

#include <functional>
#include <memory>

namespace quillmate::leser::programm {

/// What the template brings along: everything that opens files is done by the time it is made.
struct Werkzeug {
    std::unique_ptr<Texterkennung::Leser> leser;
    Texterkennung::Sprachstand sprachstand{Texterkennung::Sprachstand::keine};
};

/// The life of the template process and of its children, from main() to their end. The template ties its life to the
/// parent's, has `bau` make the engines, locks itself up, says that it is ready, and forks a child for each file until
/// the channel ends. It parses nothing. A child locks itself up, reads its one file, answers and ends.
/// Returns the template's exit status; children do not return.
[[nodiscard]] int alsLeserDienen(std::function<Werkzeug()> const& bau);

/// Judges a lack of memory: a child that runs out of what every child begins with does so because of its file, which
/// then counts as read and without text. Only when the machine itself has no memory (ohneMittel stays) may the
/// file be tried again. `begrenzt`: this process has a memory limit.
[[nodiscard]] Texterkennung::Lesung mangelBeurteilt(Texterkennung::Lesung lesung, bool begrenzt);

} // namespace quillmate::leser::programm
