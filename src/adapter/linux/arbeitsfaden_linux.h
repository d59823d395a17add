#pragma once

#include "ports/arbeitsfaden.h"

namespace quillmate::adapter::linux {

/// Lower rank for processor (nice 10) and disk (lowest best-effort class).
class ArbeitsfadenLinux final : public ports::Arbeitsfaden {
public:
    void alsHilfsarbeit() noexcept override;
};

} // namespace quillmate::adapter::linux
