#include <gtest/gtest.h>

#include <string>

#include "desktop/DisplayText.h"

namespace pellora {

TEST(DisplayText, DecodesValidUtf8) {
  EXPECT_EQ(DisplayText("Gr\xC3\xB6\xC3\x9F"
                        "e"),
            QStringLiteral(u"Größe"));
}

TEST(DisplayText, DecodesInvalidUtf8AsWindows1252) {
  EXPECT_EQ(DisplayText("Gr\xF6\xDF"
                        "e"),
            QStringLiteral(u"Größe"));
  EXPECT_EQ(DisplayText("\x80 \x93quoted\x94"), QStringLiteral(u"\u20AC \u201Cquoted\u201D"));
  EXPECT_EQ(DisplayText("\xC3"), QStringLiteral(u"\u00C3"));
}

TEST(DisplayText, KeepsLineBreaksUnlikeDisplayLine) {
  EXPECT_EQ(DisplayText("a\nb"), QStringLiteral(u"a\nb"));
  EXPECT_EQ(DisplayLine(std::string("a\r\nb\tc\0d", 8)), QStringLiteral(u"a  b c d"));
}

TEST(DisplayText, ContainsNoNul) { EXPECT_EQ(DisplayText(std::string("a\0b", 3)), QStringLiteral(u"a\uFFFDb")); }

std::string Repeated(const std::string& piece, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += piece;
  return text;
}

const std::string kAcute = "\xCC\x81";         // U+0301, a combining mark
const std::string kGrin = "\xF0\x9F\x98\x80";  // U+1F600, a surrogate pair in UTF-16

TEST(DisplayText, CutsTextThatDoesNotFitWithAnEllipsis) {
  const auto longest = static_cast<std::size_t>(kMaxDrawnLength);
  EXPECT_EQ(DisplayLine(std::string(longest, 'a')), QString(kMaxDrawnLength, u'a'));
  for (const auto shown : {&DisplayLine, &DisplayText}) {
    EXPECT_EQ(shown(std::string(longest + 1, 'a')), QString(kMaxDrawnLength, u'a') + QChar(0x2026));
    EXPECT_EQ(shown(std::string(1 << 20, 'a')), QString(kMaxDrawnLength, u'a') + QChar(0x2026));
  }
}

TEST(DisplayText, CutsBetweenWholeCharacters) {
  // A letter with its mark across the limit is cut as one.
  const std::string before(static_cast<std::size_t>(kMaxDrawnLength) - 1, 'a');
  EXPECT_EQ(DisplayLine(before + "e" + kAcute + "z"), QString(kMaxDrawnLength - 1, u'a') + QChar(0x2026));
  EXPECT_EQ(DisplayLine(before + kGrin), QString(kMaxDrawnLength - 1, u'a') + QChar(0x2026));
  // So are several people joined into one emoji.
  const std::string family = kGrin + "\xE2\x80\x8D" + kGrin;
  const QString cut = DisplayLine(before.substr(3) + family + "z");
  EXPECT_EQ(cut, QString(kMaxDrawnLength - 4, u'a') + QChar(0x2026));
}

TEST(DisplayText, CutsInsideAnOverlongCharacter) {
  const QString marked = DisplayLine("e" + Repeated(kAcute, 25000));
  EXPECT_EQ(marked.size(), kMaxDrawnLength + 1);
  EXPECT_TRUE(marked.endsWith(QChar(0x2026)));
  // An endless sequence of joined emojis: no half of a surrogate pair is left.
  const QString joined = DisplayLine("a" + Repeated(kGrin + "\xE2\x80\x8D", 10000));
  EXPECT_LE(joined.size(), kMaxDrawnLength + 1);
  EXPECT_FALSE(joined.at(joined.size() - 2).isHighSurrogate());
}

TEST(DisplayMessage, KeepsTextThatFits) {
  const std::string whole(static_cast<std::size_t>(kMaxMessageLength), 'x');
  EXPECT_EQ(DisplayMessage(whole), QString::fromStdString(whole));
}

TEST(DisplayMessage, CutsTheMiddleBetweenWholeCharacters) {
  std::string text = "begin";
  for (int i = 0; i < 2000; ++i) text += "e\u0301\U0001F600";
  const QString shown = DisplayMessage(text + "end");
  EXPECT_LE(shown.size(), kMaxMessageLength + 1);
  EXPECT_TRUE(shown.startsWith(QStringLiteral("begin")));
  EXPECT_TRUE(shown.endsWith(QStringLiteral("end")));
  const qsizetype cut = shown.indexOf(QChar(0x2026));
  ASSERT_GT(cut, 0);
  EXPECT_FALSE(shown.at(cut - 1).isHighSurrogate());
  EXPECT_FALSE(shown.at(cut + 1).isLowSurrogate());
  EXPECT_FALSE(shown.at(cut + 1).isMark());
}

TEST(DisplayMessage, CutsARunOfMarksToo) {
  std::string marks;
  for (int i = 0; i < 20000; ++i) marks += "\u0301";
  EXPECT_LE(DisplayMessage("a" + marks).size(), kMaxMessageLength + 1);
}

TEST(DisplayText, ReplacesCharactersThatChangeTheWritingDirection) {
  for (const char* turn : {"\u202A", "\u202B", "\u202C", "\u202D", "\u202E", "\u2066", "\u2067", "\u2068", "\u2069"}) {
    const std::string name = std::string("evil") + turn + "gpj.exe";
    EXPECT_EQ(DisplayLine(name), QStringLiteral(u"evil\uFFFDgpj.exe"));
    EXPECT_EQ(DisplayText(name), QStringLiteral(u"evil\uFFFDgpj.exe"));
    EXPECT_EQ(ModelText(WholeText(name)), name);
  }
  EXPECT_EQ(DisplayLine("\u05E9\u200F.zip"), QStringLiteral(u"\u05E9\u200F.zip"));
}

TEST(WholeText, IsNotCut) {
  EXPECT_EQ(WholeText("e" + Repeated(kAcute, 25000)).size(), 25001);
  EXPECT_EQ(WholeLine(std::string(5000, 'a') + "\n"), QString(5000, u'a') + u' ');
}

TEST(PlainTip, ShowsMarkupLiterally) {
  EXPECT_EQ(PlainTip(QStringLiteral("http://a/?b=1&c=2")), QStringLiteral("http://a/?b=1&c=2"));
  EXPECT_EQ(PlainTip(QStringLiteral("<b>x</b>")), QStringLiteral("<qt>&lt;b&gt;x&lt;/b&gt;</qt>"));
}

TEST(DisplayText, ConvertsBackToUtf8) {
  EXPECT_EQ(ModelText(QStringLiteral(u"Größe")),
            "Gr\xC3\xB6\xC3\x9F"
            "e");
}

}  // namespace pellora
