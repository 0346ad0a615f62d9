// What the desktop says of downloads that finish or stop, and what its taskbar shows.
#include "MainWindowFixture.h"
#include "core/ListFile.h"
#include "core/WebTexts.h"

namespace pellora {
namespace {

class Notes : public MainWindowFixture {
 protected:
  std::int16_t Running(const std::string& name) {
    const std::int16_t index = Record("http://h/" + name);
    Transferring(index);
    Rec(index).FileName = name;
    return index;
  }
  void Finish(std::int16_t index) {
    DownloadRecord& record = Rec(index);
    record.Active = false;
    record.Finished = true;
    record.SavePath = "/d/" + record.FileName;
    record.HasSavePath = true;
    sim.disk().Put(record.SavePath, SimContent(std::string("x")));
  }
  void Fail(std::int16_t index, const std::string& reason) {
    Rec(index).Active = false;
    WebFigures& figures = program().AddWeb(index);
    figures.standing = WebStanding::Stopped;
    figures.reason = reason;
  }
  void Choose(const std::string& key) {
    Do([&] { sim.notices().chosen.back()(key); });
  }
  using Opened = std::vector<std::pair<std::string, std::string>>;  // path, working folder
  std::vector<Notice>& Shown() { return sim.notices().shown; }
};

TEST_F(Notes, NameAFinishedDownloadAndOpenIt) {
  Start();
  Finish(Running("a.bin"));
  sim.RunFor(4000);
  EXPECT_TRUE(Shown().empty());
  sim.RunFor(2000);
  ASSERT_EQ(Shown().size(), 1U);
  EXPECT_EQ(Shown()[0].title, "Download finished");
  EXPECT_EQ(Shown()[0].text, "a.bin");
  EXPECT_FALSE(Shown()[0].stopped);
  // Most desktops show no button for "default", which is a click on the message.
  using Buttons = std::vector<std::pair<std::string, std::string>>;
  Buttons buttons;
  for (const Notice::Button& button : Shown()[0].buttons) buttons.emplace_back(button.key, button.caption);
  EXPECT_EQ(buttons, (Buttons{{"default", "Open"}, {"open", "Open"}, {"folder", "Open Folder"}}));
  Choose("default");
  Choose("open");
  EXPECT_EQ(sim.shell().opened, (Opened{{"/d/a.bin", "/d"}, {"/d/a.bin", "/d"}}));
  sim.RunFor(60'000);
  EXPECT_EQ(Shown().size(), 1U);
}

TEST_F(Notes, OpenNoFileThatIsGone) {
  Start();
  Finish(Running("a.bin"));
  sim.RunFor(6000);
  sim.disk().Delete("/d/a.bin");
  Choose(Shown()[0].buttons[0].key);
  EXPECT_TRUE(sim.shell().opened.empty());
}

TEST_F(Notes, OfFiveSecondsAreOne) {
  Start();
  const std::int16_t first = Running("a");
  const std::int16_t second = Running("b");
  const std::int16_t third = Running("c");
  Finish(first);
  sim.RunFor(2000);
  Fail(second, "The server does not have the file.");
  sim.RunFor(2000);
  Finish(third);
  sim.RunFor(2000);
  ASSERT_EQ(Shown().size(), 1U);
  EXPECT_EQ(Shown()[0].title, "2 downloads finished, Download stopped");
  EXPECT_EQ(Shown()[0].text, "a\nb: The server does not have the file.\nc");
  EXPECT_TRUE(Shown()[0].stopped);
  ASSERT_EQ(Shown()[0].buttons.size(), 1U);
  Choose(Shown()[0].buttons[0].key);
  EXPECT_EQ(sim.shell().opened, (Opened{{"/d", "/d"}}));
}

TEST_F(Notes, OpenNothingThatTheyDoNotOffer) {
  Start();
  Finish(Running("a"));
  Finish(Running("b"));
  sim.RunFor(6000);
  ASSERT_EQ(Shown().size(), 1U);
  Choose("default");
  EXPECT_TRUE(sim.shell().opened.empty());
}

TEST_F(Notes, KeepANameInOneLine) {
  Start();
  Finish(Running("a.bin\nDownload stopped: b.bin\t\x1b[31m"));
  sim.RunFor(6000);
  ASSERT_EQ(Shown().size(), 1U);
  EXPECT_EQ(Shown()[0].text, "a.bin Download stopped: b.bin  [31m");
}

TEST_F(Notes, KeepAReasonThatRepeatsTheNameInOneLine) {
  Start();
  program().AddBoxedStop({"a\nb", "a\nb is not found on this ftp server !"});
  sim.RunFor(6000);
  ASSERT_EQ(Shown().size(), 1U);
  EXPECT_EQ(Shown()[0].text, "a b: a b is not found on this ftp server !");
}

TEST_F(Notes, HaveFiveLinesAtMost) {
  Start();
  for (int i = 0; i < 8; ++i) Finish(Running(std::to_string(i)));
  sim.RunFor(6000);
  ASSERT_EQ(Shown().size(), 1U);
  EXPECT_EQ(Shown()[0].title, "8 downloads finished");
  EXPECT_EQ(Shown()[0].text, "0\n1\n2\n3\n4\n...");
}

TEST_F(Notes, SayNothingOfWhatWasListedBefore) {
  Start();
  Finish(Running("old"));
  Do([&] { SaveList(program()); });
  OtherRun next{SimOptions{.disk = sim.disk().TakeState()}};
  next.Start(60'000);
  ASSERT_TRUE(next.app.program().Download(1).Finished);
  EXPECT_TRUE(next.sim.notices().shown.empty());
}

TEST_F(Notes, NameADownloadThatFinishesBeforeTheFirstTick) {
  Start();
  Finish(Running("a.bin"));
  sim.RunFor(6000);
  EXPECT_EQ(Shown().size(), 1U);
}

TEST_F(Notes, ComeAgainForADownloadThatStopsAgain) {
  Start();
  const std::int16_t index = Running("a");
  Fail(index, "first");
  sim.RunFor(6000);
  Rec(index).Active = true;
  program().AddWeb(index).standing = WebStanding::Active;
  sim.RunFor(1000);
  Fail(index, "second");
  sim.RunFor(6000);
  ASSERT_EQ(Shown().size(), 2U);
  EXPECT_EQ(Shown()[1].text, "a: second");
  EXPECT_TRUE(Shown()[1].buttons.empty());
}

TEST_F(Notes, OfAPauseByTheUserDoNotCome) {
  Start();
  const std::int16_t index = Running("a");
  sim.RunFor(1000);
  Rec(index).Active = false;
  Rec(index).Paused = true;
  sim.RunFor(10'000);
  EXPECT_TRUE(Shown().empty());
}

TEST_F(Notes, NameAStopThatABoxReportsIfNobodyAnswersIt) {
  Start();
  const std::uint64_t stop = program().AddBoxedStop({"a.bin", "The server does not have it."});
  sim.RunFor(4000);
  EXPECT_TRUE(Shown().empty());
  sim.RunFor(2000);
  ASSERT_EQ(Shown().size(), 1U);
  EXPECT_EQ(Shown()[0].title, "Download stopped");
  EXPECT_EQ(Shown()[0].text, "a.bin: The server does not have it.");
  EXPECT_TRUE(Shown()[0].stopped);
  sim.RunFor(20'000);
  program().boxedStops.erase(stop);
  EXPECT_EQ(Shown().size(), 1U);
}

TEST_F(Notes, OfABoxThatIsAnsweredDoNotCome) {
  Start();
  const std::uint64_t stop = program().AddBoxedStop({"a.bin", "No."});
  sim.RunFor(3000);
  program().boxedStops.erase(stop);
  sim.RunFor(10'000);
  EXPECT_TRUE(Shown().empty());
}

TEST_F(Notes, FollowTheirSetting) {
  Start();
  program().settings.ShowNotices = false;
  Finish(Running("a"));
  sim.RunFor(10'000);
  EXPECT_TRUE(Shown().empty());
  program().settings.ShowNotices = true;
  sim.RunFor(10'000);
  EXPECT_TRUE(Shown().empty());
}

class Taskbar : public Notes {};

TEST_F(Taskbar, ShowsHowManyRunAndHowFarTheyAre) {
  Start();
  const std::int16_t first = Running("a");
  Rec(first).FileSize = 1000;
  Rec(first).Received = 250;
  const std::int16_t second = Running("b");
  program().AddWeb(second).size = 3000;
  program().AddWeb(second).received = 750;
  sim.RunFor(1000);
  EXPECT_EQ(sim.notices().taskbar, (TaskbarState{2, 0.25}));
  const int changes = sim.notices().taskbarChanges;
  sim.RunFor(10'000);
  EXPECT_EQ(sim.notices().taskbarChanges, changes);
  Finish(first);
  Finish(second);
  sim.RunFor(1000);
  EXPECT_EQ(sim.notices().taskbar, TaskbarState());
}

TEST_F(Taskbar, ShowsNoProgressOfUnknownSizes) {
  Start();
  Running("a");
  sim.RunFor(1000);
  EXPECT_EQ(sim.notices().taskbar, (TaskbarState{1, std::nullopt}));
}

TEST_F(Taskbar, IsEmptyOnceTheProgramHasEnded) {
  Start();
  Running("a");
  sim.RunFor(1000);
  Do([&] { app->SaveAndQuit(); });
  EXPECT_EQ(sim.notices().taskbar, TaskbarState());
}

}  // namespace
}  // namespace pellora
