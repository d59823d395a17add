// HTTP on libcurl. From the outside in:
//   Leitungen          lends a Leitung to each request
//   Leitung            a libcurl handle with its open connections: one request at a time, with both limits
//   Sendung, Empfang   where libcurl takes a body from and puts an answer to
#include "http.h"

#include "grundlage/adressteile.h"
#include "grundlage/prozesswerte.h"

#include <curl/curl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

namespace quillmate::netz {

namespace {

void curlEinmalBereit() {
    [[maybe_unused]] static auto const fehler = curl_global_init(CURL_GLOBAL_DEFAULT);
}

std::string beschreibung(CURLcode fehler) {
    switch (fehler) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return "Der Server wurde nicht gefunden.";
    case CURLE_COULDNT_CONNECT:
        return "Es kam keine Verbindung zum Server zustande.";
    case CURLE_OPERATION_TIMEDOUT:
        return "Der Server hat nicht rechtzeitig geantwortet.";
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
        return "Die Verbindung zum Server ist abgebrochen.";
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
        return "Es kam keine sichere Verbindung zum Server zustande.";
    case CURLE_ABORTED_BY_CALLBACK:
        return "Die Übertragung wurde beendet.";
    case CURLE_WRITE_ERROR:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        return "Die Antwort des Servers ist nicht lesbar.";
    default:
        return fmt::format("Die Übertragung ist fehlgeschlagen (Fehler {}).", static_cast<int>(fehler));
    }
}

struct Empfang {
    std::string* ziel;
    std::size_t hoechstens;
    std::size_t gelesen{0};
};

std::size_t empfangen(char* daten, std::size_t, std::size_t anzahl, void* zeiger) {
    auto& empfang = *static_cast<Empfang*>(zeiger);
    empfang.gelesen += anzahl;
    if (empfang.gelesen > empfang.hoechstens)
        return 0; // ends the transfer
    try {
        if (empfang.ziel)
            empfang.ziel->append(daten, anzahl);
    } catch (std::bad_alloc const&) {
        return 0; // no exception may cross libcurl's frames
    }
    return anzahl;
}

/// How far a Dateikoerper has been sent.
struct Sendung {
    Dateikoerper const& koerper;
    std::uint64_t stelle{0};

    [[nodiscard]] std::uint64_t ganzes() const {
        return koerper.vorspann.size() + koerper.groesse + koerper.nachspann.size();
    }
};

std::size_t liefern(char* ziel, std::size_t, std::size_t platz, void* zeiger) {
    auto& sendung = *static_cast<Sendung*>(zeiger);
    auto const& koerper = sendung.koerper;
    auto const textstueck = [&](std::string const& text, std::uint64_t ab) {
        auto const n = std::min<std::size_t>(platz, text.size() - static_cast<std::size_t>(ab));
        std::memcpy(ziel, text.data() + ab, n);
        sendung.stelle += n;
        return n;
    };
    auto stelle = sendung.stelle;
    if (stelle < koerper.vorspann.size())
        return textstueck(koerper.vorspann, stelle);
    stelle -= koerper.vorspann.size();
    if (stelle < koerper.groesse) {
        auto const stueck =
            static_cast<std::size_t>(std::min<std::uint64_t>(platz, koerper.groesse - stelle));
        ssize_t n = 0;
        do {
            n = ::pread(koerper.deskriptor, ziel, stueck, static_cast<off_t>(stelle));
        } while (n < 0 && errno == EINTR);
        if (n <= 0) // unreadable, or shorter than announced: nothing whole can come of it
            return CURL_READFUNC_ABORT;
        sendung.stelle += static_cast<std::uint64_t>(n);
        return static_cast<std::size_t>(n);
    }
    stelle -= koerper.groesse;
    if (stelle < koerper.nachspann.size())
        return textstueck(koerper.nachspann, stelle);
    return 0;
}

/// A connection that was kept open may turn out to be dead; the body is then sent again from its beginning.
int springen(void* zeiger, curl_off_t stelle, int woher) {
    auto& sendung = *static_cast<Sendung*>(zeiger);
    if (woher != SEEK_SET || stelle < 0 || static_cast<std::uint64_t>(stelle) > sendung.ganzes())
        return CURL_SEEKFUNC_FAIL;
    sendung.stelle = static_cast<std::uint64_t>(stelle);
    return CURL_SEEKFUNC_OK;
}

int fragtAbbruch(void* zeiger, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<std::atomic<bool> const*>(zeiger)->load(std::memory_order_relaxed) ? 1 : 0;
}

} // namespace

// ---------------------------------------------------------------------------------------------- addresses

std::string alsAbfrage(std::vector<Abfrageteil> const& abfrage) {
    std::string text;
    for (auto const& [name, wert] : abfrage)
        text += fmt::format("{}{}={}", text.empty() ? "" : "&", mitProzent(name), mitProzent(wert));
    return text;
}

std::optional<std::string> mitAbfrage(
    std::string const& url, std::vector<Abfrageteil> const& abfrage, std::optional<std::string> const& pfad) {
    curlEinmalBereit();
    std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> const teile{curl_url(), &curl_url_cleanup};
    if (!teile || curl_url_set(teile.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK)
        return std::nullopt;
    auto const teil = [&](CURLUPart welcher) -> std::optional<std::string> {
        char* roh = nullptr;
        if (curl_url_get(teile.get(), welcher, &roh, 0) != CURLUE_OK)
            return std::nullopt;
        std::string text{roh};
        curl_free(roh);
        return text;
    };
    auto const schema = teil(CURLUPART_SCHEME);
    if (schema != "http" && schema != "https")
        return std::nullopt;
    curl_url_set(teile.get(), CURLUPART_FRAGMENT, nullptr, 0);
    if (pfad && curl_url_set(teile.get(), CURLUPART_PATH, pfad->c_str(), 0) != CURLUE_OK)
        return std::nullopt;
    if (curl_url_set(teile.get(), CURLUPART_QUERY, alsAbfrage(abfrage).c_str(), 0) != CURLUE_OK)
        return std::nullopt;
    return teil(CURLUPART_URL);
}

// ---------------------------------------------------------------------------------------------- connections

class Leitungen::Leitung {
public:
    Leitung()
        : griff_(curl_easy_init()) {}
    ~Leitung() { curl_easy_cleanup(griff_); }
    Leitung(Leitung const&) = delete;
    Leitung& operator=(Leitung const&) = delete;
    [[nodiscard]] bool brauchbar() const noexcept { return griff_ != nullptr; }

    Ausgang senden(
        Anfrage const& anfrage, std::chrono::seconds wartegrenze, std::string* ziel,
        std::atomic<bool> const& abbruch);

private:
    CURL* griff_;
};

Ausgang Leitungen::Leitung::senden(
    Anfrage const& anfrage, std::chrono::seconds wartegrenze, std::string* ziel,
    std::atomic<bool> const& abbruch) {
    if (!griff_)
        return {.status = {}, .fehler = beschreibung(CURLE_OUT_OF_MEMORY)};
    curl_easy_reset(griff_); // options only; open connections and the name cache stay
    Empfang empfang{.ziel = ziel, .hoechstens = anfrage.hoechstAntwort};
    auto const setze = [this](CURLoption option, auto wert) {
        curl_easy_setopt(griff_, option, wert);
    };
    bool const post = anfrage.koerper || anfrage.datei;
    bool const sicher = anfrage.url.starts_with("https:");
    setze(CURLOPT_URL, anfrage.url.c_str());
    setze(CURLOPT_PROTOCOLS_STR, "http,https");
    setze(CURLOPT_FOLLOWLOCATION, post ? 0L : 1L);
    setze(CURLOPT_MAXREDIRS, 10L);
    setze(CURLOPT_REDIR_PROTOCOLS_STR, sicher ? "https" : "http,https"); // never down to plain text
    setze(CURLOPT_NOSIGNAL, 1L);
    setze(CURLOPT_USERAGENT, fmt::format("Quillmate/{}", fassungstext).c_str());
    setze(CURLOPT_ACCEPT_ENCODING, "");
    setze(CURLOPT_TCP_KEEPALIVE, 1L);
    // The idle limit: less than one byte a second over that time. Connecting counts as idle.
    setze(CURLOPT_LOW_SPEED_LIMIT, 1L);
    setze(CURLOPT_LOW_SPEED_TIME, static_cast<long>(anfrage.leerlaufgrenze.count()));
    setze(CURLOPT_CONNECTTIMEOUT, static_cast<long>(anfrage.leerlaufgrenze.count()));
    setze(CURLOPT_TIMEOUT, static_cast<long>(wartegrenze.count()));
    setze(CURLOPT_WRITEFUNCTION, &empfangen);
    setze(CURLOPT_WRITEDATA, &empfang);
    setze(CURLOPT_NOPROGRESS, 0L);
    setze(CURLOPT_XFERINFODATA, &abbruch);
    setze(CURLOPT_XFERINFOFUNCTION, &fragtAbbruch);

    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> koepfe{nullptr, &curl_slist_free_all};
    std::optional<Sendung> sendung;
    if (post) {
        koepfe.reset(curl_slist_append(nullptr, ("Content-Type: " + anfrage.inhaltstyp).c_str()));
        setze(CURLOPT_HTTPHEADER, koepfe.get());
        setze(CURLOPT_POST, 1L);
        setze(CURLOPT_UPLOAD_BUFFERSIZE, 256L * 1024);
    }
    if (anfrage.datei) {
        sendung.emplace(Sendung{.koerper = *anfrage.datei});
        setze(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(sendung->ganzes()));
        setze(CURLOPT_READFUNCTION, &liefern);
        setze(CURLOPT_READDATA, &*sendung);
        setze(CURLOPT_SEEKFUNCTION, &springen);
        setze(CURLOPT_SEEKDATA, &*sendung);
    } else if (anfrage.koerper) {
        setze(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(anfrage.koerper->size()));
        setze(CURLOPT_POSTFIELDS, anfrage.koerper->data()); // not copied
    }
    if (auto const fehler = curl_easy_perform(griff_); fehler != CURLE_OK)
        return {.status = {}, .fehler = beschreibung(fehler)};
    long status = 0;
    curl_easy_getinfo(griff_, CURLINFO_RESPONSE_CODE, &status);
    if (status <= 0)
        return {.status = {}, .fehler = beschreibung(CURLE_WEIRD_SERVER_REPLY)};
    return {.status = static_cast<int>(status), .fehler = {}};
}

struct Leitungen::Leihgabe {
    Leitungen& vorrat;
    std::unique_ptr<Leitung> leitung;

    Leitung* operator->() const { return leitung.get(); }
    Leihgabe(Leitungen& v, std::unique_ptr<Leitung> l)
        : vorrat(v)
        , leitung(std::move(l)) {}
    Leihgabe(Leihgabe const&) = delete;
    Leihgabe& operator=(Leihgabe const&) = delete;
    ~Leihgabe() {
        if (!leitung->brauchbar())
            return; // made while memory was out; the next request makes another
        std::lock_guard const schutz{vorrat.sperre_};
        vorrat.frei_.push_back(std::move(leitung));
    }
};

Leitungen::Leihgabe Leitungen::leihen() {
    std::lock_guard const schutz{sperre_};
    if (frei_.empty())
        return {*this, std::make_unique<Leitung>()};
    auto leitung = std::move(frei_.back());
    frei_.pop_back();
    return {*this, std::move(leitung)};
}

Leitungen::Leitungen() {
    curlEinmalBereit();
}

Leitungen::~Leitungen() = default;

void Leitungen::abbrechen() noexcept {
    abbruch_.store(true, std::memory_order_relaxed);
}

Ausgang Leitungen::senden(Anfrage const& anfrage, std::chrono::seconds wartegrenze, std::string* ziel) {
    return leihen()->senden(anfrage, wartegrenze, ziel, abbruch_);
}

} // namespace quillmate::netz
