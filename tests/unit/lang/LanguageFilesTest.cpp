// Compares the shipped language files with the numbers that the program reads, and with English.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/Numbers.h"
#include "core/WebTexts.h"
#include "lang/Format.h"
#include "lang/Language.h"

namespace pellora {
namespace {

constexpr const char* kFiles[] = {".txt",        "english.txt", "french.txt",     "german.txt",
                                  "italian.txt", "polish.txt",  "portuguese.txt", "spanish.txt"};

struct Span {
  int first;
  int last;
};
constexpr Span kRequired[] = {
    {0, 6},     {100, 108}, {110, 116}, {118, 119}, {121, 121}, {130, 136}, {138, 138}, {200, 207}, {250, 251},
    {270, 276}, {280, 289}, {300, 303}, {400, 403}, {405, 413}, {500, 503}, {510, 513}, {515, 516}, {520, 528},
    {530, 531}, {534, 537}, {600, 602}, {604, 616}, {621, 627}, {629, 636}, {648, 648}, {669, 670}, {693, 693},
    {695, 704}, {786, 787}, {791, 792}, {796, 799}, {800, 919}, {922, 930}, {932, 966}, {973, 978}, {980, 1021},
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
  EXPECT_EQ(start, content.size()) << "the last line has no line end";
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

// Counts letters, not bytes.
std::size_t Letters(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

class LanguageFile : public testing::TestWithParam<const char*> {
 protected:
  const std::string content = ReadFile(GetParam());
  const std::vector<std::string> lines = Lines(content);
  const LangStringArray texts = Load(GetParam());
  const LangStringArray english = Load("english.txt");

  const std::string& Text(int number) const { return texts[static_cast<std::size_t>(number)]; }
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

TEST_P(LanguageFile, LosesNothingWhenItsLinesAreTrimmed) {
  for (const std::string& line : lines) {
    EXPECT_FALSE(line.ends_with(" ") || line.starts_with(" ")) << line;
    EXPECT_EQ(line.find_first_of("\t\r"), std::string::npos) << line;
    EXPECT_FALSE(IsEntry(line) && line.ends_with("=")) << "empty: " << line;
    EXPECT_FALSE(IsEntry(line) && line.find("= ") == line.find('=')) << "begins with a blank: " << line;
  }
  EXPECT_TRUE(IsUtf8(content));
}

TEST_P(LanguageFile, EndsByRestoringTheUnitOverwrittenByItsName) {
  EXPECT_EQ(lines.back(), "0=" + texts[0]);
  EXPECT_EQ(content.find("LANG=") == std::string::npos, std::string(GetParam()) == ".txt");
}

TEST_P(LanguageFile, NamesItsLanguageAtMostOnce) {
  EXPECT_LE(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) { return line.find("LANG=") != std::string::npos; }),
            1);
}

TEST_P(LanguageFile, ForbidsTheDoubleQuote) { EXPECT_EQ(texts[951], "\""); }

TEST_P(LanguageFile, HasTextsThatFitWhatIsAppendedToThem) {
  EXPECT_TRUE(texts[401].ends_with(":\xc2\xa0")) << texts[401];  // a file name follows
  EXPECT_TRUE(texts[535].ends_with("(")) << texts[535];          // the status and ")" follow
  EXPECT_TRUE(texts[530].ends_with(".")) << texts[530];          // follows 531 and the path
  EXPECT_EQ(texts[531].find_first_of(".:!?"), std::string::npos) << texts[531];
  EXPECT_EQ(texts[402].find_first_of("|(*"), std::string::npos) << texts[402];  // its pattern follows
  for (int number = 0; number <= 6; ++number) {
    EXPECT_EQ(texts[static_cast<std::size_t>(number)].find(' '), std::string::npos) << number;
  }
  EXPECT_EQ(FormatSize(1536, texts, "."), "1.5 " + texts[1]);
  EXPECT_EQ(FormatDuration(3605, texts), "1 h 0 min 5 s");
}

// For places that do not grow with their text.
TEST_P(LanguageFile, HasShortTextsForNarrowPlaces) {
  for (const int number : {201, 207}) EXPECT_LE(Letters(Text(number)), 10u) << Text(number);  // narrow columns
  for (const int number : {300, 302}) EXPECT_LE(Letters(Text(number)), 10u) << Text(number);  // the status alone
  for (const int number : {301, 303}) EXPECT_LE(Letters(Text(number)), 7u) << Text(number);   // " (100.0%)" follows
  for (const int number : {250, 251}) EXPECT_LE(Letters(Text(number)), 13u) << Text(number);  // tabs of the side pane
  for (int number = 600; number <= 648; ++number) EXPECT_LE(Letters(Text(number)), 72u) << Text(number);  // options
  for (const int number : {524, 525, 526, 527, 528}) {  // states of segments
    EXPECT_LE(Letters(Text(number)), 30u) << Text(number);
  }
  for (const int number : {800, 801, 802, 803, 804, 806, 807}) EXPECT_LE(Letters(Text(number)), 72u) << Text(number);
  for (int number = 810; number <= 814; ++number) EXPECT_LE(Letters(Text(number)), 31u) << Text(number);
  std::size_t toolbar = 0;
  for (const int number : {100, 101, 102, 103, 104, 105, 106, 108}) toolbar += Letters(Text(number));
  EXPECT_LE(toolbar, 84u);
}

// In one menu each ampersand, which precedes the key's letter, must mark another letter.
TEST_P(LanguageFile, GivesNoTwoMenuEntriesTheSameKey) {
  struct MenuEntries {
    std::string takenKeys;  // by entries that are the same in every language
    std::vector<int> numbers;
  };
  const std::vector<MenuEntries> kMenus = {{"", {786, 119, 787, 699}},
                                           {"", {110, 111, 112, 118}},
                                           {"", {114, 115, 116}},
                                           {"b", {121, 113}},
                                           {"", {283, 286, 282, 289, 288, 285}},
                                           {"", {284, 281, 280}},
                                           {"", {700, 701, 702, 703, 805}}};
  for (const MenuEntries& menu : kMenus) {
    std::map<char, int> owner;
    for (const char key : menu.takenKeys) owner[key] = 0;
    for (const int number : menu.numbers) {
      const std::size_t ampersand = Text(number).find('&');
      ASSERT_LT(ampersand + 1, Text(number).size()) << number << " " << Text(number);
      const auto letter = static_cast<unsigned char>(Text(number)[ampersand + 1]);
      EXPECT_TRUE(letter < 0x80 && std::isalpha(letter) != 0) << "not on every keyboard: " << Text(number);
      const char key = static_cast<char>(std::tolower(letter));
      EXPECT_TRUE(owner.emplace(key, number).second) << number << " and " << owner[key] << " share " << key;
    }
  }
}

TEST_P(LanguageFile, HasKeysExactlyWhereEnglishHasThem) {
  for (std::size_t number = 0; number < texts.size(); ++number) {
    EXPECT_EQ(std::count(texts[number].begin(), texts[number].end(), '&'),
              std::count(english[number].begin(), english[number].end(), '&'))
        << number << " " << texts[number];
  }
}

TEST_P(LanguageFile, KeepsNamesAndFiguresWhereEnglishHasThem) {
  constexpr std::string_view kName = "Pellora";
  for (std::size_t number = 0; number < texts.size(); ++number) {
    const std::string& text = texts[number];
    for (const std::string_view word :
         {"Pellora!", "Pellora !", "http://", "ftp://", "ZIP", "FTP", "(1-8)", "(1-99)"}) {
      if (english[number].find(word) == std::string::npos) continue;
      EXPECT_NE(text.find(word), std::string::npos) << number << " has no " << word << ": " << text;
    }
    if (english[number].find(kName) == std::string::npos) continue;
    const std::size_t place = text.find(kName);
    ASSERT_NE(place, std::string::npos) << number << " " << text;
    const std::string after = text.substr(place + kName.size(), 1);
    EXPECT_TRUE(after.empty() || after.find_first_of(" .:!?-\xc2") == 0) << "inflected: " << text;
  }
}

TEST_P(LanguageFile, HasPlacesForValuesWhereEnglishHasThem) {
  for (std::size_t number = 0; number < texts.size(); ++number) {
    for (const std::string_view place : {"%1", "%2", "%3"}) {
      const auto count = [&](const std::string& text) {
        int found = 0;
        for (std::size_t at = text.find(place); at != std::string::npos; at = text.find(place, at + 1)) ++found;
        return found;
      };
      EXPECT_EQ(count(texts[number]), count(english[number])) << number << " " << texts[number];
    }
  }
}

TEST_P(LanguageFile, NamesThePageAndTheChoiceOfTheWebEngineAsTheyAre) {
  EXPECT_NE(Text(806).find(Text(803)), std::string::npos) << Text(806);
  EXPECT_NE(Text(820).find(Text(800)), std::string::npos) << Text(820);
  EXPECT_NE(Text(927).find(Text(800)), std::string::npos) << Text(927);
}

TEST_P(LanguageFile, QuotesThePageInTheSameWayEverywhere) {
  const std::string& text = texts[820];
  const std::size_t page = text.find(texts[800]);
  const std::size_t before = text.rfind(' ', page) + 1;
  const std::string quoted = text.substr(before, text.find(' ', page + texts[800].size()) - before);
  for (const int number : {912, 927}) {
    EXPECT_NE(texts[static_cast<std::size_t>(number)].find(quoted), std::string::npos) << number << " " << quoted;
  }
}

TEST(WebTexts, AreTheShippedEnglishOnes) {
  const LangStringArray shipped = Load("english.txt");
  LangStringArray built;
  FillWebTexts(built);
  built[805] = shipped[805];  // belongs to the basket
  built[951] = shipped[951];  // is the same in every language
  for (std::size_t number = 800; number < 967; ++number) EXPECT_EQ(built[number], shipped[number]) << number;
}

TEST_P(LanguageFile, EndsItsMessagesAsSentences) {
  for (const int number : {412, 413, 530, 796, 797, 798, 799}) EXPECT_TRUE(Text(number).ends_with(".")) << number;
  for (const int number : {403, 408, 409, 410, 411, 536}) {
    EXPECT_NE(Text(number).find('?'), std::string::npos) << number;
  }
  for (const int number : {520, 524, 525, 526, 534, 537}) EXPECT_TRUE(Text(number).ends_with("...")) << number;
  for (const int number : {275, 276, 500, 609, 615, 616, 622, 624, 625, 626, 627, 630, 631, 632, 669, 670}) {
    EXPECT_TRUE(Text(number).ends_with(":")) << number << " " << Text(number);
  }
}

INSTANTIATE_TEST_SUITE_P(Shipped, LanguageFile, testing::ValuesIn(kFiles),
                         [](const testing::TestParamInfo<const char*>& file) {
                           const std::string name = file.param;
                           return name == ".txt" ? std::string("nameless") : name.substr(0, name.size() - 4);
                         });

TEST(LanguageFiles, NamelessOneIsEnglishWithoutItsName) {
  std::vector<std::string> expected = Lines(ReadFile("english.txt"));
  ASSERT_EQ(std::erase(expected, "LANG=English"), 1u);
  EXPECT_EQ(Lines(ReadFile(".txt")), expected);
}

TEST(LanguageFiles, AreAllTested) {
  std::set<std::string> placed;
  for (const auto& entry : std::filesystem::directory_iterator(PELLORA_LANGUAGE_FOLDER)) {
    placed.insert(entry.path().filename().string());
  }
  EXPECT_EQ(placed, std::set<std::string>(std::begin(kFiles), std::end(kFiles)));
}

TEST(LanguageFiles, NameEachLanguageInThatLanguage) {
  const std::map<std::string, std::string> kNames = {{"english.txt", "English"},
                                                     {"french.txt",
                                                      "Fran\xc3\xa7"
                                                      "ais"},
                                                     {"german.txt", "Deutsch"},
                                                     {"italian.txt", "Italiano"},
                                                     {"polish.txt", "Polski"},
                                                     {"portuguese.txt", "Portugu\xc3\xaas (Brasil)"},
                                                     {"spanish.txt", "Espa\xc3\xb1ol"}};
  for (const auto& [file, name] : kNames) {
    const std::vector<std::string> lines = Lines(ReadFile(file));
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "LANG=" + name), 1) << file;
  }
}

// Except units, names and words that both languages have, a text equal to English's was forgotten.
TEST(LanguageFiles, TranslateEverythingButNamesAndSigns) {
  const std::map<std::string, std::set<std::size_t>> kSame = {
      {"french.txt", {4, 5, 6, 103, 202, 203, 251, 635, 704, 787, 791, 951}},
      {"german.txt", {4, 5, 6, 107, 202, 204, 205, 251, 635, 704, 951}},
      {"italian.txt", {4, 5, 6, 107, 202, 204, 407, 635, 704, 786, 889, 951, 987}},
      {"polish.txt", {4, 5, 6, 202, 635, 704, 951}},
      {"portuguese.txt", {0, 4, 5, 6, 202, 205, 635, 704, 951}},
      {"spanish.txt", {0, 4, 5, 6, 202, 407, 600, 704, 951}}};
  const LangStringArray english = Load("english.txt");
  for (const auto& [file, expected] : kSame) {
    const LangStringArray texts = Load(file);
    std::set<std::size_t> same;
    for (std::size_t number = 0; number < english.size(); ++number) {
      if (!english[number].empty() && english[number] == texts[number]) same.insert(number);
    }
    EXPECT_EQ(same, expected) << file;
  }
}

// French puts a no-break space before these marks.
TEST(LanguageFiles, FrenchHasNoBreakSpacesBeforePunctuation) {
  const LangStringArray texts = Load("french.txt");
  for (const std::string& text : texts) {
    for (const char* const mark : {" :", " ;", " ?"}) EXPECT_EQ(text.find(mark), std::string::npos) << text;
    for (std::size_t i = 1; i < text.size(); ++i) {
      if ((text[i] != ':' || text.compare(i, 3, "://") == 0) && text[i] != ';' && text[i] != '?') continue;
      EXPECT_EQ(text.compare(i - 2, 2, "\xc2\xa0"), 0) << text;
    }
  }
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
