#include "leitung.h"

#include "grundlage/pruefsumme.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <stdexcept>

namespace quillmate::dauer {

namespace {

constexpr std::chrono::seconds haltezeit{10};

/// The page's half of rufe(): asks for a piece of script, runs it, and reports what came out.
constexpr std::string_view seite =
    R"(<!doctype html><html lang="de"><meta charset="utf-8"><title>Dauerlauf</title>
<body><p>Dauerlauf</p><script>
(() => {
  const Rumpf = Object.getPrototypeOf(async function () {}).constructor;
  const pause = (ms) => new Promise(auf => setTimeout(auf, ms));
  const ausfuehren = async ({nummer, rumpf}) => {
    let ergebnis;
    try { ergebnis = {wert: (await new Rumpf(rumpf)()) ?? null}; }
    catch (fehler) { ergebnis = {fehler: String(fehler)}; }
    const body = JSON.stringify(ergebnis);
    for (;;) {
      try { return await fetch('/haende/ergebnis?nummer=' + nummer, {method: 'POST', body}); }
      catch { await pause(50); }
    }
  };
  const ich = Math.random().toString(36).slice(2);
  const lauschen = async () => {
    let erhalten = 0;
    for (;;) {
      try {
        const antwort = await fetch(`/haende/befehl?exemplar=${ich}&erhalten=${erhalten}`, {cache: 'no-store'});
        if (antwort.status === 410) return;
        if (antwort.status !== 200) continue;
        const befehl = await antwort.json();
        erhalten = befehl.nummer;
        ausfuehren(befehl);
      } catch { await pause(50); }
    }
  };
  lauschen();
})();
</script></body></html>)";

std::string antwort(int status, std::string_view typ, std::string_view koerper, std::string_view kopf = {}) {
    return fmt::format(
        "HTTP/1.1 {} X\r\nContent-Type: {}\r\nCache-Control: no-store\r\n{}Content-Length: {}\r\n\r\n{}",
        status, typ, kopf, koerper.size(), koerper);
}

int zahl(std::string_view text) {
    int wert = 0;
    std::from_chars(text.data(), text.data() + text.size(), wert);
    return wert;
}

/// The value of a form's field or the name of its file: what lies between the two.
std::string zwischen(std::string_view text, std::string_view anfang, std::string_view ende) {
    auto const a = text.find(anfang);
    if (a == std::string_view::npos)
        return {};
    auto const b = text.find(ende, a + anfang.size());
    return std::string{text.substr(a + anfang.size(), b - a - anfang.size())};
}

/// What a form of the program carries: it writes each of them in one fixed layout.
void liesFormular(std::string_view koerper, Vorgang& vorgang) {
    vorgang.quellpfad = zwischen(koerper, "name=\"quellpfad\"\r\n\r\n", "\r\n--");
    auto const teil = koerper.find("; filename=\"");
    auto const grenze = koerper.substr(0, koerper.find("\r\n"));
    if (teil == std::string_view::npos)
        return;
    auto rest = koerper.substr(teil);
    vorgang.dateiname = zwischen(rest, "; filename=\"", "\"\r\n");
    auto const beginn = rest.find("\r\n\r\n");
    auto const ende = rest.rfind(fmt::format("\r\n{}--", grenze));
    if (beginn == std::string_view::npos || ende == std::string_view::npos || ende < beginn + 4)
        return;
    vorgang.hash = hexadezimal(sha256(rest.substr(beginn + 4, ende - beginn - 4)));
}

} // namespace

std::string_view name(Stoerung art) {
    static constexpr std::array<std::string_view, stoerungen> namen{
        "keine", "spaet", "haengt", "verweigert", "antwort verloren", "abgerissen",
        "5xx",   "muell", "riesig", "umleitung",  "fremdes Tor"};
    return namen.at(static_cast<std::size_t>(art));
}

struct Leitung::Anfrage {
    std::string methode;
    std::string ziel; ///< With query, as it came.
    std::string kopf; ///< The header lines.
    std::string koerper;
    [[nodiscard]] std::string pfad() const { return ziel.substr(0, ziel.find('?')); }
    [[nodiscard]] std::string feld(std::string_view name) const {
        auto const stelle = ziel.find(fmt::format("{}=", name));
        return stelle == std::string::npos
                   ? std::string{}
                   : ziel.substr(stelle + name.size() + 1, ziel.find('&', stelle) - stelle - name.size() - 1);
    }
};

Leitung::Leitung() {
    lauscher_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in ort{};
    ort.sin_family = AF_INET;
    ort.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t laenge = sizeof ort;
    if (lauscher_ < 0 || ::bind(lauscher_, reinterpret_cast<sockaddr*>(&ort), sizeof ort) != 0 ||
        ::listen(lauscher_, 128) != 0 ||
        ::getsockname(lauscher_, reinterpret_cast<sockaddr*>(&ort), &laenge) != 0)
        throw std::runtime_error{"no port for the line"};
    port_ = ntohs(ort.sin_port);
    annehmer_ = std::thread{[this] {
        annehmen();
    }};
}

Leitung::~Leitung() {
    ende_ = true;
    {
        std::lock_guard const schutz{sperre_};
        for (int const fd : offene_)
            ::shutdown(fd, SHUT_RDWR);
        aenderung_.notify_all();
    }
    ::shutdown(lauscher_, SHUT_RDWR);
    annehmer_.join();
    ::close(lauscher_);
    while (faeden_ > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds{5});
}

void Leitung::stoere(unsigned prozent, std::vector<Stoerung> arten, std::uint64_t saat) {
    std::lock_guard const schutz{sperre_};
    prozent_ = arten.empty() ? 0 : prozent;
    arten_ = std::move(arten);
    zufall_ = Zufall{saat};
    aenderung_.notify_all();
}

std::vector<Vorgang> Leitung::abholen() {
    std::lock_guard const schutz{sperre_};
    return std::exchange(vorgaenge_, {});
}

void Leitung::annehmen() {
    while (!ende_) {
        int const fd = ::accept4(lauscher_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        int const ja = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &ja, sizeof ja);
        ++faeden_;
        {
            std::lock_guard const schutz{sperre_};
            offene_.insert(fd);
        }
        std::thread{[this, fd] {
            bedienen(fd);
            {
                std::lock_guard const schutz{sperre_};
                offene_.erase(fd);
            }
            ::shutdown(fd, SHUT_RDWR);
            ::close(fd);
            --faeden_;
        }}.detach();
    }
}

void Leitung::bedienen(int fd) {
    std::string puffer;
    auto const nachlesen = [&] {
        std::array<char, 65536> stueck{};
        auto const n = ::recv(fd, stueck.data(), stueck.size(), 0);
        if (n > 0)
            puffer.append(stueck.data(), static_cast<std::size_t>(n));
        return n > 0;
    };
    while (!ende_) {
        std::size_t kopfende = 0;
        while ((kopfende = puffer.find("\r\n\r\n")) == std::string::npos)
            if (!nachlesen())
                return;
        Anfrage anfrage;
        auto const zeile = puffer.substr(0, puffer.find("\r\n"));
        anfrage.methode = zeile.substr(0, zeile.find(' '));
        anfrage.ziel = zwischen(zeile, " ", " ");
        anfrage.kopf = puffer.substr(zeile.size() + 2, kopfende - zeile.size());
        puffer.erase(0, kopfende + 4);
        std::string klein = anfrage.kopf;
        std::ranges::transform(
            klein, klein.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (klein.contains("expect: 100"))
            (void)sende(fd, "HTTP/1.1 100 Continue\r\n\r\n");
        auto const laenge =
            static_cast<std::size_t>(zahl(zwischen("\r\n" + klein, "\r\ncontent-length: ", "\r\n")));
        while (puffer.size() < laenge)
            if (!nachlesen())
                return;
        anfrage.koerper = puffer.substr(0, laenge);
        puffer.erase(0, laenge);
        if (!behandle(fd, anfrage))
            return;
    }
}

bool Leitung::sende(int fd, std::string_view bytes) const {
    while (!bytes.empty()) {
        auto const n = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

void Leitung::warte(std::chrono::milliseconds dauer) const {
    // Ends early when quiet is asked for: what hangs belongs to the step that is over.
    std::unique_lock schutz{sperre_};
    aenderung_.wait_for(schutz, dauer, [&] { return ende_.load() || prozent_ == 0; });
}

std::optional<std::string> Leitung::amDienst(Anfrage const& anfrage, Vorgang& vorgang) const {
    int const fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in ort{};
    ort.sin_family = AF_INET;
    ort.sin_port = htons(static_cast<std::uint16_t>(dienstport_.load()));
    ort.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string gelesen;
    bool ganz = false;
    if (::connect(fd, reinterpret_cast<sockaddr const*>(&ort), sizeof ort) == 0) {
        std::string kopf;
        for (std::string_view rest = anfrage.kopf; !rest.empty();) {
            auto const zeile = rest.substr(0, rest.find("\r\n"));
            rest.remove_prefix(std::min(rest.size(), zeile.size() + 2));
            auto const hat = [&](std::string_view wort) {
                return zeile.size() >= wort.size() &&
                       std::ranges::equal(zeile.substr(0, wort.size()), wort, {}, [](unsigned char c) {
                           return static_cast<char>(std::tolower(c));
                       });
            };
            if (!zeile.empty() && !hat("connection:") && !hat("expect:"))
                kopf += fmt::format("{}\r\n", zeile);
        }
        (void)sende(
            fd, fmt::format(
                    "{} {} HTTP/1.1\r\n{}Connection: close\r\n\r\n", anfrage.methode, anfrage.ziel, kopf));
        (void)sende(fd, anfrage.koerper);
        std::array<char, 65536> stueck{};
        for (;;) {
            pollfd wartet{.fd = fd, .events = POLLIN, .revents = 0};
            constexpr int nachsehen = 200; // ms
            if (ende_)
                break;
            if (::poll(&wartet, 1, nachsehen) <= 0)
                continue; // A service that is stopped for a while goes on.
            auto const n = ::recv(fd, stueck.data(), stueck.size(), 0);
            ganz = n == 0;
            if (n <= 0)
                break;
            gelesen.append(stueck.data(), static_cast<std::size_t>(n));
        }
    }
    ::close(fd);
    auto const kopfende = gelesen.find("\r\n\r\n");
    if (!ganz || kopfende == std::string::npos)
        return std::nullopt;
    // A service that dies while it answers closes too.
    auto const laenge = zwischen(gelesen.substr(0, kopfende + 2), "Content-Length: ", "\r\n");
    if (anfrage.methode != "HEAD" && !laenge.empty() &&
        gelesen.size() < kopfende + 4 + static_cast<std::size_t>(zahl(laenge)))
        return std::nullopt;
    vorgang.status = zahl(std::string_view{gelesen}.substr(gelesen.find(' ') + 1, 3));
    return gelesen;
}

bool Leitung::behandle(int fd, Anfrage const& anfrage) {
    auto const pfad = anfrage.pfad();
    if (pfad == "/haende/befehl")
        return sende(fd, befehl(anfrage.feld("exemplar"), zahl(anfrage.feld("erhalten"))));
    if (pfad == "/haende/ergebnis") {
        std::lock_guard const schutz{sperre_};
        auto const nummer = zahl(anfrage.feld("nummer"));
        ergebnisse_[nummer] = nlohmann::json::parse(anfrage.koerper, nullptr, false);
        std::erase_if(wartend_, [&](auto const& paar) { return paar.first == nummer; });
        aenderung_.notify_all();
        return sende(fd, antwort(200, "application/json", "{}"));
    }
    if (pfad == "/uebersicht")
        return sende(fd, antwort(200, "text/html; charset=utf-8", seite));

    struct Zaehler {
        std::atomic<int>& wert;
        explicit Zaehler(std::atomic<int>& w)
            : wert(w) {
            ++wert;
        }
        ~Zaehler() { --wert; }
        Zaehler(Zaehler const&) = delete;
        Zaehler& operator=(Zaehler const&) = delete;
    } const zaehler{unterwegs_};
    Vorgang vorgang{.methode = anfrage.methode, .pfad = pfad};
    if (pfad.ends_with("/upload") || pfad.ends_with("/attach-receipt"))
        liesFormular(anfrage.koerper, vorgang);
    int laune = 0;
    {
        std::lock_guard const schutz{sperre_};
        if (prozent_ > 0 && zufall_.mit(prozent_))
            vorgang.stoerung = zufall_.eins(arten_);
        laune = static_cast<int>(zufall_.unter(1000));
    }
    bool offen = true;
    auto const eintragen = [&] {
        std::lock_guard const schutz{sperre_};
        vorgaenge_.push_back(vorgang);
    };
    switch (vorgang.stoerung) {
    case Stoerung::keine:
    case Stoerung::spaet: {
        if (vorgang.stoerung == Stoerung::spaet)
            warte(std::chrono::milliseconds{500 + laune * 5});
        auto const bytes = amDienst(anfrage, vorgang);
        vorgang.zugestellt = bytes.has_value();
        eintragen(); // Before the program can act on it.
        if (bytes)
            (void)sende(fd, *bytes);
        return false; // The service ends each connection.
    }
    case Stoerung::antwortVerloren:
        (void)amDienst(anfrage, vorgang);
        offen = false;
        break;
    case Stoerung::abgerissen: {
        auto const bytes = amDienst(anfrage, vorgang);
        eintragen();
        if (bytes)
            (void)sende(
                fd,
                std::string_view{*bytes}.substr(0, bytes->size() * static_cast<std::size_t>(laune) / 1001));
        return false;
    }
    case Stoerung::haengt:
        eintragen();
        warte(std::chrono::milliseconds{3000 + laune * 9});
        return false;
    case Stoerung::verweigert:
        offen = false;
        break;
    case Stoerung::fehler5xx: {
        static constexpr std::array arten{500, 502, 503, 504};
        eintragen();
        return sende(
            fd,
            antwort(arten.at(static_cast<std::size_t>(laune) % arten.size()), "text/html", "<p>Fehler</p>"));
    }
    case Stoerung::muell: {
        std::string bytes;
        for (int i = 0; i < 3000; ++i)
            bytes += static_cast<char>((i * 7919 + laune) % 251);
        eintragen();
        (void)sende(fd, bytes);
        return false;
    }
    case Stoerung::riesig:
        eintragen();
        return sende(fd, antwort(200, "application/json", std::string(std::size_t{20} << 20U, '[')));
    case Stoerung::umleitung: {
        static constexpr std::array arten{301, 302, 303, 307, 308};
        eintragen();
        return sende(
            fd, antwort(
                    arten.at(static_cast<std::size_t>(laune) % arten.size()), "text/plain", "",
                    laune % 2 == 0 ? "Location: /nirgendwo\r\n" : "Location: http://127.0.0.1:9/fort\r\n"));
    }
    case Stoerung::fremdesTor:
        eintragen();
        return sende(
            fd, antwort(200, "text/html", "<!doctype html><title>Gastnetz</title><p>Bitte anmelden.</p>"));
    }
    eintragen();
    return offen;
}

std::string Leitung::befehl(std::string const& exemplar, int erhalten) {
    std::unique_lock schutz{sperre_};
    if (gesehen_.insert(exemplar).second) {
        exemplar_ = exemplar;
        ++dokumente_;
        aenderung_.notify_all();
    }
    auto const offen = [&] {
        return std::ranges::any_of(wartend_, [&](auto const& paar) { return paar.first > erhalten; });
    };
    aenderung_.wait_for(schutz, haltezeit, [&] { return ende_ || exemplar_ != exemplar || offen(); });
    if (exemplar_ != exemplar)
        return antwort(410, "text/plain", "");
    std::erase_if(wartend_, [&](auto const& paar) { return paar.first <= erhalten; });
    if (ende_ || wartend_.empty())
        return antwort(202, "text/plain", "");
    auto const& [nummer, rumpf] = wartend_.front();
    return antwort(200, "application/json", nlohmann::json{{"nummer", nummer}, {"rumpf", rumpf}}.dump());
}

int Leitung::beginne(std::string_view rumpf) {
    std::lock_guard const schutz{sperre_};
    wartend_.emplace_back(++zaehler_, rumpf);
    aenderung_.notify_all();
    return zaehler_;
}

nlohmann::json Leitung::ergebnis(int nummer, std::chrono::seconds frist) {
    std::unique_lock schutz{sperre_};
    if (!aenderung_.wait_for(schutz, frist, [&] { return ergebnisse_.contains(nummer); })) {
        std::erase_if(wartend_, [&](auto const& paar) { return paar.first == nummer; });
        throw std::runtime_error{"the page has not answered"};
    }
    auto const stelle = ergebnisse_.find(nummer);
    auto const antwort = stelle->second;
    ergebnisse_.erase(stelle);
    if (!antwort.is_object() || antwort.contains("fehler"))
        throw std::runtime_error{antwort.is_object() ? antwort["fehler"].get<std::string>() : "no JSON"};
    return antwort["wert"];
}

nlohmann::json Leitung::rufe(std::string_view rumpf, std::chrono::seconds frist) {
    return ergebnis(beginne(rumpf), frist);
}

int Leitung::dokumente() const {
    std::lock_guard const schutz{sperre_};
    return dokumente_;
}

bool Leitung::warteAufDokument(int wievieltes, std::chrono::seconds frist) const {
    std::unique_lock schutz{sperre_};
    return aenderung_.wait_for(schutz, frist, [&] { return dokumente_ >= wievieltes; });
}

void Leitung::neueSeite() {
    std::lock_guard const schutz{sperre_};
    wartend_.clear();
    ergebnisse_.clear();
    exemplar_.clear();
    aenderung_.notify_all();
}

} // namespace quillmate::dauer
