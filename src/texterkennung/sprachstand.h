#pragma once

#include <cstdint>

namespace quillmate::Texterkennung {

/// What language data the recognition engine found.
enum class Sprachstand : std::uint8_t {
    keine,       ///< Pictures and scans are not read.
    deutsch,     ///< Without English.
    englisch,    ///< Without German: umlauts are lost.
    beide,       ///< As it should be.
    unbrauchbar, ///< There is some, and the engine refuses it.
};

/// Says in the log what is missing and which package has it; nothing when nothing is missing.
void sprachstandMelden(Sprachstand stand);

} // namespace quillmate::Texterkennung
