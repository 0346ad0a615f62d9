// Files that are not the program's, in the places of those that it writes.
#include <functional>
#include <string>
#include <vector>

#include "TransferFixture.h"
#include "core/ListFile.h"

namespace pellora {
namespace {

constexpr const char* kTarget = "/home/u/letter";
constexpr const char* kPart = "/home/u/tmp/a.bin001.tmp";
constexpr const char* kOutput = "/home/u/dl/a.bin";

class ForeignFiles : public TransferFixture {
 protected:
  ForeignFiles() { sim.disk().Put(kTarget, "kept"); }

  void Begin(std::uint64_t bytesPerSecond = 20000) {
    content = Serve("/a.bin", 200000);
    Wire(10, bytesPerSecond);
    Start("http://o.example/a.bin");
  }
  void ExpectTheFile() {
    ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
    EXPECT_TRUE(sim.disk().Holds(kOutput, content));
    EXPECT_TRUE(sim.disk().Holds(kTarget, "kept"));
  }
  // What somebody can put at a name: a link that leads to a file, one that leads nowhere, a second name of a
  // file, a file of another user, a folder.
  std::vector<std::function<void(const std::string&)>> Planted() {
    return {[this](const std::string& path) { sim.disk().PutLink(path, kTarget); },
            [this](const std::string& path) { sim.disk().PutLink(path, "/home/u/made"); },
            [this](const std::string& path) { sim.disk().PutLink(path, kTarget, true); },
            [this](const std::string& path) { sim.disk().PutSecondName(path, kTarget); },
            [this](const std::string& path) {
              sim.disk().Put(path, "ofAnotherUser");
              sim.disk().GiveToAnother(path);
            },
            [this](const std::string& path) { sim.disk().MakeFolder(path); }};
  }

  SimContent content;
};

class ForeignPartFiles : public ForeignFiles, public ::testing::WithParamInterface<std::size_t> {
 protected:
  void Plant(const std::string& path) { Planted().at(GetParam())(path); }
  void ExpectUntouched(const std::string& path) {
    sim.Do([&] { EXPECT_EQ(program.platform.files.LookAtPart(path), PartName::Foreign); });
    if (sim.disk().Has(path)) {
      EXPECT_EQ(sim.disk().Get(path), sim.disk().Size(path) == 4 ? "kept" : "ofAnotherUser");
    }
  }
};

TEST_P(ForeignPartFiles, AreLeftAloneByAPlanWithOtherNames) {
  Plant("/home/u/tmp/a.bin003.tmp");
  Begin();
  sim.RunFor(1000);
  EXPECT_EQ(Segment(1).TempFile, "/home/u/tmp/a.bin1001.tmp");
  ExpectTheFile();
  ExpectUntouched("/home/u/tmp/a.bin003.tmp");
  EXPECT_FALSE(sim.disk().Has("/home/u/made"));
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_P(ForeignPartFiles, StopOnlyTheirDownloadIfItsPlanIsOlder) {
  Begin();
  const SimContent other = Serve("/other.bin", 200000, 2);
  Start("http://o.example/other.bin");
  ASSERT_TRUE(sim.RunUntil([&] { return Record().SegmentCount == 4 && Segment(1).Received() > 0; }, 10'000));
  sim.disk().Lose(kPart);
  Plant(kPart);
  ASSERT_TRUE(RunUntilABoxStands()) << sim.Replay();
  EXPECT_NE(sim.dialogs().Next().text.find(kPart), std::string::npos);
  EXPECT_FALSE(program.Ending());
  EXPECT_TRUE(Record().Paused);
  EXPECT_FALSE(Record().Active);
  Answer(kAnswerOk);
  ASSERT_TRUE(RunUntilFinished(2)) << sim.Replay();
  EXPECT_EQ(sim.dialogs().Boxes().size(), 1U);
  EXPECT_FALSE(sim.disk().Has("/home/u/made"));
  Resume();
  ExpectTheFile();
  ExpectUntouched(kPart);
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/other.bin", other));
}

TEST_P(ForeignPartFiles, AreReplannedAroundOnResumeInTheSameWindow) {
  Begin();
  sim.RunFor(2000);
  Pause();
  ASSERT_TRUE(Record().Paused);
  ASSERT_GT(Record().Received, 0);
  sim.disk().Lose(kPart);
  Plant(kPart);
  Resume();
  sim.RunFor(1000);
  EXPECT_EQ(Segment(1).TempFile, "/home/u/tmp/a.bin1001.tmp");
  ExpectTheFile();
  EXPECT_EQ(Record().Received, 200000);
  ExpectUntouched(kPart);
  EXPECT_FALSE(sim.disk().Has("/home/u/made"));
  EXPECT_TRUE(sim.dialogs().Boxes().empty());
}

TEST_P(ForeignPartFiles, AreNeitherJoinedNorDeletedForAListThatNamesThem) {
  content = Serve("/a.bin", 200000);
  Add("http://o.example/a.bin");
  Plant(kPart);
  DownloadRecord& record = Record();
  record.Segments.resize(2);
  record.SegmentCount = 1;
  SegmentRecord& segment = record.Segment(1);
  segment.RangeStart = segment.ReceivedTotal = segment.RangeSize = 4;
  segment.RangeEnd = 3;
  segment.Enabled = true;
  segment.State = kSegmentComplete;
  segment.TempFile = kPart;
  record.FileSize = record.Received = 4;
  record.Paused = true;
  StartListed(1);
  ExpectTheFile();
  EXPECT_EQ(sim.disk().Size(kOutput), 200000U);
  ExpectUntouched(kPart);
  EXPECT_FALSE(sim.disk().Has("/home/u/made"));
}

INSTANTIATE_TEST_SUITE_P(Each, ForeignPartFiles, ::testing::Range(std::size_t{0}, std::size_t{6}));

// The join deletes what it has joined: a list could so have any file deleted.
TEST_F(ForeignFiles, NamedByAListAreNeitherReadNorWrittenNorDeleted) {
  struct Case {
    const char* name;
    std::int16_t state;
  };
  for (const Case& one : {Case{kTarget, kSegmentComplete}, Case{kTarget, kSegmentPaused},
                          Case{"/home/u/tmp/notes.tmp", kSegmentComplete}, Case{"", kSegmentPaused}}) {
    SCOPED_TRACE(one.name);
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    content = SimContent::Generated(20000);
    server.File("/a.bin", content);
    if (*one.name != '\0') rig.sim.disk().Put(one.name, "kept");
    rig.Add("http://o.example/a.bin");
    DownloadRecord& record = rig.Record();
    record.Segments.resize(3);
    record.SegmentCount = 2;
    for (int i = 1; i <= 2; ++i) {
      SegmentRecord& segment = record.Segment(i);
      segment.RangeStart = (i - 1) * 10000;
      segment.RangeEnd = segment.RangeStart + 9999;
      segment.RangeSize = 10000;
      segment.Enabled = segment.Watched = true;
      segment.TempFile = i == 1 ? one.name : "/home/u/tmp/a.bin002.tmp";
      segment.State = one.state;
    }
    record.FileSize = 20000;
    record.Received = 123;
    record.Paused = true;
    rig.StartListed(1);
    ASSERT_TRUE(rig.RunUntilFinished()) << rig.sim.Replay();
    EXPECT_TRUE(rig.sim.disk().Holds(kOutput, content));
    EXPECT_EQ(rig.Record().Received, 20000);
    EXPECT_TRUE(*one.name == '\0' || rig.sim.disk().Holds(one.name, "kept"));
    EXPECT_TRUE(rig.sim.dialogs().Boxes().empty());
  }
}

TEST_F(ForeignFiles, InPlaceOfAPartFailTheJoin) {
  Begin(100000);
  ASSERT_TRUE(sim.RunUntil([&] { return Record().SegmentCount == 4 && Segment(1).State == kSegmentComplete; }, 60'000));
  sim.disk().Lose(kPart);
  sim.disk().PutLink(kPart, kTarget);
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_TRUE(Record().Paused);
  EXPECT_FALSE(Record().Finished);
  Answer(kAnswerOk);
  Resume();
  ExpectTheFile();
  EXPECT_TRUE(sim.disk().HasLink(kPart));
}

TEST_F(ForeignFiles, DoNotEndTheProgramUnlikeADiskError) {
  sim.disk().FailWhere([](DiskCall call, const std::string& path) { return call == DiskCall::Open && path == kPart; });
  Begin();
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_TRUE(program.Ending());
}

TEST_F(ForeignFiles, LinkOfAnotherUserAtTheOutputFailsTheJoinAndKeepsTheParts) {
  sim.disk().PutLink(kOutput, "/home/u/made", true);
  Begin();
  ASSERT_TRUE(RunUntilABoxStands()) << sim.Replay();
  EXPECT_NE(sim.dialogs().Next().text.find(kOutput), std::string::npos);
  EXPECT_FALSE(sim.disk().Has("/home/u/made"));
  EXPECT_TRUE(Record().Paused);
  EXPECT_TRUE(sim.disk().Has(kPart));
  Answer(kAnswerOk);
  sim.Do([&] { program.platform.files.Delete(kOutput); });
  Resume();
  ExpectTheFile();
}

TEST_F(ForeignFiles, LinkOfTheUserAtTheOutputIsFollowed) {
  sim.disk().PutLink(kOutput, "/home/u/made");
  Begin();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_TRUE(sim.disk().Holds("/home/u/made", content));
  EXPECT_TRUE(sim.disk().HasLink(kOutput));
}

TEST_F(ForeignFiles, OtherUsersReadOnlyTheFinishedFile) {
  Begin();
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(kPart); }, 10'000));
  EXPECT_FALSE(sim.disk().IsOpenToOthers(kPart));
  sim.Do([&] { SaveList(program); });
  ASSERT_TRUE(sim.disk().Has(ListPath(program)));
  EXPECT_FALSE(sim.disk().IsOpenToOthers(ListPath(program)));
  ExpectTheFile();
  ASSERT_TRUE(sim.disk().Has(kOutput));
  EXPECT_TRUE(sim.disk().IsOpenToOthers(kOutput));
}

}  // namespace
}  // namespace pellora
