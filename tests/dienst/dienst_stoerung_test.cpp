#include "dienst/dienst.h"
#include "werkzeug/fehlerausgabe.h"
#include "werkzeug/http_attrappe.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

// A service, or somebody in its place, that behaves badly: nothing may count as sent that was not, and the log says each
// cause once.
using namespace quillmate;
using namespace quillmate::dienst;
using werkzeug::HttpAnfrage;
using werkzeug::HttpAntwort;
using werkzeug::HttpAttrappe;

namespace {

struct Welt {
    explicit Welt(HttpAttrappe::Behandlung behandlung)
        : server(std::move(behandlung)) {}

    dienst::Uebertragung hoch() { return dienst.hochladen(zugang, ordner.datei("a.pdf", "x"), {}, false); }

    werkzeug::OrdnerAufZeit ordner;
    HttpAttrappe server;
    dienst::Zugang zugang{.server = server.adresse(), .clientId = 7, .token = "geheim"};
    dienst::Dienst dienst;
};

std::size_t wieOft(std::string const& text, std::string const& was) {
    std::size_t anzahl = 0;
    for (auto i = text.find(was); i != std::string::npos; i = text.find(was, i + 1))
        ++anzahl;
    return anzahl;
}

} // namespace

TEST(DienstStoerung, ALargeAnswerOfAnUploadIsASuccessAfterOneAttempt) {
    Welt w{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = std::string(3U << 20U, ' ')};
    }};
    EXPECT_EQ(w.hoch(), dienst::Uebertragung::hochgeladen);
    EXPECT_EQ(w.server.anfragen().size(), 1U);
}

TEST(DienstStoerung, ThePageOfACaptivePortalIsNoSuccessAndTheRealAnswerThenIs) {
    std::atomic<int> versuch{0};
    Welt w{[&](HttpAnfrage const&) {
        return ++versuch == 1 ? HttpAntwort{.koerper = "<html>", .inhaltstyp = "text/html"} : HttpAntwort{};
    }};
    auto const protokoll =
        werkzeug::fehlerausgabe([&] { EXPECT_EQ(w.hoch(), dienst::Uebertragung::hochgeladen); });
    EXPECT_EQ(w.server.anfragen().size(), 2U);
    EXPECT_TRUE(protokoll.contains("Statt des Dienstes hat eine Webseite geantwortet")) << protokoll;
    EXPECT_TRUE(protokoll.contains("a.pdf wird zum 2. Mal gesendet; vielleicht ist es schon angekommen"))
        << protokoll;
}

TEST(DienstStoerung, ThePageOfACaptivePortalIsNoAnsweredPostEither) {
    Welt w{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = "<html>", .inhaltstyp = "text/html"};
    }};
    EXPECT_FALSE(w.dienst.postJson(w.zugang, "progress-start", {}));
    EXPECT_FALSE(w.dienst.hochladenAnBuchung(w.zugang, 1, w.ordner.datei("a.pdf", "x")));
    EXPECT_FALSE(w.dienst.antwortet(w.zugang));
}

TEST(DienstStoerung, AnExpiredAccessIsOneMessageHoweverManyFiles) {
    Welt w{[](HttpAnfrage const&) {
        return HttpAntwort{.status = 401};
    }};
    auto const protokoll = werkzeug::fehlerausgabe([&] {
        for (int i = 0; i < 50; ++i)
            EXPECT_EQ(w.hoch(), dienst::Uebertragung::uebertragungFehlgeschlagen);
    });
    EXPECT_EQ(wieOft(protokoll, "Der Dienst nimmt diesen Zugang nicht mehr an (HTTP 401)"), 1U) << protokoll;
    EXPECT_EQ(wieOft(protokoll, "\n"), 1U) << protokoll;
    EXPECT_FALSE(protokoll.contains("geheim"));
}

TEST(DienstStoerung, ACauseThatComesBackAfterASuccessIsSaidAgain) {
    std::atomic<int> nummer{0};
    Welt w{[&](HttpAnfrage const&) {
        return HttpAntwort{.status = nummer++ == 2 ? 200 : 404};
    }};
    auto const protokoll = werkzeug::fehlerausgabe([&] {
        for (int i = 0; i < 5; ++i)
            (void)w.hoch();
    });
    EXPECT_EQ(wieOft(protokoll, "HTTP 404"), 2U) << protokoll;
}

TEST(DienstStoerung, UploadsAreRedirectedWithinTheServiceOnly) {
    Welt gut{[](HttpAnfrage const& anfrage) {
        return anfrage.pfad == "/neu" ? HttpAntwort{}
                                      : HttpAntwort{.status = 307, .weitererKopf = "Location: /neu\r\n"};
    }};
    EXPECT_EQ(gut.hoch(), dienst::Uebertragung::hochgeladen);
    ASSERT_EQ(gut.server.anfragenAn("/neu").size(), 1U);
    EXPECT_EQ(gut.server.anfragen()[0].koerper, gut.server.anfragenAn("/neu")[0].koerper);

    HttpAttrappe const fremd{[](HttpAnfrage const&) {
        return HttpAntwort{};
    }};
    Welt boese{[&](HttpAnfrage const&) {
        return HttpAntwort{.status = 308, .weitererKopf = "Location: " + fremd.adresse() + "/\r\n"};
    }};
    auto const protokoll = werkzeug::fehlerausgabe(
        [&] { EXPECT_EQ(boese.hoch(), dienst::Uebertragung::uebertragungFehlgeschlagen); });
    EXPECT_TRUE(protokoll.contains("Der Server leitet zu einem anderen weiter")) << protokoll;
    EXPECT_EQ(boese.server.anfragen().size(), 1U); // final: no retry
    EXPECT_TRUE(fremd.anfragen().empty());
}

TEST(DienstStoerung, ARedirectAfterSendingHasAReasonOfItsOwn) {
    Welt w{[](HttpAnfrage const&) {
        return HttpAntwort{.status = 303, .weitererKopf = "Location: /x\r\n"};
    }};
    auto const protokoll = werkzeug::fehlerausgabe(
        [&] { EXPECT_EQ(w.hoch(), dienst::Uebertragung::uebertragungFehlgeschlagen); });
    EXPECT_TRUE(protokoll.contains("er hat den Inhalt vielleicht")) << protokoll;
}

TEST(DienstStoerung, AListThatDidNotComeIsNoEmptyList) {
    struct Fall {
        char const* was;
        HttpAntwort antwort;
        Fehlerart art;
    };
    Fall const faelle[]{
        {"out of order", {.status = 503}, Fehlerart::gestoert},
        {"no access", {.status = 401}, Fehlerart::abgelehnt},
        {"garbage", {.koerper = "<x>"}, Fehlerart::falscheForm},
        {"a page", {.koerper = "{}", .inhaltstyp = "text/html"}, Fehlerart::gestoert},
        {"too large",
         {.roh = "HTTP/1.1 200 OK\r\n\r\n" + std::string(std::size_t{65} << 20U, ' ') + "{}"},
         Fehlerart::zuGross},
        {"nobody", {.ohneAntwort = true}, Fehlerart::keineVerbindung},
    };
    for (auto const& fall : faelle) {
        Welt w{[&](HttpAnfrage const&) {
            return fall.antwort;
        }};
        auto const protokoll = werkzeug::fehlerausgabe([&] {
            auto const gesehen = w.dienst.leseGesehenePfade(w.zugang);
            ASSERT_FALSE(gesehen) << fall.was;
            EXPECT_EQ(gesehen.error().art, fall.art) << fall.was;
            EXPECT_FALSE(w.dienst.leseListe(w.zugang, "known-nonreceipt-hashes")) << fall.was;
        });
        EXPECT_EQ(wieOft(protokoll, "alles kann erneut gesendet werden"), 1U) << fall.was << protokoll;
        EXPECT_TRUE(w.dienst.holeGesehenePfade(w.zugang).pfade.empty());
    }
    Welt leer{[](HttpAnfrage const&) {
        return HttpAntwort{.koerper = "{}"};
    }};
    EXPECT_TRUE(leer.dienst.leseGesehenePfade(leer.zugang));
    EXPECT_TRUE(leer.dienst.leseListe(leer.zugang, "l"));
}

TEST(DienstStoerung, FilesWithoutAnyAnswerAreCountedUntilOneIsAnswered) {
    std::atomic<bool> da{false};
    Welt w{[&](HttpAnfrage const&) {
        return da ? HttpAntwort{.status = 404} : HttpAntwort{.ohneAntwort = true};
    }};
    EXPECT_EQ(w.hoch(), dienst::Uebertragung::uebertragungFehlgeschlagen);
    EXPECT_EQ(w.dienst.dateienOhneAntwort(), 1);
    da = true;
    EXPECT_EQ(w.hoch(), dienst::Uebertragung::uebertragungFehlgeschlagen); // refused, but there
    EXPECT_EQ(w.dienst.dateienOhneAntwort(), 0);
}

TEST(DienstStoerung, WhatIsAttachedToABookingIsNeverSentTwice) {
    std::atomic<int> nummer{0};
    Welt w{[&](HttpAnfrage const&) {
        return ++nummer == 2 ? HttpAntwort{.ohneAntwort = true} : HttpAntwort{.koerper = "{}"};
    }};
    (void)w.dienst.holeVorgabe(w.zugang); // leaves a connection that dies next
    EXPECT_FALSE(w.dienst.hochladenAnBuchung(w.zugang, 1, w.ordner.datei("a.pdf", "x")));
    EXPECT_EQ(w.server.anfragenAn("/attach-receipt").size(), 1U);
}
