#include <gtest/gtest.h>

#include <string>

#include "desktop/DisplayText.h"

namespace pellora {

TEST(DisplayText, DecodesValidUtf8) {
  EXPECT_EQ(DisplayText("Gr\xC3\xB6\xC3\x9F"
                        "e"),
            QStringLiteral(u"Größe"));
}

TEST(DisplayText, TakesInvalidUtf8ForWindows1252) {
  EXPECT_EQ(DisplayText("Gr\xF6\xDF"
                        "e"),
            QStringLiteral(u"Größe"));
  EXPECT_EQ(DisplayText("\x80 \x93quoted\x94"), QStringLiteral(u"\u20AC \u201Cquoted\u201D"));
  EXPECT_EQ(DisplayText("\xC3"), QStringLiteral(u"\u00C3"));
}

TEST(DisplayText, KeepsLinesAndDisplayLineDoesNot) {
  EXPECT_EQ(DisplayText("a\nb"), QStringLiteral(u"a\nb"));
  EXPECT_EQ(DisplayLine(std::string("a\r\nb\tc\0d", 8)), QStringLiteral(u"a  b c d"));
}

TEST(DisplayText, HoldsNoNul) { EXPECT_EQ(DisplayText(std::string("a\0b", 3)), QStringLiteral(u"a\uFFFDb")); }

TEST(PlainTip, ShowsWhatLooksLikeMarkup) {
  EXPECT_EQ(PlainTip(QStringLiteral("http://a/?b=1&c=2")), QStringLiteral("http://a/?b=1&c=2"));
  EXPECT_EQ(PlainTip(QStringLiteral("<b>x</b>")), QStringLiteral("<qt>&lt;b&gt;x&lt;/b&gt;</qt>"));
}

TEST(DisplayText, GoesBackAsUtf8) {
  EXPECT_EQ(ModelText(QStringLiteral(u"Größe")),
            "Gr\xC3\xB6\xC3\x9F"
            "e");
}

}  // namespace pellora
