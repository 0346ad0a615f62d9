// Closing the viewer at each of its waits, and what happens to its transfer.
#include <functional>

#include "ZipFixture.h"
#include "core/Stop.h"
#include "core/WireText.h"
#include "transfer/Requests.h"
#include "zipview/Extract.h"

namespace pellora {
namespace {

using ZipViewerLifecycle = ZipFixture;

const std::vector<SimMember> kMembers = {{"docs/"}, {"docs/a.txt", 10, 40}, {"b.txt", 5, 5}};

// Opens the same archive repeatedly and acts a millisecond later each time, up to the finished listing, so that it acts
// during every wait.
void AtEveryWait(const std::function<void(ZipRig&, SimHttpServer&)>& act) {
  bool listed = false;
  int rounds = 0;
  for (std::uint64_t ms = 0; ms < 300 && !listed; ++ms) {
    ZipRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    server.File("/a.zip", SimArchive(kMembers));
    rig.Start("http://o.example/a.zip");
    rig.sim.RunFor(ms);
    if (!rig.Viewer()) continue;
    listed = rig.Viewer()->Label1.Caption().ends_with(" packed.)");
    SCOPED_TRACE("after " + std::to_string(ms) + " ms; " + rig.sim.Replay());
    act(rig, server);
    ++rounds;
  }
  EXPECT_TRUE(listed);
  EXPECT_GT(rounds, 10);
}

bool NoViewerIsLeft(ZipRig& rig) { return rig.sim.windows().Count("Form2") == 0 && !rig.Viewer(); }

TEST_F(ZipViewerLifecycle, ClosedFrameEndsTheReadingButNotTheTransfer) {
  AtEveryWait([](ZipRig& rig, SimHttpServer&) {
    rig.sim.Do([&] { rig.Viewer()->ViewClosed(); });
    EXPECT_TRUE(NoViewerIsLeft(rig));
    EXPECT_EQ(rig.sim.network().Open(), 0);
    const std::size_t connections = rig.sim.network().Log().size();
    rig.sim.RunFor(60'000);
    EXPECT_EQ(rig.sim.network().Log().size(), connections);
    EXPECT_EQ(rig.sim.tasks().RunningTasks(), 0U);
    ASSERT_TRUE(rig.WindowOf());
    EXPECT_EQ(rig.Record().SegmentCount, 0);
    EXPECT_TRUE(rig.Record().Active);  // waits with no segments
  });
}

TEST_F(ZipViewerLifecycle, TransferOfAClosedViewerIsResumedByPauseAndResume) {
  ASSERT_TRUE(Open(kMembers));
  sim.Do([&] { Viewer()->ViewClosed(); });
  Pause();
  Resume();
  ASSERT_TRUE(RunUntilListed());
  sim.Do([&] { Viewer()->Command3.Click(); });
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), SimArchive(kMembers));
}

TEST_F(ZipViewerLifecycle, DeletionOfTheRecordAtAnyWaitRemovesItsViewer) {
  AtEveryWait([](ZipRig& rig, SimHttpServer&) {
    rig.Delete(1);
    const bool reading = !rig.Viewer() || !rig.Viewer()->Label1.Caption().ends_with(" packed.)");
    const std::size_t connections = rig.sim.network().Log().size();
    rig.sim.RunFor(60'000);
    if (!reading) {
      rig.sim.Do([&] { rig.Viewer()->Command3.Click(); });  // a listing stays open until it is used
      rig.sim.RunFor(60'000);
    }
    EXPECT_TRUE(NoViewerIsLeft(rig));
    EXPECT_EQ(rig.sim.network().Log().size(), connections);
  });
}

TEST_F(ZipViewerLifecycle, ResetAtAnyWaitLeavesNothing) {
  AtEveryWait([](ZipRig& rig, SimHttpServer&) {
    rig.sim.Do([&] {
      const auto transfer = std::exchange(rig.program.TransferWindowAt(1), nullptr);
      const auto viewer = std::exchange(rig.program.ZipViewerAt(1), nullptr);
      transfer->PauseDownload();
      transfer->UnloadWindow();
      viewer->UnloadWindow();
      rig.program.ResizeDownloads(0);
    });
    const std::size_t connections = rig.sim.network().Log().size();
    rig.sim.RunFor(60'000);
    EXPECT_EQ(rig.sim.network().Log().size(), connections);
    EXPECT_TRUE(rig.NothingRuns());
  });
}

TEST_F(ZipViewerLifecycle, SlotRefilledAtAnyWaitIsNotTouched) {
  AtEveryWait([](ZipRig& rig, SimHttpServer& server) {
    const auto previous = rig.Viewer();
    rig.Refill(1, "http://o.example/other.bin");
    const DownloadRecord other = rig.Record();
    rig.sim.Do([&] { previous->Command3.Click(); });
    rig.sim.RunFor(60'000);
    EXPECT_EQ(rig.Record(), other);
    EXPECT_FALSE(previous->Loaded());
    for (const HttpRequest& request : server.Requests()) EXPECT_EQ(request.target, "/a.zip");
  });
}

TEST_F(ZipViewerLifecycle, PauseAndResumeAtAnyWaitReplaceTheViewer) {
  AtEveryWait([](ZipRig& rig, SimHttpServer&) {
    const auto previous = rig.Viewer();
    rig.Pause();
    rig.Resume();
    ASSERT_TRUE(rig.sim.RunUntil([&] { return rig.Viewer() && rig.Viewer() != previous; }, 60'000));
    ASSERT_TRUE(rig.RunUntilListed());
    EXPECT_FALSE(previous->Loaded());
    EXPECT_EQ(rig.sim.windows().Count("Form2"), 1U);
  });
}

TEST_F(ZipViewerLifecycle, QuittingAtAnyWaitSavesAPausedRecord) {
  AtEveryWait([](ZipRig& rig, SimHttpServer&) {
    rig.sim.Do([&] {
      PauseAndSave(rig.program, {});
      End(rig.program);
    });
    EXPECT_EQ(rig.sim.machine().endCode, 0);
    EXPECT_TRUE(rig.Record().Paused);
    const std::size_t connections = rig.sim.network().Log().size();
    rig.sim.RunFor(60'000);
    EXPECT_EQ(rig.sim.network().Log().size(), connections);
  });
}

TEST_F(ZipViewerLifecycle, DownloadClassicAtAnyWaitFetchesTheWholeFile) {
  AtEveryWait([](ZipRig& rig, SimHttpServer&) {
    rig.sim.Do([&] { rig.Viewer()->Command3.Click(); });
    ASSERT_TRUE(rig.RunUntilFinished());
    EXPECT_EQ(rig.Output(), SimArchive(kMembers));
    rig.sim.RunFor(1'000);
    EXPECT_TRUE(NoViewerIsLeft(rig));
    EXPECT_EQ(rig.sim.network().Open(), 0);
    EXPECT_EQ(rig.sim.tasks().RunningTasks(), 0U);
  });
}

TEST_F(ZipViewerLifecycle, DownloadClassicHidesConnectsAndUnloads) {
  std::vector<SimMember> members;
  members.reserve(30);
  for (int i = 0; i < 30; ++i) members.push_back({std::to_string(i), 1, 1});
  origin.File("/a.zip", SimArchive(members, 200'000));
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilListed());
  const auto viewer = Viewer();
  sim.Do([&] { viewer->Command3.Click(); });
  EXPECT_FALSE(viewer->Visible());
  EXPECT_TRUE(viewer->Loaded());
  sim.RunReady();
  EXPECT_EQ(WindowOf()->state.Caption(), "Segmented files connecting...");
  EXPECT_EQ(Record().SegmentCount, 4);
  EXPECT_TRUE(viewer->Loaded());  // until all segments are connected
  ASSERT_TRUE(sim.RunUntil([&] { return !viewer->Loaded(); }, 5'000));
  EXPECT_EQ(Viewer(), nullptr);
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), SimArchive(members, 200'000));
}

TEST_F(ZipViewerLifecycle, DownloadClassicClickedTwiceRunsOnce) {
  origin.File("/a.zip", SimArchive(kMembers, 50'000));
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilListed());
  const auto viewer = Viewer();
  sim.Do([&] { viewer->Command3.Click(); });
  sim.Do([&] { viewer->Command3.Click(); });
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(origin.Connections(), 3 + Record().SegmentCount);  // probe, viewer, segments
}

TEST_F(ZipViewerLifecycle, DownloadClassicResumesAPausedTransfer) {
  ASSERT_TRUE(Open(kMembers));
  Pause();
  EXPECT_EQ(WindowOf()->Command3.Caption(), "Resume Download");
  sim.Do([&] { Viewer()->Command3.Click(); });
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), SimArchive(kMembers));
}

TEST_F(ZipViewerLifecycle, DownloadClassicAfterCancelOnlyClosesTheViewer) {
  ASSERT_TRUE(Open(kMembers));
  const std::size_t requests = origin.Requests().size();
  sim.Do([&] { WindowOf()->Command2.Click(); });
  sim.Do([&] { Viewer()->Command3.Click(); });
  sim.RunFor(60'000);
  EXPECT_EQ(origin.Requests().size(), requests);
  EXPECT_TRUE(NoViewerIsLeft(*this));
  EXPECT_TRUE(NothingRuns());
}

TEST_F(ZipViewerLifecycle, DownloadClassicLeavesANewerTransferAlone) {
  ASSERT_TRUE(Open(kMembers));
  const auto previous = Viewer();
  sim.Do([&] { WindowOf()->Command2.Click(); });
  HttpFault slow;
  slow.thinkTime = 5'000;
  origin.Always(slow);
  StartListed(1);
  sim.RunFor(1'000);
  sim.Do([&] { previous->Command3.Click(); });
  sim.RunFor(1'000);
  EXPECT_EQ(Record().SegmentCount, 0);  // the probe is still out
  EXPECT_FALSE(previous->Loaded());
  ASSERT_TRUE(RunUntilListed());
}

TEST_F(ZipViewerLifecycle, DownloadClassicKeepsThePlanOfAResumedArchive) {
  const std::string archive = SimArchive(kMembers, 200'000);
  program.settings.AutoPreviewZIP = false;
  HttpFault hang;
  hang.hangInBody = 5'000;
  for (int i = 2; i <= 30; ++i) origin.OnConnection(i, hang);
  origin.File("/a.zip", archive);
  Start("http://o.example/a.zip");
  ASSERT_TRUE(sim.RunUntil([&] { return Record().Received >= 15'000; }, 30'000));
  sim.Do([&] { WindowOf()->Command2.Click(); });
  const std::int32_t had = Record().Received;
  origin.NoFaults();
  program.settings.AutoPreviewZIP = true;
  StartListed(1);
  ASSERT_TRUE(RunUntilListed());
  EXPECT_EQ(Record().SegmentCount, 4);
  const std::uint64_t before = program.SessionTotal();
  sim.Do([&] { Viewer()->Command3.Click(); });
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), archive);
  EXPECT_LT(program.SessionTotal() - before, archive.size() - static_cast<std::size_t>(had) + 2000);
}

TEST_F(ZipViewerLifecycle, DownloadClassicDuringAnotherProbeLeavesNoTimeOut) {
  ASSERT_TRUE(Open(kMembers));
  const auto viewer = Viewer();
  Pause();
  Resume();
  sim.Do([&] { viewer->Command3.Click(); });
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), SimArchive(kMembers));
  sim.RunFor(60'000);
  EXPECT_EQ(sim.dialogs().OpenCount(), 0U);
  EXPECT_TRUE(Record().Finished);
}

TEST_F(ZipViewerLifecycle, DownloadClassicOnlyClosesTheViewerDuringAQuestion) {
  ASSERT_TRUE(Open(kMembers));
  const auto viewer = Viewer();
  HttpFault gone;
  gone.status = 404;
  origin.Always(gone);
  Pause();
  Resume();
  ASSERT_TRUE(RunUntilABoxStands());
  const int connections = origin.Connections();
  sim.Do([&] { viewer->Command3.Click(); });
  sim.RunFor(5'000);
  EXPECT_EQ(origin.Connections(), connections);
  EXPECT_EQ(Record().SegmentCount, 0);
  EXPECT_TRUE(NoViewerIsLeft(*this));
  Answer(kAnswerOk);
  EXPECT_FALSE(Record().InUse);
  EXPECT_TRUE(NothingRuns());
}

TEST_F(ZipViewerLifecycle, DownloadClassicReconnectsNoRunningSegments) {
  const std::string archive = SimArchive(kMembers, 200'000);
  program.settings.AutoPreviewZIP = false;
  HttpFault slow;
  slow.wire.bytesPerSecond = 5'000;
  origin.Always(slow);
  origin.File("/a.zip", archive);
  Start("http://o.example/a.zip");
  ASSERT_TRUE(sim.RunUntil([&] { return Record().Received >= 15'000; }, 30'000));
  sim.Do([&] { WindowOf()->Command2.Click(); });
  program.settings.AutoPreviewZIP = true;
  StartListed(1);
  ASSERT_TRUE(RunUntilListed());
  const auto viewer = Viewer();
  Pause();
  Resume();  // continues the plan without a probe
  sim.RunFor(2'000);
  const int connections = origin.Connections();
  sim.Do([&] { viewer->Command3.Click(); });
  sim.RunFor(3'000);
  EXPECT_EQ(origin.Connections(), connections);
  EXPECT_TRUE(NoViewerIsLeft(*this));
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), archive);
}

TEST_F(ZipViewerLifecycle, DownloadClassicClosesTheViewerEvenIfItCannotPlan) {
  ASSERT_TRUE(Open(kMembers));
  program.settings.MaxSegments = 0;
  sim.Do([&] { Viewer()->Command3.Click(); });
  sim.RunFor(1'000);
  EXPECT_TRUE(NoViewerIsLeft(*this));
}

TEST_F(ZipViewerLifecycle, DownloadClassicRefusesANameThatTheDiskCannotHold) {
  const std::string nul("a\0b.zip", 7);
  for (const std::string& name : {std::string(251, 'n') + ".zip", std::string(245, 'n') + ".zip", nul}) {
    for (const bool redirected : {false, true}) {
      SCOPED_TRACE(name.size());
      ZipRig rig;
      SimHttpServer server(rig.sim.network(), "o.example");
      server.File(WireText("/" + name), SimArchive(kMembers));
      server.Redirect("/get", "http://o.example/" + name);
      if (name == nul && !redirected) continue;  // no address can have one
      rig.Start(redirected ? "http://o.example/get" : "http://o.example/" + name);
      ASSERT_TRUE(rig.RunUntilListed());
      rig.sim.Do([&] { rig.Viewer()->Command3.Click(); });
      ASSERT_TRUE(rig.RunUntilABoxStands());
      EXPECT_EQ(rig.sim.dialogs().Next().text, "Bad URL or File");
      EXPECT_TRUE(rig.Record().InUse);
      rig.Answer(kAnswerOk);
      EXPECT_FALSE(rig.Record().InUse);
      EXPECT_EQ(rig.Record().URL, "");
      rig.sim.RunFor(30'000);
      EXPECT_FALSE(rig.sim.Ended());
      EXPECT_EQ(rig.sim.dialogs().Boxes().size(), 1U);
      EXPECT_TRUE(NoViewerIsLeft(rig));
      EXPECT_TRUE(rig.NothingRuns());
    }
  }
}

TEST_F(ZipViewerLifecycle, DownloadClassicAcceptsTheLongestNamePartFilesCanHave) {
  const std::string name = std::string(244, 'n') + ".zip";
  ASSERT_TRUE(Open(kMembers, "/" + name));
  sim.Do([&] { Viewer()->Command3.Click(); });
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), SimArchive(kMembers));
}

TEST_F(ZipViewerLifecycle, ViewerOnASilentServerBlocksNoOther) {
  SimHttpServer silent(sim.network(), "silent.example");
  HttpFault hang;
  hang.wire.hangAfterAccept = true;
  silent.OnConnection(2, hang);
  SimHttpServer good(sim.network(), "good.example");
  silent.File("/s.zip", SimArchive(kMembers));
  good.File("/g.zip", SimArchive(kMembers));
  good.File("/plain.bin", SimContent::Generated(40'000));
  origin.File("/a.zip", SimArchive(kMembers));
  Start("http://silent.example/s.zip");
  ASSERT_TRUE(RunUntilViewed(1));
  const std::int16_t second = Start("http://o.example/a.zip");
  const std::int16_t third = Start("http://good.example/g.zip");
  ASSERT_TRUE(RunUntilListed(third));
  ASSERT_TRUE(RunUntilListed(second));
  EXPECT_EQ(sim.windows().Count("Form2"), 3U);
  sim.Do([&] { Viewer(second)->Command3.Click(); });
  const std::int16_t plain = Start("http://good.example/plain.bin");
  ASSERT_TRUE(RunUntilFinished(second));
  ASSERT_TRUE(RunUntilFinished(plain));
  EXPECT_EQ(Output(second), SimArchive(kMembers));
  EXPECT_EQ(Caption(1), "Connecting...");
  EXPECT_EQ(Viewer(third)->ListView1.Rows().size(), 2U);
  sim.Do([&] { Viewer(1)->ViewClosed(); });
  EXPECT_EQ(Viewer(1), nullptr);
  EXPECT_TRUE(Viewer(third)->Loaded());
}

TEST_F(ZipViewerLifecycle, ExtractSelectedDoesNothing) {
  ASSERT_TRUE(Open(kMembers));
  const std::size_t requests = origin.Requests().size();
  const std::uint64_t written = sim.disk().BytesWritten();
  sim.Do([&] { Viewer()->ListView1.SelectByUser({0, 1}); });
  sim.Do([&] { Viewer()->Command2.Click(); });
  sim.RunFor(60'000);
  EXPECT_EQ(origin.Requests().size(), requests);
  EXPECT_EQ(sim.disk().BytesWritten(), written);
  EXPECT_EQ(sim.windows().Count("Extract"), 0U);
  EXPECT_TRUE(Viewer()->Visible());
}

TEST_F(ZipViewerLifecycle, ExtractAllShowsANewDialogEachTime) {
  ASSERT_TRUE(Open(kMembers));
  sim.Do([&] { Viewer()->Command1.Click(); });
  const std::weak_ptr<Extract> first = Viewer()->ExtractDialog;
  sim.Do([&] { Viewer()->Command1.Click(); });
  ASSERT_TRUE(first.lock());
  EXPECT_NE(first.lock(), Viewer()->ExtractDialog);
  EXPECT_EQ(sim.windows().Count("Extract"), 2U);
  sim.Do([&] { first.lock()->Command2.Click(); });
  EXPECT_FALSE(first.lock());  // it has no other holder
  sim.Do([&] { Viewer()->ExtractDialog->Command1.Click(); });
  EXPECT_EQ(sim.windows().Count("Extract"), 0U);
  EXPECT_EQ(Viewer()->ExtractDialog->DialogResult, 1);
}

TEST_F(ZipViewerLifecycle, DialogOutlivesItsViewer) {
  ASSERT_TRUE(Open(kMembers));
  sim.Do([&] { Viewer()->Command1.Click(); });
  sim.Do([&] { Viewer()->ViewClosed(); });
  EXPECT_EQ(sim.windows().Count("Extract"), 1U);
  sim.Do([&] { sim.windows().Only<Extract>()->ViewClosed(); });
  EXPECT_EQ(sim.windows().Count("Extract"), 0U);
}

}  // namespace
}  // namespace pellora
