#include "https_attrappe.h"

#include <libsoup/soup.h>
#include <openssl/bio.h>
#include <openssl/pem.h>

#include <algorithm>
#include <stdexcept>

namespace quillmate::werkzeug {

std::string ausweisAus(x509_st* zertifikat, evp_pkey_st* schluessel) {
    std::unique_ptr<BIO, decltype(&BIO_free)> const bio{BIO_new(BIO_s_mem()), &BIO_free};
    PEM_write_bio_X509(bio.get(), zertifikat);
    PEM_write_bio_PrivateKey(bio.get(), schluessel, nullptr, nullptr, 0, nullptr, nullptr);
    char* zeiger = nullptr;
    auto const laenge = BIO_ctrl(bio.get(), BIO_CTRL_INFO, 0, &zeiger);
    return {zeiger, static_cast<std::size_t>(laenge)};
}

struct HttpsAttrappe::Signale {
    static void antworte(
        SoupServer*, SoupServerMessage* nachricht, char const* pfad, GHashTable*, gpointer daten) {
        auto& ich = *static_cast<HttpsAttrappe*>(daten);
        std::string const anfrage = soup_server_message_get_method(nachricht) + (' ' + std::string{pfad});
        ich.anfragen_.push_back(anfrage);
        auto stelle = ich.seiten_.find(anfrage);
        if (stelle == ich.seiten_.end())
            stelle = ich.seiten_.find(pfad);
        if (stelle == ich.seiten_.end())
            return soup_server_message_set_status(nachricht, 404, nullptr);
        auto const& [koerper, typ, status, koepfe] = stelle->second;
        soup_server_message_set_status(nachricht, static_cast<guint>(status), nullptr);
        for (auto const& [name, wert] : koepfe)
            soup_message_headers_append(
                soup_server_message_get_response_headers(nachricht), name.c_str(), wert.c_str());
        soup_server_message_set_response(
            nachricht, typ.c_str(), SOUP_MEMORY_COPY, koerper.data(), koerper.size());
    }
};

void HttpsAttrappe::Freigeber::operator()(SoupServer* server) const {
    soup_server_disconnect(server);
    g_object_unref(server);
}

HttpsAttrappe::HttpsAttrappe(std::string const& ausweis)
    : server_(soup_server_new(nullptr, nullptr)) {
    auto* const zertifikat =
        g_tls_certificate_new_from_pem(ausweis.data(), static_cast<gssize>(ausweis.size()), nullptr);
    if (!zertifikat)
        throw std::runtime_error{"Kein Zertifikat"};
    soup_server_set_tls_certificate(server_.get(), zertifikat);
    g_object_unref(zertifikat);
    soup_server_add_handler(server_.get(), nullptr, &Signale::antworte, this, nullptr);
    if (!soup_server_listen_local(
            server_.get(), 0,
            SoupServerListenOptions(SOUP_SERVER_LISTEN_HTTPS | SOUP_SERVER_LISTEN_IPV4_ONLY), nullptr))
        throw std::runtime_error{"Kein Anschluss"};
    auto* const adressen = soup_server_get_uris(server_.get());
    port_ = g_uri_get_port(static_cast<GUri*>(adressen->data));
    g_slist_free_full(adressen, [](gpointer adresse) { g_uri_unref(static_cast<GUri*>(adresse)); });
}

HttpsAttrappe::~HttpsAttrappe() = default;

std::string HttpsAttrappe::adresse(std::string const& pfad) const {
    return "https://127.0.0.1:" + std::to_string(port_) + pfad;
}

long HttpsAttrappe::anzahl(std::string const& anfrage) const {
    return std::ranges::count(anfragen_, anfrage);
}

} // namespace quillmate::werkzeug
