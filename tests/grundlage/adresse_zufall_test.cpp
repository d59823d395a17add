#include "grundlage/adresse.h"
#include "werkzeug/zufallsadressen.h"

#include <curl/curl.h>
#include <glib.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

using namespace quillmate;
using werkzeug::verglichenerWirt;

namespace {

std::string wirtNachCurl(std::string const& text) {
    std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> const teile{curl_url(), &curl_url_cleanup};
    char* roh = nullptr;
    if (curl_url_set(teile.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK ||
        curl_url_get(teile.get(), CURLUPART_HOST, &roh, 0) != CURLUE_OK)
        return "-";
    std::string wirt{roh};
    curl_free(roh);
    return wirt;
}

std::string wirtNachGlib(std::string const& text) {
    std::unique_ptr<GUri, decltype(&g_uri_unref)> const uri{
        g_uri_parse(text.c_str(), G_URI_FLAGS_ENCODED, nullptr), &g_uri_unref};
    return uri && g_uri_get_host(uri.get()) ? g_uri_get_host(uri.get()) : "-";
}

} // namespace

TEST(AdresseZufall, WhatIsAcceptedHasTheSameHostForLibcurlAndGlib) {
    constexpr int anzahl = 100'000;
    werkzeug::Zufallsadressen adressen{20'260};
    int angenommen = 0;
    for (int i = 0; i < anzahl; ++i) {
        auto const roh = adressen.naechste();
        for (auto const& adresse : {Adresse::lesen(roh), Adresse::vomMotor(roh), Adresse::getippt(roh)}) {
            if (!adresse || !adresse->istWeb())
                continue;
            ++angenommen;
            auto const wirt = verglichenerWirt(*adresse->wirt());
            ASSERT_EQ(verglichenerWirt(wirtNachCurl(adresse->text())), wirt) << roh;
            // GLib reads no address with an escaped zero byte at all.
            if (!adresse->text().contains("%00")) {
                ASSERT_EQ(verglichenerWirt(wirtNachGlib(adresse->text())), wirt) << roh;
            }
            ASSERT_EQ(Adresse::lesen(adresse->text()), adresse) << roh;
        }
    }
    EXPECT_GT(angenommen, anzahl / 20); // the series is not all rubbish
    EXPECT_LT(angenommen, 3 * anzahl / 2);
}
