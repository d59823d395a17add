#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillmate::demo {

/// Compares without telling by its time how much of a guess was right.
[[nodiscard]] bool stimmtUeberein(std::string_view geheimnis, std::string_view versuch);

/// 192 random bits as 48 lower-case hexadecimal digits.
[[nodiscard]] std::string zufallstext();

/// Who may call.
struct Zugang {
    std::int64_t kunde;
    std::string token;

    [[nodiscard]] bool passt(std::string_view versuch) const { return stimmtUeberein(token, versuch); }
};

} // namespace quillmate::demo
