#include "http_verbindung.h"

#include "grundlage/adressteile.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>

namespace quillmate::demo {

namespace {

constexpr std::size_t hoechstensKopf_byte = std::size_t{64} * 1024;
constexpr std::size_t hoechstensPfad_byte = 1024; // Paths are matched with std::regex, which recurses.
constexpr std::chrono::milliseconds fristKopf{10000};
constexpr std::chrono::milliseconds fristKoerper{30000};
constexpr std::chrono::milliseconds fristUntaetig{60000};
constexpr std::chrono::milliseconds fristAuslaufen{1000};

template<typename Zahl>
std::optional<Zahl> alsZahl(std::string_view text, int basis = 10) {
    Zahl wert = 0;
    auto const [ende, fehler] = std::from_chars(text.data(), text.data() + text.size(), wert, basis);
    if (text.empty() || fehler != std::errc{} || ende != text.data() + text.size())
        return std::nullopt;
    return wert;
}

bool istMarke(std::string_view text) {
    constexpr std::string_view sonst = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::ranges::all_of(text, [&](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               sonst.contains(c);
    });
}

bool istSichtbar(std::string_view text) {
    return std::ranges::none_of(text, [](char c) {
        auto const zeichen = static_cast<unsigned char>(c);
        return (zeichen < 0x20 && zeichen != '\t') || zeichen == 0x7F;
    });
}

std::string_view ohneRand(std::string_view text) {
    constexpr std::string_view rand = " \t";
    auto const anfang = std::min(text.find_first_not_of(rand), text.size());
    text.remove_prefix(anfang);
    return text.substr(0, text.find_last_not_of(rand) + 1);
}

std::string klein(std::string text) {
    std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

/// A form's way of writing: "+" is a blank.
std::string ausAbfrage(std::string_view text) {
    std::string mitBlank{text};
    std::ranges::replace(mitBlank, '+', ' ');
    return ohneProzent(mitBlank);
}

bool zerlegeZiel(httplib::Request& anfrage) {
    std::string_view ziel = anfrage.target;
    if (!ziel.starts_with('/') || !istSichtbar(ziel) || ziel.contains(' ') || ziel.contains('\t'))
        return false;
    ziel = ziel.substr(0, ziel.find('#'));
    auto const frage = ziel.find('?');
    anfrage.path = ohneProzent(ziel.substr(0, frage));
    if (frage == std::string_view::npos)
        return true;
    std::string_view rest = ziel.substr(frage + 1);
    while (!rest.empty()) {
        auto const ende = std::min(rest.find('&'), rest.size());
        auto const teil = rest.substr(0, ende);
        rest.remove_prefix(std::min(ende + 1, rest.size()));
        auto const gleich = std::min(teil.find('='), teil.size());
        if (!teil.empty())
            anfrage.params.emplace(
                ausAbfrage(teil.substr(0, gleich)),
                ausAbfrage(teil.substr(std::min(gleich + 1, teil.size()))));
    }
    return true;
}

std::string_view statustext(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 303:
        return "See Other";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 402:
        return "Payment Required";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 413:
        return "Payload Too Large";
    case 414:
        return "URI Too Long";
    case 415:
        return "Unsupported Media Type";
    case 431:
        return "Request Header Fields Too Large";
    case 500:
        return "Internal Server Error";
    case 503:
        return "Service Unavailable";
    case 507:
        return "Insufficient Storage";
    default:
        return "Status";
    }
}

} // namespace

HttpVerbindung::HttpVerbindung(int fd, std::size_t hoechstensKoerper_byte, std::atomic<bool> const& endet)
    : fd_(fd)
    , hoechstensKoerper_byte_(hoechstensKoerper_byte)
    , endet_(endet) {}

HttpVerbindung::Kopf HttpVerbindung::liesKopf(httplib::Request& anfrage) {
    kopfrest_ = hoechstensKopf_byte;
    imKopf_ = true;
    rahmen_ = Rahmen::keiner;
    laenge_ = 0;
    willErlaubnis_ = koerperOffen_ = sollSchliessen_ = false;
    ablehnung_ = 400;
    if (anfang_ == ende_ && !fuelle(fristUntaetig))
        return Kopf::ende;
    zeilenfrist_ = std::chrono::steady_clock::now() + fristKopf;

    auto const erste = liesZeile();
    if (!erste)
        return kopfrest_ == 0 ? Kopf::unlesbar : Kopf::ende;
    auto const blank = erste->find(' ');
    auto const letzter = erste->rfind(' ');
    if (blank == std::string::npos || letzter <= blank)
        return Kopf::unlesbar;
    anfrage.method = erste->substr(0, blank);
    anfrage.target = erste->substr(blank + 1, letzter - blank - 1);
    anfrage.version = erste->substr(letzter + 1);
    if (!istMarke(anfrage.method) || (anfrage.version != "HTTP/1.1" && anfrage.version != "HTTP/1.0") ||
        !zerlegeZiel(anfrage))
        return Kopf::unlesbar;

    for (;;) {
        auto const zeile = liesZeile();
        if (!zeile) {
            if (kopfrest_ != 0)
                return Kopf::ende;
            ablehnung_ = 431;
            return Kopf::unlesbar;
        }
        if (zeile->empty())
            break;
        auto const trenner = std::min(zeile->find(':'), zeile->size());
        std::string_view const name = std::string_view{*zeile}.substr(0, trenner);
        if (trenner == zeile->size() || !istMarke(name) || !istSichtbar(*zeile))
            return Kopf::unlesbar;
        anfrage.headers.emplace(
            std::string{name}, std::string{ohneRand(std::string_view{*zeile}.substr(trenner + 1))});
    }
    imKopf_ = false;
    ablehnung_ = 0;
    sollSchliessen_ =
        anfrage.version == "HTTP/1.0" || klein(anfrage.get_header_value("Connection")).contains("close");
    pruefeRahmen(anfrage);
    if (anfrage.path.size() > hoechstensPfad_byte)
        ablehnung_ = 414;
    return Kopf::gelesen;
}

void HttpVerbindung::pruefeRahmen(httplib::Request& anfrage) {
    auto const laengen = anfrage.get_header_value_count("Content-Length");
    auto const kodierungen = anfrage.get_header_value_count("Transfer-Encoding");
    koerperOffen_ = laengen + kodierungen > 0;
    if (laengen + kodierungen > 1) {
        ablehnung_ = 400; // Two opinions on where this request ends.
    } else if (kodierungen == 1) {
        rahmen_ = Rahmen::stuecke;
        if (klein(anfrage.get_header_value("Transfer-Encoding")) != "chunked")
            ablehnung_ = 400;
    } else if (laengen == 1) {
        rahmen_ = Rahmen::laenge;
        auto const laenge = alsZahl<std::size_t>(anfrage.get_header_value("Content-Length"));
        laenge_ = laenge.value_or(0);
        koerperOffen_ = !laenge || laenge_ > 0;
        if (!laenge)
            ablehnung_ = 400;
        else if (laenge_ > hoechstensKoerper_byte_)
            ablehnung_ = 413;
    }
    // Whoever packs a body is not told its size in time to refuse it.
    if (ablehnung_ == 0 && koerperOffen_ && anfrage.has_header("Content-Encoding") &&
        klein(anfrage.get_header_value("Content-Encoding")) != "identity")
        ablehnung_ = 415;
    willErlaubnis_ = koerperOffen_ && klein(anfrage.get_header_value("Expect")) == "100-continue";
}

bool HttpVerbindung::liesKoerper(std::function<bool(std::string_view)> const& nehmer) {
    if (ablehnung_ != 0)
        return false;
    if (!koerperOffen_)
        return true;
    if (willErlaubnis_ && !sende("HTTP/1.1 100 Continue\r\n\r\n"))
        return false;
    bool const gelesen = rahmen_ == Rahmen::stuecke ? liesStuecke(nehmer) : liesBytes(laenge_, nehmer);
    koerperOffen_ = !gelesen;
    return gelesen;
}

bool HttpVerbindung::liesStuecke(std::function<bool(std::string_view)> const& nehmer) {
    for (;;) {
        // The lines of one piece, not of all: a long body has many pieces.
        constexpr std::size_t hoechstensZeile_byte = 256;
        kopfrest_ = hoechstensZeile_byte;
        zeilenfrist_ = std::chrono::steady_clock::now() + fristKoerper;
        auto const zeile = liesZeile();
        if (!zeile)
            return false;
        auto const groesse =
            alsZahl<std::size_t>(ohneRand(std::string_view{*zeile}.substr(0, zeile->find(';'))), 16);
        if (!groesse)
            return false;
        if (*groesse == 0)
            break;
        if (!liesBytes(*groesse, nehmer))
            return false;
        if (auto const schluss = liesZeile(); !schluss || !schluss->empty())
            return false;
    }
    kopfrest_ = hoechstensKopf_byte;
    for (;;) { // Further header lines, which nobody here wants.
        auto const zeile = liesZeile();
        if (!zeile || zeile->empty())
            return zeile.has_value();
    }
}

bool HttpVerbindung::liesBytes(std::size_t anzahl, std::function<bool(std::string_view)> const& nehmer) {
    while (anzahl > 0) {
        if (anfang_ == ende_ && !fuelle(fristKoerper))
            return false;
        auto const n = std::min(anzahl, ende_ - anfang_);
        std::string_view const stueck{puffer_.data() + anfang_, n};
        anfang_ += n;
        anzahl -= n;
        if (!nehmer(stueck))
            return false;
    }
    return true;
}

/// A line without its end. Nothing at the end of the bytes, of the time, or of kopfrest_, which is 0 only then.
std::optional<std::string> HttpVerbindung::liesZeile() {
    std::string zeile;
    for (;;) {
        if (anfang_ == ende_) {
            auto const rest =
                std::chrono::ceil<std::chrono::milliseconds>(zeilenfrist_ - std::chrono::steady_clock::now());
            if (rest.count() <= 0 || !fuelle(rest))
                return std::nullopt;
        }
        std::string_view const da{puffer_.data() + anfang_, ende_ - anfang_};
        auto const schluss = da.find('\n');
        auto const n = schluss == std::string_view::npos ? da.size() : schluss + 1;
        if (n >= kopfrest_) {
            kopfrest_ = 0;
            return std::nullopt;
        }
        kopfrest_ -= n;
        zeile.append(da.substr(0, n));
        anfang_ += n;
        if (schluss == std::string_view::npos)
            continue;
        zeile.pop_back();
        if (zeile.ends_with('\r'))
            zeile.pop_back();
        return zeile;
    }
}

bool HttpVerbindung::antworte(httplib::Request const& anfrage, httplib::Response const& antwort) {
    bool const schliessen = sollSchliessen_ || koerperOffen_ || imKopf_;
    auto text = fmt::format("HTTP/1.1 {} {}\r\n", antwort.status, statustext(antwort.status));
    for (auto const& [name, wert] : antwort.headers)
        if (istMarke(name) && istSichtbar(wert)) // Or a value could begin a line of its own.
            text += fmt::format("{}: {}\r\n", name, wert);
    text += fmt::format(
        "Content-Length: {}\r\nConnection: {}\r\n\r\n", antwort.body.size(),
        schliessen ? "close" : "keep-alive");
    if (anfrage.method != "HEAD")
        text += antwort.body; // Header and body leave in one packet where they fit.
    if (!sende(text))
        return false;
    if (schliessen && (koerperOffen_ || imKopf_))
        laufeAus();
    return !schliessen;
}

bool HttpVerbindung::sende(std::string_view bytes) {
    while (!bytes.empty()) {
        auto const n = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false; // Also after the time limit that is set on the socket.
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

/// Lets the other side read our answer although we did not read its body: closing at once would reset the
/// connection, and the reset may overtake the answer.
void HttpVerbindung::laufeAus() {
    ::shutdown(fd_, SHUT_WR);
    auto const schluss = std::chrono::steady_clock::now() + fristAuslaufen;
    for (;;) {
        auto const rest =
            std::chrono::ceil<std::chrono::milliseconds>(schluss - std::chrono::steady_clock::now());
        if (rest.count() <= 0 || endet_ || !fuelle(rest))
            return;
    }
}

/// Waits for bytes and takes what is there, in the place of what was. False at the end of the stream or of the time.
bool HttpVerbindung::fuelle(std::chrono::milliseconds frist) {
    pollfd warten{.fd = fd_, .events = POLLIN, .revents = 0};
    auto const schluss = std::chrono::steady_clock::now() + frist;
    anfang_ = ende_ = 0;
    for (;;) {
        auto const rest =
            std::chrono::ceil<std::chrono::milliseconds>(schluss - std::chrono::steady_clock::now());
        auto const lage = ::poll(&warten, 1, static_cast<int>(std::max<std::int64_t>(rest.count(), 0)));
        if (lage < 0 && errno == EINTR)
            continue;
        if (lage <= 0)
            return false;
        auto const n = ::recv(fd_, puffer_.data(), puffer_.size(), 0);
        if (n < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (n <= 0)
            return false;
        ende_ = static_cast<std::size_t>(n);
        return true;
    }
}

} // namespace quillmate::demo
