#include "pruefsumme.h"

#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <vector>

namespace quillmate {

Sha256 sha256(std::string_view bytes) {
    Sha256 ergebnis{};
    unsigned int laenge = 0;
    // Fails only when OpenSSL itself cannot be set up; there is no program without it.
    if (EVP_Digest(bytes.data(), bytes.size(), ergebnis.data(), &laenge, EVP_sha256(), nullptr) != 1)
        std::abort();
    return ergebnis;
}

std::optional<Sha256> sha256Datei(int deskriptor, std::uint64_t hoechstens) {
    struct stat lage {};
    if (::fstat(deskriptor, &lage) != 0 ||
        (S_ISREG(lage.st_mode) && static_cast<std::uint64_t>(lage.st_size) > hoechstens))
        return std::nullopt;
    std::uint64_t gelesen = 0;
    constexpr std::size_t stueck = std::size_t{256} * 1024;
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> const rechner{EVP_MD_CTX_new(), &EVP_MD_CTX_free};
    if (!rechner || EVP_DigestInit_ex(rechner.get(), EVP_sha256(), nullptr) != 1)
        return std::nullopt;
    std::vector<unsigned char> puffer(stueck);
    for (;;) {
        auto const n = ::read(deskriptor, puffer.data(), puffer.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return std::nullopt;
        if (n == 0)
            break;
        gelesen += static_cast<std::uint64_t>(n);
        if (gelesen > hoechstens)
            return std::nullopt;
        if (EVP_DigestUpdate(rechner.get(), puffer.data(), static_cast<std::size_t>(n)) != 1)
            return std::nullopt;
    }
    Sha256 ergebnis{};
    unsigned int laenge = 0;
    if (EVP_DigestFinal_ex(rechner.get(), ergebnis.data(), &laenge) != 1)
        return std::nullopt;
    return ergebnis;
}

std::string hexadezimal(std::span<unsigned char const> bytes) {
    constexpr std::string_view ziffern = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (auto const byte : bytes) {
        text += ziffern[byte >> 4U];
        text += ziffern[byte & 0xFU];
    }
    return text;
}

} // namespace quillmate
