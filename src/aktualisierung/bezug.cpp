#include "bezug.h"

#include "grundlage/prozesswerte.h"

#include <curl/curl.h>
#include <fmt/format.h>

#include <memory>

namespace quillmate::aktualisierung {

namespace {

struct Empfang {
    Lader::Auftrag const& auftrag;
    std::atomic<bool> const& abbruch;
    CURL* griff;
    std::uint64_t geladen{0};
    bool zuGross{false};
    bool nichtAbgelegt{false};
};

std::size_t empfangen(char* bytes, std::size_t, std::size_t anzahl, void* zeiger) {
    auto& empfang = *static_cast<Empfang*>(zeiger);
    if (anzahl > empfang.auftrag.hoechstens - empfang.geladen) {
        empfang.zuGross = true;
        return 0;
    }
    // No exception may cross libcurl's frames.
    try {
        if (!empfang.auftrag.ablage(bytes, anzahl)) {
            empfang.nichtAbgelegt = true;
            return 0;
        }
        empfang.geladen += anzahl;
        if (empfang.auftrag.fortschritt)
            empfang.auftrag.fortschritt(empfang.geladen);
    } catch (...) {
        empfang.nichtAbgelegt = true;
        return 0;
    }
    return anzahl;
}

int fragtAbbruch(void* zeiger, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<Empfang*>(zeiger)->abbruch.load(std::memory_order_relaxed) ? 1 : 0;
}

Bezug deute(CURLcode code, Empfang const& empfang) {
    if (empfang.abbruch)
        return Bezug::abgebrochen;
    if (empfang.zuGross)
        return Bezug::zuGross;
    if (empfang.nichtAbgelegt)
        return Bezug::nichtAbgelegt;
    switch (code) {
    case CURLE_OK: {
        long status = 0;
        curl_easy_getinfo(empfang.griff, CURLINFO_RESPONSE_CODE, &status);
        return status == 200 ? Bezug::gelungen : Bezug::abgelehnt;
    }
    case CURLE_FILESIZE_EXCEEDED:
        return Bezug::zuGross;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_SSL_CONNECT_ERROR:
        return empfang.geladen > 0 ? Bezug::abgerissen : Bezug::offline;
    default:
        return Bezug::abgelehnt;
    }
}

} // namespace

NetzLader::NetzLader(Schema schema, netz::Vermittlersuche* vermittler)
    : schema_(schema)
    , vermittler_(vermittler) {
    [[maybe_unused]] static auto const fehler = curl_global_init(CURL_GLOBAL_DEFAULT);
}

Bezug NetzLader::laden(Auftrag const& auftrag, std::atomic<bool> const& abbruch) {
    auto const adresse = Adresse::lesen(auftrag.url);
    if (!adresse || !adresse->istWeb())
        return Bezug::abgelehnt;
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> const griff{curl_easy_init(), &curl_easy_cleanup};
    if (!griff)
        return Bezug::nichtAbgelegt;
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
    return deute(curl_easy_perform(griff.get()), empfang);
}

} // namespace quillmate::aktualisierung
