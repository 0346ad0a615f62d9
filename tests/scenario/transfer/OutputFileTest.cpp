// The end of a download: the join of the parts and what follows it.
#include "TransferFixture.h"

namespace pellora {
namespace {

class OutputFile : public TransferFixture {};

TEST_F(OutputFile, IsBuiltFromCompleteSegmentsOnResumeWithoutAConnection) {
  AddComplete({"first", "second"});
  GiveWindow();
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 1000));
  EXPECT_EQ(Output(), "firstsecond");
  EXPECT_EQ(origin.Connections(), 0);
  EXPECT_FALSE(sim.disk().Has("/home/u/tmp/a.zip001.tmp"));
}

TEST_F(OutputFile, IsCopiedInChunksOfOneMebibyte) {
  struct Case {
    std::size_t size;
    int chunks;
  };
  for (const Case& one : {Case{2500000, 3}, Case{1048576, 1}, Case{1048577, 2}, Case{1, 1}}) {
    SCOPED_TRACE(one.size);
    program.ResizeDownloads(0);
    AddComplete({SimContent::Generated(one.size).All()});
    sim.disk().Lose("/home/u/dl/a.zip");
    GiveWindow();
    int copies = 0;
    sim.disk().FailWhere([&](DiskCall call, const std::string& path) {
      copies += call == DiskCall::Copy && path == "/home/u/dl/a.zip" ? 1 : 0;
      return false;
    });
    Resume();
    ASSERT_TRUE(RunUntilFinished(1, 1000));
    EXPECT_EQ(copies, one.chunks);
    EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.zip", SimContent::Generated(one.size)));
    sim.disk().NoFaults();
  }
}

TEST_F(OutputFile, IsReadAndWrittenIfTheDiskCannotCopy) {
  AddComplete({SimContent::Generated(2500000).All(), "second"});
  GiveWindow();
  std::vector<std::string> calls;
  sim.disk().FailWhere(
      [&](DiskCall call, const std::string& path) {
        if (call == DiskCall::Read && path == "/home/u/tmp/a.zip001.tmp") calls.push_back("read");
        if (call == DiskCall::Write && path == "/home/u/dl/a.zip") calls.push_back("write");
        return call == DiskCall::Copy;
      },
      1, true);
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 1000));
  EXPECT_EQ(Output(), SimContent::Generated(2500000).All() + "second");
  EXPECT_EQ(calls, (std::vector<std::string>{"read", "write", "read", "write", "read", "write", "write"}));
}

TEST_F(OutputFile, IsNotBegunWithoutRoomAndBuiltOnceThereIsRoom) {
  const std::string first = SimContent::Generated(2500000).All();
  AddComplete({first, "second"});
  GiveWindow();
  sim.disk().SetCapacity(4000000);
  Resume();
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_NE(sim.dialogs().Next().text.find("a.zip: /home/u/dl/a.zip: no space left on the disk"), std::string::npos);
  EXPECT_EQ(Output(), "");
  EXPECT_TRUE(sim.disk().Has("/home/u/tmp/a.zip001.tmp"));
  Answer(kAnswerOk);
  sim.disk().NoFaults();
  Click(WindowOf()->Command3);
  ASSERT_TRUE(RunUntilFinished(1, 1000));
  EXPECT_EQ(Output(), first + "second");
}

TEST_F(OutputFile, GetsNothingFromAnEmptySegment) {
  AddComplete({"first", "", "third"});
  GiveWindow();
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 1000));
  EXPECT_EQ(Output(), "firstthird");
  EXPECT_EQ(sim.disk().Paths(), (std::vector<std::string>{"/home/u/dl/a.zip", "/prog/Pellora.dat"}));
}

TEST_F(OutputFile, TakesOnlyThePlannedBytesOfALongerPart) {
  AddComplete({"first", "second"});
  sim.disk().Put("/home/u/tmp/a.zip001.tmp", "firstandtoomuch");
  GiveWindow();
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 1000));
  EXPECT_EQ(Output(), "firstsecond");
}

TEST_F(OutputFile, HasZerosInPlaceOfAMissingPart) {
  AddComplete({"first", "second", "third"});
  sim.disk().Lose("/home/u/tmp/a.zip002.tmp");
  GiveWindow();
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 1000));
  EXPECT_EQ(Output(), "first" + std::string(6, '\0') + "third");
}

TEST_F(OutputFile, KeepsTheTailOfALongerExistingFile) {
  AddComplete({"first", "second"});
  sim.disk().Put("/home/u/dl/a.zip", "0123456789ABCDEF");
  GiveWindow();
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 1000));
  EXPECT_EQ(Output(), "firstsecondBCDEF");
}

TEST_F(OutputFile, GoesToTheChosenPathRegardlessOfTheFolder) {
  AddComplete({"bytes"});
  Record().HasSavePath = true;
  Record().SavePath = "/home/u/chosen.zip";
  sim.disk().MakeFolder("/home/u");
  program.settings.DownloadFolder = "/nowhere";
  GiveWindow();
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 1000));
  EXPECT_EQ(sim.disk().Get("/home/u/chosen.zip"), "bytes");
}

TEST_F(OutputFile, HasTheSamePathWithOrWithoutAFolderSeparator) {
  for (const char* folder : {"/home/u/dl", "/home/u/dl/"}) {
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    server.File("/a.zip", SimContent::Generated(10));
    rig.program.settings.DownloadFolder = folder;
    rig.Start("http://o.example/a.zip");
    ASSERT_TRUE(rig.RunUntilFinished());
    EXPECT_EQ(rig.Record().SavePath, "/home/u/dl/a.zip");
  }
}

TEST_F(OutputFile, IsHandedOverAsAnUpdateWithoutChangingCaptions) {
  Serve("/a.zip", 20000);
  std::vector<std::int16_t> handed;
  program.handOverUpdate = [&](std::int16_t index) { handed.push_back(index); };
  Start("http://o.example/a.zip");
  Record().DownloadKind = 1;
  const std::string first = WindowOf()->Command1.Caption();
  const std::string third = WindowOf()->Command3.Caption();
  ASSERT_TRUE(RunUntilFinished());
  sim.RunFor(1000);
  EXPECT_EQ(handed, std::vector<std::int16_t>{1});
  EXPECT_EQ(WindowOf()->Command1.Caption(), first);
  EXPECT_EQ(WindowOf()->Command3.Caption(), third);
}

TEST_F(OutputFile, MarksTheRecordFinishedAndRefreshesTheLists) {
  Serve("/a.zip", 20000);
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilFinished());
  sim.RunFor(1000);
  EXPECT_FALSE(Record().Active);
  EXPECT_FALSE(Record().Paused);
  EXPECT_FALSE(Record().Valid);
  EXPECT_TRUE(Record().InUse);
  EXPECT_EQ(Record().Percent, 100.0F);
  EXPECT_EQ(lists.downListRefreshes, 1);
  EXPECT_EQ(WindowOf()->state.Caption(), "text521");
  EXPECT_NE(WindowOf(), nullptr);  // its slot stays filled
}

TEST_F(OutputFile, ReportsAnOpenFailureAndIsBuiltAgainOnResume) {
  const SimContent content = Serve("/a.zip", 200000);
  sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Open && path == "/home/u/dl/a.zip"; });
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_NE(sim.dialogs().Next().text.find("a.zip: /home/u/dl/a.zip: input/output error"), std::string::npos);
  EXPECT_FALSE(Record().Finished);
  EXPECT_FALSE(Record().Active);
  EXPECT_NE(WindowOf()->state.Caption(), "text521");
  Answer(kAnswerOk);
  EXPECT_TRUE(WindowOf()->Command3.Enabled());
  const int connections = origin.Connections();
  Click(WindowOf()->Command3);
  ASSERT_TRUE(RunUntilFinished(1, 1000));
  EXPECT_EQ(Output(), content.All());
  EXPECT_EQ(origin.Connections(), connections);
}

TEST_F(OutputFile, KeepsEveryPartUntilTheSavedListSaysFinished) {
  Serve("/a.zip", 200000);
  std::vector<std::string> calls;
  sim.disk().FailWhere([&](DiskCall call, const std::string& path) {
    if (call == DiskCall::Delete) calls.push_back("delete");
    if (call == DiskCall::Write && path == "/prog/Pellora.dat") calls.push_back("save");
    if (call == DiskCall::Copy && path == "/home/u/dl/a.zip") calls.push_back("join");
    return false;
  });
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilFinished());
  const std::vector<std::string> expected = {"join",   "join",   "join",   "join",  "save",
                                             "delete", "delete", "delete", "delete"};
  EXPECT_EQ(calls, expected);
}

TEST_F(OutputFile, KeepsThePartsWhileTheProgramEndsByAFailure) {
  AddComplete({"first", "second"});
  GiveWindow();
  sim.Do([&] { program.EndWithFailure("another part file"); });
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 1000));
  EXPECT_EQ(Output(), "firstsecond");
  EXPECT_FALSE(sim.disk().Has("/prog/Pellora.dat"));
  EXPECT_TRUE(sim.disk().Has("/home/u/tmp/a.zip001.tmp"));
  EXPECT_TRUE(sim.disk().Has("/home/u/tmp/a.zip002.tmp"));
}

TEST_F(OutputFile, RecreatesTheMissingFolderOfAnUpdate) {
  AddComplete({"bytes"});
  Record().DownloadKind = 1;
  Record().HasSavePath = true;
  Record().SavePath = "/prog/downloads/a.zip";  // the folder could not be made at the add
  GiveWindow();
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 1000));
  EXPECT_EQ(sim.disk().Get("/prog/downloads/a.zip"), "bytes");
}

TEST_F(OutputFile, CreatesNoFolderForAnUpdateWhosePathNamesNone) {
  AddComplete({"bytes"});
  Record().DownloadKind = 1;
  Record().HasSavePath = true;
  Record().SavePath = "a.zip";
  GiveWindow();
  Resume();
  ASSERT_TRUE(RunUntilFinished(1, 1000));
  EXPECT_EQ(sim.disk().Get("a.zip"), "bytes");
}

TEST_F(OutputFile, LeavesAPartThatCannotBeDeleted) {
  const SimContent content = Serve("/a.zip", 200000);
  sim.disk().FailWhere([](DiskCall call, const std::string&) { return call == DiskCall::Delete; }, 2);
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Output(), content.All());
  EXPECT_FALSE(sim.disk().Has("/home/u/tmp/a.zip001.tmp"));
  EXPECT_TRUE(sim.disk().Has("/home/u/tmp/a.zip002.tmp"));
  EXPECT_FALSE(sim.disk().Has("/home/u/tmp/a.zip003.tmp"));
}

}  // namespace
}  // namespace pellora
