#include "grundlage/datei.h"
#include "grundlage/pruefsumme.h"
#include "werkzeug/ordner_auf_zeit.h"

#include <fcntl.h>
#include <gtest/gtest.h>

using namespace quillmate;

TEST(Pruefsumme, Sha256OfKnownTextsIsTheStandardsOwn) { // FIPS 180-4 examples
    EXPECT_EQ(hexadezimal(sha256("")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hexadezimal(sha256("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Pruefsumme, FileAndMemoryGiveTheSameDigestAcrossManyBlocks) {
    werkzeug::OrdnerAufZeit const ordner;
    std::string inhalt;
    for (int i = 0; i < 200'000; ++i)
        inhalt += std::to_string(i);
    auto const datei = oeffneDatei(ordner.datei("gross", inhalt));
    ASSERT_TRUE(datei);
    EXPECT_EQ(sha256Datei(datei.get()), sha256(inhalt));
}

TEST(Pruefsumme, UnreadableDescriptorGivesNothing) {
    EXPECT_FALSE(sha256Datei(-1));
    auto const ordner = oeffnen("/", O_RDONLY | O_DIRECTORY);
    EXPECT_FALSE(sha256Datei(ordner.get()));
}
