#include "dienstprozess.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <csignal>
#include <mutex>
#include <stdexcept>

namespace quillmate::demo::test {

namespace {

struct Kind {
    pid_t pid;
    int ausgang; ///< Read end of its standard output.
};

enum class Fehlerausgabe { eigene, mitAusgabe };

Kind starte(std::vector<std::string> const& befehl, Fehlerausgabe fehlerausgabe) {
    std::array<int, 2> rohr{};
    if (::pipe2(rohr.data(), O_CLOEXEC) != 0)
        throw std::runtime_error{"pipe2"};
    std::vector<char*> argumente;
    for (auto const& wort : befehl)
        argumente.push_back(const_cast<char*>(wort.c_str()));
    argumente.push_back(nullptr);
    auto const eltern = ::getpid();
    auto const pid = ::fork();
    if (pid == 0) {
        // A service must not outlive a test that was killed.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != eltern)
            ::_exit(126);
        ::dup2(rohr[1], STDOUT_FILENO);
        if (fehlerausgabe == Fehlerausgabe::mitAusgabe)
            ::dup2(rohr[1], STDERR_FILENO);
        ::execv(argumente[0], argumente.data());
        ::_exit(127);
    }
    ::close(rohr[1]);
    if (pid < 0)
        throw std::runtime_error{"fork"};
    return {pid, rohr[0]};
}

/// Reads until `fertig` or the end of the stream; false when the time is over.
template<class Fertig>
bool lies(int fd, std::string& ziel, std::chrono::milliseconds frist, Fertig const& fertig) {
    auto const schluss = std::chrono::steady_clock::now() + frist;
    while (!fertig(ziel)) {
        auto const rest =
            std::chrono::ceil<std::chrono::milliseconds>(schluss - std::chrono::steady_clock::now());
        pollfd warten{.fd = fd, .events = POLLIN, .revents = 0};
        if (rest.count() <= 0 || ::poll(&warten, 1, static_cast<int>(rest.count())) <= 0)
            return false;
        std::array<char, 65536> puffer{};
        auto const n = ::read(fd, puffer.data(), puffer.size());
        if (n <= 0)
            return true;
        ziel.append(puffer.data(), static_cast<std::size_t>(n));
    }
    return true;
}

std::optional<Ende> warteAufEnde(pid_t pid, std::chrono::milliseconds frist) {
    auto const schluss = std::chrono::steady_clock::now() + frist;
    for (;;) {
        int lage = 0;
        if (::waitpid(pid, &lage, WNOHANG) == pid) {
            if (WIFSIGNALED(lage))
                return Ende{.status = -1, .signal = WTERMSIG(lage), .ausgabe = {}};
            return Ende{.status = WEXITSTATUS(lage), .signal = 0, .ausgabe = {}};
        }
        if (std::chrono::steady_clock::now() > schluss)
            return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds{2});
    }
}

} // namespace

std::optional<Ende> fuehreAus(std::vector<std::string> const& befehl, std::chrono::seconds frist) {
    auto const kind = starte(befehl, Fehlerausgabe::mitAusgabe);
    std::string ausgabe;
    bool const gelesen = lies(kind.ausgang, ausgabe, frist, [](std::string const&) { return false; });
    ::close(kind.ausgang);
    auto ende = gelesen ? warteAufEnde(kind.pid, frist) : std::nullopt;
    if (!ende) {
        ::kill(kind.pid, SIGKILL);
        ::waitpid(kind.pid, nullptr, 0);
        return std::nullopt;
    }
    ende->ausgabe = std::move(ausgabe);
    return ende;
}

Dienstprozess::Dienstprozess(std::string const& ordner, std::vector<std::string> argumente) {
    std::vector<std::string> befehl{QUILLMATE_DEMODIENST, "--daten", ordner};
    std::ranges::move(argumente, std::back_inserter(befehl));
    auto const kind = starte(befehl, Fehlerausgabe::eigene);
    pid_ = kind.pid;
    ausgang_ = kind.ausgang;
    auto const zeile = naechsteZeile();
    meldung_ = nlohmann::json::parse(zeile, nullptr, false);
    if (!meldung_.is_object()) {
        (void)beende(SIGKILL);
        ::close(ausgang_);
        throw std::runtime_error{"the service did not come up: " + zeile};
    }
    auto const adresse = meldung_.at("adresse").get<std::string>();
    port_ = std::stoi(adresse.substr(adresse.rfind(':') + 1));
}

Dienstprozess::~Dienstprozess() {
    (void)beende(SIGKILL);
    ::close(ausgang_);
}

std::string Dienstprozess::naechsteZeile() {
    (void)lies(ausgang_, gelesen_, std::chrono::seconds{20}, [](std::string const& text) {
        return text.find('\n') != std::string::npos;
    });
    auto const ende = std::min(gelesen_.find('\n'), gelesen_.size());
    auto zeile = gelesen_.substr(0, ende);
    gelesen_.erase(0, ende + 1);
    return zeile;
}

std::string Dienstprozess::url(std::string const& pfad, std::string const& weitere) const {
    return fmt::format(
        "{}{}?token={}{}", meldung_.at("adresse").get<std::string>(), pfad,
        meldung_.at("token").get<std::string>(), weitere);
}

std::optional<Ende> Dienstprozess::beende(int signal, std::chrono::milliseconds frist) {
    if (pid_ < 0)
        return std::nullopt;
    ::kill(pid_, signal);
    auto const ende = warteAufEnde(pid_, frist);
    if (!ende) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    pid_ = -1;
    return ende;
}

Klient::Klient() {
    static std::once_flag einmal;
    std::call_once(einmal, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    curl_ = curl_easy_init();
}

Klient::~Klient() {
    curl_easy_cleanup(curl_);
}

namespace {

/// Called by the HTTP library for each header line; `ziel` is the answer.
std::size_t nimmKopf(char const* bytes, std::size_t einheit, std::size_t anzahl, void* ziel) {
    std::string_view const zeile{bytes, einheit * anzahl};
    auto const trenner = zeile.find(": ");
    if (trenner != std::string_view::npos) {
        std::string name{zeile.substr(0, trenner)};
        for (auto& c : name)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        auto const wert = zeile.substr(trenner + 2);
        static_cast<Antwort*>(ziel)->koepfe[name] = wert.substr(0, wert.find_last_not_of("\r\n") + 1);
    }
    return einheit * anzahl;
}

} // namespace

Antwort Klient::anfrage(
    char const* methode, std::string const& url, std::string const* koerper, std::string const& typ,
    std::string const& kopf) {
    curl_easy_reset(curl_);
    Antwort antwort;
    curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl_, CURLOPT_PROXY, "");
    curl_easy_setopt(curl_, CURLOPT_TIMEOUT, 100L);
    curl_easy_setopt(curl_, CURLOPT_CUSTOMREQUEST, methode);
    curl_slist* koepfe = nullptr;
    if (koerper != nullptr) {
        curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(koerper->size()));
        curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, koerper->data());
        koepfe = curl_slist_append(koepfe, ("Content-Type: " + typ).c_str());
    }
    if (!kopf.empty())
        koepfe = curl_slist_append(koepfe, kopf.c_str());
    curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, koepfe);
    if (std::string_view{methode} == "HEAD")
        curl_easy_setopt(curl_, CURLOPT_NOBODY, 1L);
    curl_easy_setopt(curl_, CURLOPT_HEADERFUNCTION, &nimmKopf);
    curl_easy_setopt(curl_, CURLOPT_HEADERDATA, &antwort);
    curl_easy_setopt(
        curl_, CURLOPT_WRITEFUNCTION, +[](char* bytes, std::size_t einheit, std::size_t anzahl, void* ziel) {
            static_cast<std::string*>(ziel)->append(bytes, einheit * anzahl);
            return einheit * anzahl;
        });
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &antwort.koerper);
    auto const lage = curl_easy_perform(curl_);
    curl_slist_free_all(koepfe);
    if (lage != CURLE_OK)
        return {.status = 0, .koerper = curl_easy_strerror(lage), .typ = {}};
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &antwort.status);
    char const* inhaltstyp = nullptr;
    curl_easy_getinfo(curl_, CURLINFO_CONTENT_TYPE, &inhaltstyp);
    antwort.typ = inhaltstyp != nullptr ? inhaltstyp : "";
    return antwort;
}

Antwort Klient::hole(std::string const& url, std::string const& kopf) {
    return anfrage("GET", url, nullptr, {}, kopf);
}

Antwort Klient::holeNurKopf(std::string const& url) {
    return anfrage("HEAD", url, nullptr, {});
}

Antwort Klient::sende(std::string const& url, std::string const& koerper, std::string const& typ) {
    return anfrage("POST", url, &koerper, typ);
}

Antwort Klient::setze(std::string const& url, std::string const& koerper) {
    return anfrage("PUT", url, &koerper, "application/json");
}

Antwort Klient::ladeHoch(
    std::string const& url, std::string const& quellpfad, std::string const& name, std::string const& bytes) {
    std::string koerper =
        "--grenze-1A\r\nContent-Disposition: form-data; name=\"quellpfad\"\r\n\r\n" + quellpfad +
        "\r\n--grenze-1A\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" + name +
        "\"\r\nContent-Type: application/pdf\r\n\r\n" + bytes + "\r\n--grenze-1A--\r\n";
    return sende(url, koerper, "multipart/form-data; boundary=grenze-1A");
}

Antwort Klient::ladeTeilHoch(
    std::string const& url, std::string const& teil, std::string const& name, std::string const& bytes) {
    std::string koerper = "--Quillmate-1A\r\nContent-Disposition: form-data; name=\"" + teil +
                          "\"; filename=\"" + name + "\"\r\nContent-Type: application/pdf\r\n\r\n" + bytes +
                          "\r\n--Quillmate-1A--\r\n";
    return sende(url, koerper, "multipart/form-data; boundary=Quillmate-1A");
}

Leitung::Leitung(int port)
    : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in ziel{};
    ziel.sin_family = AF_INET;
    ziel.sin_port = htons(static_cast<std::uint16_t>(port));
    ziel.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd_, reinterpret_cast<sockaddr const*>(&ziel), sizeof ziel) != 0)
        throw std::runtime_error{"connect"};
}

Leitung::~Leitung() {
    ::close(fd_);
}

bool Leitung::sende(std::string_view bytes) {
    while (!bytes.empty()) {
        auto const n = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

void Leitung::schliesseHin() {
    ::shutdown(fd_, SHUT_WR);
}

std::string Leitung::empfange(std::string_view ende) {
    std::string text;
    (void)lies(fd_, text, std::chrono::seconds{20}, [&](std::string const& bisher) {
        return !ende.empty() && bisher.find(ende) != std::string::npos;
    });
    return text;
}

} // namespace quillmate::demo::test
