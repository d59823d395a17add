#include "bezug.h"

#include "grundlage/prozesswerte.h"

#include <curl/curl.h>
#include <fmt/format.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <utility>

namespace quillmate::aktualisierung {

namespace {

struct Empfang {
    Lader::Auftrag const& auftrag;
    std::atomic<bool> const& abbruch;
    CURL* griff;
    std::uint64_t geladen{0};
    bool zuGross{false};
    std::optional<Fehler> nichtAbgelegt{};
};

std::size_t empfangen(char* bytes, std::size_t, std::size_t anzahl, void* zeiger) {
    auto& empfang = *static_cast<Empfang*>(zeiger);
    if (anzahl > empfang.auftrag.hoechstens - empfang.geladen) {
        empfang.zuGross = true;
        return 0;
    }
    // No exception may cross libcurl's frames.
    try {
        if (auto abgelegt = empfang.auftrag.ablage(bytes, anzahl); !abgelegt) {
            empfang.nichtAbgelegt = std::move(abgelegt.error());
            return 0;
        }
        empfang.geladen += anzahl;
        if (empfang.auftrag.fortschritt)
            empfang.auftrag.fortschritt(empfang.geladen);
    } catch (...) {
        empfang.nichtAbgelegt = errnoFehler({}, "Kein Speicher für das, was kommt", ENOMEM).error();
        return 0;
    }
    return anzahl;
}

int fragtAbbruch(void* zeiger, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<Empfang*>(zeiger)->abbruch.load(std::memory_order_relaxed) ? 1 : 0;
}

Ergebnis<void> deute(CURLcode code, Empfang const& empfang, std::string const& wo) {
    auto const mit = [&](Fehlerart art, std::string satz) {
        return std::unexpected(Fehler{
            .art = art,
            .ursache = {.herkunft = Ursache::Herkunft::curl, .nummer = static_cast<int>(code)},
            .wo = wo,
            .satz = std::move(satz)});
    };
    if (empfang.abbruch)
        return fehler(Fehlerart::gestoppt, wo, "Abgebrochen");
    if (empfang.nichtAbgelegt)
        return std::unexpected(*empfang.nichtAbgelegt);
    if (empfang.zuGross || code == CURLE_FILESIZE_EXCEEDED)
        return fehler(Fehlerart::zuGross, wo, "Es kommt mehr, als angekündigt war");
    long status = 0;
    curl_easy_getinfo(empfang.griff, CURLINFO_RESPONSE_CODE, &status);
    switch (code) {
    case CURLE_OK:
        if (status != 200)
            return httpFehler(static_cast<int>(status), wo, "Der Server hat anders geantwortet");
        return {};
    case CURLE_HTTP_RETURNED_ERROR:
        return httpFehler(static_cast<int>(status), wo, "Der Server hat abgelehnt");
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_SSL_CONNECT_ERROR:
        if (empfang.geladen > 0)
            return mit(Fehlerart::gestoert, "Die Übertragung ist abgerissen");
        return mit(
            code == CURLE_OPERATION_TIMEDOUT ? Fehlerart::zeitAbgelaufen : Fehlerart::keineVerbindung,
            "Der Server ist nicht zu erreichen");
    case CURLE_OUT_OF_MEMORY:
        return mit(Fehlerart::keineMittel, "Kein Speicher für die Übertragung");
    default:
        return mit(
            Fehlerart::abgelehnt,
            std::string{"Die Verbindung kam nicht zustande, "} + curl_easy_strerror(code));
    }
}

} // namespace

NetzLader::NetzLader(Schema schema, netz::Vermittlersuche* vermittler)
    : schema_(schema)
    , vermittler_(vermittler) {
    [[maybe_unused]] static auto const fehler = curl_global_init(CURL_GLOBAL_DEFAULT);
}

Ergebnis<void> NetzLader::laden(Auftrag const& auftrag, std::atomic<bool> const& abbruch) {
    auto const adresse = Adresse::lesen(auftrag.url);
    if (!adresse || !adresse->istWeb())
        return fehler(Fehlerart::abgelehnt, {}, "Das ist keine Adresse im Netz");
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> const griff{curl_easy_init(), &curl_easy_cleanup};
    if (!griff)
        return errnoFehler({}, "Kein Speicher für die Übertragung", ENOMEM);
    Empfang empfang{.auftrag = auftrag, .abbruch = abbruch, .griff = griff.get()};
    auto const setze = [&](CURLoption option, auto wert) {
        curl_easy_setopt(griff.get(), option, wert);
    };
    char const* const schemata = schema_ == Schema::nurHttps ? "https" : "http,https";
    setze(CURLOPT_URL, adresse->text().c_str());
    if (adresse->istSchleife())
        setze(CURLOPT_PROXY, "");
    else if (vermittler_)
        setze(CURLOPT_PROXY, netz::curlVermittler(vermittler_->fuer(*adresse->ursprung())).front().c_str());
    setze(CURLOPT_PROTOCOLS_STR, schemata);
    setze(CURLOPT_REDIR_PROTOCOLS_STR, schemata);
    setze(CURLOPT_FOLLOWLOCATION, 1L);
    setze(CURLOPT_MAXREDIRS, 5L);
    setze(CURLOPT_NOSIGNAL, 1L);
    setze(CURLOPT_USERAGENT, fmt::format("Quillmate/{}", fassungstext).c_str());
    setze(CURLOPT_LOW_SPEED_LIMIT, 1L);
    setze(CURLOPT_LOW_SPEED_TIME, static_cast<long>(auftrag.leerlaufgrenze.count()));
    setze(CURLOPT_CONNECTTIMEOUT, static_cast<long>(auftrag.leerlaufgrenze.count()));
    setze(CURLOPT_TIMEOUT, static_cast<long>(auftrag.wartegrenze.count()));
    setze(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(auftrag.hoechstens));
    setze(CURLOPT_WRITEFUNCTION, &empfangen);
    setze(CURLOPT_WRITEDATA, &empfang);
    setze(CURLOPT_NOPROGRESS, 0L);
    setze(CURLOPT_XFERINFOFUNCTION, &fragtAbbruch);
    setze(CURLOPT_XFERINFODATA, &empfang);
    // Only the body of the answer itself may reach the store, not that of an error page.
    setze(CURLOPT_FAILONERROR, 1L);
    auto const code = curl_easy_perform(griff.get());
    return deute(code, empfang, adresse->ohnePosten().text());
}

} // namespace quillmate::aktualisierung
