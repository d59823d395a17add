#include "grundlage/html.h"

#include <gtest/gtest.h>

using quillmate::fuerHtml;
using quillmate::fuerHtmlAttribut;

TEST(Html, BetweenTagsOnlyAmpersandAndLessThanAreEscaped) {
    EXPECT_EQ(fuerHtml("a<b & c>"), "a&lt;b &amp; c>");
    EXPECT_EQ(fuerHtml("&lt;"), "&amp;lt;");
    EXPECT_EQ(fuerHtml("\"' ü"), "\"' ü");
}

TEST(Html, AnAttributesValueCannotLeaveItsQuotes) {
    EXPECT_EQ(fuerHtmlAttribut("\"><a href='x'>&"), "&quot;&gt;&lt;a href=&#39;x&#39;&gt;&amp;");
    EXPECT_EQ(fuerHtmlAttribut("ü &lt;"), "ü &amp;lt;");
}
