#include "demo/belegdaten.h"
#include "demo/multipart.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quillmate::demo {
namespace {

using testing::Optional;

std::string dateiformular(std::string_view dateiname, std::string_view inhalt) {
    return fmt::format(
        "--g\r\nContent-Disposition: form-data; name=\"quellpfad\"\r\n\r\n/heim/a.pdf\r\n"
        "--g\r\nContent-Disposition: form-data; name=\"file\"; filename=\"{}\"\r\nContent-Type: "
        "application/pdf\r\n\r\n{}"
        "\r\n--g--\r\n",
        dateiname, inhalt);
}

TEST(Multipart, PartsComeWithNameFileNameTypeAndBytes) {
    auto const koerper = dateiformular("Rechnung März.pdf", "%PDF-\r\n--x\0y");
    auto const teile = zerlege(koerper, "g");
    ASSERT_TRUE(teile.has_value());
    ASSERT_EQ(teile->size(), 2U);
    EXPECT_EQ(teile->at(0).name, "quellpfad");
    EXPECT_EQ(teile->at(0).dateiname, std::nullopt);
    EXPECT_EQ(teile->at(0).typ, "");
    EXPECT_EQ(teile->at(0).inhalt, "/heim/a.pdf");
    EXPECT_EQ(teile->at(1).name, "file");
    EXPECT_THAT(teile->at(1).dateiname, Optional(std::string{"Rechnung März.pdf"}));
    EXPECT_EQ(teile->at(1).typ, "application/pdf");
    EXPECT_EQ(teile->at(1).inhalt, "%PDF-\r\n--x");
}

TEST(Multipart, FileNamesAreTakenAsTheyWereWritten) {
    for (std::string_view const name :
         {R"(a"b.pdf)", R"("a".pdf)", R"(a";name="boese.pdf)", R"(a"; filename="b.pdf)", R"(a\"b\\.pdf)",
          "../../etc/passwd", "a\nb.pdf", "a\r\nb.pdf", "a\r\nContent-Type: text/html", "grüße \xFF\xFE.pdf",
          ";=.pdf", "", " "}) {
        auto const koerper = dateiformular(name, "inhalt");
        auto const teile = zerlege(koerper, "g");
        ASSERT_TRUE(teile.has_value()) << name;
        EXPECT_EQ(teile->at(1).name, "file") << name;
        EXPECT_THAT(teile->at(1).dateiname, Optional(std::string{name}));
        EXPECT_EQ(teile->at(1).typ, "application/pdf") << name;
        EXPECT_EQ(teile->at(1).inhalt, "inhalt") << name;
    }
}

TEST(Multipart, QuoteBeforeALineEndInANameCostsNoMoreThanTheName) {
    // Written without escaping this cannot be told from the end of the name; the content must stay whole.
    auto const koerper = dateiformular("a\"\r\nb.pdf", "inhalt");
    auto const teile = zerlege(koerper, "g");
    ASSERT_TRUE(teile.has_value());
    EXPECT_THAT(teile->at(1).dateiname, Optional(std::string{"a"}));
    EXPECT_EQ(teile->at(1).inhalt, "inhalt");
}

TEST(Multipart, EmptyFileIsAPartWithoutBytes) {
    auto const koerper = dateiformular("leer.pdf", "");
    auto const teile = zerlege(koerper, "g");
    ASSERT_TRUE(teile.has_value());
    EXPECT_EQ(teile->at(1).inhalt, "");
}

TEST(Multipart, BytesThatLookLikeABoundaryWithoutLineStartBelongToTheContent) {
    auto const koerper = dateiformular("a.pdf", "x--g--\r\n-g\r\n--G\n--g");
    auto const teile = zerlege(koerper, "g");
    ASSERT_TRUE(teile.has_value());
    EXPECT_EQ(teile->at(1).inhalt, "x--g--\r\n-g\r\n--G\n--g");
}

TEST(Multipart, PreambleEpilogueAndBlanksAfterABoundaryAreAllowed) {
    auto const teile = zerlege(
        "Vorwort\r\n--g \t\r\ncontent-disposition: FORM-DATA; "
        "NAME=feld\r\n\r\nwert\r\n--g--\r\nNachwort\r\n--g\r\n",
        "g");
    ASSERT_TRUE(teile.has_value());
    ASSERT_EQ(teile->size(), 1U);
    EXPECT_EQ(teile->front().name, "feld");
    EXPECT_EQ(teile->front().inhalt, "wert");
}

TEST(Multipart, BrokenBodiesAreRefused) {
    auto const ganz = dateiformular("a.pdf", "inhalt");
    struct Fall {
        char const* name;
        std::string koerper;
    };
    std::string vieleTeile;
    for (std::size_t i = 0; i <= hoechstensTeile; ++i)
        vieleTeile += "--g\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nx\r\n";
    std::vector<Fall> const faelle{
        {"empty", ""},
        {"no boundary at all", "inhalt"},
        {"only the closing boundary", "--g--\r\n"},
        {"not closed", ganz.substr(0, ganz.size() - 6)},
        {"cut within the header", ganz.substr(0, 100)},
        {"header without end", "--g\r\nContent-Disposition: form-data; name=\"a\"\r\n"},
        {"no disposition", "--g\r\nContent-Type: text/plain\r\n\r\nx\r\n--g--\r\n"},
        {"no name", "--g\r\nContent-Disposition: form-data; filename=\"a\"\r\n\r\nx\r\n--g--\r\n"},
        {"another disposition", "--g\r\nContent-Disposition: attachment; name=\"a\"\r\n\r\nx\r\n--g--\r\n"},
        {"rubbish after the boundary",
         "--gX\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nx\r\n--g--\r\n"},
        {"name without closing quote",
         "--g\r\nContent-Disposition: form-data; name=\"a\r\n\r\nx\r\n--g--\r\n"},
        {"header beyond its limit", "--g\r\nContent-Disposition: form-data; name=\"a\"\r\nX: " +
                                        std::string(hoechstensKopf_byte, 'x') + "\r\n\r\nx\r\n--g--\r\n"},
        {"too many parts", vieleTeile + "--g--\r\n"},
    };
    for (auto const& fall : faelle)
        EXPECT_EQ(zerlege(fall.koerper, "g").has_value(), false) << fall.name;
    EXPECT_EQ(zerlege(ganz, "").has_value(), false);
    EXPECT_EQ(zerlege(ganz, "anders").has_value(), false);
}

TEST(Multipart, EveryCutOfABodyIsRefused) {
    auto const ganz = dateiformular("a\"b.pdf", "inhalt\r\n");
    // The last line end may be missing, nothing before it.
    for (std::size_t laenge = 0; laenge + 2 < ganz.size(); ++laenge)
        EXPECT_FALSE(zerlege(std::string_view{ganz}.substr(0, laenge), "g").has_value()) << laenge;
    EXPECT_TRUE(zerlege(std::string_view{ganz}.substr(0, ganz.size() - 2), "g").has_value());
}

TEST(Multipart, DamagedBodiesNeverGivePartsOutsideTheBody) {
    auto const ganz = dateiformular("a\"b\r\nc.pdf", std::string(300, 'i') + "\r\n--");
    Wuerfel wuerfel{1};
    constexpr std::string_view stuecke = "\r\n-g\"; =:nfCX\0";
    for (int runde = 0; runde < 30000; ++runde) {
        auto koerper = ganz;
        for (auto aenderungen = 1 + wuerfel.unter(6); aenderungen > 0; --aenderungen) {
            auto const stelle = static_cast<std::size_t>(wuerfel.unter(static_cast<int>(koerper.size())));
            auto const zeichen =
                stuecke[static_cast<std::size_t>(wuerfel.unter(static_cast<int>(stuecke.size())))];
            switch (wuerfel.unter(3)) {
            case 0:
                koerper[stelle] = zeichen;
                break;
            case 1:
                koerper.insert(stelle, 1, zeichen);
                break;
            default:
                koerper.erase(stelle, static_cast<std::size_t>(1 + wuerfel.unter(20)));
                break;
            }
        }
        auto const teile = zerlege(koerper, "g");
        if (!teile)
            continue;
        for (auto const& teil : *teile) {
            if (teil.inhalt.empty())
                continue;
            ASSERT_GE(teil.inhalt.data(), koerper.data());
            ASSERT_LE(teil.inhalt.data() + teil.inhalt.size(), koerper.data() + koerper.size());
        }
    }
}

TEST(Multipart, BoundaryIsTakenFromTheContentType) {
    struct Fall {
        std::string typ;
        std::optional<std::string> grenze;
    };
    for (auto const& [typ, grenze] : std::vector<Fall>{
             {"multipart/form-data; boundary=grenze-1A", "grenze-1A"},
             {"Multipart/Form-Data;BOUNDARY=\"a b;c\"", "a b;c"},
             {"multipart/form-data; charset=utf-8; boundary=x; y=z", "x"},
             {"multipart/form-data", std::nullopt},
             {"multipart/form-data; boundary=", std::nullopt},
             {"multipart/form-data; boundary=\"x", std::nullopt},
             {"multipart/form-data; boundary=" + std::string(201, 'x'), std::nullopt},
             {"multipart/mixed; boundary=x", std::nullopt},
             {"application/json", std::nullopt},
             {"", std::nullopt}})
        EXPECT_EQ(grenzeAusTyp(typ), grenze) << typ;
}

} // namespace
} // namespace quillmate::demo
