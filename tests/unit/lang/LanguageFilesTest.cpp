// Holds the language files that are shipped against the numbers that the program reads.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "core/Numbers.h"
#include "lang/Format.h"
#include "lang/Language.h"

namespace pellora {
namespace {

struct Span {
  int first;
  int last;
};
constexpr Span kRequired[] = {
    {0, 6},     {100, 108}, {110, 116}, {118, 119}, {121, 121}, {130, 136}, {138, 138}, {200, 207}, {250, 251},
    {270, 276}, {280, 289}, {300, 303}, {400, 403}, {405, 413}, {500, 503}, {510, 513}, {515, 516}, {520, 528},
    {530, 531}, {534, 537}, {600, 602}, {604, 616}, {621, 627}, {629, 636}, {648, 648}, {669, 670}, {693, 693},
    {695, 704}, {786, 787}, {791, 792}, {796, 799}, {805, 805}, {951, 951},
};

std::string ReadFile(const std::string& name) {
  std::ifstream stream(std::string(PELLORA_LANGUAGE_FOLDER "/") + name, std::ios::binary);
  EXPECT_TRUE(stream.is_open()) << name;
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::string> Lines(const std::string& content) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  for (std::size_t end = content.find('\n'); end != std::string::npos; end = content.find('\n', start)) {
    lines.push_back(content.substr(start, end - start));
    start = end + 1;
  }
  EXPECT_EQ(start, content.size()) << "the last line does not end";
  return lines;
}

bool IsEntry(const std::string& line) { return !line.starts_with("//") && line.find('=') != std::string::npos; }

LangStringArray Load(const std::string& name) {
  LangStringArray texts;
  ReadLanguage(ReadFile(name), texts);
  return texts;
}

bool IsUtf8(const std::string& text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t length = lead < 0x80 ? 1 : lead >= 0xC2 && lead < 0xE0 ? 2 : lead >= 0xE0 && lead < 0xF0 ? 3 : 0;
    if (length == 0 || i + length > text.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
    }
    i += length;
  }
  return true;
}

class LanguageFile : public testing::TestWithParam<const char*> {
 protected:
  const std::string content = ReadFile(GetParam());
  const std::vector<std::string> lines = Lines(content);
  const LangStringArray texts = Load(GetParam());
};

TEST_P(LanguageFile, HasEveryRequiredNumberOnceAndNoOther) {
  std::map<int, int> given;
  for (const std::string& line : lines) {
    if (!IsEntry(line) || line.starts_with("LANG=")) continue;
    const std::string number = line.substr(0, line.find('='));
    EXPECT_EQ(std::to_string(RoundedPrefix(number)), number) << line;
    ++given[RoundedPrefix(number)];
  }
  std::set<int> required;
  for (const Span& span : kRequired) {
    for (int number = span.first; number <= span.last; ++number) required.insert(number);
  }
  for (const int number : required) EXPECT_EQ(given[number], 1) << number;
  for (const auto& [number, times] : given) EXPECT_TRUE(required.contains(number)) << number;
}

TEST_P(LanguageFile, LosesNothingAtTheEndsOfItsLines) {
  for (const std::string& line : lines) {
    EXPECT_FALSE(line.ends_with(" ") || line.starts_with(" ")) << line;
    EXPECT_EQ(line.find_first_of("\t\r"), std::string::npos) << line;
    EXPECT_FALSE(IsEntry(line) && line.ends_with("=")) << "empty: " << line;
  }
  EXPECT_TRUE(IsUtf8(content));
}

TEST_P(LanguageFile, EndsInTheUnitThatTheNameOverwrote) {
  EXPECT_EQ(lines.back(), "0=" + texts[0]);
  EXPECT_EQ(content.find("LANG=") == std::string::npos, std::string(GetParam()) == ".txt");
}

TEST_P(LanguageFile, NamesItsLanguageAtMostOnce) {
  EXPECT_LE(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) { return line.find("LANG=") != std::string::npos; }),
            1);
}

TEST_P(LanguageFile, ForbidsTheDoubleQuote) { EXPECT_EQ(texts[951], "\""); }

TEST_P(LanguageFile, HasTextsThatFitWhatIsGluedToThem) {
  EXPECT_TRUE(texts[401].ends_with(":\xc2\xa0")) << texts[401];  // a file name follows
  EXPECT_TRUE(texts[535].ends_with("(")) << texts[535];          // the status and ")" follow
  EXPECT_TRUE(texts[530].ends_with(".")) << texts[530];          // stands behind 531 and the path
  EXPECT_EQ(texts[531].find_first_of(".:!?"), std::string::npos) << texts[531];
  EXPECT_EQ(texts[402].find_first_of("|(*"), std::string::npos) << texts[402];  // its pattern follows
  for (const int number : {300, 301, 302, 303}) EXPECT_LE(texts[static_cast<std::size_t>(number)].size(), 9u);
  for (int number = 0; number <= 6; ++number) {
    EXPECT_EQ(texts[static_cast<std::size_t>(number)].find(' '), std::string::npos) << number;
  }
  EXPECT_EQ(FormatSize(1536, texts, "."), "1.5 " + texts[1]);
  EXPECT_EQ(FormatDuration(3605, texts), "1 h 0 min 5 s");
}

// Entries of one menu; the ampersand goes before the letter that opens them.
TEST_P(LanguageFile, GivesNoTwoEntriesOfAMenuTheSameKey) {
  const std::vector<std::vector<int>> kMenus = {
      {786, 119, 787, 699},           {110, 111, 112, 118}, {114, 115, 116},          {121, 113},
      {283, 286, 282, 289, 288, 285}, {284, 281, 280},      {700, 701, 702, 703, 805}};
  for (const std::vector<int>& menu : kMenus) {
    std::map<std::string, int> owner;
    for (const int number : menu) {
      const std::string& text = texts[static_cast<std::size_t>(number)];
      const std::size_t ampersand = text.find('&');
      ASSERT_LT(ampersand + 1, text.size()) << number << " " << text;
      EXPECT_EQ(text.find('&', ampersand + 1), std::string::npos) << text;
      std::string key = text.substr(ampersand + 1, 1);
      if (key[0] >= 'A' && key[0] <= 'Z') key[0] = static_cast<char>(key[0] - 'A' + 'a');
      EXPECT_TRUE(owner.emplace(key, number).second) << number << " and " << owner[key] << " share " << key;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Shipped, LanguageFile, testing::Values("english.txt", "german.txt", ".txt"),
                         [](const testing::TestParamInfo<const char*>& file) {
                           const std::string name = file.param;
                           return name == ".txt" ? std::string("nameless") : name.substr(0, name.size() - 4);
                         });

TEST(LanguageFiles, NamelessIsEnglishWithoutItsName) {
  std::vector<std::string> expected = Lines(ReadFile("english.txt"));
  ASSERT_EQ(std::erase(expected, "LANG=English"), 1u);
  EXPECT_EQ(Lines(ReadFile(".txt")), expected);
}

TEST(LanguageFiles, TranslateWhatIsNoNameOrSign) {
  const LangStringArray english = Load("english.txt");
  const LangStringArray german = Load("german.txt");
  std::set<std::size_t> same;
  for (std::size_t number = 0; number < english.size(); ++number) {
    if (!english[number].empty() && english[number] == german[number]) same.insert(number);
  }
  // Units of time, names, and words that both languages have.
  EXPECT_EQ(same, (std::set<std::size_t>{4, 5, 6, 107, 202, 204, 205, 251, 635, 704, 951}));
}

TEST(LanguageFiles, EnglishKeepsTheDesignedCaptions) {
  const LangStringArray texts = Load("english.txt");
  EXPECT_EQ(texts[110], "&Add URL");
  EXPECT_EQ(texts[105], "Pause All");
  EXPECT_EQ(texts[287], "Schedulded");
  EXPECT_EQ(texts[606], "Safe disk writing mode ( slower but avoid data losts )");
  EXPECT_EQ(texts[613], "Ignore this kinds of files  (list of extensions separated by a comma)");
  EXPECT_EQ(texts[791], "Pellora !   Options");
  EXPECT_EQ(texts[0], "bytes");
}

}  // namespace
}  // namespace pellora
