#include "grundlage/adresse.h"

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
    EXPECT_EQ(Adresse::lesen("https://host:99999?x=a@b/c")->wirt(), "host");
    EXPECT_EQ(Adresse::lesen("https://eigener.example@fremd.example/")->wirt(), "fremd.example");
    EXPECT_EQ(Adresse::lesen("http://[::1]:80/")->wirt(), "[::1]");
}
