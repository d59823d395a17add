#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

struct evp_pkey_st;
struct x509_st;
struct _SoupServer;

namespace quillmate::werkzeug {

/// Certificate and key as one PEM text, as HttpsAttrappe takes it.
[[nodiscard]] std::string ausweisAus(x509_st* zertifikat, evp_pkey_st* schluessel);

/// A loopback https server on 127.0.0.1 that answers every method of a path alike, or by the method when there is a page
/// "POST /path", and records what was asked for. Works in the main loop.
class HttpsAttrappe {
public:
    struct Seite {
        std::string koerper;
        std::string typ{"text/html; charset=utf-8"};
        int status{200};
        std::map<std::string, std::string> koepfe{};
    };

    /// `ausweis` is what ausweisAus() gives. Throws when there is no port to listen on.
    explicit HttpsAttrappe(std::string const& ausweis);
    ~HttpsAttrappe();
    HttpsAttrappe(HttpsAttrappe const&) = delete;
    HttpsAttrappe& operator=(HttpsAttrappe const&) = delete;

    void seite(std::string const& pfad, Seite seite) { seiten_[pfad] = std::move(seite); }
    [[nodiscard]] std::string adresse(std::string const& pfad) const;
    /// All requests, as "GET /path".
    [[nodiscard]] std::vector<std::string> const& anfragen() const noexcept { return anfragen_; }
    [[nodiscard]] long anzahl(std::string const& anfrage) const;

private:
    struct Freigeber {
        void operator()(_SoupServer* server) const;
    };
    struct Signale; ///< The server's callback.

    std::unique_ptr<_SoupServer, Freigeber> server_;
    int port_{0};
    std::map<std::string, Seite> seiten_;
    std::vector<std::string> anfragen_;
};

} // namespace quillmate::werkzeug
