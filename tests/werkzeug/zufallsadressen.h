#pragma once

#include <arpa/inet.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace quillmate::werkzeug {

/// Hosts that are equal to people and different as text become equal: notations of one IPv6 address.
inline std::string verglichenerWirt(std::string wirt) {
    if (wirt.starts_with('['))
        wirt = wirt.substr(1, wirt.size() - 2);
    in6_addr adresse{};
    if (::inet_pton(AF_INET6, wirt.c_str(), &adresse) == 1)
        wirt.assign(reinterpret_cast<char const*>(adresse.s6_addr), sizeof adresse.s6_addr);
    return wirt;
}

/// Addresses put together from pieces that readers of addresses stumble over. The same seed gives the same series.
class Zufallsadressen {
public:
    explicit Zufallsadressen(std::uint32_t saat)
        : zufall_(saat) {}

    std::string naechste() {
        static constexpr std::array<std::string_view, 12> anfaenge{
            "http://", "https://",  "https://",  "http://",  "HTTPS://", "http:/",
            "http:",   "https:///", "http:\\\\", " http://", "httpx://", "//"};
        static constexpr std::array<std::string_view, 52> stuecke{
            "a",
            "B",
            "example",
            "quillmate",
            "localhost",
            "127",
            "0",
            "0x7f",
            "1",
            "2130706433",
            "255",
            "256",
            ".",
            ".",
            ".",
            ".",
            "-",
            "_",
            "[::1]",
            "[",
            "]",
            "[::ffff:1.2.3.4]",
            "[1:0:0:2::3]",
            ":",
            "::1",
            "@",
            "a@",
            "a:b@",
            "%",
            "%41",
            "%2e",
            "%00",
            "\\",
            "/",
            "?",
            "#",
            ";",
            "&",
            "=",
            " ",
            "\t",
            "\n",
            "ä",
            "ß",
            "。",
            "１",
            "xn--",
            "xn--4ca",
            "\u00AD",
            "\u200D",
            "\u202E",
            "\xFF"};
        static constexpr std::array<std::string_view, 10> anschluesse{
            "", "", "", ":", ":80", ":443", ":0443", ":65536", ":8a", ":8080"};
        static constexpr std::array<std::string_view, 10> enden{"",    "/",    "/a/../b", "/@h",  "?a=b",
                                                                "#@h", "/a|b", "/ä",      "\\@h", "/%zz"};
        std::string text{eins(anfaenge)};
        for (auto n = 1 + zufall_() % 5; n > 0; --n)
            text += eins(stuecke);
        text += eins(anschluesse);
        text += eins(enden);
        return text;
    }

private:
    template<std::size_t Anzahl>
    std::string_view eins(std::array<std::string_view, Anzahl> const& liste) {
        return liste.at(zufall_() % Anzahl);
    }

    std::mt19937 zufall_;
};

} // namespace quillmate::werkzeug
