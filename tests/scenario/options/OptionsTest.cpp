// The options dialog: its controls, pages, values and languages.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "OptionsFixture.h"
#include "core/Ascii.h"
#include "lang/Language.h"
#include "ui/Controls.h"

namespace pellora {
namespace {

using Options = OptionsFixture;

using Lines = std::vector<std::string>;

std::string CaptionOf(const Control& control) {
  if (const auto* label = dynamic_cast<const Label*>(&control)) return label->Caption;
  if (const auto* button = dynamic_cast<const CommandButton*>(&control)) return button->Caption;
  if (const auto* box = dynamic_cast<const CheckBox*>(&control)) return box->Caption;
  if (const auto* option = dynamic_cast<const OptionButton*>(&control)) return option->Caption;
  if (const auto* frame = dynamic_cast<const Frame*>(&control)) return frame->Caption;
  return "";
}

TEST_F(Options, HaveTheirControlsWithNumbersAndCaptions) {
  const struct {
    const char* name;
    const char* number;
    const char* caption;
  } kControls[] = {
      {"Frame1", "600", "General"},
      {"Check10", "610", "Auto start when Windows starts."},
      {"Check2", "611", "Browser Integration ( right button popup ) "},
      {"Check5", "607", "Auto Preview ZIP files"},
      {"Check4", "606", "Safe disk writing mode ( slower but avoid data losts )"},
      {"Check3", "605", "Choose the destination directory before downloading"},
      {"Check1", "612", "Check URLs in the clipboard"},
      {"Label7", "613", "Ignore this kinds of files  (list of extensions separated by a comma)"},
      {"Text9", "", ""},
      {"Label3", "608", "Default downloads folder"},
      {"Text2", "", ""},
      {"Label1", "609", "Temporary Segmented Files path :"},
      {"Text1", "", ""},
      {"Frame2", "614", "Connection settings"},
      {"l1", "615", "Max Number of Segments (1-8) :"},
      {"Text3", "", ""},
      {"Label2", "616", "Max Simultaneous downloads (1-99) :"},
      {"Text4", "", ""},
      {"Frame4", "630", "Proxy settings :"},
      {"Check8", "633", "Use Proxy HTTP"},
      {"Check9", "634", "Use Proxy FTP (not working yet)"},
      {"Label4", "631", "Server :"},
      {"Text7", "", ""},
      {"Label5", "632", "Port :"},
      {"Text8", "", ""},
      {"Frame3", "623", "Scheduling"},
      {"Check7", "624", "Starts scheduled downloads at this date :"},
      {"Option1", "625", "Fixed time :"},
      {"Text5", "", ""},
      {"Text6", "", ""},
      {"Command2", "629", "Get now"},
      {"Option2", "626", "Daily :"},
      {"Label8", "627", "Hour :"},
      {"Text10", "", ""},
      {"Check6", "648", "Close Internet connection when scheduled downloads are finished."},
      {"Frame5", "621", "Language"},
      {"Label6", "622", "Select your prefered language for Pellora :"},
      {"Combo1", "", ""},
      {"Frame6", "800", "Transfers"},
      {"Label9", "801", "Downloads of the web engine, which checks every byte :"},
      {"Option3", "802", "Only what the classic engine refuses (https, ftps, sftp)"},
      {"Option4", "803", "All downloads"},
      {"Option5", "804", "Off"},
      {"Label10", "806", "An http address that leads to https needs \"All downloads\"."},
      {"Label11", "807", "Additional certificates (PEM file) :"},
      {"Text11", "", ""},
      {"Label12", "867", "Speed limit of all downloads (KiB/s, empty : none) :"},
      {"Text12", "", ""},
      {"Check13", "868", "Only from"},
      {"Text13", "", ""},
      {"Label13", "869", "to"},
      {"Text14", "", ""},
      {"Label14", "870", "o'clock"},
      {"Check12", "903", "Look for checksums beside the file (SHA256SUMS)"},
      {"Check14", "955", "Keep the computer awake while data arrives"},
      {"Check15", "851", "Show a notice when downloads finish or stop"},
      {"OK", "635", "OK"},
      {"Command1", "636", "Cancel"},
  };
  for (const auto& expected : kControls) {
    const Control* const control = Dialog().Find(expected.name);
    ASSERT_NE(control, nullptr) << expected.name;
    EXPECT_EQ(control->Tag(), expected.number) << expected.name;
    EXPECT_EQ(CaptionOf(*control), expected.caption) << expected.name;
  }
  EXPECT_EQ(Dialog().Tag(), "791");
  EXPECT_EQ(Dialog().Caption(), "Pellora !   Options ");
  Lines tabs;
  for (const ControlPart& tab : Dialog().TabStrip1.Tabs()) tabs.push_back(std::to_string(tab.number) + tab.caption);
  EXPECT_EQ(tabs, (Lines{"600General", "601Connection", "602Scheduling", "604Language"}));
}

TEST_F(Options, MatchTheirDesignedCaptionsInEnglish) {
  LangStringArray texts;
  ReadLanguage(LanguageFile("english.txt"), texts);
  std::map<std::string, std::string> designed;
  for (const Control* control : Dialog().Controls()) designed[control->Name] = CaptionOf(*control);
  ApplyLanguage(Dialog(), texts);
  for (const Control* control : Dialog().Controls()) {
    EXPECT_EQ(CaptionOf(*control), TrimTrailingBlanks(designed[control->Name])) << control->Name;
  }
  EXPECT_EQ(Dialog().Caption(), "Pellora !   Options");
}

TEST_F(Options, OpenFromToolbarMenuAndHiddenStrip) {
  Start();
  EXPECT_FALSE(Dialog().Loaded());  // only labelled at the start
  const std::vector<std::function<void()>> ways = {[&] { window().Toolbar1.ClickButton("Options"); },
                                                   [&] { window().mProperties.Click(); },
                                                   [&] { window().Command1(2).Click(); }};
  for (const auto& way : ways) {
    Do(way);
    EXPECT_TRUE(Dialog().Visible());
    Do([&] { Dialog().Command1.Click(); });
    EXPECT_FALSE(Dialog().Loaded());
  }
  EXPECT_FALSE(sim.Ended());  // the strip's third button is not the one that quits
}

TEST_F(Options, StartOnTheFirstPageEachTime) {
  Open();
  Do([&] { Dialog().TabStrip1.SelectByUser(3); });
  Do([&] { Dialog().ViewClosed(); });
  Show();
  EXPECT_EQ(Dialog().TabStrip1.Selected(), 0);
  EXPECT_TRUE(Dialog().Frame1.Visible());
  EXPECT_FALSE(Dialog().Frame5.Visible());
}

TEST_F(Options, ShowTheFramesOfTheSelectedTab) {
  Open();
  const Lines kFrames[] = {{"Frame1"}, {"Frame2", "Frame4", "Frame7"}, {"Frame3"}, {"Frame5"}};
  for (const int page : {0, 1, 2, 3, 1, 0}) {
    Do([&] { Dialog().TabStrip1.SelectByUser(page); });
    Lines shown;
    for (const Control* control : Dialog().Controls()) {
      if (control->TypeName == "Frame" && control->Visible) shown.push_back(control->Name);
    }
    EXPECT_EQ(shown, kFrames[page]) << page;
  }
}

TEST_F(Options, ShowEverySetting) {
  Start();
  Set().AutoStart = Set().SaveAs = Set().ProxyHTTP = Set().Schedule = true;
  Set().BrowserIngeration = Set().CheckClipboard = Set().SafeDisk = false;
  Set().DownloadFolder = "/d/";
  Set().TempFolder = "/t/";
  Set().MaxSegments = 500;
  Set().MaxSimulDownlads = 0;
  Set().ProxyServer = "proxy.example";
  Set().ProxyPort = 3128;
  Set().IgnoreString = "HTM,PHP";
  Set().ScheduleDate = SerialOf({2026, 12, 24, 18, 5, 30});
  Set().ScheduleHour = SerialOf({2026, 11, 22, 7, 45, 0});
  Set().ScheduleOption = 1;
  sim.locale().forms = {"dd.MM.yyyy", "HH:mm", "AM", "PM", "0"};
  Show();
  EXPECT_TRUE(Dialog().Check10.Value() && Dialog().Check3.Value() && Dialog().Check8.Value() &&
              Dialog().Check7.Value());
  EXPECT_FALSE(Dialog().Check2.Value() || Dialog().Check1.Value() || Dialog().Check4.Value());
  EXPECT_FALSE(Dialog().Check5.Value() || Dialog().Check6.Value() || Dialog().Check9.Value());
  EXPECT_EQ(Dialog().Text2.Text(), "/d/");
  EXPECT_EQ(Dialog().Text1.Text(), "/t/");
  EXPECT_EQ(Dialog().Text3.Text(), "500");
  EXPECT_EQ(Dialog().Text4.Text(), "0");
  EXPECT_EQ(Dialog().Text7.Text(), "proxy.example");
  EXPECT_EQ(Dialog().Text8.Text(), "3128");
  EXPECT_EQ(Dialog().Text9.Text(), "HTM,PHP");
  EXPECT_EQ(Dialog().Text5.Text(), "24.12.2026");
  EXPECT_EQ(Dialog().Text6.Text(), "18:05");
  EXPECT_EQ(Dialog().Text10.Text(), "07:45");
  EXPECT_TRUE(Dialog().Option2.Value());
  EXPECT_FALSE(Dialog().Option1.Value());
}

TEST_F(Options, ShowAnyScheduleOptionButOneAsTheFixedTimeAndStoreZero) {
  Start();
  Set().ScheduleOption = 2;
  Show();
  EXPECT_TRUE(Dialog().Option1.Value());
  EXPECT_FALSE(Dialog().Option2.Value());
  Accepts();
  EXPECT_EQ(Set().ScheduleOption, 0);
}

TEST_F(Options, SetOneOfTheTwoKindsOfTime) {
  Open();
  Do([&] { Dialog().Option2.SetByUser(true); });
  EXPECT_FALSE(Dialog().Option1.Value());
  Do([&] { Dialog().Option1.SetByUser(true); });
  EXPECT_FALSE(Dialog().Option2.Value());
}

TEST_F(Options, ReloadTheSettingsAndComeForwardWhenReopened) {
  Open();
  Type(Dialog().Text3, "7");
  Do([&] { Dialog().TabStrip1.SelectByUser(1); });
  Set().ProxyServer = "new.example";
  Show();
  EXPECT_EQ(Dialog().Text3.Text(), "4");
  EXPECT_EQ(Dialog().Text7.Text(), "new.example");
  EXPECT_EQ(Dialog().TabStrip1.Selected(), 1);
  EXPECT_EQ(sim.windows().Record(Dialog()).raised, 2);
  EXPECT_EQ(sim.windows().Count("options"), 1U);
}

TEST_F(Options, ChangeNothingUnlessOKIsPressed) {
  for (const bool byFrame : {false, true}) {
    if (!byFrame) Open();
    Show();
    Type(Dialog().Text2, "/c/elsewhere");
    Type(Dialog().Text3, "1");
    Tick(Dialog().Check10, true);
    Choose("Deutsch");
    Do([&] { byFrame ? Dialog().ViewClosed() : Dialog().Command1.Click(); });
    EXPECT_FALSE(Dialog().Loaded());
    EXPECT_EQ(Set().DownloadFolder, "/home/u/Documents/Pellora/downloads/");
    EXPECT_EQ(Set().MaxSegments, 4);
    EXPECT_EQ(Set().Language, "english");
    EXPECT_EQ(sim.autoStart().writes, 0);
    EXPECT_EQ(Stored("MaxSegments"), std::nullopt);
    EXPECT_EQ(Text(106), "Resume All");
    EXPECT_FALSE(sim.disk().Has("/home/u/Documents/Pellora/temp/temp.tst"));
  }
}

TEST_F(Options, GetNowTakesTheCurrentDateAndTime) {
  sim.locale().forms = {"M/d/yyyy", "h:mm AP", "AM", "PM", "0"};
  Open();
  Type(Dialog().Text5, "");
  Type(Dialog().Text6, "nonsense");
  Do([&] { Dialog().Command2.Click(); });
  EXPECT_EQ(Dialog().Text5.Text(), "11/21/2026");
  EXPECT_EQ(Dialog().Text6.Text(), "9:30 AM");
  // The start of this minute has passed, so that scheduled downloads start at once.
  Accepts();
  EXPECT_EQ(StoredDateTime(Set().ScheduleDate), "2026-11-21 09:30:00");
}

TEST_F(Options, ListTheNameEachLanguageFileGivesItself) {
  sim.disk().Put("/prog/.txt", SimContent("100=x\n"));
  sim.disk().Put("/prog/README.txt", SimContent("Read LANGUAGE=me\nlang=no\n"));
  sim.disk().Put("/prog/UPPER.TXT", SimContent("LANG=Upper\n"));
  sim.disk().Put("/prog/none.txt", SimContent("LANG without an equals sign\n"));
  sim.disk().Put("/prog/comment.txt", SimContent("\xEF\xBB\xBF// LANG=  Commented  \r\n\r\n"));
  sim.disk().Put("/prog/middle.txt", SimContent("  ; a=b LANG=c  \n"));
  sim.disk().Put("/prog/two.txt", SimContent("LANG=One\nLANG=Two"));
  sim.disk().Put("/prog/sub/deep.txt", SimContent("LANG=Deep\n"));
  Open();
  EXPECT_EQ(Dialog().Combo1.Items(), (Lines{"Commented", "English", "Deutsch", "b LANG=c", "One", "Two"}));
  const Lines files = {"comment", "english", "german", "middle", "two", "two"};
  ASSERT_EQ(Dialog().LanguageCount, 6);
  for (std::size_t i = 0; i < files.size(); ++i) {
    EXPECT_EQ(Dialog().LanguageFiles[i], files[i]);
    EXPECT_EQ(Dialog().LanguageNames[i], Dialog().Combo1.Items()[i]);
  }
}

TEST_F(Options, ListTheLanguagesOfAnInstalledProgramFromItsFolder) {
  sim.disk().MakeFolder("/usr/share/pellora/languages");
  sim.disk().Put("/usr/share/pellora/languages/danish.txt", SimContent("LANG=Dansk\n"));
  sim.machine().languageFolder = "/usr/share/pellora/languages";
  Open();
  EXPECT_EQ(Dialog().Combo1.Items(), (Lines{"Dansk"}));
}

TEST_F(Options, ListNoLanguageFileAboveOneMebibyteOrUnreadable) {
  sim.disk().Put("/prog/big.txt", SimContent("LANG=Big\n" + std::string(1 << 20, '\n')));
  sim.disk().Put("/prog/bad.txt", SimContent("LANG=Bad\n"));
  Start();
  sim.disk().FailWhere([](DiskCall call, const std::string& path) {
    return call == DiskCall::OpenForReading && path == "/prog/bad.txt";
  });
  Show();
  EXPECT_EQ(Dialog().Combo1.Items(), (Lines{"English", "Deutsch"}));
}

TEST_F(Options, ListAtMost129Languages) {
  std::string many;
  for (int i = 0; i < 200; ++i) many += "LANG=" + std::to_string(i) + "\n";
  sim.disk().Put("/prog/many.txt", SimContent(many));
  sim.disk().Put("/prog/zulu.txt", SimContent("LANG=Zulu\n"));
  Open();
  EXPECT_EQ(Dialog().LanguageCount, options::kMostLanguages);
  EXPECT_EQ(Dialog().Combo1.Items().size(), 129U);
  EXPECT_EQ(Dialog().Combo1.Items().back(), "126");
  Show();  // counts from the first entry again
  EXPECT_EQ(Dialog().LanguageCount, options::kMostLanguages);
}

TEST_F(Options, SelectTheCurrentLanguageInAnyCase) {
  Start();
  Set().Language = "GERMAN";
  Show();
  EXPECT_EQ(Dialog().Combo1.Text(), "Deutsch");
  EXPECT_EQ(Dialog().Combo1.Index(), 1);
}

TEST_F(Options, SelectNoLanguageWithoutAFile) {
  Start();
  Set().Language = "klingon";
  Show();
  EXPECT_EQ(Dialog().Combo1.Text(), "");
  EXPECT_EQ(Dialog().Combo1.Index(), -1);
  Accepts();
  EXPECT_EQ(Set().Language, "klingon");
}

TEST_F(Options, TakeAFolderFromTheChooser) {
  Open();
  Do([&] { Dialog().Browse2.Click(); });
  ASSERT_EQ(sim.dialogs().Folders().size(), 1U);
  EXPECT_EQ(sim.dialogs().Folders()[0].title, "Default downloads folder");
  EXPECT_EQ(sim.dialogs().Folders()[0].start, "/home/u/Documents/Pellora/downloads/");
  sim.dialogs().AnswerNextFolder("/c/new");
  sim.RunReady();
  EXPECT_EQ(Dialog().Text2.Text(), "/c/new/");
  Do([&] { Dialog().Browse1.Click(); });
  sim.dialogs().AnswerNextFolder(std::nullopt);
  sim.RunReady();
  EXPECT_EQ(Dialog().Text1.Text(), "/home/u/Documents/Pellora/temp/");
  Do([&] { Dialog().Browse1.Click(); });
  sim.dialogs().AnswerNextFolder("/");
  sim.RunReady();
  EXPECT_EQ(Dialog().Text1.Text(), "/");
}

TEST_F(Options, OpenNoSecondChooserForTheSameFolder) {
  Open();
  Do([&] { Dialog().Browse2.Click(); });
  Do([&] { Dialog().Browse2.Click(); });
  Do([&] { Dialog().Browse1.Click(); });
  sim.dialogs().AnswerNextFolder("/c/first");
  sim.RunReady();
  sim.dialogs().AnswerNextFolder("/c/second");
  sim.RunReady();
  EXPECT_EQ(sim.dialogs().Folders().size(), 2U);
  EXPECT_EQ(Dialog().Text2.Text(), "/c/first/");
  EXPECT_EQ(Dialog().Text1.Text(), "/c/second/");
}

TEST_F(Options, CloseWithTheProgramWhileAFolderIsBeingChosen) {
  Open();
  Do([&] { Dialog().Browse2.Click(); });
  ASSERT_EQ(sim.dialogs().Folders().size(), 1U);
  Do([&] { app->SaveAndQuit(); });
  sim.RunFor(1000);
  EXPECT_EQ(Stored("DownloadFolder"), std::nullopt);
}

TEST_F(Options, SwitchTheLanguageDuringAnOpenQuestion) {
  Open();
  sim.clipboard().text = "http://h/a.zip";
  sim.RunFor(500);
  WantDown& question = *window().wantDown;
  ASSERT_TRUE(question.Visible());
  Choose("Deutsch");
  Accepts();
  sim.RunFor(500);
  EXPECT_TRUE(question.Visible());
  EXPECT_EQ(question.Command1.Caption(), "Ja");
  EXPECT_EQ(question.Label2.Caption(), "http://h/a.zip");
  EXPECT_EQ(program().DownloadCount, 0);
  Do([&] { question.Command1.Click(); });
  EXPECT_EQ(program().DownloadCount, 1);
}

TEST_F(Options, IgnoreAFolderChosenAfterTheyWereClosed) {
  Open();
  Do([&] { Dialog().Browse2.Click(); });
  Do([&] { Dialog().ViewClosed(); });
  sim.dialogs().AnswerNextFolder("/c/late");
  sim.RunReady();
  EXPECT_EQ(Dialog().Text2.Text(), "/home/u/Documents/Pellora/downloads/");
}

TEST_F(Options, DoNotStopTheQueueWhileTheyAreOpen) {
  Open();
  Add("http://origin.example/a.bin");
  ASSERT_EQ(program().DownloadCount, 1);
  ASSERT_NE(InSlot(1), nullptr);
  EXPECT_EQ(InSlot(1)->probes, 1);
  EXPECT_TRUE(Dialog().Visible());
}

}  // namespace
}  // namespace pellora
