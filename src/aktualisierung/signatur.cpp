#include "signatur.h"

#include <openssl/evp.h>

#include <algorithm>
#include <memory>

namespace quillmate::aktualisierung {

namespace {

template<std::size_t n>
std::optional<std::array<unsigned char, n>> ausBase64(std::string_view text) {
    // OpenSSL's decoder skips white space and takes any padding; ours takes one text for one value.
    constexpr auto erlaubt = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    constexpr std::size_t laenge = (n + 2) / 3 * 4;
    constexpr std::size_t fuellung = (3 - n % 3) % 3;
    if (text.size() != laenge || text.find_first_not_of(erlaubt) < laenge - fuellung ||
        text.substr(laenge - fuellung) != std::string_view{"=="}.substr(0, fuellung))
        return std::nullopt;
    std::array<unsigned char, laenge / 4 * 3> puffer{};
    if (EVP_DecodeBlock(
            puffer.data(), reinterpret_cast<unsigned char const*>(text.data()), static_cast<int>(laenge)) !=
        static_cast<int>(puffer.size()))
        return std::nullopt;
    std::array<unsigned char, n> ergebnis{};
    std::copy_n(puffer.begin(), n, ergebnis.begin());
    return ergebnis;
}

bool istVon(std::string_view bytes, Signatur const& signatur, Schluessel const& schluessel) {
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> const schluesselwert{
        EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, schluessel.data(), schluessel.size()),
        &EVP_PKEY_free};
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> const pruefung{
        EVP_MD_CTX_new(), &EVP_MD_CTX_free};
    return schluesselwert && pruefung &&
           EVP_DigestVerifyInit(pruefung.get(), nullptr, nullptr, nullptr, schluesselwert.get()) == 1 &&
           EVP_DigestVerify(
               pruefung.get(), signatur.data(), signatur.size(),
               reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size()) == 1;
}

} // namespace

std::optional<Schluessel> schluesselLesen(std::string_view base64) {
    return ausBase64<std::tuple_size_v<Schluessel>>(base64);
}

std::optional<Signatur> signaturLesen(std::string_view base64) {
    return ausBase64<std::tuple_size_v<Signatur>>(base64);
}

std::optional<std::vector<Signatur>> signaturenLesen(std::string_view text) {
    constexpr auto leerraum = " \t\r\n";
    constexpr std::size_t hoechstens = 4; // each costs one pass over the archive and key
    std::vector<Signatur> ergebnis;
    for (;;) {
        auto const anfang = text.find_first_not_of(leerraum);
        if (anfang == std::string_view::npos)
            break;
        text.remove_prefix(anfang);
        auto const wort = text.substr(0, text.find_first_of(leerraum));
        auto const signatur = signaturLesen(wort);
        if (!signatur || ergebnis.size() == hoechstens)
            return std::nullopt;
        ergebnis.push_back(*signatur);
        text.remove_prefix(wort.size());
    }
    return ergebnis.empty() ? std::nullopt : std::optional{std::move(ergebnis)};
}

bool istSigniert(
    std::string_view bytes, std::span<Signatur const> signaturen, std::span<Schluessel const> schluessel) {
    return std::ranges::any_of(signaturen, [&](Signatur const& signatur) {
        return std::ranges::any_of(
            schluessel, [&](Schluessel const& s) { return istVon(bytes, signatur, s); });
    });
}

} // namespace quillmate::aktualisierung
