#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>

namespace quillmate::demo {

/// What the service is told on its command line.
struct Argumente {
    enum class Auftrag {
        dienen,
        zeigen, ///< Print what a folder of data holds, and end.
        hilfe,
        fassung,
    };
    Auftrag auftrag{Auftrag::dienen};
    int port{0}; ///< 0: any free one.
    std::string daten;
    std::int64_t kunde{1};
    std::string token; ///< Empty: make a random one.
    bool ohneTexte{false};
};

/// The arguments, or what is wrong with them: a German sentence.
[[nodiscard]] std::variant<Argumente, std::string> liesArgumente(std::span<char const* const> argumente);

extern char const* const hilfetext;

} // namespace quillmate::demo
