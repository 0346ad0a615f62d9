#include "MainWindowFixture.h"

namespace pellora {
namespace {

class ClipboardQuestion : public MainWindowFixture {
 protected:
  WantDown& question() { return *window().wantDown; }
  void Copy(const std::string& text) {
    sim.clipboard().text = text;
    sim.RunFor(500);
  }
  void Press(CommandButton& button) {
    Do([&] { button.Click(); });
  }
};

TEST_F(ClipboardQuestion, AsksInTheProgramsLanguageAndAddsOnYes) {
  Start();
  Copy("http://h/a.zip ");
  ASSERT_TRUE(question().Visible());
  EXPECT_EQ(question().Caption(), Text(792));
  EXPECT_EQ(question().Label1.Caption(), Text(405));
  EXPECT_EQ(question().Label2.Caption(), "http://h/a.zip");
  Press(question().Command1);
  EXPECT_FALSE(question().Loaded());
  ASSERT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Rec(1).URL, "http://h/a.zip");
  EXPECT_EQ(transfers.at(0)->probes, 1);
}

TEST_F(ClipboardQuestion, OmitsACopiedLineEnd) {
  Start();
  Copy("http://h/a.zip\n");
  ASSERT_TRUE(question().Visible());
  EXPECT_EQ(question().Label2.Caption(), "http://h/a.zip");
  Press(question().Command1);
  ASSERT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Rec(1).URL, "http://h/a.zip");
  EXPECT_EQ(Rec(1).Path, "/a.zip");
}

TEST_F(ClipboardQuestion, RecognizesAListedUrlCopiedWithItsLineEnd) {
  Start();
  Record("http://h/a.zip");
  Copy("http://h/a.zip\r\n");
  EXPECT_FALSE(question().Loaded());
}

TEST_F(ClipboardQuestion, AddsNothingOnNo) {
  Start();
  Copy("http://h/a.zip");
  Press(question().Command2);
  EXPECT_FALSE(question().Loaded());
  EXPECT_EQ(program().DownloadCount, 0);
}

TEST_F(ClipboardQuestion, TreatsAClosedFrameAsNoAndKeepsWatching) {
  Start();
  Copy("http://h/a.zip");
  question().ViewClosed();
  sim.RunReady();
  EXPECT_FALSE(question().Loaded());
  EXPECT_EQ(program().DownloadCount, 0);
  Copy("http://h/b.zip");
  EXPECT_TRUE(question().Visible());
}

TEST_F(ClipboardQuestion, AsksOnceForAUrlCopiedTwice) {
  Start();
  Copy("http://h/a.zip");
  Press(question().Command2);
  Copy("http://h/a.zip");
  sim.RunFor(5000);
  EXPECT_FALSE(question().Loaded());
}

TEST_F(ClipboardQuestion, AsksAgainAfterAnotherTextUnlessTheUrlIsListedByNow) {
  Start();
  Copy("http://h/a.zip");
  Press(question().Command2);
  Copy("words");
  Copy("http://h/a.zip");
  ASSERT_TRUE(question().Visible());
  Press(question().Command1);
  Copy("words");
  Copy("http://H/A.zip");  // the same in another case
  EXPECT_FALSE(question().Loaded());
}

TEST_F(ClipboardQuestion, TreatsAListedUrlInAnotherCaseAsTheSame) {
  Start();
  Record("http://h/A.zip");
  Copy("http://H/a.ZIP");
  EXPECT_FALSE(question().Loaded());
  Rec(1).InUse = false;
  Copy("words");
  Copy("http://H/a.ZIP");
  EXPECT_TRUE(question().Visible());
}

TEST_F(ClipboardQuestion, IgnoresTheClipboardWhileOpen) {
  Start();
  Copy("http://h/a.zip");
  Copy("http://h/b.zip");
  EXPECT_EQ(question().Label2.Caption(), "http://h/a.zip");
  Press(question().Command1);
  ASSERT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Rec(1).URL, "http://h/a.zip");
  sim.RunFor(500);
  EXPECT_EQ(question().Label2.Caption(), "http://h/b.zip");
  EXPECT_TRUE(question().Visible());
}

TEST_F(ClipboardQuestion, LetsQueueSpeedAndTrayContinue) {
  Start();
  program().settings.MaxSimulDownlads = 99;
  Copy("http://h/a.zip");
  for (const char* url : {"http://h/1", "http://h/2"}) Record(url, [](auto& r) { r.Queued = 1; });
  const std::size_t tips = sim.tray().tips.size();
  sim.RunFor(1000);
  EXPECT_TRUE(question().Visible());
  EXPECT_EQ(program().ActiveCount(), 2);
  EXPECT_EQ(sim.tray().tips.size(), tips + 2);
}

TEST_F(ClipboardQuestion, EndsTheTickThatAsked) {
  Start();
  program().settings.MaxSimulDownlads = 99;
  Record("http://h/1", [](auto& r) { r.Queued = 1; });
  Copy("http://h/a.zip");
  EXPECT_TRUE(transfers.empty());
  const std::size_t tips = sim.tray().tips.size();
  Press(question().Command2);
  EXPECT_TRUE(transfers.empty());
  EXPECT_EQ(sim.tray().tips.size(), tips);
}

TEST_F(ClipboardQuestion, IsNotAskedWhenTheWatchIsOff) {
  sim.settings().values[{"Pellora", "CheckClipboard"}] = "False";
  Start();
  Copy("http://h/a.zip");
  EXPECT_FALSE(question().Loaded());
}

TEST_F(ClipboardQuestion, NeverAsksAboutTextThatIsNoFileUrl) {
  Start();
  for (const char* text : {"http://h/dir/", "http://h/page.htm", "HTTP://h/a.zip", "just words", ""}) {
    Copy(text);
    EXPECT_FALSE(question().Loaded()) << text;
  }
}

class AddDialog : public MainWindowFixture {
 protected:
  Form1& dialog() { return *window().form1; }
  void Open() {
    Do([&] { window().mAddurl.Click(); });
  }
  void Press(CommandButton& button) {
    Do([&] { button.Click(); });
  }
};

TEST_F(AddDialog, OffersTheClipboardUrlFullySelected) {
  Start();
  program().settings.CheckClipboard = false;
  sim.clipboard().text = "  http://h/a.zip ";
  const int selections = dialog().Text1.SelectAll;
  Open();
  EXPECT_TRUE(dialog().Visible());
  EXPECT_EQ(dialog().Caption(), Text(695));
  EXPECT_EQ(dialog().Text1.Text(), "http://h/a.zip");
  EXPECT_GT(dialog().Text1.SelectAll(), selections);
}

TEST_F(AddDialog, OffersTheUrlWithoutACopiedLineEnd) {
  Start();
  program().settings.CheckClipboard = false;
  sim.clipboard().text = "\n http://h/a.zip \r\n";
  Open();
  EXPECT_EQ(dialog().Text1.Text(), "http://h/a.zip");
  Press(dialog().Command1);
  EXPECT_EQ(Rec(1).URL, "http://h/a.zip");
}

TEST_F(AddDialog, OffersTheSchemeWithoutAClipboardUrl) {
  Start();
  for (const char* text : {"words", "HTTP://h/a.zip", "   "}) {
    sim.clipboard().text = text;
    Open();
    EXPECT_EQ(dialog().Text1.Text(), "http://") << text;
    Press(dialog().Command3);
  }
}

TEST_F(AddDialog, StartsTheTrimmedUrlOnDownloadNow) {
  Start();
  Open();
  dialog().Text1.SetByUser("  http://h/a.zip  ");
  Press(dialog().Command1);
  EXPECT_FALSE(dialog().Visible());
  EXPECT_EQ(Rec(1).URL, "http://h/a.zip");
  EXPECT_EQ(transfers.size(), 1U);
}

TEST_F(AddDialog, LeavesTheRecordUnqueuedAndInactiveOnDownloadLater) {
  Start();
  Open();
  dialog().Text1.SetByUser("http://h/a.zip");
  Press(dialog().Command2);
  sim.RunFor(5000);
  EXPECT_TRUE(Rec(1).InUse);
  EXPECT_EQ(Rec(1).Queued, 0);
  EXPECT_FALSE(Rec(1).Active);
  EXPECT_TRUE(transfers.empty());
  EXPECT_EQ(Row(window().ListView1, 1)->icon, "down");
}

TEST_F(AddDialog, AddsNothingWhenCancelledOrClosed) {
  Start();
  Open();
  dialog().Text1.SetByUser("http://h/a.zip");
  Press(dialog().Command3);
  EXPECT_FALSE(dialog().Loaded());
  Open();
  ASSERT_TRUE(dialog().Visible());
  dialog().Text1.SetByUser("http://h/a.zip");
  dialog().ViewClosed();
  sim.RunReady();
  EXPECT_EQ(program().DownloadCount, 0);
  EXPECT_EQ(sim.tasks().RunningTasks(), 0U);
}

TEST_F(AddDialog, IsOnlyRaisedByASecondAddAction) {
  Start();
  Open();
  dialog().Text1.SetByUser("http://h/typed.zip");
  Open();
  EXPECT_EQ(dialog().Text1.Text(), "http://h/typed.zip");
  EXPECT_EQ(sim.windows().Record(dialog()).raised, 1);
  Press(dialog().Command1);
  EXPECT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Box(), "");
}

TEST_F(AddDialog, IgnoresTextWithoutASchemeButAcceptsUppercase) {
  Start();
  for (const char* text : {"", "words", "mailto:a@h"}) {
    Open();
    dialog().Text1.SetByUser(text);
    Press(dialog().Command1);
    EXPECT_EQ(Box(), "") << text;
  }
  EXPECT_EQ(program().DownloadCount, 0);
  Open();
  dialog().Text1.SetByUser("HTTP://h/a.zip");
  Press(dialog().Command1);
  EXPECT_EQ(program().DownloadCount, 1);
}

TEST_F(AddDialog, RefusesAPastedTextOfOneMebibyte) {
  Start();
  Open();
  dialog().Text1.SetByUser("http://h/" + std::string(1 << 20, 'a'));
  Press(dialog().Command1);
  EXPECT_EQ(Box(), Text(400));
  EXPECT_EQ(program().DownloadCount, 0);
}

}  // namespace
}  // namespace pellora
