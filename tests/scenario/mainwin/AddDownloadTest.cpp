#include "MainWindowFixture.h"
#include "async/TaskLoop.h"
#include "mainwin/AddDownload.h"

namespace pellora {
namespace {

class AddingDownloads : public MainWindowFixture {
 protected:
  void SetUp() override {
    Start();
    program().settings.CheckClipboard = false;
  }
};

TEST_F(AddingDownloads, FillsTheRecordAndStartsTheProbe) {
  Add("http://h/d/a.zip?x=1");
  ASSERT_EQ(program().DownloadCount, 1);
  const DownloadRecord& r = Rec(1);
  EXPECT_EQ(r.FileName, "a.zip?x=1");
  EXPECT_EQ(r.Path, "/d/a.zip?x=1");
  EXPECT_EQ(r.Host, "h");
  EXPECT_EQ(r.Port, 80);
  EXPECT_EQ(r.URL, "http://h/d/a.zip?x=1");
  EXPECT_TRUE(r.InUse);
  EXPECT_TRUE(r.Valid);
  EXPECT_FALSE(r.Active);
  EXPECT_EQ(r.Segments.size(), 1U);
  EXPECT_EQ(r.SegmentCount, 0);
  EXPECT_DOUBLE_EQ(r.DateAdded, sim.loop().Now());
  EXPECT_EQ(r.Queued, 0);
  ASSERT_NE(InSlot(1), nullptr);
  EXPECT_EQ(InSlot(1)->index, 1);
  EXPECT_EQ(InSlot(1)->probes, 1);
  EXPECT_TRUE(InSlot(1)->shown);
  Settle();
  EXPECT_EQ(Names(window().ListView1), std::vector<std::string>{"a.zip?x=1"});
}

TEST_F(AddingDownloads, TakesUserAndPasswordFromAnFtpUrl) {
  Add("ftp://me:pw@h/a.zip");
  EXPECT_EQ(Rec(1).Protocol, kFtp);
  EXPECT_EQ(Rec(1).UserName, "me");
  EXPECT_EQ(Rec(1).Password, "pw");
}

TEST_F(AddingDownloads, RefusesAUrlWithoutAFile) {
  for (const char* url : {"mailto:a@h", "https://h/a.zip", "http://h", ""}) {
    Add(url);
    ASSERT_EQ(Box(), Text(400)) << url;
    EXPECT_EQ(sim.dialogs().Next().title, "Pellora !");
    EXPECT_EQ(sim.dialogs().Next().style, kCritical);
    Answer(kAnswerOk);
  }
  EXPECT_EQ(program().DownloadCount, 0);
}

TEST_F(AddingDownloads, RefusesAUrlTheListFileCannotHold) {
  Add("http://h/" + std::string(65535 - 9, 'a'));
  EXPECT_EQ(program().DownloadCount, 1);
  Add("http://h/" + std::string(65536 - 9, 'a'));
  EXPECT_EQ(Box(), Text(400));
  EXPECT_EQ(program().DownloadCount, 1);
}

TEST_F(AddingDownloads, ShowsOneBoxForManyBadUrlsFromTheBus) {
  for (int i = 0; i < 1000; ++i) Add("bad");
  EXPECT_EQ(sim.dialogs().OpenCount(), 1U);
  Answer(kAnswerOk);
  EXPECT_EQ(sim.dialogs().OpenCount(), 0U);
}

TEST_F(AddingDownloads, KeepsAUrlAsGivenThoughTheParserTrimsIt) {
  Add("http://h/a.zip  ");
  EXPECT_EQ(Rec(1).URL, "http://h/a.zip  ");
  EXPECT_EQ(Rec(1).FileName, "a.zip");
}

TEST_F(AddingDownloads, QueuesAnAddWhileAllSlotsAreBusy) {
  program().settings.MaxSimulDownlads = 1;
  Record("http://h/a", [](auto& r) { r.Active = true; });
  Add("http://h/b");
  AddLater("http://h/c");
  EXPECT_EQ(Rec(2).Queued, 1);
  EXPECT_EQ(Rec(3).Queued, 1);
  EXPECT_TRUE(transfers.empty());
}

TEST_F(AddingDownloads, ExceedsTheLimitInABurstBeforeAnyAnswer) {
  program().settings.MaxSimulDownlads = 1;
  for (int i = 0; i < 3; ++i) Add("http://h/" + std::to_string(i));
  EXPECT_EQ(transfers.size(), 3U);
}

TEST_F(AddingDownloads, AcceptsTwoUrlsThatDifferOnlyInCase) {
  Add("http://h/a.zip");
  Add("http://h/A.ZIP");
  EXPECT_EQ(program().DownloadCount, 2);
  EXPECT_EQ(Box(), "");
}

TEST_F(AddingDownloads, OverwritesADuplicateInPlaceOnYes) {
  Add("http://h/a.zip");
  Add("http://h/b.zip");
  FakeTransfer* const previous = InSlot(1);
  Rec(1).Active = true;
  Rec(1).ConnectState = "1";
  Rec(1).Percent = 50;
  Rec(1).Received = 500;
  Rec(1).SegmentCount = 4;
  const std::uint32_t serial = program().Serial(1);
  Add("http://h/a.zip");
  EXPECT_EQ(Box(), Text(403));
  EXPECT_EQ(sim.dialogs().Next().style, kYesNo | kQuestion);
  Answer(kAnswerYes);
  EXPECT_EQ(program().DownloadCount, 2);
  EXPECT_EQ(Rec(1).Received, 0);
  EXPECT_EQ(Rec(1).Percent, 0);
  EXPECT_EQ(Rec(1).SegmentCount, 0);
  EXPECT_EQ(Rec(1).ConnectState, "");
  EXPECT_FALSE(Rec(1).Active);
  EXPECT_NE(program().Serial(1), serial);
  EXPECT_NE(InSlot(1), previous);
  EXPECT_EQ(previous->pauses, 0);
  EXPECT_FALSE(previous->unloaded);
  EXPECT_FALSE(previous->shown);
  Settle();
  EXPECT_EQ(Names(window().ListView1), (std::vector<std::string>{"a.zip", "b.zip"}));
}

TEST_F(AddingDownloads, DoesNotCountTheOverwrittenRecordAsBusy) {
  program().settings.MaxSimulDownlads = 1;
  Add("http://h/a.zip");
  Rec(1).Active = true;
  Add("http://h/a.zip");
  Answer(kAnswerYes);
  EXPECT_EQ(Rec(1).Queued, 0);
  EXPECT_EQ(InSlot(1)->probes, 1);
}

TEST_F(AddingDownloads, MovesAFinishedDuplicateToTheCurrentDownloadsOnYes) {
  for (const bool busy : {false, true}) {
    SCOPED_TRACE(busy);
    program().settings.MaxSimulDownlads = busy ? 0 : 9;
    const std::int16_t index = Record(busy ? "http://h/b.zip" : "http://h/a.zip", [](auto& r) { r.Finished = true; });
    Settle();
    Do([&] { window().RefreshDownList(); });
    Do([&] { window().RefreshRows(0, 1); });  // further refreshes are postponed
    ASSERT_NE(Row(window().ListView2, index), nullptr);
    Add(Rec(index).URL);
    ASSERT_EQ(Box(), Text(403));
    sim.dialogs().AnswerNext(kAnswerYes);
    sim.RunReady();
    EXPECT_EQ(Row(window().ListView2, index), nullptr);
    EXPECT_NE(Row(window().ListView1, index), nullptr);
  }
}

TEST_F(AddingDownloads, ChangesNothingForADuplicateOnNo) {
  Add("http://h/a.zip");
  Rec(1).Percent = 50;
  const std::uint32_t serial = program().Serial(1);
  Add("http://h/a.zip");
  Answer(kAnswerNo);
  EXPECT_EQ(program().Serial(1), serial);
  EXPECT_EQ(Rec(1).Percent, 50);
}

TEST_F(AddingDownloads, AsksOneDuplicateQuestionAtATimeForARepeatedUrl) {
  Add("http://h/a.zip");
  Add("http://h/b.zip");
  for (int i = 0; i < 1000; ++i) Add("http://h/a.zip");
  Add("http://h/b.zip");  // another URL has its own question
  EXPECT_EQ(sim.tasks().RunningTasks(), 2U);
  EXPECT_EQ(Box(), Text(403));
  Answer(kAnswerNo);
  EXPECT_EQ(Box(), Text(403));
  Answer(kAnswerYes);
  EXPECT_EQ(Box(), "");
  EXPECT_EQ(InSlot(2)->probes, 1);
  EXPECT_EQ(transfers.size(), 3U);
  Add("http://h/a.zip");  // answered, so asked again
  EXPECT_EQ(Box(), Text(403));
}

TEST_F(AddingDownloads, AsksForOnePathAtATimeForARepeatedUrl) {
  Add("http://h/a.zip");
  program().settings.SaveAs = true;
  for (int i = 0; i < 1000; ++i) Add("http://h/a.zip");
  EXPECT_EQ(sim.tasks().RunningTasks(), 1U);
  sim.dialogs().AnswerNextSave(std::nullopt);
  sim.RunReady();
  EXPECT_EQ(sim.dialogs().OpenSaveCount(), 0U);
  Add("http://h/a.zip");
  EXPECT_EQ(sim.dialogs().OpenSaveCount(), 1U);
}

TEST_F(AddingDownloads, UsesAFreeSlotIfTheDuplicateIsGoneOnYes) {
  Add("http://h/a.zip");
  Add("http://h/a.zip");
  Rec(1).InUse = false;
  program().RaiseSerial(1);
  Add("http://h/b.zip");
  ASSERT_EQ(Rec(1).URL, "http://h/b.zip");
  Answer(kAnswerYes);
  EXPECT_EQ(Rec(1).URL, "http://h/b.zip");
  EXPECT_EQ(Rec(2).URL, "http://h/a.zip");
}

TEST_F(AddingDownloads, SurvivesAResetDuringTheDuplicateQuestion) {
  Add("http://h/a.zip");
  Add("http://h/a.zip");
  program().ResizeDownloads(0);
  Answer(kAnswerYes);
  EXPECT_EQ(program().DownloadCount, 1);
  EXPECT_EQ(Rec(1).URL, "http://h/a.zip");
}

TEST_F(AddingDownloads, ReusesTheFirstFreeSlotAndEmptiesIt) {
  Record("http://h/a");
  const std::int16_t index = Record("http://h/b");
  Record("http://h/c");
  FakeTransfer& stale = Transferring(index);
  Rec(index).InUse = false;  // cleared; it still has its window
  AddLater("http://h/d");
  EXPECT_EQ(program().DownloadCount, 3);
  EXPECT_EQ(Rec(index).URL, "http://h/d");
  EXPECT_TRUE(stale.unloaded);
  EXPECT_EQ(InSlot(index), nullptr);
  EXPECT_FALSE(Rec(index).Active);
}

TEST_F(AddingDownloads, ReusesTheSlotOfADeletedRecordWithoutRenumbering) {
  for (const char* const url : {"http://h/a", "http://h/b", "http://h/c", "http://h/d"}) Record(url);
  window().RefreshRows(0, 1);
  for (const std::int16_t index : {std::int16_t{3}, std::int16_t{2}}) {
    ASSERT_TRUE(Select(window().ListView1, index));
    Do([&] { window().RunAction(MainWindow::kDelete); });
    window().RefreshRows(0, 1);
  }
  AddLater("http://h/e");
  EXPECT_EQ(program().DownloadCount, 4);
  EXPECT_EQ(Rec(1).URL, "http://h/a");
  EXPECT_EQ(Rec(2).URL, "http://h/e");
  EXPECT_FALSE(Rec(3).InUse);
  EXPECT_EQ(Rec(4).URL, "http://h/d");
}

TEST_F(AddingDownloads, AsksForThePathWhenTheSettingSaysSo) {
  program().settings.SaveAs = true;
  sim.dialogs().AutoSave([](const SaveRequest& request) { return "/d/" + request.proposal; });
  Add("http://h/a.zip");
  ASSERT_EQ(sim.dialogs().Saves().size(), 1U);
  EXPECT_EQ(sim.dialogs().Saves()[0].title, Text(401) + "a.zip");
  EXPECT_EQ(sim.dialogs().Saves()[0].proposal, "a.zip");
  EXPECT_EQ(sim.dialogs().Saves()[0].filter, Text(402) + " (*.*)|*.*");
  EXPECT_EQ(Rec(1).SavePath, "/d/a.zip");
  EXPECT_TRUE(Rec(1).HasSavePath);
}

TEST_F(AddingDownloads, AddsNothingWhenThePathIsCancelled) {
  program().settings.SaveAs = true;
  Add("http://h/a.zip");
  sim.dialogs().AnswerNextSave(std::nullopt);
  sim.RunReady();
  EXPECT_EQ(program().DownloadCount, 0);
}

TEST_F(AddingDownloads, AsksForPathsInTurnAndThenFindsTheDuplicate) {
  program().settings.SaveAs = true;
  Add("http://h/a.zip");
  Add("http://h/a.zip");
  EXPECT_EQ(sim.dialogs().OpenSaveCount(), 1U);
  sim.dialogs().AnswerNextSave("/d/1");
  sim.RunReady();
  EXPECT_EQ(program().DownloadCount, 1);
  sim.dialogs().AnswerNextSave("/d/2");
  sim.RunReady();
  EXPECT_EQ(Box(), Text(403));
}

TEST_F(AddingDownloads, SavesAnUpdateWhereItIsUnpackedWithoutAsking) {
  program().settings.SaveAs = true;
  Do([&] { sim.tasks().Spawn(AddDownload(&program(), {.url = "http://h/new.zip", .kind = -1, .caller = this})); });
  EXPECT_EQ(Rec(1).DownloadKind, 1);
  EXPECT_EQ(Rec(1).SavePath, "/prog/downloads/new.zip");
  EXPECT_TRUE(Rec(1).HasSavePath);
  EXPECT_TRUE(sim.dialogs().Saves().empty());
}

TEST_F(AddingDownloads, ReportsAFullListBeforeGrowingIt) {
  program().ResizeDownloads(kMaxRecords);
  for (int i = 1; i <= kMaxRecords; ++i) Rec(i).InUse = true;
  Add("http://h/a.zip");
  EXPECT_EQ(program().DownloadCount, kMaxRecords);
  EXPECT_EQ(Panel(1), "The list is full: it holds 32767 downloads.");
  EXPECT_TRUE(transfers.empty());
}

}  // namespace
}  // namespace pellora
