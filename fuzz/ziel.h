#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

/// A promise of the decoder that its input broke.
#define VERSPROCHEN(bedingung)                                                                               \
    do {                                                                                                     \
        if (!(bedingung)) {                                                                                  \
            std::fputs("nicht gehalten: " #bedingung "\n", stderr);                                          \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)

/// What every target defines.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* daten, std::size_t groesse);

namespace quillmate::fuzz {

inline std::string_view alsText(std::uint8_t const* daten, std::size_t groesse) {
    return {reinterpret_cast<char const*>(daten), groesse};
}

} // namespace quillmate::fuzz
