#pragma once

#include <memory>
#include <optional>
#include <string>

struct evp_pkey_st;
struct x509_st;

namespace quillmate::demo {

/// A certificate for this machine's own address that nobody vouches for, with its key. Both are made anew for each run of
/// the service; the key is in memory only, so nobody else can ever serve under the certificate.
/// Threads: any, one at a time.
class Portalzertifikat {
public:
    /// For "127.0.0.1" and "localhost"; good for thirty days. Nothing when OpenSSL cannot.
    [[nodiscard]] static std::optional<Portalzertifikat> erzeugen();

    /// The certificate without the key, for whoever shall trust it.
    [[nodiscard]] std::string pem() const;
    /// Borrowed.
    [[nodiscard]] x509_st* zertifikat() const noexcept { return zertifikat_.get(); }
    [[nodiscard]] evp_pkey_st* schluessel() const noexcept { return schluessel_.get(); }

private:
    struct Freigeber {
        void operator()(x509_st* zertifikat) const;
        void operator()(evp_pkey_st* schluessel) const;
    };
    Portalzertifikat() = default;

    std::unique_ptr<evp_pkey_st, Freigeber> schluessel_;
    std::unique_ptr<x509_st, Freigeber> zertifikat_;
};

} // namespace quillmate::demo
