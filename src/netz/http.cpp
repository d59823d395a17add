// HTTP on libcurl. From the outside in:
//   Leitungen          lends a Leitung to each request
//   Leitung            a libcurl handle with its open connections: one request at a time, with both limits
//   Sendung, Empfang   where libcurl takes a body from and puts an answer to
#include "http.h"

#include "grundlage/adresse.h"
#include "grundlage/prozesswerte.h"
#include "grundlage/text.h"

#include <curl/curl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
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
    bool gekuerzt{false};
};

std::size_t empfangen(char* daten, std::size_t, std::size_t anzahl, void* zeiger) {
    auto& empfang = *static_cast<Empfang*>(zeiger);
    auto const nimmt = std::min(anzahl, empfang.hoechstens - empfang.gelesen);
    try {
        if (empfang.ziel)
            empfang.ziel->append(daten, nimmt);
    } catch (std::bad_alloc const&) {
        return 0; // no exception may cross libcurl's frames
    }
    empfang.gelesen += nimmt;
    empfang.gekuerzt = nimmt < anzahl;
    return nimmt; // fewer than came end the transfer
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

/// Who may end a request that is under way.
struct Abbruch {
    std::atomic<bool> const& alle;
    std::function<bool()> const& dieser;
};

int fragtAbbruch(void* zeiger, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    auto const& abbruch = *static_cast<Abbruch const*>(zeiger);
    try {
        return abbruch.alle.load(std::memory_order_relaxed) || (abbruch.dieser && abbruch.dieser()) ? 1 : 0;
    } catch (std::exception const&) {
        return 0; // no exception may cross libcurl's frames
    }
}

} // namespace

// ---------------------------------------------------------------------------------------------- connections

class Leitungen::Leitung {
public:
    Leitung()
        : griff_(curl_easy_init()) {}
    ~Leitung() { curl_easy_cleanup(griff_); }
    Leitung(Leitung const&) = delete;
    Leitung& operator=(Leitung const&) = delete;
    [[nodiscard]] bool brauchbar() const noexcept { return griff_ != nullptr; }

    /// `wege`: as of curlVermittler(); nullptr leaves the choice to libcurl.
    Ausgang senden(
        Anfrage const& anfrage, Adresse adresse, std::chrono::seconds wartegrenze, std::string* ziel,
        std::atomic<bool> const& abbruch, std::vector<std::string> const* wege);

private:
    using Frist = std::chrono::steady_clock::time_point;
    Ausgang einmal(
        Anfrage const& anfrage, Adresse const& adresse, Frist frist, std::string* ziel,
        std::atomic<bool> const& abbruch, std::string const* weg);
    [[nodiscard]] std::string auskunft(CURLINFO was) const;

    CURL* griff_;
};

namespace {

/// A place in a log line: never a query, which holds the token.
std::string ort(Adresse const& adresse) {
    auto const ursprung = adresse.ursprung();
    return ursprung ? ursprung->text() : adresse.schema();
}

Fehlerart artVon(CURLcode fehler) {
    switch (fehler) {
    case CURLE_OPERATION_TIMEDOUT:
        return Fehlerart::zeitAbgelaufen;
    case CURLE_ABORTED_BY_CALLBACK:
        return Fehlerart::gestoppt;
    case CURLE_OUT_OF_MEMORY:
        return Fehlerart::keineMittel;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PROXY:
        return Fehlerart::keineVerbindung;
    default:
        return Fehlerart::gestoert;
    }
}

Ausgang gescheitert(CURLcode fehler, Adresse const& adresse) {
    auto satz = beschreibung(fehler);
    return {
        .status = {},
        .fehler = satz,
        .grund = Fehler{
            .art = artVon(fehler),
            .ursache = {.herkunft = Ursache::Herkunft::curl, .nummer = static_cast<int>(fehler)},
            .wo = ort(adresse),
            .satz = satz.substr(0, satz.size() - 1)}};
}

/// A redirect of a POST that ends here.
Ausgang nichtBefolgt(Ausgang ausgang, Adresse const& adresse, std::string_view satz) {
    ausgang.grund = Fehler{
        .art = Fehlerart::abgelehnt,
        .ursache = {.herkunft = Ursache::Herkunft::http, .nummer = *ausgang.status},
        .wo = ort(adresse),
        .satz = std::string{satz}};
    return ausgang;
}

} // namespace

std::string Leitungen::Leitung::auskunft(CURLINFO was) const {
    char const* text = nullptr;
    return curl_easy_getinfo(griff_, was, &text) == CURLE_OK && text ? std::string{text} : std::string{};
}

Ausgang Leitungen::Leitung::senden(
    Anfrage const& anfrage, Adresse adresse, std::chrono::seconds wartegrenze, std::string* ziel,
    std::atomic<bool> const& abbruch, std::vector<std::string> const* wege) {
    constexpr int hoechsteWeiterleitungen = 5;
    if (!griff_)
        return gescheitert(CURLE_OUT_OF_MEMORY, adresse);
    auto const frist = std::chrono::steady_clock::now() + wartegrenze;
    for (int weiterleitungen = 0;; ++weiterleitungen) {
        auto ausgang = einmal(anfrage, adresse, frist, ziel, abbruch, wege ? &wege->front() : nullptr);
        // The next proxy only where the first one was not reached, so that nothing can have been sent.
        for (std::size_t i = 1; wege && i < wege->size() && ausgang.grund &&
                                (ausgang.grund->ursache.nummer == CURLE_COULDNT_CONNECT ||
                                 ausgang.grund->ursache.nummer == CURLE_COULDNT_RESOLVE_PROXY);
             ++i)
            ausgang = einmal(anfrage, adresse, frist, ziel, abbruch, &wege->at(i));
        if (!(anfrage.koerper || anfrage.datei) || !ausgang.status || *ausgang.status < 301 ||
            *ausgang.status > 308 || (*ausgang.status > 303 && *ausgang.status < 307))
            return ausgang;
        if (*ausgang.status <= 303)
            return nichtBefolgt(
                std::move(ausgang), adresse,
                "Der Server leitet nach dem Senden weiter; das wird nicht befolgt, er hat den Inhalt "
                "vielleicht");
        auto const neue = Adresse::vomMotor(auskunft(CURLINFO_REDIRECT_URL));
        if (!neue || neue->ursprung() != adresse.ursprung())
            return nichtBefolgt(
                std::move(ausgang), adresse, "Der Server leitet zu einem anderen weiter, der nichts bekommt");
        if (weiterleitungen == hoechsteWeiterleitungen)
            return nichtBefolgt(std::move(ausgang), adresse, "Der Server leitet zu oft weiter");
        adresse = *neue;
    }
}

Ausgang Leitungen::Leitung::einmal(
    Anfrage const& anfrage, Adresse const& adresse, Frist frist, std::string* ziel,
    std::atomic<bool> const& abbruch, std::string const* weg) {
    auto const uebrig =
        std::chrono::ceil<std::chrono::milliseconds>(frist - std::chrono::steady_clock::now()).count();
    if (uebrig <= 0)
        return gescheitert(CURLE_OPERATION_TIMEDOUT, adresse);
    if (ziel)
        ziel->clear();
    curl_easy_reset(griff_); // options only; open connections and the name cache stay
    Empfang empfang{.ziel = ziel, .hoechstens = anfrage.hoechstAntwort};
    auto const setze = [this](CURLoption option, auto wert) {
        curl_easy_setopt(griff_, option, wert);
    };
    bool const post = anfrage.koerper || anfrage.datei;
    setze(CURLOPT_URL, adresse.text().c_str());
    setze(CURLOPT_PROTOCOLS_STR, "http,https");
    setze(CURLOPT_FOLLOWLOCATION, post ? 0L : 1L);
    setze(CURLOPT_MAXREDIRS, 10L);
    setze(
        CURLOPT_REDIR_PROTOCOLS_STR,
        adresse.istSicher() ? "https" : "http,https"); // never down to plain text
    setze(CURLOPT_NOSIGNAL, 1L);
    setze(CURLOPT_USERAGENT, fmt::format("Quillmate/{}", fassungstext).c_str());
    setze(CURLOPT_ACCEPT_ENCODING, "");
    setze(CURLOPT_TCP_KEEPALIVE, 1L);
    // The idle limit: less than one byte a second over that time. Connecting counts as idle.
    setze(CURLOPT_LOW_SPEED_LIMIT, 1L);
    setze(CURLOPT_LOW_SPEED_TIME, static_cast<long>(anfrage.leerlaufgrenze.count()));
    setze(CURLOPT_CONNECTTIMEOUT, static_cast<long>(anfrage.leerlaufgrenze.count()));
    setze(CURLOPT_TIMEOUT_MS, static_cast<long>(uebrig));
    setze(CURLOPT_WRITEFUNCTION, &empfangen);
    setze(CURLOPT_WRITEDATA, &empfang);
    setze(CURLOPT_NOPROGRESS, 0L);
    Abbruch const wer{.alle = abbruch, .dieser = anfrage.abbrechen};
    setze(CURLOPT_XFERINFODATA, &wer);
    setze(CURLOPT_XFERINFOFUNCTION, &fragtAbbruch);

    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> koepfe{nullptr, &curl_slist_free_all};
    std::optional<Sendung> sendung;
    if (weg)
        setze(CURLOPT_PROXY, weg->c_str()); // empty: none, whatever the environment says
    if (anfrage.nurEinmal)
        setze(CURLOPT_FRESH_CONNECT, 1L); // libcurl repeats by itself only on connections that were kept
    if (post) {
        koepfe.reset(curl_slist_append(nullptr, ("Content-Type: " + anfrage.inhaltstyp).c_str()));
        setze(CURLOPT_HTTPHEADER, koepfe.get());
        setze(CURLOPT_POST, 1L);
    }
    if (anfrage.datei) {
        // When a connection that served before closes without an answer, the library sends the request once more by itself,
        // though the server may have taken the file the first time. On a connection of its own it does not.
        setze(CURLOPT_FRESH_CONNECT, 1L);
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
    auto const fehler = curl_easy_perform(griff_);
    long status = 0;
    curl_easy_getinfo(griff_, CURLINFO_RESPONSE_CODE, &status);
    bool const gekuerzt = fehler == CURLE_WRITE_ERROR && empfang.gekuerzt;
    if (fehler != CURLE_OK && !gekuerzt)
        return gescheitert(fehler, adresse);
    if (status <= 0)
        return gescheitert(CURLE_WEIRD_SERVER_REPLY, adresse);
    return {
        .status = static_cast<int>(status),
        .fehler = {},
        .grund = {},
        .inhaltstyp = auskunft(CURLINFO_CONTENT_TYPE),
        .gekuerzt = gekuerzt};
}

bool Ausgang::angenommen() const {
    return status && *status >= 200 && *status <= 299 &&
           !kleingeschrieben(inhaltstyp).starts_with("text/html");
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

Leitungen::Leitungen(Vermittlersuche* vermittler)
    : vermittler_(vermittler) {
    curlEinmalBereit();
}

Leitungen::~Leitungen() = default;

void Leitungen::abbrechen() noexcept {
    abbruch_.store(true, std::memory_order_relaxed);
}

Ausgang Leitungen::senden(Anfrage const& anfrage, std::chrono::seconds wartegrenze, std::string* ziel) {
    auto const adresse = Adresse::lesen(anfrage.url);
    if (!adresse || !adresse->istWeb())
        return {
            .status = {},
            .fehler = "Die Adresse des Servers ist ungültig.",
            .grund = adresse ? Fehler{.art = Fehlerart::falscheForm, .satz = "Das ist keine Webadresse"}
                             : adresse.error()};
    std::optional<std::vector<std::string>> wege;
    if (adresse->istSchleife())
        wege.emplace(1); // what stays on this machine passes nobody else
    else if (vermittler_)
        wege = curlVermittler(vermittler_->fuer(*adresse->ursprung()));
    return leihen()->senden(anfrage, *adresse, wartegrenze, ziel, abbruch_, wege ? &*wege : nullptr);
}

} // namespace quillmate::netz
