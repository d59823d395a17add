#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quillmate::werkzeug {

/// One request as it arrived.
struct HttpAnfrage {
    std::string methode;
    std::string pfad;                                         ///< Without query, undecoded.
    std::vector<std::pair<std::string, std::string>> abfrage; ///< Decoded, in the order of the URL.
    std::map<std::string, std::string> koepfe;                ///< Names in lower case.
    std::string koerper;
};

/// What the server does with a request. The defaults are a well-behaved answer; the rest are faults on
/// purpose.
struct HttpAntwort {
    int status{200};
    std::string koerper;
    std::string inhaltstyp{"application/json"};
    std::optional<std::string> roh;         ///< These bytes instead of any answer.
    std::optional<std::size_t> abschneiden; ///< Close after this many bytes of the answer.
    bool ohneAntwort{false};                ///< Close without a byte.
    bool haengen{false};      ///< Keep the connection open and say nothing (more) until the server ends.
    std::string weitererKopf; ///< "Location: …\r\n"
};

/// A loopback HTTP/1.1 server under the test's control: keeps connections alive, counts them, records
/// everything. The handler runs on the connection's thread and may block.
class HttpAttrappe {
public:
    using Behandlung = std::function<HttpAntwort(HttpAnfrage const&)>;

    explicit HttpAttrappe(Behandlung behandlung);
    ~HttpAttrappe();
    HttpAttrappe(HttpAttrappe const&) = delete;
    HttpAttrappe& operator=(HttpAttrappe const&) = delete;

    [[nodiscard]] std::string adresse() const;
    [[nodiscard]] std::vector<HttpAnfrage> anfragen() const;
    /// Those to a path that ends with `ende`.
    [[nodiscard]] std::vector<HttpAnfrage> anfragenAn(std::string_view ende) const;
    [[nodiscard]] int verbindungen() const { return verbindungen_; }

private:
    void annehmen();
    void bedienen(int fd);

    Behandlung const behandlung_;
    int horcher_{-1};
    int port_{0};
    std::atomic<bool> ende_{false};
    std::atomic<int> verbindungen_{0};
    mutable std::mutex sperre_; ///< Guards what follows.
    std::vector<HttpAnfrage> anfragen_;
    std::vector<int> offen_;
    std::vector<std::thread> faeden_;
    std::thread annehmer_;
};

/// An address on which nobody listens.
[[nodiscard]] std::string toteAdresse();

} // namespace quillmate::werkzeug
