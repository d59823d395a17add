#include "werkzeug.h"

#include "grundlage/html.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <span>

namespace quillmate::veroeffentlichen {

namespace {

EVP_PKEY* pkey(std::shared_ptr<void> const& schluessel) {
    return static_cast<EVP_PKEY*>(schluessel.get());
}

std::string base64(std::span<unsigned char const> bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    auto const laenge = EVP_EncodeBlock(
        reinterpret_cast<unsigned char*>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(laenge));
    return text;
}

} // namespace

Geheimnis::Geheimnis(void* schluessel)
    : schluessel_(schluessel, [](void* s) { EVP_PKEY_free(static_cast<EVP_PKEY*>(s)); }) {}

std::optional<Geheimnis> Geheimnis::neu() {
    auto* const schluessel = EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519");
    return schluessel ? std::optional{Geheimnis{schluessel}} : std::nullopt;
}

std::optional<Geheimnis> Geheimnis::ausPem(std::string const& pem) {
    std::unique_ptr<BIO, decltype(&BIO_free)> const quelle{
        BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), &BIO_free};
    // Without a callback OpenSSL would ask the terminal for a pass phrase.
    auto const keine = [](char*, int, int, void*) {
        return -1;
    };
    auto* const schluessel =
        quelle ? PEM_read_bio_PrivateKey(quelle.get(), nullptr, keine, nullptr) : nullptr;
    if (!schluessel)
        return std::nullopt;
    Geheimnis geheimnis{schluessel};
    return EVP_PKEY_get_base_id(schluessel) == EVP_PKEY_ED25519 ? std::optional{geheimnis} : std::nullopt;
}

std::string Geheimnis::alsPem() const {
    std::unique_ptr<BIO, decltype(&BIO_free)> const ziel{BIO_new(BIO_s_mem()), &BIO_free};
    PEM_write_bio_PKCS8PrivateKey(ziel.get(), pkey(schluessel_), nullptr, nullptr, 0, nullptr, nullptr);
    char* bytes = nullptr;
    auto const laenge = BIO_get_mem_data(ziel.get(), &bytes);
    return {bytes, static_cast<std::size_t>(laenge)};
}

std::string Geheimnis::oeffentlich() const {
    std::vector<unsigned char> bytes(32);
    auto laenge = bytes.size();
    EVP_PKEY_get_raw_public_key(pkey(schluessel_), bytes.data(), &laenge);
    return base64(bytes);
}

std::string Geheimnis::signieren(std::string_view bytes) const {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> const lauf{EVP_MD_CTX_new(), &EVP_MD_CTX_free};
    std::vector<unsigned char> signatur(64);
    auto laenge = signatur.size();
    if (EVP_DigestSignInit(lauf.get(), nullptr, nullptr, nullptr, pkey(schluessel_)) != 1 ||
        EVP_DigestSign(
            lauf.get(), signatur.data(), &laenge, reinterpret_cast<unsigned char const*>(bytes.data()),
            bytes.size()) != 1)
        return {};
    return base64(signatur);
}

std::string signaturen(std::string_view bytes, std::vector<Geheimnis> const& schluessel) {
    std::string text;
    for (auto const& s : schluessel)
        text += (text.empty() ? "" : " ") + s.signieren(bytes);
    return text;
}

std::string alsXml(Liste const& liste) {
    auto text = fmt::format(
        R"(<?xml version="1.0" encoding="UTF-8"?>
<rss version="2.0" xmlns:q="urn:tandemwerk:quillmate:appcast:1">
  <channel>
    <title>Quillmate</title>
    <q:kennung>{}</q:kennung>
    <q:ausgabe>{}</q:ausgabe>
    <q:gueltigBis>{:%Y-%m-%dT%H:%M:%SZ}</q:gueltigBis>
)",
        fuerHtmlAttribut(liste.kennung), liste.ausgabe,
        fmt::gmtime(std::chrono::system_clock::to_time_t(liste.gueltigBis)));
    for (auto const& e : liste.eintraege)
        text += fmt::format(
            R"(    <item>
      <title>Quillmate {0}</title>
      <q:fassung>{1}</q:fassung>
      <q:kurzfassung>{0}</q:kurzfassung>
      <q:architektur>{2}</q:architektur>
      <description>{3}</description>
      <enclosure url="{4}" length="{5}" type="application/octet-stream" q:signatur="{6}"/>
    </item>
)",
            fuerHtmlAttribut(e.kurzfassung), fuerHtmlAttribut(e.fassung), fuerHtmlAttribut(e.architektur),
            fuerHtmlAttribut(e.notizen), fuerHtmlAttribut(e.adresse), e.laenge,
            fuerHtmlAttribut(e.signaturen));
    text += "  </channel>\n</rss>\n";
    return text;
}

std::string mitSignatur(std::string text, std::vector<Geheimnis> const& schluessel) {
    auto const zeile = "<!-- signatur " + signaturen(text, schluessel) + " -->\n";
    return std::move(text) + zeile;
}

} // namespace quillmate::veroeffentlichen
