#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a release needs: keys, signatures, the appcast. Not part of the program.
/// Threads: any.
namespace quillmate::veroeffentlichen {

/// A private Ed25519 key.
class Geheimnis {
public:
    [[nodiscard]] static std::optional<Geheimnis> neu();
    /// From PEM (PKCS #8, not encrypted).
    [[nodiscard]] static std::optional<Geheimnis> ausPem(std::string const& pem);

    [[nodiscard]] std::string alsPem() const;
    /// What goes into the bundle: Base64 of 32 bytes.
    [[nodiscard]] std::string oeffentlich() const;
    /// Base64 of 64 bytes.
    [[nodiscard]] std::string signieren(std::string_view bytes) const;

private:
    explicit Geheimnis(void* schluessel);
    std::shared_ptr<void> schluessel_; ///< EVP_PKEY
};

/// One version in the appcast.
struct Eintrag {
    std::string fassung;     ///< CFBundleVersion
    std::string kurzfassung; ///< CFBundleShortVersionString
    std::string architektur; ///< As uname(2) says it.
    std::string adresse;     ///< Of the archive.
    std::uint64_t laenge{0};
    std::string signaturen; ///< Of the archive, with blanks between them.
    std::string notizen;    ///< Plain text.
};

struct Liste {
    std::string kennung;
    std::uint64_t ausgabe{0}; ///< Higher than that of every list published before.
    std::chrono::sys_seconds gueltigBis;
    std::vector<Eintrag> eintraege;
};

/// Signatures of all keys over the bytes, with blanks between them.
[[nodiscard]] std::string signaturen(std::string_view bytes, std::vector<Geheimnis> const& schluessel);
/// The appcast without its signature.
[[nodiscard]] std::string alsXml(Liste const& liste);
/// The text with the line that signs it.
[[nodiscard]] std::string mitSignatur(std::string text, std::vector<Geheimnis> const& schluessel);

} // namespace quillmate::veroeffentlichen
