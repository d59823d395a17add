// The replaced pixWriteMem, as the engine itself meets it: while it reads, nothing is packed as PNG.
#include "leser/motoren/leser_im_prozess.h"
#include "werkzeug/vorlagen.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <leptonica/allheaders.h>
#include <png.h>

#include <atomic>
#include <cstdlib>

namespace {

std::atomic<int> gepackt{
    0}; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): counts for a library

} // namespace

/// Everybody in this program who begins a PNG comes by here, Leptonica too.
png_structp png_create_write_struct(
    png_const_charp fassung, png_voidp nutzer, png_error_ptr fehler, png_error_ptr warnung) {
    static auto const eigentliche =
        reinterpret_cast<decltype(&png_create_write_struct)>(::dlsym(RTLD_NEXT, "png_create_write_struct"));
    ++gepackt;
    return eigentliche(fassung, nutzer, fehler, warnung);
}

namespace quillmate::Texterkennung {
namespace {

using namespace vorlagen;

TEST(Zeilenablage, TheEnginePacksNoLineAsPng) {
    auto const datei = alsDatei(jpeg(schriftbild(beleg())));
    leser::motoren::LeserImProzess leser;
    auto const vorher = gepackt.load();
    EXPECT_THAT(leser.lesen(datei.get(), Dateiart::bild).text.value_or(""), ::testing::HasSubstr("12,50"));
    EXPECT_EQ(gepackt.load(), vorher);
}

TEST(Zeilenablage, TheLibrarysOwnFunctionPacksOne) {
    auto* const eigentliche = reinterpret_cast<decltype(&pixWriteMem)>(::dlsym(RTLD_NEXT, "pixWriteMem"));
    ASSERT_NE(eigentliche, nullptr);
    auto* bild = pixCreate(8, 8, 8);
    l_uint8* bytes = nullptr;
    std::size_t groesse = 0;
    auto const vorher = gepackt.load();
    EXPECT_EQ(eigentliche(&bytes, &groesse, bild, IFF_PNG), 0);
    EXPECT_EQ(gepackt.load(), vorher + 1) << "this test no longer sees who packs";
    std::free(bytes);
    pixDestroy(&bild);
}

TEST(Zeilenablage, WhatIsNotPackedIsReadBackAsItWas) {
    for (auto const tiefe : {1, 8, 32}) {
        auto* bild = pixCreate(33, 7, tiefe);
        pixSetPixel(bild, 32, 6, 1);
        l_uint8* bytes = nullptr;
        std::size_t groesse = 0;
        ASSERT_EQ(pixWriteMem(&bytes, &groesse, bild, IFF_PNG), 0);
        auto* zurueck = pixReadMem(bytes, groesse);
        l_int32 gleich = 0;
        ASSERT_NE(zurueck, nullptr);
        pixEqual(bild, zurueck, &gleich);
        EXPECT_EQ(gleich, 1) << tiefe;
        std::free(bytes);
        pixDestroy(&bild);
        pixDestroy(&zurueck);
    }
}

} // namespace
} // namespace quillmate::Texterkennung
