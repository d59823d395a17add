#include "bruecke/zitat.h"

#include <gtest/gtest.h>

#include <string>

using quillmate::bruecke::zitat;

TEST(Zitat, EmptyTextIsTwoQuotes) {
    EXPECT_EQ(zitat(""), "\"\"");
}

TEST(Zitat, QuotesAndBackslashesAreEscaped) {
    EXPECT_EQ(zitat("a\"b"), R"("a\"b")");
    EXPECT_EQ(zitat("\\"), R"("\\")");
}

TEST(Zitat, LineEndsAndTabHaveShortForms) {
    EXPECT_EQ(zitat("a\rb\nc\td"), R"("a\rb\nc\td")");
}

TEST(Zitat, OtherControlCharactersAreFourLowerCaseDigits) {
    EXPECT_EQ(zitat(std::string{"\0", 1}), R"("\u0000")");
    EXPECT_EQ(zitat("\x1B"), R"("\u001b")");
    EXPECT_EQ(zitat("\x1F"), R"("\u001f")");
}

TEST(Zitat, EverythingFrom32OnIsCopied) {
    EXPECT_EQ(zitat("ü'/ \x7F\xE2\x80\xA8\xE2\x80\xA9"), "\"ü'/ \x7F\xE2\x80\xA8\xE2\x80\xA9\"");
}

TEST(Zitat, BrokenUtf8BecomesReplacementCharacters) {
    EXPECT_EQ(zitat("\xFC.pdf"), "\"\xEF\xBF\xBD.pdf\"");
}
