#pragma once

#include "texterkennung/leser.h"

#include <memory>

namespace quillmate::suchlauf {

/// Who reads the files: the helper processes. The benchmark of what these cost links another one.
[[nodiscard]] std::unique_ptr<Texterkennung::Leser> leserBauen();

} // namespace quillmate::suchlauf
