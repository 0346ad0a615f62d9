#include <gtest/gtest.h>

#include "SimPlatform.h"
#include "core/Program.h"

namespace pellora {
namespace {

class ProgramTest : public testing::Test {
 protected:
  SimPlatform sim;
  Program program{sim.platform()};
};

TEST_F(ProgramTest, FailsForAnIndexOutsideTheList) {
  program.ResizeDownloads(2);
  for (const int index : {-1, 3, 32767}) {
    EXPECT_THROW((void)program.Download(index), Failure) << index;
    EXPECT_THROW((void)program.TransferWindowAt(index), Failure) << index;
    EXPECT_THROW((void)program.ZipViewerAt(index), Failure) << index;
    EXPECT_EQ(program.Serial(index), 0U);
  }
}

TEST_F(ProgramTest, KeepsElementAddressesWhenTheListGrows) {
  program.ResizeDownloads(1);
  DownloadRecord& record = program.Download(1);
  record.URL = "u";
  program.ResizeDownloads(kMaxRecords);
  EXPECT_EQ(&program.Download(1), &record);
  EXPECT_EQ(record.URL, "u");
}

TEST_F(ProgramTest, ResetBlanksRecordsAndEndsEveryHold) {
  program.ResizeDownloads(2);
  program.Download(2).URL = "u";
  const std::uint32_t serial = program.Serial(2);
  EXPECT_TRUE(program.Holds(2, serial));
  program.ResizeDownloads(0);
  EXPECT_FALSE(program.Holds(2, serial));
  program.ResizeDownloads(2);
  EXPECT_FALSE(program.Holds(2, serial));
  EXPECT_EQ(program.Download(2), DownloadRecord{});
}

TEST_F(ProgramTest, CountsActiveRecordsInUseButNeverElementZero) {
  program.ResizeDownloads(3);
  for (int i = 0; i <= 3; ++i) program.Download(i).InUse = program.Download(i).Active = true;
  EXPECT_EQ(program.ActiveCount(), 3);
  program.Download(1).InUse = false;
  program.Download(2).Active = false;
  EXPECT_EQ(program.ActiveCount(), 1);
}

TEST_F(ProgramTest, FiguresBelongToARecordUntilItsSerialRises) {
  program.ResizeDownloads(3);
  for (const int index : {-1, 0, 3, 32767}) EXPECT_EQ(program.Web(index), nullptr) << index;
  program.RaiseSerial(3);
  WebFigures& figures = program.AddWeb(2);
  figures.received = 7;
  EXPECT_EQ(&program.AddWeb(2), &figures);
  program.ResizeDownloads(kMaxRecords);
  program.AddWeb(kMaxRecords);
  EXPECT_EQ(program.Web(2), &figures);
  EXPECT_EQ(figures.received, 7);
  EXPECT_EQ(program.Web(1), nullptr);
  program.RaiseSerial(2);
  EXPECT_EQ(program.Web(2), nullptr);
  EXPECT_EQ(program.AddWeb(2).received, 0);
  program.ResizeDownloads(2);
  EXPECT_EQ(program.Web(kMaxRecords), nullptr);
}

TEST_F(ProgramTest, CapsSessionBytesWhileTheSumContinues) {
  program.CountReceived(2147483000);
  EXPECT_EQ(program.SessionBytes(), 2147483000);
  program.CountReceived(2147483000);
  EXPECT_EQ(program.SessionBytes(), 2147483647);
  EXPECT_EQ(program.SessionTotal(), 4294966000U);
}

TEST_F(ProgramTest, AddsTheWebEnginesBytesWithoutALimit) {
  program.CountReceived(4294966000U);
  program.CountWebReceived(5'000'000'000);
  EXPECT_EQ(program.SessionBytes(), 7'147'483'647);
  EXPECT_EQ(program.SessionTotal(), 9'294'966'000U);
}

TEST_F(ProgramTest, TextsOutsideTheTableAreEmpty) {
  program.LangStrings[0] = "bytes";
  program.LangStrings[1024] = "last";
  EXPECT_EQ(program.Text(0), "bytes");
  EXPECT_EQ(program.Text(1024), "last");
  EXPECT_EQ(program.Text(-1), "");
  EXPECT_EQ(program.Text(1025), "");
}

}  // namespace
}  // namespace pellora
