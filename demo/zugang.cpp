#include "zugang.h"

#include "grundlage/pruefsumme.h"

#include <openssl/crypto.h>
#include <sys/random.h>

#include <array>
#include <cstdlib>

namespace quillmate::demo {

bool stimmtUeberein(std::string_view geheimnis, std::string_view versuch) {
    return geheimnis.size() == versuch.size() &&
           CRYPTO_memcmp(geheimnis.data(), versuch.data(), geheimnis.size()) == 0;
}

std::string zufallstext() {
    std::array<unsigned char, 24> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        std::abort(); // Cannot fail for this few bytes.
    return hexadezimal(bytes);
}

} // namespace quillmate::demo
