#include "mehrteilig.h"

#include <fmt/format.h>
#include <openssl/rand.h>

#include <array>
#include <cstdlib>

namespace quillmate::netz {

std::string neueUuid() {
    std::array<unsigned char, 16> b{};
    if (RAND_bytes(b.data(), static_cast<int>(b.size())) != 1)
        std::abort(); // no random numbers: the system is broken beyond what a program can work with
    b[6] = static_cast<unsigned char>((b[6] & 0x0FU) | 0x40U); // version 4
    b[8] = static_cast<unsigned char>((b[8] & 0x3FU) | 0x80U); // variant of RFC 4122
    return fmt::format(
        "{:02X}{:02X}{:02X}{:02X}-{:02X}{:02X}-{:02X}{:02X}-{:02X}{:02X}-{:02X}{:02X}{:02X}{:02X}{:02X}{:"
        "02X}",
        b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
}

std::string neueGrenze(std::string_view vorsatz) {
    return std::string{vorsatz} + neueUuid();
}

std::string textteil(std::string_view grenze, std::string_view feld, std::string_view wert) {
    return fmt::format(
        "--{}\r\nContent-Disposition: form-data; name=\"{}\"\r\n\r\n{}\r\n", grenze, feld, wert);
}

std::string dateikopf(
    std::string_view grenze, std::string_view feld, std::string_view dateiname, std::string_view inhaltstyp) {
    return fmt::format(
        "--{}\r\nContent-Disposition: form-data; name=\"{}\"; filename=\"{}\"\r\nContent-Type: {}\r\n\r\n",
        grenze, feld, dateiname, inhaltstyp);
}

std::string abschluss(std::string_view grenze) {
    return fmt::format("\r\n--{}--\r\n", grenze);
}

} // namespace quillmate::netz
