#include "grundlage/adresse.h"
#include "grundlage/adressteile.h"

#include <gtest/gtest.h>

using quillmate::Adresse;

TEST(Adresse, EmptyTextIsNoAddress) {
    EXPECT_FALSE(Adresse::lesen(""));
}

TEST(Adresse, TextWithoutSchemeIsNoAddress) {
    EXPECT_FALSE(Adresse::lesen("quillmate.example/uebersicht"));
    EXPECT_FALSE(Adresse::lesen(":80"));
    EXPECT_FALSE(Adresse::lesen("1http://x"));
}

TEST(Adresse, BlanksControlCharactersAndBrokenEscapesAreRefused) {
    EXPECT_FALSE(Adresse::lesen("http://exa mple/"));
    EXPECT_FALSE(Adresse::lesen("http://example/\n"));
    EXPECT_FALSE(Adresse::lesen("http://example/%4"));
    EXPECT_FALSE(Adresse::lesen("http://example/%zz"));
    EXPECT_FALSE(Adresse::lesen("http://exämple/"));
}

TEST(Adresse, KeepsTheTextAsItWasWritten) {
    auto const adresse = Adresse::lesen("HTTPS://User@Example.ORG:8443/a%20b?x=1#y");
    ASSERT_TRUE(adresse);
    EXPECT_EQ(adresse->text(), "HTTPS://User@Example.ORG:8443/a%20b?x=1#y");
}

TEST(Adresse, HostIsLowerCaseWithoutUserAndPort) {
    EXPECT_EQ(Adresse::lesen("HTTPS://User@Example.ORG:8443/a")->wirt(), "example.org");
    EXPECT_EQ(Adresse::lesen("http://127.0.0.1:80/")->wirt(), "127.0.0.1");
}

TEST(Adresse, AddressWithoutHostHasNone) {
    EXPECT_FALSE(Adresse::lesen("about:blank")->wirt());
    EXPECT_FALSE(Adresse::lesen("mailto:a@b.de")->wirt());
    EXPECT_FALSE(Adresse::lesen("data:text/html,x")->wirt());
}

TEST(Adresse, OnlyAnAuthorityHasAHost) {
    EXPECT_FALSE(Adresse::lesen("https:/quillmate.example/")->wirt());
    EXPECT_FALSE(Adresse::lesen("https:///quillmate.example/")->wirt());
    EXPECT_FALSE(Adresse::lesen("https://:443/")->wirt());
    EXPECT_EQ(Adresse::lesen("file://Server/x")->wirt(), "server");
    EXPECT_EQ(Adresse::lesen("https://host:9999?x=a@b/c")->wirt(), "host");
    EXPECT_EQ(Adresse::lesen("https://eigener.example@fremd.example/")->wirt(), "fremd.example");
    EXPECT_EQ(Adresse::lesen("http://[::1]:80/")->wirt(), "[::1]");
}

TEST(Adresse, WhatNobodyCouldConnectToHasNoHost) {
    for (auto const* text :
         {"http://[::1]:80%C3%BC", "https://wirt.example:port/", "https://[::1/", "https://[wirt:80"})
        EXPECT_EQ(Adresse::lesen(text).value().wirt(), std::nullopt) << text;
}

TEST(Adresse, GivesItsPartsAsTheyWereWritten) {
    auto const adresse = Adresse::lesen("HTTPS://Host:1/a%20b/?x=%41&y#z?");
    EXPECT_EQ(adresse->schema(), "HTTPS");
    EXPECT_EQ(adresse->pfad(), "/a%20b/");
    EXPECT_EQ(adresse->abfrage(), "x=%41&y");
    EXPECT_EQ(adresse->bruchstueck(), "z?");
    auto const knapp = Adresse::lesen("quillmate://bank");
    EXPECT_EQ(knapp->pfad(), "");
    EXPECT_FALSE(knapp->abfrage());
    EXPECT_FALSE(knapp->bruchstueck());
    EXPECT_EQ(Adresse::lesen("https://h?")->abfrage(), "");
    EXPECT_EQ(Adresse::lesen("about:blank?x")->pfad(), "blank");
    EXPECT_EQ(Adresse::lesen("https://h?q=//a/b")->wirt(), "h");
}

TEST(Adresse, AnotherPathAndQueryKeepSchemeHostAndPort) {
    auto const adresse = Adresse::lesen("http://Host:8080/uebersicht?alt=1#f");
    EXPECT_EQ(adresse->mit("/bank", "client=7")->text(), "http://Host:8080/bank?client=7");
    EXPECT_EQ(adresse->mit("/bank", "")->text(), "http://Host:8080/bank?");
    EXPECT_EQ(adresse->mit("/bank")->text(), "http://Host:8080/bank");
    EXPECT_EQ(adresse->mitAbfrage("neu=2")->text(), "http://Host:8080/uebersicht?neu=2#f");
    EXPECT_FALSE(adresse->mit("bank"));
    EXPECT_FALSE(adresse->mit("/ba nk"));
    EXPECT_FALSE(adresse->mitAbfrage("ü"));
    EXPECT_FALSE(Adresse::lesen("about:blank")->mit("/bank"));
    EXPECT_EQ(Adresse::lesen("https://h#f")->mitAbfrage("a")->text(), "https://h?a#f");
}

TEST(Prozent, GoesThereAndBackForAllBytes) {
    std::string alle;
    for (int i = 0; i < 256; ++i)
        alle += static_cast<char>(i);
    EXPECT_EQ(quillmate::ohneProzent(quillmate::mitProzent(alle)), alle);
    EXPECT_EQ(quillmate::mitProzent("a-._~Z9 +&=ü"), "a-._~Z9%20%2B%26%3D%C3%BC");
}
