#include "grundlage/text.h"

#include <gtest/gtest.h>

using namespace quillmate;

TEST(Text, BrokenSequencesBecomeReplacementCharactersAndNothingElseChanges) {
    EXPECT_EQ(alsUtf8("Müller.pdf"), "Müller.pdf");
    EXPECT_EQ(alsUtf8("M\xFCller"), "M\xEF\xBF\xBDller");
    EXPECT_EQ(alsUtf8("\xE2\x82"), "\xEF\xBF\xBD");
    EXPECT_EQ(alsUtf8("\xED\xA0\x80x"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDx"); // a surrogate
    EXPECT_EQ(alsUtf8(""), "");
}

TEST(Text, CharactersAreWhatAPersonSees) {
    EXPECT_EQ(zeichenzahl("abc"), 3U);
    EXPECT_EQ(zeichenzahl("a\r\nb"), 3U);
    EXPECT_EQ(zeichenzahl("u\xCC\x88"), 1U); // u + combining diaeresis
    EXPECT_EQ(
        zeichenzahl("ab\xCC\x88"
                    "c"),
        3U);
    EXPECT_EQ(zeichenzahl("\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBB!"), 2U); // woman + joiner + laptop
    EXPECT_EQ(zeichenzahl("äöü€"), 4U);
    EXPECT_EQ(zeichenzahl(""), 0U);
}

TEST(Text, CountingStopsAtTheLimit) {
    EXPECT_EQ(zeichenzahl("abcdef", 4), 4U);
    EXPECT_EQ(zeichenzahl("äöüäöü", 4), 4U);
}

TEST(Text, FirstCharactersNeverSplitOne) {
    EXPECT_EQ(ersteZeichen("abcdef", 3), "abc");
    EXPECT_EQ(ersteZeichen("abcu\xCC\x88x", 4), "abcu\xCC\x88");
    EXPECT_EQ(ersteZeichen("ab\r\ncd", 3), "ab\r\n");
    EXPECT_EQ(ersteZeichen("äö", 5), "äö");
}

TEST(Text, LowerCaseKnowsMoreThanAscii) {
    EXPECT_EQ(kleingeschrieben("RECHNUNG"), "rechnung");
    EXPECT_EQ(kleingeschrieben("ÄRZTE ÉCLAIR"), "ärzte éclair");
}

TEST(Text, ComposedAndDecomposedNamesBecomeEqual) {
    EXPECT_EQ(zusammengesetzt("Mu\xCC\x88ller"), "Müller");
    EXPECT_EQ(zusammengesetzt("Müller"), "Müller");
}

TEST(Text, WhiteSpaceOfAnyKindIsEmpty) {
    EXPECT_TRUE(nurLeerraum(""));
    EXPECT_TRUE(nurLeerraum(" \t\r\n\xC2\xA0\xE2\x80\x83"));
    EXPECT_FALSE(nurLeerraum(" x "));
}

TEST(Text, ExtensionIsWhatFollowsTheLastDotInLowerCase) {
    EXPECT_EQ(dateiendung("scan.PDF"), "pdf");
    EXPECT_EQ(dateiendung("a.tar.Gz"), "gz");
    EXPECT_EQ(dateiendung("ohne"), "");
    EXPECT_EQ(dateiendung(".pdf"), "");
    EXPECT_EQ(dateiendung("name."), "");
}

TEST(Text, TrimmingTakesWhiteSpaceOfAnyKindFromBothEndsOnly) {
    EXPECT_EQ(ohneRandleerraum(" \t\r\n\xC2\xA0 a b\xE2\x80\x83\n"), "a b");
    EXPECT_EQ(ohneRandleerraum("ä"), "ä");
    EXPECT_EQ(ohneRandleerraum(" \n "), "");
    EXPECT_EQ(ohneRandleerraum(""), "");
    EXPECT_EQ(ohneRandleerraum(" \xFF "), "\xFF");
}

TEST(Text, ControlCharactersAreAlsoThoseThatShowNothing) {
    EXPECT_FALSE(hatSteuerzeichen("Müller & Söhne"));
    for (auto const* const text :
         {"a\tb", "a\nb", "a\x7F", "a\xE2\x80\x8B",
          "\xE2\x80\xAE"
          "fdp",
          "\xC2\xAD", "\xC2\x85"})
        EXPECT_TRUE(hatSteuerzeichen(text)) << text;
    EXPECT_EQ(ohneSteuerzeichen("\ta\r\n b\xE2\x80\xAE!"), "a b!");
}

TEST(Text, ALogLineStaysOneLine) {
    EXPECT_EQ(quillmate::einzeilig("a\nb\r\tc\x1b[2J\x7f", 100), "a b  c [2J ");
    EXPECT_EQ(quillmate::einzeilig("", 10), "");
    EXPECT_EQ(quillmate::einzeilig("ü\xFF", 10), "ü\xEF\xBF\xBD");
}

TEST(Text, ALongTextIsCutForALogLine) {
    EXPECT_EQ(quillmate::einzeilig("äöüß", 4), "äöüß");
    EXPECT_EQ(quillmate::einzeilig("äöüß", 3), "äöü…");
    EXPECT_EQ(quillmate::einzeilig(std::string(10'000'000, 'x'), 3), "xxx…");
    std::string zeichen = "a"; // one character of any number of bytes
    for (int i = 0; i < 100'000; ++i)
        zeichen += "\xCC\x88";
    EXPECT_LT(quillmate::einzeilig(zeichen, 3).size(), 1000U);
}
