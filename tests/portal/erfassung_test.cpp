#include "grundlage/dateiarten.h"
#include "portal/belegversand.h"
#include "portal/erfassung.h"

#include <gtest/gtest.h>

#include <string>

using namespace quillmate;

namespace {

constexpr char const* nichtLesbar = "Die aktuelle Datei ist nicht lesbar oder größer als 50 MB.";
constexpr char const* keinePdf =
    "Die aktuelle Seite ist keine PDF. Öffne zuerst die Rechnung oder nutze ihren Download-Knopf.";
constexpr char const* nichtDirekt =
    "Die aktuelle Seite ist keine direkt lesbare PDF. Nutze dort den Download-Knopf.";

std::string alsBase64(std::string_view bytes) {
    constexpr std::string_view zeichen = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        auto const byte = [&](std::size_t k) {
            return i + k < bytes.size() ? static_cast<unsigned>(static_cast<unsigned char>(bytes[i + k]))
                                        : 0U;
        };
        auto const drei = (byte(0) << 16U) | (byte(1) << 8U) | byte(2);
        text += zeichen[drei >> 18U];
        text += zeichen[(drei >> 12U) & 63U];
        text += i + 1 < bytes.size() ? zeichen[(drei >> 6U) & 63U] : '=';
        text += i + 2 < bytes.size() ? zeichen[drei & 63U] : '=';
    }
    return text;
}

std::string gut(std::string_view bytes, std::string_view name = "rechnung.pdf") {
    return R"({"ok":true,"daten":")" + alsBase64(bytes) + R"(","name":")" + std::string{name} +
           R"(","mime":"application/pdf"})";
}

std::string fehlerAus(std::string antwort) {
    auto const ergebnis = portal::erfasstePdf(std::move(antwort));
    auto const* const fehler = std::get_if<std::string>(&ergebnis);
    return fehler ? *fehler : "kein Fehler";
}

std::string nameAus(std::string_view name) {
    auto const ergebnis = portal::erfasstePdf(gut("%PDF-1.4", name));
    auto const* const pdf = std::get_if<portal::ErfasstePdf>(&ergebnis);
    return pdf ? pdf->name : "keine PDF";
}

} // namespace

TEST(Base64, DecodesAllLengthsAndAllBytes) {
    std::string alle;
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(portal::ausBase64(alsBase64(alle)), alle);
        alle += static_cast<char>(i);
    }
    EXPECT_EQ(portal::ausBase64(""), "");
}

TEST(Base64, AnythingElseIsRefused) {
    for (auto const* const text :
         {"A", "AB", "ABC", "ABCDE", "AB=C", "====", "A===", "AB C", "ABC\n", "ABC-", "ÄBC"})
        EXPECT_FALSE(portal::ausBase64(text)) << text;
}

TEST(ErfasstePdf, AGoodAnswerGivesNameAndBytes) {
    auto const ergebnis = portal::erfasstePdf(gut("%PDF-1.4\n...", "Rechnung Mai.PDF"));
    auto const* const pdf = std::get_if<portal::ErfasstePdf>(&ergebnis);
    ASSERT_NE(pdf, nullptr);
    EXPECT_EQ(pdf->name, "Rechnung Mai.PDF");
    EXPECT_EQ(pdf->daten, "%PDF-1.4\n...");
}

TEST(ErfasstePdf, WhatIsNoObjectIsNoReadablePdf) {
    for (auto const* const antwort : {"", "null", "[]", "\"x\"", "{", "kein JSON", "{\"a\":\"\xFF\"}"})
        EXPECT_EQ(fehlerAus(antwort), "Das Portal hat keine lesbare PDF zurückgegeben.") << antwort;
}

TEST(ErfasstePdf, APageThatSaysNoIsQuoted) {
    EXPECT_EQ(fehlerAus(R"({"ok":false,"fehler":"Portal antwortet mit 404."})"), "Portal antwortet mit 404.");
    EXPECT_EQ(fehlerAus(R"({"fehler":"a\nb"})"), "a b");
    for (auto const* const antwort :
         {"{}", R"({"ok":false})", R"({"ok":1,"daten":"JVBERi0="})", R"({"ok":"true"})",
          R"({"ok":false,"fehler":7})", R"({"ok":null,"fehler":""})"})
        EXPECT_EQ(fehlerAus(antwort), nichtDirekt) << antwort;
}

TEST(ErfasstePdf, DataThatIsMissingOrNoBase64IsNotReadable) {
    for (auto const* const antwort :
         {R"({"ok":true})", R"({"ok":true,"daten":7})", R"({"ok":true,"daten":"%%%%"})",
          R"({"ok":true,"daten":"JVBER"})"})
        EXPECT_EQ(fehlerAus(antwort), nichtLesbar) << antwort;
}

TEST(ErfasstePdf, TheMarkMustStandWithinTheFirst1024Bytes) {
    EXPECT_EQ(fehlerAus(gut("<!doctype html><p>Bitte anmelden</p>")), keinePdf);
    EXPECT_EQ(fehlerAus(gut("")), keinePdf);
    EXPECT_EQ(fehlerAus(gut("%PDF")), keinePdf);
    EXPECT_EQ(fehlerAus(gut(std::string(1019, ' ') + "%PDF-1.4")), "kein Fehler");
    EXPECT_EQ(fehlerAus(gut(std::string(1020, ' ') + "%PDF-1.4")), keinePdf);
}

TEST(ErfasstePdf, ExactlyFiftyMebibytesAreTakenAndOneByteMoreIsNot) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "takes minutes there, and one thread alone has nothing to race with";
#endif
    std::string bytes = "%PDF-1.4";
    bytes.resize(hoechsterPortalbeleg, 'x');
    EXPECT_EQ(fehlerAus(gut(bytes)), "kein Fehler");
    bytes += 'x';
    EXPECT_EQ(fehlerAus(gut(bytes)), nichtLesbar);
    // Longer than any text that could be decoded.
    EXPECT_EQ(fehlerAus(R"({"ok":true,"daten":")" + std::string(73'400'324, 'A') + "\"}"), nichtLesbar);
    EXPECT_EQ(fehlerAus(std::string(std::size_t{80} << 20U, ' ')), nichtLesbar);
}

TEST(ErfasstePdf, TheNameIsALastComponentThatEndsInPdf) {
    EXPECT_EQ(nameAus("invoice"), "invoice.pdf");
    EXPECT_EQ(nameAus("download.php"), "download.php.pdf");
    EXPECT_EQ(nameAus("a/b/c.pdf"), "c.pdf");
    EXPECT_EQ(nameAus(""), "rechnung.pdf");
    EXPECT_EQ(nameAus(".."), "rechnung.pdf");
    EXPECT_EQ(nameAus("x.PDF"), "x.PDF");
    EXPECT_EQ(nameAus(R"(a\r\nb.pdf)"), "ab.pdf");
    auto const ohne = portal::erfasstePdf(R"({"ok":true,"daten":"JVBERi0x","name":7})");
    ASSERT_TRUE(std::holds_alternative<portal::ErfasstePdf>(ohne));
    EXPECT_EQ(std::get<portal::ErfasstePdf>(ohne).name, "rechnung.pdf");
}
