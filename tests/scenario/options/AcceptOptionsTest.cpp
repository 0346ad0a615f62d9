// OK in the options dialog: the checks in their order, the settings applied and stored, the language.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "OptionsFixture.h"

namespace pellora {
namespace {

using AcceptOptions = OptionsFixture;

constexpr const char* kDownloads = "/home/u/Documents/Pellora/downloads/";
constexpr const char* kTemp = "/home/u/Documents/Pellora/temp/";

TEST_F(AcceptOptions, EndsBothFoldersWithASeparator) {
  Open();
  Type(Dialog().Text1, "/c/x");
  Type(Dialog().Text2, "/c/y/");
  Accepts();
  EXPECT_EQ(Dialog().Text1.Text(), "/c/x/");
  EXPECT_EQ(Dialog().Text2.Text(), "/c/y/");
  EXPECT_EQ(Set().TempFolder, "/c/x/");
  EXPECT_EQ(Set().DownloadFolder, "/c/y/");
}

TEST_F(AcceptOptions, ReportsWhichFolderIsMissing) {
  Open();
  Type(Dialog().Text1, "");
  Refuses(Text(797), kInformation);
  Type(Dialog().Text2, "");
  Refuses(Text(796), kInformation);  // checked first
}

TEST_F(AcceptOptions, AcceptsOnlyAbsoluteFolders) {
  Open();
  for (const char* const folder : {"x", "~/x", "./x", " /x", "$HOME"}) {
    Type(Dialog().Text2, folder);
    Refuses(Text(797), kInformation);
    EXPECT_EQ(Dialog().Text2.Text(), folder);
    Type(Dialog().Text2, kDownloads);
    Type(Dialog().Text1, folder);
    Refuses(Text(797), kInformation);
    Type(Dialog().Text1, kTemp);
  }
}

TEST_F(AcceptOptions, ReportsAnUnwritableDownloadsFolderAsAnEmptyTemporaryOne) {
  Open();
  sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Open && path == "/c/y/temp.tst"; }, 1,
      true);
  Type(Dialog().Text2, "/c/y");
  Refuses(Text(797), kInformation);
}

TEST_F(AcceptOptions, ReportsAnUnwritableTemporaryFolderInEnglish) {
  Open();
  Choose("Deutsch");
  sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Open && path == "/c/x/temp.tst"; }, 1,
      true);
  Type(Dialog().Text1, "/c/x");
  Refuses("Invalid Temp Folder, couldn't write temporary information in it", kInformation, "Invalid Folder");
  EXPECT_TRUE(sim.disk().Has(std::string(kDownloads) + "temp.tst"));  // refused before it is deleted
}

TEST_F(AcceptOptions, RefusesADiskWithoutRoomForTheTestFile) {
  Open();
  sim.disk().FailWhere([](DiskCall call, const std::string&) { return call == DiskCall::Write; });
  Refuses(Text(797), kInformation);
}

TEST_F(AcceptOptions, LeavesOneTestFileInTheTemporaryFolder) {
  Open();
  Accepts();
  EXPECT_EQ(sim.disk().Get(std::string(kTemp) + "temp.tst"), "test\n");
  EXPECT_FALSE(sim.disk().Has(std::string(kDownloads) + "temp.tst"));
}

TEST_F(AcceptOptions, ReplacesAnEarlierTestFileCompletely) {
  sim.disk().Put(std::string(kTemp) + "temp.tst", SimContent("something longer than a test"));
  Open();
  Accepts();
  EXPECT_EQ(sim.disk().Get(std::string(kTemp) + "temp.tst"), "test\n");
}

TEST_F(AcceptOptions, LeavesNoTestFileIfBothFoldersAreTheSame) {
  Open();
  Type(Dialog().Text1, "/c/one");
  Type(Dialog().Text2, "/c/one/");
  Accepts();
  EXPECT_FALSE(sim.disk().Has("/c/one/temp.tst"));
}

TEST_F(AcceptOptions, CreatesOneLevelOfFolders) {
  Open();
  Type(Dialog().Text1, "/c/x");
  Type(Dialog().Text2, "/c/no/such/parent");
  Refuses(Text(797), kInformation);
  EXPECT_TRUE(sim.platform().files.Exists("/c/x"));
  EXPECT_FALSE(sim.platform().files.Exists("/c/no"));
}

TEST_F(AcceptOptions, RefusesSegmentCountsOutsideOneToEight) {
  Open();
  for (const char* const text : {"0", "9", "abc", "", "-1", "0.9", "8.4", "8.0001"}) {
    Type(Dialog().Text3, text);
    Refuses(Text(798), kWarning);
  }
  Type(Dialog().Text3, "8");
  Accepts();
  EXPECT_EQ(Set().MaxSegments, 8);
}

TEST_F(AcceptOptions, RefusesDownloadCountsOutsideOneToNinetyNine) {
  Open();
  for (const char* const text : {"0", "100", "99.5", "none"}) {
    Type(Dialog().Text4, text);
    Refuses(Text(799), kWarning);
  }
  Type(Dialog().Text3, "9");
  Refuses(Text(798), kWarning);  // the segments first
  Type(Dialog().Text3, "1");
  Type(Dialog().Text4, "99");
  Accepts();
  EXPECT_EQ(Set().MaxSimulDownlads, 99);
}

TEST_F(AcceptOptions, KeepsThePreviousNumberIfItsConversionFails) {
  const struct {
    const char* text;
    std::int32_t value;
  } kCases[] = {{"3x", 4}, {"1,000", 4}, {"1e1", 4}, {"1 2", 4}, {"1.5", 2}, {"2.5", 2}, {" 6 ", 6}, {"+7", 7}};
  Start();
  for (const auto& c : kCases) {
    Set().MaxSegments = 4;
    Set().MaxSimulDownlads = 4;
    Show();
    Type(Dialog().Text3, c.text);
    Type(Dialog().Text4, c.text);
    Accepts();
    EXPECT_EQ(Set().MaxSegments, c.value) << c.text;
    EXPECT_EQ(Set().MaxSimulDownlads, c.value) << c.text;
    EXPECT_EQ(Stored("MaxSegments"), std::to_string(c.value)) << c.text;
  }
}

TEST_F(AcceptOptions, StoresAZeroOrMissingPortAs8080) {
  Start();
  for (const char* const text : {"0", "", "abc", "0.5", ".4", "-0"}) {
    Show();
    Type(Dialog().Text8, text);
    Accepts();
    EXPECT_EQ(Set().ProxyPort, 8080) << text;
    EXPECT_EQ(Stored("ProxyPort"), "8080") << text;
  }
}

TEST_F(AcceptOptions, AcceptsAPortThatTheNextLoadRejects) {
  Open();
  Type(Dialog().Text8, "99999");
  Accepts();
  EXPECT_EQ(Set().ProxyPort, 99999);
  EXPECT_EQ(Stored("ProxyPort"), "99999");
  EXPECT_THROW(AfterRestart(), Failure);
}

TEST_F(AcceptOptions, RoundsTheLeadingNumberOfThePort) {
  Start();
  const struct {
    const char* text;
    std::int32_t value;
  } kCases[] = {{"3128 x", 3128}, {"1.5", 2}, {"2.5", 2}, {"-5", -5}, {"99999999999", 2147483647}};
  for (const auto& c : kCases) {
    Show();
    Type(Dialog().Text8, c.text);
    Accepts();
    EXPECT_EQ(Set().ProxyPort, c.value) << c.text;
  }
}

TEST_F(AcceptOptions, StoresEverySwitchAndText) {
  Open();
  for (CheckBox* box : {&Dialog().Check1, &Dialog().Check2, &Dialog().Check3, &Dialog().Check4, &Dialog().Check5,
                        &Dialog().Check6, &Dialog().Check7, &Dialog().Check8, &Dialog().Check9, &Dialog().Check10,
                        &Dialog().Check14, &Dialog().Check15}) {
    Tick(*box, !box->Value());
  }
  Do([&] { Dialog().Option2.SetByUser(true); });
  Type(Dialog().Text7, "proxy.example");
  Type(Dialog().Text9, "HTM, ,x");
  Accepts();
  const Settings& s = Set();
  EXPECT_FALSE(s.CheckClipboard || s.BrowserIngeration || s.SafeDisk);
  EXPECT_TRUE(s.SaveAs && s.AutoPreviewZIP && s.AutoCloseInternet && s.Schedule && s.ProxyHTTP && s.ProxyFTP);
  EXPECT_TRUE(s.AutoStart);
  EXPECT_FALSE(s.StayAwake || s.ShowNotices);
  EXPECT_EQ(s.ScheduleOption, 1);
  EXPECT_EQ(s.ProxyServer, "proxy.example");
  EXPECT_EQ(s.IgnoreString, "HTM, ,x");
  const Settings loaded = AfterRestart();
  EXPECT_EQ(loaded.SaveAs, s.SaveAs);
  EXPECT_EQ(loaded.CheckClipboard, s.CheckClipboard);
  EXPECT_EQ(loaded.IgnoreString, s.IgnoreString);
  EXPECT_EQ(loaded.ScheduleOption, 1);
  EXPECT_EQ(loaded.ScheduleHour, s.ScheduleHour);
}

TEST_F(AcceptOptions, WritesAllSettingsInOneStep) {
  Open();
  const std::size_t before = sim.settings().writes.size();
  Accepts();
  ASSERT_EQ(sim.settings().writes.size(), before + 1);
  EXPECT_EQ(sim.settings().writes.back().first, "Pellora");
  EXPECT_EQ(sim.settings().writes.back().second.size(), 21U);
}

TEST_F(AcceptOptions, KeepsChosenFoldersUntilTheProgramEnds) {
  Open();
  Type(Dialog().Text1, "/c/x");
  Type(Dialog().Text2, "/c/y");
  Accepts();
  EXPECT_EQ(Stored("DownloadFolder"), "/c/y/");
  EXPECT_EQ(Stored("TempFolder"), "/c/x/");
  EXPECT_EQ(sim.settings().Get("Brenmoor", "DownloadFolder"), std::nullopt);
  EXPECT_EQ(AfterRestart().DownloadFolder, kDownloads);
  EXPECT_EQ(AfterRestart().TempFolder, kTemp);
}

TEST_F(AcceptOptions, AlwaysWritesTheAutostartEntry) {
  Start();
  for (const bool wanted : {true, true, false, false}) {
    const int before = sim.autoStart().writes;
    Show();
    Tick(Dialog().Check10, wanted);
    Accepts();
    EXPECT_EQ(sim.autoStart().present, wanted);
    EXPECT_EQ(sim.autoStart().writes, before + 1);
  }
}

TEST_F(AcceptOptions, IgnoresAnAutostartEntryOrSettingThatCannotBeWritten) {
  Open();
  sim.autoStart().failWrites = true;
  sim.settings().failWrites = true;
  Type(Dialog().Text3, "2");
  const auto before = sim.settings().values;
  Accepts();
  EXPECT_EQ(Set().MaxSegments, 2);
  EXPECT_EQ(sim.settings().values, before);
}

TEST_F(AcceptOptions, ShowsAMessageOrStoresEverythingIfAnyDiskCallFails) {
  Start();
  Show();
  const std::uint64_t before = sim.disk().Calls();
  Accepts();
  const std::uint64_t calls = sim.disk().Calls() - before;
  ASSERT_GT(calls, 6U);
  int refused = 0;
  for (std::uint64_t n = 1; n <= calls; ++n) {
    Show();
    const std::string segments = std::to_string(1 + n % 8);
    Type(Dialog().Text3, segments);
    sim.disk().FailCall(sim.disk().Calls() + n);
    ClickOK();
    if (Dialog().Loaded()) {
      ++refused;
      EXPECT_NE(Box(), "") << n;
      Answer(kAnswerOk);
      Do([&] { Dialog().Command1.Click(); });
    } else {
      EXPECT_EQ(Stored("MaxSegments"), segments) << n;
    }
    sim.disk().NoFaults();
  }
  EXPECT_EQ(refused, 4);  // opening and writing each of the two test files
}

// --- Dates.

TEST_F(AcceptOptions, ChangesOnlyTheSecondsInAnyLocale) {
  const std::vector<DateForms> kForms = {
      {},
      {"M/d/yyyy", "h:mm AP", "AM", "PM", "0"},
      {"dd.MM.yyyy", "HH:mm", "AM", "PM", "0"},
      {"d.M.yyyy", "H.mm", "ap.", "ip.", "0"},
      {"yyyy. M. d.", "AP h:mm", "오전", "오후", "0"},
      {"d\u200F/M\u200F/yyyy", "h:mm\u202FAP", "ص", "م", "٠"},
      {"yyyy-MM-dd", "HH 'h' mm", "a.m.", "p.m.", "0"},
      {"d/MM/yyyy", "h:mm AP", "a. m.", "p. m.", "0"},
  };
  Start();
  for (const DateForms& forms : kForms) {
    sim.locale().forms = forms;
    Set().ScheduleDate = SerialOf({2025, 2, 3, 14, 5, 59});
    Set().ScheduleHour = SerialOf({2026, 11, 22, 0, 7, 30});
    Show();
    Accepts();
    EXPECT_EQ(StoredDateTime(Set().ScheduleDate), "2025-02-03 14:05:00") << forms.date;
    EXPECT_EQ(StoredDateTime(Set().ScheduleHour), "2026-11-22 00:07:00") << forms.date;
    EXPECT_EQ(Stored("ScheduleDate"), "2025-02-03 14:05:00") << "the same in every locale";
  }
}

TEST_F(AcceptOptions, KeepsThePreviousDateIfTheTextIsInvalid) {
  Open();
  Set().ScheduleDate = SerialOf({2026, 12, 24, 18, 0, 0});
  const struct {
    const char* date;
    const char* time;
  } kCases[] = {{"soon", "12:00"}, {"2026-02-30", "12:00"}, {"", "12:00"}, {"", ""}, {"2026-12-31", "25:00"}};
  for (const auto& c : kCases) {
    Show();
    Type(Dialog().Text5, c.date);
    Type(Dialog().Text6, c.time);
    Accepts();
    EXPECT_EQ(StoredDateTime(Set().ScheduleDate), "2026-12-24 18:00:00") << c.date << " " << c.time;
  }
}

TEST_F(AcceptOptions, ReadsADateWithoutATimeAsMidnight) {
  Open();
  Type(Dialog().Text5, "2026-12-31");
  Type(Dialog().Text6, "");
  Accepts();
  EXPECT_EQ(StoredDateTime(Set().ScheduleDate), "2026-12-31 00:00:00");
}

TEST_F(AcceptOptions, MovesAnHourThatHasPassedToTomorrow) {
  const struct {
    const char* text;
    const char* stored;
  } kCases[] = {{"09:29", "2026-11-22 09:29:00"},
                {"9:30", "2026-11-22 09:30:00"},  // fifteen seconds ago
                {"9:31", "2026-11-21 09:31:00"},
                {"23:59", "2026-11-21 23:59:00"},
                {"", "2026-11-22 00:00:00"}};
  Start();
  for (const auto& c : kCases) {
    Show();
    Type(Dialog().Text10, c.text);
    Accepts();
    EXPECT_EQ(Stored("ScheduleHour"), c.stored) << c.text;
  }
}

TEST_F(AcceptOptions, KeepsThePreviousHourIfTheTextIsInvalidButAdvancesIt) {
  Open();
  Set().ScheduleHour = SerialOf({2026, 11, 19, 6, 0, 0});
  Type(Dialog().Text10, "noon");
  Accepts();
  EXPECT_EQ(StoredDateTime(Set().ScheduleHour), "2026-11-22 06:00:00");
}

// --- Messages.

TEST_F(AcceptOptions, ShowsTheSameMessageOnceAtATime) {
  Open();
  Type(Dialog().Text3, "0");
  ClickOK();
  ClickOK();
  EXPECT_EQ(sim.dialogs().Boxes().size(), 1U);
  Answer(kAnswerOk);
  ClickOK();
  EXPECT_EQ(sim.dialogs().Boxes().size(), 2U);
}

TEST_F(AcceptOptions, SurvivesItsDialogClosingDuringAMessage) {
  Open();
  Type(Dialog().Text3, "0");
  ClickOK();
  Do([&] { Dialog().ViewClosed(); });
  Answer(kAnswerOk);
  EXPECT_FALSE(Dialog().Loaded());
  Show();
  EXPECT_EQ(Dialog().Text3.Text(), "4");
}

// --- The language.

TEST_F(AcceptOptions, RelabelsEveryWindowAtOnce) {
  Start();
  Record("http://h/a.zip");
  Rec(Record("http://h/b.zip")).Finished = true;
  Rec(2).FileSize = 2048;
  Do([&] {
    window().RefreshRows(0, 1);
    window().RefreshDownList();
  });
  Settle();
  Show();
  Choose("Deutsch");
  Accepts();
  EXPECT_EQ(Set().Language, "german");
  EXPECT_EQ(Stored("Language"), "german");
  EXPECT_EQ(window().mFile.Caption(), "&Datei");
  EXPECT_EQ(window().TabStrip1.Tabs()[0].caption, "Vorschau");
  EXPECT_EQ(window().ListView1.Columns()[0].caption, "Dateiname");
  EXPECT_EQ(window().form1->Command3.Caption(), "Abbrechen");
  EXPECT_EQ(window().wantDown->Command1.Caption(), "Ja");
  EXPECT_EQ(Dialog().Caption(), "Pellora !   Optionen");
  EXPECT_EQ(Dialog().Check1.Caption(), "Zwischenablage auf URLs überwachen");
  // Also the words in the rows of both lists.
  sim.RunReady();
  ASSERT_NE(Row(window().ListView1, 1), nullptr);
  EXPECT_EQ(Row(window().ListView1, 1)->subItems[2].rfind("Stopp (", 0), 0U) << Row(window().ListView1, 1)->subItems[2];
  ASSERT_NE(Row(window().ListView2, 2), nullptr);
  EXPECT_EQ(Row(window().ListView2, 2)->subItems[0], "2 KB");
}

TEST_F(AcceptOptions, TakesToolbarToolTipsThirtyNumbersLaterAndThatOfAButtonWithoutACaptionFromItsOwn) {
  Open();
  Choose("Deutsch");
  Accepts();
  int withoutCaption = 0;
  for (const ControlPart& button : window().Toolbar1.Buttons()) {
    if (button.number == 0) continue;
    const bool hasCaption = button.number > 0;
    withoutCaption += hasCaption ? 0 : 1;
    EXPECT_EQ(button.caption, hasCaption ? Text(button.number) : "") << button.key;
    EXPECT_EQ(button.toolTip, Text(hasCaption ? button.number + 30 : -button.number)) << button.key;
    EXPECT_NE(button.toolTip, "") << button.key;
  }
  EXPECT_EQ(withoutCaption, 1);
}

TEST_F(AcceptOptions, ReloadsAnUnchangedLanguage) {
  Open();
  sim.disk().Put("/prog/english.txt", SimContent("LANG=English\n110=&Fetch\n"));
  Accepts();
  EXPECT_EQ(window().mAddurl.Caption(), "&Fetch");
  EXPECT_EQ(window().mDeleteurl.Caption(), "&Delete URL");  // missing in the file now
}

TEST_F(AcceptOptions, KeepsThePreviousLanguagesTextIfTheNewOneLacksIt) {
  sim.disk().Put("/prog/sparse.txt", SimContent("LANG=Sparse\n786=&F\n"));
  Open();
  Choose("Deutsch");
  Accepts();
  Show();
  Choose("Sparse");
  Accepts();
  EXPECT_EQ(window().mFile.Caption(), "&F");
  EXPECT_EQ(window().mAddurl.Caption(), "URL &hinzufügen");
}

TEST_F(AcceptOptions, BlanksAControlWhoseNumberNoLanguageGave) {
  sim.disk().Put("/prog/english.txt", SimContent("LANG=English\n786=&File\n"));
  Open();
  EXPECT_EQ(window().mAddurl.Caption(), "");
  EXPECT_EQ(Dialog().OK.Caption(), "");
}

TEST_F(AcceptOptions, LoadsTheFirstFileOfTheSelectedName) {
  sim.disk().Put("/prog/another.txt", SimContent("LANG=DEUTSCH\n786=A\n"));
  Open();
  Choose("Deutsch");
  Accepts();
  EXPECT_EQ(Set().Language, "another");
}

TEST_F(AcceptOptions, UsesTheSelectedRowNotTypedText) {
  Open();
  Do([&] { Dialog().Combo1.Text = "Deutsch"; });
  Accepts();
  EXPECT_EQ(Set().Language, "english");
}

TEST_F(AcceptOptions, KeepsTheTextsIfTheLanguageFileVanished) {
  Open();
  Choose("Deutsch");
  sim.disk().Lose("/prog/german.txt");
  Accepts();
  EXPECT_EQ(Set().Language, "german");
  EXPECT_EQ(window().mFile.Caption(), "&File");
  EXPECT_EQ(Stored("Language"), "german");
}

TEST_F(AcceptOptions, DoesNotRelabelOpenTransfers) {
  Start();
  const std::int16_t index = Record("http://h/a.zip");
  FakeTransfer& transfer = Transferring(index);
  Show();
  Choose("Deutsch");
  Accepts();
  EXPECT_FALSE(transfer.unloaded);
  for (const auto& relabelled : program().languageWindows()) EXPECT_NE(relabelled->TypeName, "TransferWindow");
}

}  // namespace
}  // namespace pellora
