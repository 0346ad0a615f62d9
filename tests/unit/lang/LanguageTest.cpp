#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "SimPlatform.h"
#include "lang/Language.h"
#include "ports/Failure.h"
#include "ui/Controls.h"

namespace pellora {
namespace {

using namespace std::string_literals;

// One control of each translated kind, and some that are not translated.
class SampleWindow : public Window {
 public:
  explicit SampleWindow(Platform& platform) : Window(platform, "SampleWindow", "Sample") {}
  CommandButton Command1{this, "Command1", "Start", 501};
  Label Label1{this, "Label1", "Question", 405};
  Frame Frame1{this, "Frame1", "General", 600};
  OptionButton Option1{this, "Option1", "Fixed", 625};
  CheckBox Check1{this, "Check1", "Check", 612};
  Menu mAddurl{this, "mAddurl", "&Add URL", 110};
  Menu sdb{this, "sdb", "Show download &Basket"};
  TextBox Text1{this, "Text1", "untouched"};
  Toolbar Toolbar1{this, "Toolbar1", {{"add", "Add URL", 100, "", 0}, {"sep", "", 0, "", 0}, {"odd", "x", -1, "y", 0}}};
  TabStrip TabStrip1{this, "TabStrip1", {{"", "Preview", 250, "", 0}, {"", "Own", 0, "", 0}}};
  ListView ListView1{this, "ListView1", {{"", "Filename", 200, "", 80}, {"", "Size", 201, "", 70}}};
};

class LanguageTest : public testing::Test {
 protected:
  void GivenFile(const std::string& name, const std::string& content) { sim.disk().Put("/prog/" + name, content); }
  void Load(const std::string& name) { LoadLanguage(program, name); }
  const std::string& Text(int number) { return program.Text(number); }

  SimPlatform sim;
  Program program{sim.platform()};
  std::shared_ptr<SampleWindow> window = std::make_shared<SampleWindow>(sim.platform());

  void SetUp() override {
    program.languageWindows = [this] { return std::vector<std::shared_ptr<Window>>{window}; };
  }
};

std::string Entry(const std::string& content, int number, const std::string& before = "before") {
  LangStringArray texts;
  texts[static_cast<std::size_t>(number)] = before;
  ReadLanguage(content, texts);
  return texts[static_cast<std::size_t>(number)];
}

TEST(ReadLanguage, ReadsTheTextAfterTheFirstEqualsSign) {
  EXPECT_EQ(Entry("  12=Hello  ", 12), "Hello");
  EXPECT_EQ(Entry("12= Hello", 12), " Hello");
  EXPECT_EQ(Entry("12=a=b", 12), "a=b");
  EXPECT_EQ(Entry("12=", 12), "");
  EXPECT_EQ(Entry("12 = x", 12), " x");
  EXPECT_EQ(Entry("12abc=x", 12), "x");
  EXPECT_EQ(Entry("12=Save as:\xc2\xa0", 12), "Save as:\xc2\xa0");
}

TEST(ReadLanguage, SkipsCommentsAndLinesWithoutAnEqualsSign) {
  for (const char* const line : {"// 12=x", "//12=x", "; 12=x", ";12=x", "  // 12=x", "12", "", " ", "12:x"}) {
    EXPECT_EQ(Entry(line, 12), "before") << line;
    EXPECT_EQ(Entry(line, 0), "before") << line;
  }
}

TEST(ReadLanguage, WritesEntryZeroIfTheLeftSideIsNoNumber) {
  EXPECT_EQ(Entry("Pause=Halt", 0), "Halt");
  EXPECT_EQ(Entry("=Halt", 0), "Halt");
  EXPECT_EQ(Entry("\t12=Halt", 0), "Halt");
}

TEST(ReadLanguage, LetsTheLaterLineWin) {
  EXPECT_EQ(Entry("LANG=Deutsch\r\n0=Byte\r\n", 0), "Byte");
  EXPECT_EQ(Entry("7=a\n7=b\n", 7), "b");
}

TEST(ReadLanguage, RoundsNumbersTiesToEven) {
  EXPECT_EQ(Entry("2.5=x", 2), "x");
  EXPECT_EQ(Entry("1.5=x", 2), "x");
  EXPECT_EQ(Entry("1024.4=x", 1024), "x");
  EXPECT_EQ(Entry("-0.5=x", 0), "x");
}

TEST(ReadLanguage, SkipsNumbersOutsideTheTable) {
  LangStringArray texts;
  ReadLanguage("-1=x\n1025=x\n99999999999999999999=x\n-99999999999999999999=x\n1024.6=x\n", texts);
  for (const std::string& text : texts) EXPECT_EQ(text, "");
  EXPECT_EQ(Entry("1024=last", 1024), "last");
}

TEST(ReadLanguage, AcceptsBothLineEndsAndAByteOrderMark) {
  const std::string lf =
      "\xEF\xBB\xBF"
      "1=a\n2=b  \n\n3=c";
  const std::string crlf = "1=a\r\n2=b  \r\n\r\n3=c\r\n";
  for (const std::string& content : {lf, crlf}) {
    EXPECT_EQ(Entry(content, 1), "a");
    EXPECT_EQ(Entry(content, 2), "b");
    EXPECT_EQ(Entry(content, 3), "c");
  }
}

TEST(ReadLanguage, SurvivesRandomBytes) {
  std::mt19937 random(61);
  const std::string alphabet = "0123456789.-+=/; \r\n\xef\xbb\xbfx";
  for (int round = 0; round < 500; ++round) {
    std::string content;
    for (unsigned left = random() % 500; left > 0; --left) content += alphabet[random() % alphabet.size()];
    LangStringArray texts;
    ReadLanguage(content, texts);
    for (const std::string& text : texts) ASSERT_EQ(text.find('\n'), std::string::npos);
  }
}

TEST_F(LanguageTest, RelabelsEveryTranslatedKindOfControl) {
  GivenFile("x.txt",
            "501=c\n405=l\n600=f\n625=o\n612=k\n110=m\n100=b\n130=tip\n250=t\n200=n\n201=s\n-1=bad\n29=bad\n0=zero\n");
  Load("x");
  EXPECT_EQ(window->Command1.Caption(), "c");
  EXPECT_EQ(window->Label1.Caption(), "l");
  EXPECT_EQ(window->Frame1.Caption(), "f");
  EXPECT_EQ(window->Option1.Caption(), "o");
  EXPECT_EQ(window->Check1.Caption(), "k");
  EXPECT_EQ(window->mAddurl.Caption(), "m");
  EXPECT_EQ(window->TabStrip1.Tabs()[0].caption, "t");
  EXPECT_EQ(window->ListView1.Columns()[0].caption, "n");
  EXPECT_EQ(window->ListView1.Columns()[1].caption, "s");
  EXPECT_EQ(window->ListView1.Columns()[1].width, 70);
}

TEST_F(LanguageTest, LeavesControlsWithoutATableNumberOnLoad) {
  GivenFile("x.txt", "0=zero\n29=bad\n1=kb\n");
  window->Label1.Tag = "99999999999";
  window->Frame1.Tag = "-600";
  window->Command1.Tag = "CANCEL";
  Load("x");
  EXPECT_EQ(window->Caption(), "Sample");
  EXPECT_EQ(window->sdb.Caption(), "Show download &Basket");
  EXPECT_EQ(window->Text1.Text(), "untouched");
  EXPECT_EQ(window->TabStrip1.Tabs()[1].caption, "Own");
  EXPECT_EQ(window->Toolbar1.Buttons()[1].caption, "");
  EXPECT_EQ(window->Toolbar1.Buttons()[2].caption, "x");
  EXPECT_EQ(window->Toolbar1.Buttons()[2].toolTip, "y");
  EXPECT_EQ(window->Label1.Caption(), "Question");
  EXPECT_EQ(window->Frame1.Caption(), "General");
  EXPECT_EQ(window->Command1.Caption(), "Start");
}

TEST_F(LanguageTest, TakesAButtonsToolTipThirtyNumbersLater) {
  GivenFile("x.txt", "100=Add\n130=Adds a URL\n");
  Load("x");
  EXPECT_EQ(window->Toolbar1.Buttons()[0].caption, "Add");
  EXPECT_EQ(window->Toolbar1.Buttons()[0].toolTip, "Adds a URL");
}

TEST_F(LanguageTest, TakesTheToolTipOfAButtonWithoutACaption) {
  window->Toolbar1.Buttons = {{"bare", "", -107, "", 0}};
  GivenFile("x.txt", "107=Browser\n");
  Load("x");
  EXPECT_EQ(window->Toolbar1.Buttons()[0].caption, "");
  EXPECT_EQ(window->Toolbar1.Buttons()[0].toolTip, "Browser");
}

TEST_F(LanguageTest, LaysWindowsOutForTheWordFile) {
  GivenFile("x.txt", "786=&Datei\n");
  Load("x");
  EXPECT_EQ(sim.windows().script, "&Datei");
}

TEST_F(LanguageTest, LeavesAToolTipWhoseNumberIsBeyondTheTable) {
  window->Toolbar1.Buttons = {{"in", "in", 994, "own", 0}, {"beyond", "beyond", 995, "own", 0}};
  GivenFile("x.txt", "994=Last\n995=Beyond\n1024=tip\n");
  Load("x");
  EXPECT_EQ(window->Toolbar1.Buttons()[0].caption, "Last");
  EXPECT_EQ(window->Toolbar1.Buttons()[0].toolTip, "tip");
  EXPECT_EQ(window->Toolbar1.Buttons()[1].caption, "Beyond");
  EXPECT_EQ(window->Toolbar1.Buttons()[1].toolTip, "own");
}

TEST_F(LanguageTest, LeavesEveryKindOfControlWithoutATableNumber) {
  for (const char* const tag : {"0", "-1", "99999", "", "none"}) {
    SampleWindow sample(sim.platform());
    const std::vector<Control*> controls = {&sample.Command1, &sample.Label1, &sample.Frame1,
                                            &sample.Option1,  &sample.Check1, &sample.mAddurl};
    for (Control* const control : controls) control->Tag = tag;
    LangStringArray texts;
    texts.fill("other");
    ApplyLanguage(sample, texts);
    EXPECT_EQ(sample.Command1.Caption(), "Start") << tag;
    EXPECT_EQ(sample.Label1.Caption(), "Question") << tag;
    EXPECT_EQ(sample.Frame1.Caption(), "General") << tag;
    EXPECT_EQ(sample.Option1.Caption(), "Fixed") << tag;
    EXPECT_EQ(sample.Check1.Caption(), "Check") << tag;
    EXPECT_EQ(sample.mAddurl.Caption(), "&Add URL") << tag;
  }
}

TEST_F(LanguageTest, TitlesAWindowThatHasANumber) {
  GivenFile("x.txt", "695=Enter\n");
  window->Tag = "695";
  Load("x");
  EXPECT_EQ(window->Caption(), "Enter");
  for (const char* const outside : {"-695", "1025", "99999999999"}) {
    window->Tag = outside;
    window->Caption = "Sample";
    Load("x");
    EXPECT_EQ(window->Caption(), "Sample") << outside;
  }
}

TEST_F(LanguageTest, BlanksAControlAtFirstAndLaterKeepsItsPreviousText) {
  GivenFile("short.txt", "1=kb\n");
  GivenFile("long.txt", "110=Hinzu\n1=KB\n");
  Load("short");
  EXPECT_EQ(window->mAddurl.Caption(), "");
  Load("long");
  EXPECT_EQ(window->mAddurl.Caption(), "Hinzu");
  Load("short");
  EXPECT_EQ(window->mAddurl.Caption(), "Hinzu");
  EXPECT_EQ(Text(1), "kb");
}

TEST_F(LanguageTest, KeepsThePreviousLanguagesTextIfTheNewOneLacksIt) {
  GivenFile("german.txt", "110=Hinzu\n405=Laden?\n");
  GivenFile("french.txt", "110=Ajouter\n");
  Load("german");
  Load("french");
  EXPECT_EQ(Text(110), "Ajouter");
  EXPECT_EQ(Text(405), "Laden?");
  EXPECT_EQ(window->Label1.Caption(), "Laden?");
}

TEST_F(LanguageTest, ChangesNothingIfTheFileIsMissing) {
  GivenFile("x.txt", "110=Hinzu\n");
  Load("x");
  EXPECT_THROW(Load("y"), Failure);
  EXPECT_EQ(Text(110), "Hinzu");
  EXPECT_EQ(window->mAddurl.Caption(), "Hinzu");
}

TEST_F(LanguageTest, LoadsTheNamelessFileForAnEmptyName) {
  GivenFile(".txt", "110=Add\n");
  Load("");
  EXPECT_EQ(Text(110), "Add");
}

TEST_F(LanguageTest, LoadsFilesOnlyFromTheProgramsFolder) {
  for (const char* const name : {"../x.txt", "sub/x.txt", "x"}) GivenFile(name, "1=out\n");
  for (const std::string& name : {"../x"s, "sub/x"s, "x\0y"s, "/etc/passwd"s}) EXPECT_THROW(Load(name), Failure);
  EXPECT_EQ(Text(1), "");
  EXPECT_EQ(sim.disk().Calls(), 0U);
}

TEST_F(LanguageTest, RefusesAFileAboveOneMebibyte) {
  const std::string filler(static_cast<std::size_t>(kLargestLanguageFile) - 4, '\n');
  GivenFile("largest.txt", "1=a\n" + filler);
  GivenFile("larger.txt", "1=b\n" + filler + "\n");
  Load("largest");
  EXPECT_EQ(Text(1), "a");
  EXPECT_THROW(Load("larger"), Failure);
  EXPECT_EQ(Text(1), "a");
}

TEST_F(LanguageTest, RelabelsEveryWindowOfTheProgram) {
  const auto second = std::make_shared<SampleWindow>(sim.platform());
  program.languageWindows = [&] { return std::vector<std::shared_ptr<Window>>{window, second}; };
  GivenFile("x.txt", "501=Los\n");
  Load("x");
  EXPECT_EQ(window->Command1.Caption(), "Los");
  EXPECT_EQ(second->Command1.Caption(), "Los");
}

}  // namespace
}  // namespace pellora
