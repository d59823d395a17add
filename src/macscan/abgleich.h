#pragma once

#include "lauf.h"

#include <cstdint>

namespace quillmate::MacScan {

/// What comparing came to.
struct Abgleich {
    Weiter weiter{Weiter::ja};
    std::int64_t uebersprungen{0};
};

/// The step "abgleich": drops the candidates that the service has, with the same path and the same content. Of those
/// that it has with another content the digest is kept, so that they are not read twice.
/// Blocks, on the calling thread and others.
[[nodiscard]] Abgleich abgleichen(Lauf const& lauf, Bekanntes const& bekanntes, Kandidaten& kandidaten);

} // namespace quillmate::MacScan
