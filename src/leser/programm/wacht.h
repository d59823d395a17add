#pragma once

#include "leser/motoren/rechenwacht.h"
#include "notausgang.h"

namespace quillmate::leser::programm {

/// Ends a reading by the process's own end.
class Wacht final : public motoren::Rechenwacht {
public:
    void beginnt(std::chrono::milliseconds frist) override { notausgangOeffnen(frist); }
    void sonst(Texterkennung::Lesung const& lesung) override { notausgangAntwort(lesung); }
    void endet() noexcept override { notausgangSchliessen(); }
};

} // namespace quillmate::leser::programm
