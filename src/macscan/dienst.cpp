// The service client. From the outside in:
//   endpoints      what each call of the API sends and reads (hole..., postJson, hochladen...)
//   holen, senden  one request on one connection, with both limits
//   Leitung        a libcurl handle with its open connections; Leihgabe borrows one for the length of a call
#include "dienst.h"

#include "grundlage/datei.h"
#include "grundlage/protokoll.h"
#include "grundlage/prozesswerte.h"
#include "grundlage/pruefsumme.h"
#include "grundlage/text.h"
#include "mehrteilig.h"

#include <curl/curl.h>
#include <fmt/format.h>

namespace quillmate::MacScan {

namespace {

/// Longest answers that are read, in bytes: some settings, and the seen paths of some hundred thousand
/// receipts.
constexpr std::size_t hoechstEinstellungen = std::size_t{1} << 20U;
constexpr std::size_t hoechstListe = std::size_t{64} << 20U;

constexpr std::chrono::seconds leerlaufHolen{30};
constexpr std::chrono::seconds leerlaufFortschritt{10};
constexpr std::chrono::seconds leerlaufJson{30};
constexpr std::chrono::seconds leerlaufHochladen{120};

bool istErfolg(std::optional<int> status) {
    return status && *status >= 200 && *status <= 299;
}

std::string clientPfad(Zugang const& zugang, std::string_view pfad) {
    return fmt::format("{}/clients/{}{}", zugang.server, zugang.clientId, pfad);
}

void curlEinmalBereit() {
    [[maybe_unused]] static auto const fehler = curl_global_init(CURL_GLOBAL_DEFAULT);
}

} // namespace

// ---------------------------------------------------------------------------------------------- retries

bool wiederholbar(std::optional<int> status) noexcept {
    return !status || *status == 408 || *status == 429 || (*status >= 500 && *status <= 599);
}

Uebertragung uebertragen(Anfrage const& anfrage, Senden const& senden, Warten const& warten) {
    auto status = senden(anfrage);
    for (double const pause : wiederholungNach) {
        if (!wiederholbar(status))
            break;
        warten(pause);
        status = senden(anfrage);
    }
    if (istErfolg(status))
        return Uebertragung::hochgeladen;
    return status == 413 ? Uebertragung::zuGross : Uebertragung::uebertragungFehlgeschlagen;
}

// ---------------------------------------------------------------------------------------------- addresses

std::optional<std::string> mitAbfrage(std::string const& url, std::vector<Abfrageteil> const& abfrage) {
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
    std::string text;
    for (auto const& [name, wert] : abfrage) {
        // Everything but the unreserved characters of RFC 3986 is escaped: no reader can then take a "+" in a
        // token for a blank.
        auto const maskiert = [](std::string_view roh) {
            std::unique_ptr<char, decltype(&curl_free)> const t{
                curl_easy_escape(nullptr, roh.data(), static_cast<int>(roh.size())), &curl_free};
            return t ? std::string{t.get()} : std::string{};
        };
        text += fmt::format(
            "{}{}={}", text.empty() ? "" : "&", maskiert(name), wert.empty() ? "" : maskiert(wert));
    }
    curl_url_set(teile.get(), CURLUPART_FRAGMENT, nullptr, 0);
    if (curl_url_set(teile.get(), CURLUPART_QUERY, text.c_str(), 0) != CURLUE_OK)
        return std::nullopt;
    return teil(CURLUPART_URL);
}

// ---------------------------------------------------------------------------------------------- connections

/// One libcurl handle. It keeps its connections open between calls.
class Dienst::Leitung {
public:
    Leitung()
        : griff_(curl_easy_init()) {}
    ~Leitung() { curl_easy_cleanup(griff_); }
    Leitung(Leitung const&) = delete;
    Leitung& operator=(Leitung const&) = delete;
    [[nodiscard]] bool brauchbar() const noexcept { return griff_ != nullptr; }

    /// Status of a whole answer; nothing when the transport failed. `ziel`, when given, takes the body.
    std::optional<int> ausfuehren(
        Anfrage const& anfrage, std::chrono::seconds wartegrenze, std::string* ziel,
        std::atomic<bool> const& abbruch);

private:
    CURL* griff_;
};

namespace {

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

} // namespace

std::optional<int> Dienst::Leitung::ausfuehren(
    Anfrage const& anfrage, std::chrono::seconds wartegrenze, std::string* ziel,
    std::atomic<bool> const& abbruch) {
    if (!griff_)
        return std::nullopt;
    curl_easy_reset(griff_); // options only; open connections and the name cache stay
    Empfang empfang{.ziel = ziel, .hoechstens = anfrage.hoechstAntwort};
    auto const setze = [this](CURLoption option, auto wert) {
        curl_easy_setopt(griff_, option, wert);
    };
    bool const sicher = anfrage.url.starts_with("https:");
    setze(CURLOPT_URL, anfrage.url.c_str());
    setze(CURLOPT_PROTOCOLS_STR, "http,https");
    setze(CURLOPT_FOLLOWLOCATION, anfrage.koerper ? 0L : 1L);
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
    curl_xferinfo_callback const fragtAbbruch = [](void* zeiger, curl_off_t, curl_off_t, curl_off_t,
                                                   curl_off_t) -> int {
        return static_cast<std::atomic<bool> const*>(zeiger)->load(std::memory_order_relaxed) ? 1 : 0;
    };
    setze(CURLOPT_XFERINFOFUNCTION, fragtAbbruch);

    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> koepfe{nullptr, &curl_slist_free_all};
    if (anfrage.koerper) {
        koepfe.reset(curl_slist_append(nullptr, ("Content-Type: " + anfrage.inhaltstyp).c_str()));
        setze(CURLOPT_HTTPHEADER, koepfe.get());
        setze(CURLOPT_POST, 1L);
        setze(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(anfrage.koerper->size()));
        setze(CURLOPT_POSTFIELDS, anfrage.koerper->data()); // not copied
        setze(CURLOPT_UPLOAD_BUFFERSIZE, 256L * 1024);
    }
    if (curl_easy_perform(griff_) != CURLE_OK)
        return std::nullopt;
    long status = 0;
    curl_easy_getinfo(griff_, CURLINFO_RESPONSE_CODE, &status);
    return status > 0 ? std::optional{static_cast<int>(status)} : std::nullopt;
}

struct Dienst::Leihgabe {
    Dienst& dienst;
    std::unique_ptr<Leitung> leitung;

    Leitung* operator->() const { return leitung.get(); }
    Leihgabe(Dienst& d, std::unique_ptr<Leitung> l)
        : dienst(d)
        , leitung(std::move(l)) {}
    Leihgabe(Leihgabe const&) = delete;
    Leihgabe& operator=(Leihgabe const&) = delete;
    ~Leihgabe() {
        if (!leitung->brauchbar())
            return; // made while memory was out; the next call makes another
        std::lock_guard const schutz{dienst.sperre_};
        dienst.frei_.push_back(std::move(leitung));
    }
};

Dienst::Leihgabe Dienst::leihen() {
    std::lock_guard const schutz{sperre_};
    if (frei_.empty())
        return {*this, std::make_unique<Leitung>()};
    auto leitung = std::move(frei_.back());
    frei_.pop_back();
    return {*this, std::move(leitung)};
}

Dienst::Dienst() {
    curlEinmalBereit();
}

Dienst::~Dienst() = default;

void Dienst::abbrechen() noexcept {
    abbruch_.store(true, std::memory_order_relaxed);
    std::lock_guard const schutz{sperre_};
    abgebrochenGemeldet_.notify_all();
}

void Dienst::warten(double sekunden) {
    std::unique_lock schutz{sperre_};
    abgebrochenGemeldet_.wait_for(
        schutz, std::chrono::duration<double>{sekunden}, [this] { return abbruch_.load(); });
}

std::optional<std::string> Dienst::holen(Anfrage const& anfrage) {
    std::string koerper;
    auto const status = leihen()->ausfuehren(anfrage, wartegrenzeHolen, &koerper, abbruch_);
    if (!istErfolg(status))
        return std::nullopt;
    return koerper;
}

std::optional<int> Dienst::sendenMitStatus(Anfrage const& anfrage) {
    return leihen()->ausfuehren(anfrage, wartegrenzeSenden, nullptr, abbruch_);
}

// ---------------------------------------------------------------------------------------------- endpoints

std::optional<std::string> Dienst::holeText(
    Zugang const& zugang, std::string_view pfad, std::chrono::seconds leerlaufgrenze,
    std::size_t hoechstAntwort) {
    auto const url = mitAbfrage(clientPfad(zugang, pfad), {{"token", zugang.token}});
    if (!url)
        return std::nullopt;
    return holen({.url = *url, .leerlaufgrenze = leerlaufgrenze, .hoechstAntwort = hoechstAntwort});
}

FremdesJson Dienst::holeObjekt(
    Zugang const& zugang, std::string_view pfad, std::chrono::seconds leerlaufgrenze) {
    return objektAus(holeText(zugang, pfad, leerlaufgrenze, hoechstEinstellungen));
}

FremdesJson Dienst::holeVorgabe(Zugang const& zugang) {
    return holeObjekt(zugang, "/local-scan-preference", leerlaufHolen);
}

FremdesJson Dienst::holeFortschritt(Zugang const& zugang) {
    return holeObjekt(zugang, "/local-scan/progress", leerlaufFortschritt);
}

std::vector<std::string> Dienst::holeListe(Zugang const& zugang, std::string_view liste) {
    auto const antwort = holeText(zugang, fmt::format("/local-scan/{}", liste), leerlaufHolen, hoechstListe);
    return antwort ? hashesAus(*antwort) : std::vector<std::string>{};
}

GesehenePfade Dienst::holeGesehenePfade(Zugang const& zugang) {
    auto const antwort = holeText(zugang, "/local-scan/seen-paths", leerlaufHolen, hoechstListe);
    return antwort ? gesehenePfadeAus(*antwort) : GesehenePfade{};
}

bool Dienst::postJson(Zugang const& zugang, std::string_view pfad, Json const& koerper) {
    auto const url =
        mitAbfrage(clientPfad(zugang, fmt::format("/local-scan/{}", pfad)), {{"token", zugang.token}});
    if (!url)
        return false;
    std::string text;
    try {
        text = koerper.dump();
    } catch (std::exception const&) { // broken UTF-8 in a text
        return false;
    }
    return istErfolg(sendenMitStatus(
        {.url = *url,
         .koerper = std::move(text),
         .inhaltstyp = "application/json",
         .leerlaufgrenze = leerlaufJson}));
}

Uebertragung Dienst::hochladen(
    Zugang const& zugang, std::string const& pfad, Textmenge const& bekannteHashes, bool ungelesen) {
    auto const name = alsUtf8(letzteKomponente(pfad));
    auto const grenze = neueGrenze();
    auto const vorspann = textteil(grenze, "quellpfad", alsUtf8(pfad)) +
                          dateikopf(grenze, "file", name, mimeNachEndung(dateiendung(name)));
    auto const nachspann = abschluss(grenze);
    auto koerper = leseDatei(pfad, hoechstgroesseHochladen, vorspann, nachspann);
    if (!koerper)
        return Uebertragung::nichtLesbar;
    if (!bekannteHashes.empty()) {
        auto const inhalt = std::string_view{*koerper}.substr(
            vorspann.size(), koerper->size() - vorspann.size() - nachspann.size());
        if (bekannteHashes.contains(hexadezimal(sha256(inhalt))))
            return Uebertragung::bekannt;
    }
    std::vector<Abfrageteil> abfrage{{"token", zugang.token}};
    if (ungelesen)
        abfrage.emplace_back("ungelesen", "1");
    auto const url = mitAbfrage(clientPfad(zugang, "/local-receipts/upload"), abfrage);
    if (!url)
        return Uebertragung::uebertragungFehlgeschlagen;
    return uebertragen(
        {.url = *url,
         .koerper = std::move(koerper),
         .inhaltstyp = "multipart/form-data; boundary=" + grenze,
         .leerlaufgrenze = leerlaufHochladen},
        [this](Anfrage const& anfrage) { return sendenMitStatus(anfrage); },
        [this](double sekunden) { warten(sekunden); });
}

bool Dienst::hochladenAnBuchung(Zugang const& zugang, std::int64_t transactionId, std::string const& pfad) {
    auto const name = alsUtf8(letzteKomponente(pfad));
    auto const grenze = neueGrenze();
    auto koerper = leseDatei(
        pfad, hoechstgroesseHochladen, dateikopf(grenze, "files", name, mimeNachEndung(dateiendung(name))),
        abschluss(grenze));
    auto const url = mitAbfrage(
        fmt::format("{}/transactions/{}/attach-receipt", zugang.server, transactionId),
        {{"token", zugang.token}, {"merge", "false"}, {"gezielt", "true"}});
    if (!koerper || !url)
        return false;
    return istErfolg(sendenMitStatus(
        {.url = *url,
         .koerper = std::move(koerper),
         .inhaltstyp = "multipart/form-data; boundary=" + grenze,
         .leerlaufgrenze = leerlaufHochladen}));
}

} // namespace quillmate::MacScan
