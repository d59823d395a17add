#include "grundlage/dateiarten.h"
#include "grundlage/text.h"

#include <gtest/gtest.h>

#include <set>

using namespace quillmate;

TEST(Dateiarten, EveryExtensionStandsOnceInLowerCaseWithItsType) {
    std::set<std::string_view> endungen;
    for (auto const& zeile : belegendungen) {
        EXPECT_TRUE(endungen.insert(zeile.endung).second) << zeile.endung;
        EXPECT_EQ(kleingeschrieben(zeile.endung), zeile.endung);
        EXPECT_EQ(belegendung(zeile.endung), &zeile);
        EXPECT_EQ(mimetypNach(zeile.endung), zeile.mimetyp);
        EXPECT_EQ(zeile.mimetyp.starts_with("image/"), zeile.art == Dateiart::bild) << zeile.endung;
    }
}

TEST(Dateiarten, ReceiptsArePdfAndTheFivePictures) {
    EXPECT_EQ(mimetypNach("pdf"), "application/pdf");
    EXPECT_EQ(mimetypNach("jpg"), "image/jpeg");
    EXPECT_EQ(mimetypNach("jpeg"), "image/jpeg");
    EXPECT_EQ(mimetypNach("png"), "image/png");
    EXPECT_EQ(mimetypNach("heic"), "image/heic");
    EXPECT_EQ(mimetypNach("heif"), "image/heif");
    EXPECT_EQ(belegendungen.size(), 6U);
}

TEST(Dateiarten, AnythingElseIsNoReceiptAndOfNoKnownType) {
    for (auto const* const endung : {"", "txt", "PDF", ".pdf", "pdf ", "webp", "tiff"}) {
        EXPECT_EQ(belegendung(endung), nullptr) << endung;
        EXPECT_EQ(mimetypNach(endung), "application/octet-stream") << endung;
    }
}

TEST(Dateiarten, SizesAreThoseThatTheServiceTakes) {
    EXPECT_EQ(hoechsterScanbeleg, 536'870'912U);
    EXPECT_EQ(hoechsterPortalbeleg, 52'428'800U);
}
