#pragma once

#include "werkzeug/http_attrappe.h"

#include <nlohmann/json.hpp>

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate::fenster_echt {

/// A loopback service whose pages are the test's hands in the program: each of them asks for a piece of script, runs
/// it, and reports what came out. "/uebersicht" is the page "haupt"; "/seite/NAME" is the page NAME.
/// Threads: any.
class Seitendienst {
public:
    using Behandlung = std::function<werkzeug::HttpAntwort(werkzeug::HttpAnfrage const&)>;

    Seitendienst();
    ~Seitendienst();
    Seitendienst(Seitendienst const&) = delete;
    Seitendienst& operator=(Seitendienst const&) = delete;

    /// Without a path, or the address of `pfad`.
    [[nodiscard]] std::string adresse(std::string_view pfad = {}) const {
        return server_.adresse() + std::string{pfad};
    }
    /// Answers requests for exactly this path (without query), also those for the start page.
    void antworte(std::string const& pfad, werkzeug::HttpAntwort antwort);
    void antworte(std::string const& pfad, Behandlung behandlung);
    /// Everything as it was, for this path.
    void vergiss(std::string const& pfad);
    /// Makes this path (without query) the page `name`.
    void alsSeite(std::string const& pfad, std::string const& name);
    /// HTML that the pages show.
    void inhalt(std::string html);

    /// The body of an asynchronous function, run in the newest document of that page; its result. Throws
    /// std::runtime_error when it throws or does not end within the limit.
    nlohmann::json rufe(std::string_view rumpf, std::string const& seite = "haupt");
    /// As rufe(), without waiting; the call's number for ergebnis().
    int beginne(std::string_view rumpf, std::string const& seite = "haupt");
    nlohmann::json ergebnis(int nummer, std::chrono::seconds grenze = std::chrono::seconds{30});
    [[nodiscard]] bool fertig(int nummer) const;

    /// How many documents of this page have said that they listen.
    [[nodiscard]] int dokumente(std::string const& seite = "haupt") const;
    /// Waits until there are that many.
    [[nodiscard]] bool warteAufDokument(int wievieltes = 1, std::string const& seite = "haupt") const;

    /// All requests but those of the hands.
    [[nodiscard]] std::vector<werkzeug::HttpAnfrage> anfragenAn(std::string_view pfad) const;
    [[nodiscard]] werkzeug::HttpAttrappe const& server() const { return server_; }

private:
    struct Seite {
        std::string exemplar; ///< The newest document.
        std::set<std::string> gesehen;
        int dokumente{0};
        std::deque<std::pair<int, std::string>> wartend; ///< Rising numbers; not yet known to be received.
    };

    werkzeug::HttpAntwort behandeln(werkzeug::HttpAnfrage const& anfrage);
    werkzeug::HttpAntwort befehl(std::string const& name, std::string const& exemplar, int erhalten);
    [[nodiscard]] werkzeug::HttpAntwort dokument(std::string const& name) const;

    mutable std::mutex sperre_; ///< Guards all members up to the server.
    mutable std::condition_variable aenderung_;
    std::map<std::string, Seite> seiten_;
    std::map<int, nlohmann::json> ergebnisse_;
    std::map<std::string, Behandlung> behandlungen_;
    std::string inhalt_;
    int zaehler_{0};
    bool ende_{false};
    werkzeug::HttpAttrappe server_; ///< Last member: its threads use all others.
};

} // namespace quillmate::fenster_echt
