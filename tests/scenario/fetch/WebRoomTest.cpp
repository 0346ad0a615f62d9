// What a disk must have for a download by the web engine, and what it cannot do.
#include "WebRig.h"
#include "core/WebTexts.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";

class WebRoom : public testing::Test, public WebRig {
 protected:
  WebRoom() : origin(sim.network(), "o.example", 443), content(SimContent::Generated(20'000'000, 7)) {
    origin.File("/a.bin", content);
    origin.Traits("/a.bin").validators = {{.etag = "\"1\"", .modified = 1'700'000'000}};
    sim.disk().MakeFolder("/home/u/tmp");
  }
  void RunClassic(std::int32_t size, std::int32_t received) {
    program.ResizeDownloads(static_cast<std::int16_t>(program.DownloadCount + 1));
    DownloadRecord& record = Record(program.DownloadCount);
    record.InUse = record.Active = true;
    record.URL = "http://c.example/c.bin";
    record.Port = 80;
    record.FileName = "c.bin";
    record.SegmentCount = 4;
    record.FileSize = size;
    record.Received = received;
  }
  std::string Said(WebText text, const char* needed, const char* free) {
    return FillText(TextOf(program, text), {needed, free});
  }
  SimHttpServer origin;
  const SimContent content;
};

TEST_F(WebRoom, TooLittleIsSaidAtOnceWithBothFigures) {
  sim.downloadFiles().SetRoom(19'000'000);
  Start(kUrl);
  ASSERT_TRUE(RunUntilStopped());
  EXPECT_EQ(Web().reason, Said(WebText::NoRoom, "20 MB", "19 MB"));
  EXPECT_TRUE(InFolder().empty());
  sim.downloadFiles().SetRoom(20'000'000);
  Resume();
  EXPECT_TRUE(RunUntilFinished());
}

TEST_F(WebRoom, PartsAndJoinOfRunningClassicDownloadsHaveTheirs) {
  RunClassic(5'000'000, 1'000'000);
  sim.downloadFiles().SetRoom(28'999'999);
  Start(kUrl);
  ASSERT_TRUE(RunUntilStopped(2));
  EXPECT_EQ(Web(2).reason, Said(WebText::NoRoomBeside, "20 MB", "19 MB"));
  sim.downloadFiles().SetRoom(29'000'000);
  Resume(2);
  EXPECT_TRUE(RunUntilFinished(2));
}

TEST_F(WebRoom, ClassicDownloadsOnAnotherDiskCountForNothing) {
  RunClassic(5'000'000, 1'000'000);
  program.settings.DownloadFolder = "/home/u/dl/";
  Record(1).HasSavePath = true;
  Record(1).SavePath = "/home/u/tmp/c.bin";
  sim.downloadFiles().PutOnAnotherDisk("/home/u/tmp");
  sim.downloadFiles().SetRoom(20'000'000);
  Start(kUrl);
  EXPECT_TRUE(RunUntilFinished(2));
}

TEST_F(WebRoom, PausedClassicDownloadsCountForNothing) {
  RunClassic(5'000'000, 1'000'000);
  Record(1).Active = false;
  sim.downloadFiles().SetRoom(20'000'000);
  Start(kUrl);
  EXPECT_TRUE(RunUntilFinished(2));
}

TEST_F(WebRoom, FileLongerThanTheDiskTakesIsSaidAtOnce) {
  sim.disk().SetLongestFile(19'999'999);
  Start(kUrl);
  ASSERT_TRUE(RunUntilStopped());
  EXPECT_EQ(Web().reason, FillText(TextOf(program, WebText::TooLong), {"19 MB"}));
  EXPECT_TRUE(InFolder().empty());
  EXPECT_LT(origin.Requests().size(), 3U);
}

TEST_F(WebRoom, DiskThatFillsGapsGetsTheFileInOrder) {
  sim.downloadFiles().SetFillsGaps(true);
  Start(kUrl);
  ASSERT_TRUE(RunUntilReceived(5'000'000));
  Pause();
  sim.RunFor(3000);
  Resume();
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content));
  EXPECT_EQ(sim.downloadFiles().GapBytes(), 0U);
}

TEST_F(WebRoom, OtherDisksGetItOnAllLanes) {
  Start(kUrl);
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_GT(sim.downloadFiles().GapBytes(), 0U);
}

}  // namespace
}  // namespace pellora
