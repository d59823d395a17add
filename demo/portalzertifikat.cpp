#include "portalzertifikat.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <utility>

namespace quillmate::demo {

namespace {

constexpr long tag = 24L * 60 * 60; // seconds
constexpr long gueltig = 30 * tag;

bool ergaenze(X509* zertifikat, int nummer, char const* wert) {
    X509V3_CTX lage;
    X509V3_set_ctx_nodb(&lage);
    X509V3_set_ctx(&lage, zertifikat, zertifikat, nullptr, nullptr, 0);
    std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> const angabe{
        X509V3_EXT_conf_nid(nullptr, &lage, nummer, wert), &X509_EXTENSION_free};
    return angabe && X509_add_ext(zertifikat, angabe.get(), -1) == 1;
}

bool nummeriere(X509* zertifikat) {
    std::unique_ptr<BIGNUM, decltype(&BN_free)> const zahl{BN_new(), &BN_free};
    constexpr int bits = 127;
    return zahl && BN_rand(zahl.get(), bits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
           BN_to_ASN1_INTEGER(zahl.get(), X509_get_serialNumber(zertifikat)) != nullptr;
}

bool benenne(X509* zertifikat) {
    auto* const name = X509_get_subject_name(zertifikat);
    auto const* const text = reinterpret_cast<unsigned char const*>("Quillmate Demoportal");
    return X509_NAME_add_entry_by_NID(name, NID_commonName, MBSTRING_UTF8, text, -1, -1, 0) == 1 &&
           X509_set_issuer_name(zertifikat, name) == 1;
}

} // namespace

void Portalzertifikat::Freigeber::operator()(x509_st* zertifikat) const {
    X509_free(zertifikat);
}

void Portalzertifikat::Freigeber::operator()(evp_pkey_st* schluessel) const {
    EVP_PKEY_free(schluessel);
}

std::optional<Portalzertifikat> Portalzertifikat::erzeugen() {
    Portalzertifikat neu;
    neu.schluessel_.reset(EVP_EC_gen("P-256"));
    neu.zertifikat_.reset(X509_new());
    auto* const zertifikat = neu.zertifikat_.get();
    if (!neu.schluessel_ || zertifikat == nullptr)
        return std::nullopt;
    // A little before now: clocks of one machine agree, but not to the second of a rounded time.
    bool const gut = X509_set_version(zertifikat, X509_VERSION_3) == 1 && nummeriere(zertifikat) &&
                     X509_gmtime_adj(X509_getm_notBefore(zertifikat), -tag / 24) != nullptr &&
                     X509_gmtime_adj(X509_getm_notAfter(zertifikat), gueltig) != nullptr &&
                     X509_set_pubkey(zertifikat, neu.schluessel_.get()) == 1 && benenne(zertifikat) &&
                     ergaenze(zertifikat, NID_basic_constraints, "critical,CA:FALSE") &&
                     ergaenze(zertifikat, NID_key_usage, "critical,digitalSignature") &&
                     ergaenze(zertifikat, NID_ext_key_usage, "serverAuth") &&
                     ergaenze(zertifikat, NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost") &&
                     X509_sign(zertifikat, neu.schluessel_.get(), EVP_sha256()) > 0;
    return gut ? std::optional{std::move(neu)} : std::nullopt;
}

std::string Portalzertifikat::pem() const {
    std::unique_ptr<BIO, decltype(&BIO_free)> const speicher{BIO_new(BIO_s_mem()), &BIO_free};
    if (!speicher || PEM_write_bio_X509(speicher.get(), zertifikat_.get()) != 1)
        return {};
    char* text = nullptr;
    auto const laenge = BIO_get_mem_data(speicher.get(), &text);
    return {text, static_cast<std::size_t>(laenge)};
}

} // namespace quillmate::demo
