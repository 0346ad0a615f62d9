// The process is killed at every disk call; what it left is taken up by a new start of the program.
#include <limits>

#include "TransferFixture.h"
#include "core/ListFile.h"

namespace pellora {
namespace {

constexpr std::uint64_t kLength = 280009;

void Serve(SimHttpServer& server, const SimContent& content) {
  server.File("/a.bin", content);
  HttpFault wire;
  wire.wire.bytesPerSecond = 10000;
  wire.wire.latency = 10;
  server.Always(wire);
}

// Runs until the cut (0: none) and gives the number of disk calls made.
std::uint64_t RunTo(TransferRig& rig, const SimContent& content, std::uint64_t cut, bool torn) {
  SimHttpServer server(rig.sim.network(), "o.example");
  Serve(server, content);
  if (cut > 0) rig.sim.disk().CutAt(cut, torn);
  rig.sim.Do([&] { LoadList(rig.program); });
  rig.Start("http://o.example/a.bin");
  rig.sim.Do([&] { SaveList(rig.program); });  // as after an add
  rig.SaveEveryFiveSeconds();
  rig.RunUntilFinished(1, 120'000);
  rig.sim.RunFor(12'000);
  return rig.sim.disk().Calls();
}

// What a new start makes of the disk.
void TakeUp(SimDiskState disk, const SimContent& content) {
  TransferRig rig(SimOptions{.seed = 2, .startTick = 40000, .startSerial = 46001.4, .disk = std::move(disk)});
  SimHttpServer server(rig.sim.network(), "o.example");
  Serve(server, content);
  rig.sim.Do([&] { LoadList(rig.program); });
  if (rig.program.DownloadCount == 0) {
    // Killed before the first save: nothing was promised yet.
    rig.Start("http://o.example/a.bin");
  } else {
    const DownloadRecord& record = rig.Record();
    EXPECT_FALSE(record.Active);
    if (record.Finished) {
      ASSERT_TRUE(rig.sim.disk().Holds("/home/u/dl/a.bin", content));
      return;
    }
    ASSERT_EQ(rig.Broken(), "");
    rig.StartListed(1);
  }
  ASSERT_TRUE(rig.RunUntilFinished(1, 120'000));
  ASSERT_TRUE(rig.sim.disk().Holds("/home/u/dl/a.bin", content));
  rig.sim.RunFor(2'000);
  for (int i = 1; i <= rig.Record().SegmentCount; ++i) EXPECT_FALSE(rig.sim.disk().Has(rig.Segment(i).TempFile));
}

TEST(Kill, AtAnyDiskCallResumesToTheSameFile) {
  const SimContent content = SimContent::Generated(kLength);
  std::uint64_t calls = 0;
  {
    TransferRig rig;
    calls = RunTo(rig, content, 0, false);
    ASSERT_TRUE(rig.Record().Finished);
  }
  ASSERT_GT(calls, 100U);
  for (std::uint64_t cut = 1; cut <= calls; ++cut) {
    SCOPED_TRACE("killed at disk call " + std::to_string(cut));
    SimDiskState left;
    {
      TransferRig rig;
      RunTo(rig, content, cut, false);
      ASSERT_TRUE(rig.sim.Killed());
      left = rig.sim.disk().TakeState();
    }
    TakeUp(std::move(left), content);
    if (::testing::Test::HasFatalFailure()) return;
  }
}

TEST(Kill, DuringAnyWriteResumesToTheSameFile) {
  const SimContent content = SimContent::Generated(kLength);
  std::vector<std::uint64_t> writes;
  {
    TransferRig rig;
    rig.sim.disk().FailWhere([&](DiskCall call, const std::string& path) {
      if (call == DiskCall::Write && path != "/prog/Pellora.dat") writes.push_back(rig.sim.disk().Calls());
      return false;
    });
    RunTo(rig, content, 0, false);
  }
  ASSERT_GT(writes.size(), 50U);
  for (const std::uint64_t cut : writes) {
    SCOPED_TRACE("killed in the middle of disk call " + std::to_string(cut));
    SimDiskState left;
    {
      TransferRig rig;
      RunTo(rig, content, cut, true);
      ASSERT_TRUE(rig.sim.Killed());
      left = rig.sim.disk().TakeState();
    }
    TakeUp(std::move(left), content);
    if (::testing::Test::HasFatalFailure()) return;
  }
}

TEST(Kill, LosesOnlyTheProgressSinceTheLastSave) {
  const SimContent content = SimContent::Generated(kLength);
  for (const std::uint64_t moment : {5'500U, 5'990U, 6'020U, 7'000U}) {
    SimDiskState left;
    std::int32_t received = 0;
    {
      TransferRig rig;
      SimHttpServer server(rig.sim.network(), "o.example");
      Serve(server, content);
      rig.Start("http://o.example/a.bin");
      rig.SaveEveryFiveSeconds();
      rig.sim.RunFor(moment);
      received = rig.Record().Received;
      left = rig.sim.disk().TakeState();
    }
    TransferRig rig(SimOptions{.disk = std::move(left)});
    rig.sim.Do([&] { LoadList(rig.program); });
    ASSERT_EQ(rig.program.DownloadCount, 1);
    EXPECT_TRUE(rig.Record().Paused);
    EXPECT_EQ(rig.Broken(), "");
    EXPECT_GE(rig.Record().Received, received - 5 * 4 * 10000 - 4 * 1000);
  }
}

}  // namespace
}  // namespace pellora
