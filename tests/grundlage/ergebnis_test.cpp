#include "grundlage/ergebnis.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace quillmate;

TEST(Ergebnis, AFailureThatPassesSaysNothingAboutTheThing) {
    for (int const nummer :
         {ENOMEM, EMFILE, ENFILE, EAGAIN, EIO, ESTALE, ETIMEDOUT, ECONNREFUSED, ECANCELED, 100000})
        EXPECT_FALSE(errnoFehler("/a", "Nicht lesbar", nummer).error().sagtEtwasUeberDieSache()) << nummer;
}

TEST(Ergebnis, AFailureOfTheThingItselfMayBeKept) {
    for (int const nummer :
         {ENOENT, ENOTDIR, EACCES, EPERM, ELOOP, ENAMETOOLONG, EFBIG, ENOSPC, EDQUOT, EROFS})
        EXPECT_TRUE(errnoFehler("/a", "Nicht lesbar", nummer).error().sagtEtwasUeberDieSache()) << nummer;
}

TEST(Ergebnis, TheNumberOfAFailedCallIsTakenWhereTheFailureIsMade) {
    errno = EDQUOT;
    auto const gefunden = errnoFehler("/a", "Nicht geschrieben");
    errno = 0;
    EXPECT_EQ(gefunden.error().ursache, (Ursache{Ursache::Herkunft::errnoWert, EDQUOT}));
    EXPECT_EQ(gefunden.error().art, Fehlerart::keinPlatz);
}

TEST(Ergebnis, TheLogLineNamesSentencePlaceAndCause) {
    EXPECT_EQ(
        errnoFehler("/a", "Datei nicht lesbar", EIO).error().text(),
        "Datei nicht lesbar: /a (EIO: Input/output error)");
    EXPECT_EQ(errnoFehler("/a", "Weg", 100000).error().text(), "Weg: /a (errno 100000)");
    EXPECT_EQ(fehler(Fehlerart::zuGross, "", "Zu lang").error().text(), "Zu lang");
    EXPECT_EQ(httpFehler(503, "https://a/b", "Antwort").error().text(), "Antwort: https://a/b (HTTP 503)");
    EXPECT_EQ(
        (Fehler{Fehlerart::helferGestorben, {Ursache::Herkunft::prozessende, -9}, "", "Leser"}.text()),
        "Leser (Signal 9)");
}

TEST(Ergebnis, AnHttpStatusThatAnotherAttemptMayFindMendedPasses) {
    for (int const status : {408, 425, 429, 500, 502, 503, 504, 599})
        EXPECT_FALSE(httpFehler(status, "", "").error().sagtEtwasUeberDieSache()) << status;
    for (int const status : {301, 400, 401, 403, 404, 410, 413, 422})
        EXPECT_TRUE(httpFehler(status, "", "").error().sagtEtwasUeberDieSache()) << status;
}
