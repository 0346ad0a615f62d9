#include "MainWindowFixture.h"

namespace pellora {
namespace {

class Rows : public MainWindowFixture {
 protected:
  void SetUp() override {
    Start();
    program().settings.CheckClipboard = false;
    program().settings.MaxSimulDownlads = 0;  // stops the queue
  }
  std::string Status(std::int16_t record) {
    const ListRow* const row = Row(window().ListView1, record);
    return row ? row->subItems.at(2) : "no row";
  }
  std::string Icon(std::int16_t record) {
    const ListRow* const row = Row(window().ListView1, record);
    return row ? row->icon : "no row";
  }
  void Refresh(std::int16_t index, std::int16_t force) { window().RefreshRows(index, force); }
};

TEST_F(Rows, ShowTheColumnsOfARecord) {
  Record("http://h/a.zip", [](auto& r) { r.FileSize = 1536, r.RemainingSeconds = 75.4F; });
  Refresh(0, 1);
  ASSERT_EQ(window().ListView1.Rows().size(), 1U);
  const ListRow& row = window().ListView1.Rows()[0];
  EXPECT_EQ(row.key, "http://h/a.zip");
  EXPECT_EQ(row.text, "a.zip");
  EXPECT_EQ(row.subItems, (std::vector<std::string>{"origin.example", "1.5 kb", Text(303) + " (0.0%)",
                                                    sim.locale().DateTimeText(46000.5), "01:15"}));
}

struct StatusCase {
  const char* name;
  void (*change)(DownloadRecord&);
  int fullText;
  bool fullPercent;
  const char* fullIcon;
  int rowText;
  const char* rowIcon;
};

// A record's row after a full rebuild and after a single update.
const StatusCase kStatusCases[] = {
    {"stopped", [](DownloadRecord&) {}, 303, true, "down", 303, "down"},
    {"active", [](DownloadRecord& r) { r.Active = true; }, 301, true, "stop", 301, "stop"},
    {"queued", [](DownloadRecord& r) { r.Queued = 1; }, 302, false, "down", 303, "down"},
    {"wrong", [](DownloadRecord& r) { r.ConnectState = "1"; }, 303, true, "wrong", 303, "down"},
    {"scheduled", [](DownloadRecord& r) { r.Scheduled = 1; }, 303, true, "shed", 303, "down"},
    {"wrong and scheduled", [](DownloadRecord& r) { r.ConnectState = "1", r.Scheduled = 1; }, 303, true, "shed", 303,
     "down"},
    {"queued and wrong", [](DownloadRecord& r) { r.Queued = 1, r.ConnectState = "1"; }, 302, false, "wrong", 303,
     "down"},
    {"queued and scheduled", [](DownloadRecord& r) { r.Queued = 1, r.Scheduled = 1; }, 302, false, "shed", 303, "down"},
    {"active and queued", [](DownloadRecord& r) { r.Active = true, r.Queued = 1; }, 301, true, "stop", 301, "stop"},
};

TEST_F(Rows, ShowLessOfTheStateInASingleUpdateThanInAFullOne) {
  for (const StatusCase& c : kStatusCases) {
    const std::int16_t index = Record("http://h/a.zip", [&](auto& r) {
      r.Percent = 37.5F;
      c.change(r);
    });
    Refresh(0, 1);
    EXPECT_EQ(Status(index), Text(c.fullText) + (c.fullPercent ? " (37.5%)" : "")) << c.name;
    EXPECT_EQ(Icon(index), c.fullIcon) << c.name;
    Refresh(index, 1);
    EXPECT_EQ(Status(index), Text(c.rowText) + " (37.5%)") << c.name;
    EXPECT_EQ(Icon(index), c.rowIcon) << c.name;
  }
}

TEST_F(Rows, ShowFinishedInASingleUpdateAndKeepTheIcon) {
  const std::int16_t index = Record("http://h/a.zip", [](auto& r) { r.Active = true; });
  Refresh(0, 1);
  Rec(index).Finished = true;
  Rec(index).Active = false;
  Refresh(index, 1);
  EXPECT_EQ(Status(index), Text(300));
  EXPECT_EQ(Icon(index), "stop");
  Refresh(0, 1);
  EXPECT_EQ(Status(index), "no row");
}

TEST_F(Rows, AreMissingFromBothListsForARecordWithoutAName) {
  const std::int16_t index = Record("http://h/");
  Refresh(0, 1);
  Refresh(index, 1);
  EXPECT_TRUE(window().ListView1.Rows().empty());
  Rec(index).Finished = true;
  Do([&] { window().RefreshDownList(); });
  Refresh(0, 1);
  EXPECT_TRUE(window().ListView1.Rows().empty());
  EXPECT_TRUE(window().ListView2.Rows().empty());
}

TEST_F(Rows, AppearWhenARecordWithoutARowIsUpdated) {
  Refresh(0, 1);
  const std::int16_t index = Record("http://h/a.zip");
  Refresh(index, 1);
  EXPECT_EQ(Status(index), Text(303) + " (0.0%)");
}

TEST_F(Rows, AreNotUpdatedWithin500MillisecondsUnlessForced) {
  Refresh(0, 1);
  const std::int16_t index = Record("http://h/a.zip");
  for (const std::int16_t force : {std::int16_t{0}, std::int16_t{-1}}) {
    Refresh(0, force);
    EXPECT_EQ(Status(index), "no row") << force;
  }
  Refresh(0, 1);
  EXPECT_NE(Status(index), "no row");
}

TEST_F(Rows, ShowTheLastChangeOfABurst) {
  const std::int16_t index = Record("http://h/a.zip", [](auto& r) { r.Active = true; });
  Refresh(0, 1);
  for (int i = 1; i <= 10; ++i) {
    sim.RunFor(20);
    Rec(index).Percent = static_cast<float>(i);
    Refresh(index, 0);
  }
  Settle();
  EXPECT_EQ(Status(index), Text(301) + " (10.0%)");
  Rec(index).Active = false;
  Rec(index).Queued = 1;
  Refresh(0, 1);
  Rec(index).Queued = 0;
  Refresh(0, 0);
  EXPECT_EQ(Status(index), Text(302));
  Settle();
  EXPECT_EQ(Status(index), Text(303) + " (10.0%)");
}

TEST_F(Rows, AreUpdatedAfterWeeksWithoutAChange) {
  Refresh(0, 1);
  window().StopTimers();
  sim.RunFor(std::uint64_t{26} * 86400 * 1000);
  const std::int16_t index = Record("http://h/a.zip");
  Refresh(0, 0);
  EXPECT_NE(Status(index), "no row");
}

TEST_F(Rows, FollowARecordWhoseUrlARedirectChanged) {
  const std::int16_t index = Record("http://h/a.zip");
  Refresh(0, 1);
  Rec(index).URL = "http://mirror/b.zip";
  Refresh(index, 1);
  ASSERT_EQ(window().ListView1.Rows().size(), 1U);
  EXPECT_EQ(window().ListView1.Rows()[0].key, "http://mirror/b.zip");
}

TEST_F(Rows, StaySeparateWhenTwoRecordsHaveOneUrl) {
  const std::int16_t first = Record("http://h/a.zip");
  const std::int16_t second = Record("http://h/a.zip");
  Refresh(0, 1);
  EXPECT_EQ(window().ListView1.Rows().size(), 2U);
  ASSERT_TRUE(Select(window().ListView1, second));
  Refresh(0, 1);
  EXPECT_EQ(window().ListView1.Selection(), std::vector<std::size_t>{1});
  Do([&] { window().RunAction(MainWindow::kDelete); });
  EXPECT_TRUE(Rec(first).InUse);
  EXPECT_FALSE(Rec(second).InUse);
}

TEST_F(Rows, KeepTheSelectionAcrossARebuild) {
  const std::int16_t first = Record("http://h/a.zip");
  const std::int16_t second = Record("http://h/b.zip");
  Refresh(0, 1);
  ASSERT_TRUE(Select(window().ListView1, second));
  Rec(first).InUse = false;
  Refresh(0, 1);
  ASSERT_EQ(window().ListView1.Selection().size(), 1U);
  EXPECT_EQ(window().ListView1.Rows()[window().ListView1.Selection()[0]].record, second);
}

TEST_F(Rows, ShowNothingForDamagedFigures) {
  Record("http://h/a.zip", [](auto& r) {
    r.RemainingSeconds = -1;
    r.DateAdded = 1e300;
    r.FileSize = -5;
  });
  Refresh(0, 1);
  const ListRow& row = window().ListView1.Rows().at(0);
  EXPECT_EQ(row.subItems[1], "");
  EXPECT_EQ(row.subItems[3], "");
  EXPECT_EQ(row.subItems[4], "");
}

TEST_F(Rows, ShowSizeUrlAndDateOfFinishedFiles) {
  const std::int16_t index = Finished("a.zip");
  Rec(index).FileSize = 999;
  Record("http://h/b.zip");
  window().RefreshDownList();
  ASSERT_EQ(Names(window().ListView2), std::vector<std::string>{"a.zip"});
  const ListRow* const row = Row(window().ListView2, index);
  EXPECT_EQ(row->subItems,
            (std::vector<std::string>{"999 " + Text(0), "http://h/a.zip", sim.locale().DateTimeText(46000.5)}));
  EXPECT_EQ(row->icon, "file:zip");
}

TEST_F(Rows, MarkAMissingFinishedFileAtTheNextRefresh) {
  const std::int16_t index = Finished("a.zip");
  sim.disk().Lose("/d/a.zip");
  EXPECT_EQ(Row(window().ListView2, index)->icon, "file:zip");
  window().RefreshDownList();
  EXPECT_EQ(Row(window().ListView2, index)->icon, "notfound");
}

TEST_F(Rows, CheckTheFilesOfALongListInSlices) {
  for (int i = 0; i < 1000; ++i) {
    Record("http://h/" + std::to_string(i), [](auto& r) { r.Finished = true, r.SavePath = "/d/none"; });
  }
  const std::uint64_t calls = sim.disk().Calls();
  window().RefreshDownList();
  EXPECT_LE(sim.disk().Calls() - calls, 300U);
  sim.RunReady();
  for (const ListRow& row : window().ListView2.Rows()) EXPECT_EQ(row.icon, "notfound");
  EXPECT_EQ(sim.disk().Calls() - calls, 1000U);
}

TEST_F(Rows, MoveToTheOtherListWhenADownloadFinishes) {
  const std::int16_t index = Record("http://h/a.zip");
  Refresh(0, 1);
  Rec(index).Finished = true;
  window().RefreshDownList();
  Settle();
  EXPECT_TRUE(window().ListView1.Rows().empty());
  EXPECT_EQ(window().ListView2.Rows().size(), 1U);
}

TEST_F(Rows, AreRebuiltOnceForAllPausesOfAPauseAllOrAReset) {
  for (const int action : {MainWindow::kPauseAll, MainWindow::kResetList}) {
    for (const char* const name : {"a", "b", "c"}) Transferring(Record(std::string("http://h/") + name));
    const std::uint64_t version = window().ListView1.RowsVersion();
    Do([&] { window().RunAction(action); });
    if (action == MainWindow::kResetList) Answer(kAnswerYes);
    EXPECT_EQ(window().ListView1.RowsVersion(), version + 1);
    EXPECT_EQ(Status(3), Text(303) + " (0.0%)");
  }
}

TEST_F(Rows, AreNotRebuiltAgainAtTheTickAfterAPauseAll) {
  Transferring(Record("http://h/a"));
  Transferring(Record("http://h/b"));
  Do([&] { window().RunAction(MainWindow::kPauseAll); });
  const std::uint64_t version = window().ListView1.RowsVersion();
  Settle();
  EXPECT_EQ(window().ListView1.RowsVersion(), version);
}

TEST_F(Rows, AreNotRebuiltForWhatQuittingPauses) {
  for (const char* const name : {"a", "b", "c"}) Transferring(Record(std::string("http://h/") + name));
  const std::uint64_t version = window().ListView1.RowsVersion();
  Do([&] {
    app->SaveAndQuit();
    EXPECT_EQ(window().ListView1.RowsVersion(), version);
  });
  EXPECT_TRUE(Rec(1).Paused);
}

TEST_F(Rows, ShowAll32767Records) {
  program().ResizeDownloads(kMaxRecords);
  for (int i = 1; i <= kMaxRecords; ++i) {
    Rec(i).FileName = "f";
    Rec(i).URL = "http://h/" + std::to_string(i);
    Rec(i).InUse = true;
  }
  Refresh(0, 1);
  EXPECT_EQ(window().ListView1.Rows().size(), 32767U);
  EXPECT_EQ(window().ListView1.Rows().back().record, kMaxRecords);
}

}  // namespace
}  // namespace pellora
