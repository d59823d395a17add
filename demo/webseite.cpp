#include "webseite.h"

#include "demo/seite_dateien.h"
#include "grundlage/html.h"
#include "grundlage/text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace quillmate::demo {

namespace {

constexpr char const* richtlinie =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "frame-src 'self'; form-action 'self'; base-uri 'none'; frame-ancestors 'none'";

void sende(httplib::Response& antwort, int status, char const* typ, std::string text) {
    antwort.status = status;
    antwort.set_header("Content-Security-Policy", richtlinie);
    antwort.set_header("X-Content-Type-Options", "nosniff");
    antwort.set_header("Referrer-Policy", "no-referrer"); // Addresses may hold the token.
    antwort.set_header("Cache-Control", "no-store");
    antwort.set_content(std::move(text), typ);
}

constexpr char const* html = "text/html; charset=utf-8";

char const* typNachEndung(std::string_view name) {
    static constexpr std::array<std::pair<std::string_view, char const*>, 4> typen{{
        {".css", "text/css; charset=utf-8"},
        {".html", html},
        {".js", "text/javascript; charset=utf-8"},
        {".svg", "image/svg+xml"},
    }};
    auto const stelle =
        std::ranges::find_if(typen, [&](auto const& typ) { return name.ends_with(typ.first); });
    return stelle == typen.end() ? "application/octet-stream" : stelle->second;
}

std::string_view datei(std::string_view name) {
    auto const dateien = seitendateien();
    auto const stelle = std::ranges::find(dateien, name, &Seitendatei::name);
    return stelle == dateien.end() ? std::string_view{} : stelle->inhalt;
}

/// A page of the files with its marks, {{LIKE_THIS}}, filled in.
std::string ausgefuellt(
    std::string_view name, std::initializer_list<std::pair<std::string_view, std::string>> werte) {
    std::string text{datei(name)};
    for (auto const& [marke, wert] : werte) {
        auto const ganz = fmt::format("{{{{{}}}}}", marke);
        if (auto const stelle = text.find(ganz); stelle != std::string::npos)
            text.replace(stelle, ganz.size(), wert);
    }
    return text;
}

std::string karte(std::string_view titel, std::string const& inhalt) {
    return ausgefuellt(
        "karte.html", {{"TITEL", alsHtml(titel)}, {"KOPF", alsHtml(titel)}, {"INHALT", inhalt}});
}

constexpr char const* zurUebersicht =
    R"(<form method="get" action="/uebersicht"><button class="haupt">Zur Übersicht</button></form>)";

/// Whether the start page was opened by the desktop program, which is called back by an address of its own.
bool ausDemProgramm(httplib::Request const& anfrage) {
    auto const [anfang, ende] = anfrage.params.equal_range("app");
    return std::any_of(anfang, ende, [](auto const& feld) { return feld.second == "1"; });
}

std::string prozentkodiert(std::string_view text) {
    std::string kodiert;
    for (char const c : text) {
        bool const frei = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                          c == '-' || c == '.' || c == '_' || c == '~';
        if (frei)
            kodiert += c;
        else
            kodiert += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return kodiert;
}

} // namespace

std::string alsHtml(std::string_view text) {
    return fuerHtmlAttribut(alsUtf8(text));
}

std::string alsSkriptdaten(std::string json) {
    for (auto stelle = json.find('<'); stelle != std::string::npos; stelle = json.find('<', stelle))
        json.replace(stelle, 1, "\\u003c");
    return json;
}

std::string inhaltslage(bool anhang, std::string_view name, std::string_view ersatz) {
    constexpr std::size_t hoechstens_zeichen = 120;
    auto sauber = alsUtf8(name.substr(std::min(name.find_last_of("/\\") + 1, name.size())));
    // One by one also in UTF-8: no byte of a longer character is below 0x80.
    std::erase_if(sauber, [](char c) {
        auto const zeichen = static_cast<unsigned char>(c);
        return zeichen < 0x20 || zeichen == 0x7F;
    });
    bool const brauchbar = !nurLeerraum(sauber) && !sauber.starts_with('.') &&
                           zeichenzahl(sauber, hoechstens_zeichen + 1) <= hoechstens_zeichen;
    return fmt::format(
        "{}; filename=\"{}\"; filename*=UTF-8''{}", anhang ? "attachment" : "inline", ersatz,
        brauchbar ? prozentkodiert(sauber) : ersatz);
}

Webseite::Webseite(HttpServer& server, Zugang zugang, std::string portal)
    : zugang_(std::move(zugang))
    , portal_(std::move(portal))
    , anmeldung_(zugang_) {
    server.beiGet("/", [](httplib::Request const& anfrage, httplib::Response& antwort) {
        auto const frage = anfrage.target.find('?');
        sende(antwort, 303, html, {});
        antwort.set_header(
            "Location", "/uebersicht" + (frage == std::string::npos ? "" : anfrage.target.substr(frage)));
    });
    server.beiGet(
        "/uebersicht/*", [this](auto const& anfrage, auto& antwort) { uebersicht(anfrage, antwort); });
    server.beiGet(
        "/auth/google/login", [this](auto const& anfrage, auto& antwort) { anmeldeseite(anfrage, antwort); });
    server.beiGet(
        "/auth/app/anmelden", [this](auto const& anfrage, auto& antwort) { einloesen(anfrage, antwort); });
    server.beiGet("/auth/enable-banking/start", [](auto const& anfrage, auto& antwort) {
        bankfreigabe(anfrage, antwort);
    });
    server.beiGet("/bank/*", [this](auto const& anfrage, auto& antwort) { bankseite(anfrage, antwort); });
    for (auto const& seitendatei : seitendateien()) {
        if (seitendatei.name.ends_with(".html"))
            continue; // Pages are filled in above.
        server.beiGet(
            "/seite/" + std::string{seitendatei.name},
            [&seitendatei](httplib::Request const&, httplib::Response& antwort) {
                sende(antwort, 200, typNachEndung(seitendatei.name), std::string{seitendatei.inhalt});
            });
    }
}

bool Webseite::darf(httplib::Request const& anfrage) const {
    if (zugang_.passt(anfrage.get_param_value("token")))
        return true;
    auto const [anfang, ende] = anfrage.headers.equal_range("Cookie");
    return std::any_of(anfang, ende, [&](auto const& kopf) { return anmeldung_.istAngemeldet(kopf.second); });
}

void Webseite::uebersicht(httplib::Request const& anfrage, httplib::Response& antwort) const {
    if (!darf(anfrage))
        return sende(
            antwort, 401, html,
            karte(
                "Nicht angemeldet",
                R"(<p>Diese Übersicht gehört zu einem Konto. Melde dich an, um sie zu sehen.</p>)"
                R"(<form method="get" action="/auth/google/login"><button class="haupt">Anmelden</button></form>)"));
    auto const kunde = anfrage.get_param_value("client");
    if (!kunde.empty() && kunde != std::to_string(zugang_.kunde))
        return sende(
            antwort, 404, html, karte("Unbekanntes Projekt", "<p>Dieses Projekt gibt es hier nicht.</p>"));
    nlohmann::ordered_json const zugang{
        {"client_id", zugang_.kunde},
        {"token", zugang_.token},
        {"server", fmt::format("http://127.0.0.1:{}", anfrage.local_port)},
        {"portal", portal_}};
    antwort.set_header("Set-Cookie", anmeldung_.keks());
    sende(antwort, 200, html, ausgefuellt("uebersicht.html", {{"ZUGANG", alsSkriptdaten(zugang.dump())}}));
}

void Webseite::anmeldeseite(httplib::Request const& anfrage, httplib::Response& antwort) {
    bool const app = ausDemProgramm(anfrage);
    if (!darf(anfrage)) {
        bool const versucht = !anfrage.get_param_value("token").empty();
        return sende(
            antwort, versucht ? 401 : 200, html,
            karte(
                "Anmelden",
                fmt::format(
                    R"(<p>Hier stünde die Anmeldung des Kontoanbieters. In der Demo genügt der )"
                    R"(Sitzungsschlüssel, den der Dienst beim Start nennt.</p>{}<form method="get" )"
                    R"(action="/auth/google/login"><label>Sitzungsschlüssel <input type="password" )"
                    R"(name="token" required autocomplete="off" autofocus></label>{})"
                    R"(<button class="haupt">Weiter</button></form>)",
                    versucht ? R"(<p class="meldung fehler" role="alert">Der Schlüssel stimmt nicht.</p>)"
                             : "",
                    app ? R"(<input type="hidden" name="app" value="1">)" : "")));
    }
    auto const merkmal = anmeldung_.ausstellen(std::chrono::steady_clock::now());
    sende(
        antwort, 200, html,
        karte(
            "Anmelden", fmt::format(
                            R"(<p>Du meldest dich als <strong>Demo-Konto</strong> an{}.</p>)"
                            R"(<p><a class="knopf haupt" id="weiter" href="{}merkmal={}">{}</a></p>)",
                            app ? " und kehrst dann zum Programm zurück" : "",
                            app ? "quillmate://anmeldung?" : "/auth/app/anmelden?", merkmal,
                            app ? "Anmelden und zurück zu Quillmate" : "Anmelden")));
}

void Webseite::einloesen(httplib::Request const& anfrage, httplib::Response& antwort) {
    // A HEAD request would use the ticket up without signing anybody in.
    if (anfrage.method != "GET" ||
        !anmeldung_.einloesen(anfrage.get_param_value("merkmal"), std::chrono::steady_clock::now()))
        return sende(
            antwort, 403, html,
            karte(
                "Anmeldung nicht möglich",
                R"(<p>Diese Anmeldung ist abgelaufen oder wurde schon benutzt.</p>)"
                R"(<form method="get" action="/auth/google/login"><button class="haupt">Erneut anmelden</button></form>)"));
    sende(antwort, 303, html, {});
    antwort.set_header("Set-Cookie", anmeldung_.keks());
    antwort.set_header("Location", "/uebersicht");
}

void Webseite::bankfreigabe(httplib::Request const& anfrage, httplib::Response& antwort) {
    auto const kunde = prozentkodiert(ersteZeichen(alsUtf8(anfrage.get_param_value("client")), 20));
    auto const ziel =
        fmt::format("{}?client={}&amp;bank=", ausDemProgramm(anfrage) ? "quillmate://bank" : "/bank", kunde);
    sende(
        antwort, 200, html,
        karte(
            "Demo-Bank",
            fmt::format(
                R"(<p>Darf Quillmate die Umsätze des Kontos <strong>DE00 0000 0000 0000 0000 00</strong> )"
                R"(90 Tage lang lesen?</p><p class="knoepfe"><a class="knopf haupt" id="freigeben" )"
                R"(href="{0}ok">Freigeben</a> <a class="knopf" id="ablehnen" href="{0}abgelehnt">Ablehnen</a></p>)"
                R"(<p class="leise">Diese Bank gibt es nicht; es werden keine Daten übertragen.</p>)",
                ziel)));
}

void Webseite::bankseite(httplib::Request const& anfrage, httplib::Response& antwort) const {
    if (anfrage.get_param_value("client") != std::to_string(zugang_.kunde))
        return sende(
            antwort, 404, html,
            karte(
                "Unbekanntes Projekt",
                fmt::format("<p>Dieses Projekt gibt es hier nicht.</p>{}", zurUebersicht)));
    auto const ausgang = anfrage.get_param_value("bank");
    if (ausgang == "ok")
        return sende(
            antwort, 200, html,
            karte(
                "Bank verbunden",
                fmt::format(
                    R"(<p class="meldung gut">Die Demo-Bank ist jetzt mit deinem Projekt verbunden.</p>{})",
                    zurUebersicht)));
    sende(
        antwort, 200, html,
        karte(
            "Bank nicht verbunden",
            ausgang == "abgelehnt"
                ? fmt::format(
                      "<p>Du hast die Freigabe abgelehnt. Es ändert sich nichts.</p>{}", zurUebersicht)
                : fmt::format(
                      "<p>Die Bank hat mit „{}“ geantwortet. Es ändert sich nichts.</p>{}",
                      alsHtml(ersteZeichen(alsUtf8(ausgang), 60)), zurUebersicht)));
}

} // namespace quillmate::demo
