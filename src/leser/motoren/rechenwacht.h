#pragma once

#include "texterkennung/leser.h"

#include <chrono>

namespace quillmate::leser::motoren {

/// Port: ends a reading whose engine does not come back. The engines look at the clock where their interfaces let us
/// have a say: between drawing steps, at allocations, at reads, at rows of a picture. In between a library computes
/// for as long as its file wants it to, a filter over a filter that unpacks blanks for hours; that can only be ended from
/// outside, and the process with it, whose state is then anyone's guess.
///
/// Whoever reads in a process for one file implements it by leaving that process; elsewhere there is none.
class Rechenwacht {
public:
    virtual ~Rechenwacht() = default;
    /// The reading has `frist` of processor time from now on. If nothing else is called by then, it ends with what
    /// sonst() was last told.
    virtual void beginnt(std::chrono::milliseconds frist) = 0;
    /// What the reading comes to if it has to be ended.
    virtual void sonst(Texterkennung::Lesung const& lesung) = 0;
    virtual void endet() noexcept = 0;
};

} // namespace quillmate::leser::motoren
