#pragma once

#include "plattform/arbeitsfaden.h"

namespace quillmate::plattform {

/// Lower rank for processor (nice 10) and disk (lowest best-effort class).
class ArbeitsfadenLinux final : public Arbeitsfaden {
public:
    void alsHilfsarbeit() noexcept override;
};

} // namespace quillmate::plattform
