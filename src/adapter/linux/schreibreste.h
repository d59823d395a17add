#pragma once

#include <string>

namespace quillmate::adapter::linux {

/// Removes what writers of `datei` by schreibeAtomar() have left beside it that died in between: "NAME.PROCESS-NUMBER.neu".
/// Only for whom keeps all other writers of that file away. Blocks; failures leave the rests.
void schreibresteEntfernen(std::string const& datei);

} // namespace quillmate::adapter::linux
