// Disk calls that fail, one after the other, and seeded downloads with random fates.
#include <algorithm>
#include <cstdlib>

#include "TransferFixture.h"

namespace pellora {
namespace {

constexpr std::uint64_t kLength = 120003;

std::uint64_t StartOne(TransferRig& rig, SimHttpServer& server, SimContent& content) {
  content = SimContent::Generated(kLength);
  server.File("/a.bin", content);
  HttpFault wire;
  wire.wire.bytesPerSecond = 20000;
  wire.wire.latency = 10;
  server.Always(wire);
  rig.sim.dialogs().AutoAnswer("", kAnswerOk, 500);
  rig.Start("http://o.example/a.bin");
  return rig.sim.disk().Calls();
}

TEST(DiskFaults, NeverCrashOrFinishAWrongFile) {
  std::uint64_t calls = 0;
  {
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    SimContent content;
    StartOne(rig, server, content);
    ASSERT_TRUE(rig.RunUntilFinished());
    rig.sim.RunFor(1000);
    calls = rig.sim.disk().Calls();
  }
  ASSERT_GT(calls, 30U);
  int ends = 0;
  int failedBuilds = 0;
  int finished = 0;
  for (std::uint64_t n = 1; n <= calls; ++n) {
    for (const bool fromThenOn : {false, true}) {
      SCOPED_TRACE("call " + std::to_string(n) + (fromThenOn ? " and all behind it" : ""));
      TransferRig rig;
      SimHttpServer server(rig.sim.network(), "o.example");
      SimContent content;
      StartOne(rig, server, content);
      if (fromThenOn) {
        rig.sim.disk().FailFrom(n);
      } else {
        rig.sim.disk().FailCall(n);
      }
      rig.sim.RunUntil([&] { return rig.Record().Finished; }, 120'000);
      if (rig.sim.machine().endCode) {
        // A part file that cannot be written: said with its name, then the end.
        EXPECT_EQ(rig.sim.machine().endCode, 1);
        ASSERT_FALSE(rig.sim.dialogs().Boxes().empty());
        EXPECT_NE(rig.sim.dialogs().Boxes()[0].text.find("/home/u/tmp/a.bin00"), std::string::npos);
        EXPECT_NE(rig.sim.dialogs().Boxes()[0].text.find("input/output error"), std::string::npos);
        EXPECT_FALSE(rig.Record().Finished);
        EXPECT_EQ(rig.Broken(), "");
        ++ends;
        continue;
      }
      if (!rig.Record().Finished) {
        // A build that failed: said with file and reason; a resume builds again.
        ASSERT_FALSE(rig.sim.dialogs().Boxes().empty());
        EXPECT_EQ(rig.sim.dialogs().Boxes()[0].text.rfind("a.bin: ", 0), 0U);
        ASSERT_TRUE(rig.WindowOf());
        EXPECT_NE(rig.WindowOf()->state.Caption(), "text521");
        rig.sim.disk().NoFaults();
        rig.Click(rig.WindowOf()->Command3);
        ASSERT_TRUE(rig.RunUntilFinished(1, 10'000));
        ++failedBuilds;
      }
      EXPECT_TRUE(rig.sim.disk().Holds("/home/u/dl/a.bin", content));
      ++finished;
    }
  }
  EXPECT_GT(ends, 0);
  EXPECT_GT(failedBuilds, 0);
  EXPECT_GT(finished, failedBuilds);
}

TEST(DiskFaults, EndTheProgramAndKeepTheListIfTheDiskIsFull) {
  SimDiskState left;
  SimContent content;
  {
    TransferRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    StartOne(rig, server, content);
    rig.SaveEveryFiveSeconds();
    rig.sim.disk().SetCapacity(80000);
    EXPECT_FALSE(rig.RunUntilFinished(1, 60'000));
    ASSERT_EQ(rig.sim.machine().endCode, 1);
    ASSERT_EQ(rig.sim.dialogs().Boxes().size(), 1U);
    EXPECT_NE(rig.sim.dialogs().Boxes()[0].text.find("no space left"), std::string::npos);
    EXPECT_EQ(rig.Broken(), "");
    left = rig.sim.disk().TakeState();
  }
  EXPECT_GT(left.files.count("/home/u/tmp/a.bin001.tmp"), 0U);
}

// One download with a fate drawn from its seed: size, segments, wire, refusals and silent connections
// before the first block, drops behind it, pauses and resumes at any time.
void RunSeed(std::uint64_t seed) {
  SimRandom random(seed * 7919 + 17);
  const std::uint32_t ticks[] = {0, 123456789, kTickNearSign, kTickNearWrap};
  TransferRig rig(SimOptions{.seed = seed, .startTick = ticks[random.Below(4)]});
  SCOPED_TRACE(rig.sim.Replay());
  SimHttpServer server(rig.sim.network(), "o.example");
  const std::uint64_t size = random.Below(8) == 0 ? random.Between(1'000'000, 4'000'000) : random.Between(1, 300'000);
  const SimContent content = SimContent::Generated(size, seed);
  server.File("/a.bin", content);
  rig.program.settings.MaxSegments = static_cast<std::int32_t>(random.Between(1, 8));
  HttpFault usual;
  usual.wire.latency = static_cast<std::uint32_t>(random.Below(4) == 0 ? random.Between(100, 400) : random.Below(60));
  usual.wire.bytesPerSecond = random.Coin() ? 0 : std::max<std::uint64_t>(10'000, size / random.Between(2, 30));
  usual.wire.cut = random.Coin() ? SimCut::Seeded : SimCut::Whole;
  usual.thinkTime = static_cast<std::uint32_t>(random.Coin() ? 0 : random.Below(500));
  server.Always(usual);
  for (int number = 2; number <= 24; ++number) {
    HttpFault fault = usual;
    switch (random.Below(12)) {
      case 0:
        fault.wire.refuse = true;
        break;
      case 1:
        fault.wire.hangAfterAccept = true;
        break;
      case 2:
        fault.halfClose = true;
        break;
      case 3:
        fault.wire.hangBeforeAccept = true;
        break;
      case 4:
        fault.dropInBody = random.Below(size);
        break;
      default:
        continue;
    }
    server.OnConnection(number, fault);
  }
  rig.sim.dialogs().AutoAnswer("text523", kAnswerYes);
  rig.Start("http://o.example/a.bin");
  std::string broken;
  std::int32_t received = 0;
  const auto watch = [&] {
    if (broken.empty()) broken = rig.Broken();
    return rig.Record().Finished || !broken.empty();
  };
  // A user who now and then pauses, and resumes in no time or later; and who helps a silent segment so.
  for (int round = 0; round < 200 && !watch(); ++round) {
    rig.sim.RunUntil(watch, random.Coin() ? random.Below(600) : random.Below(30'000));
    if (watch()) break;
    if (!rig.WindowOf()) {
      rig.StartListed(1);  // a time-out was answered with Yes
    } else if (received == rig.Record().Received || random.Below(4) == 0) {
      rig.Pause();
      if (random.Coin()) rig.sim.RunUntil(watch, random.Below(1500));
      rig.Resume();
    }
    received = rig.Record().Received;
  }
  rig.sim.RunUntil(watch, 100'000);
  ASSERT_EQ(broken, "");
  ASSERT_TRUE(rig.Record().Finished) << "size " << size;
  ASSERT_TRUE(rig.sim.disk().Holds("/home/u/dl/a.bin", content)) << "size " << size;
  rig.sim.RunFor(3'000);
  ASSERT_EQ(rig.sim.network().Open(), 0);
  ASSERT_EQ(rig.sim.tasks().RunningTasks(), 0U);
}

TEST(RandomDownloads, EndWithTheSameBytesForEverySeed) {
  const std::uint64_t first = SeedOr(1);
  const std::uint64_t count = std::getenv("PELLORA_SEED") ? 1 : 300;
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    RunSeed(seed);
    if (::testing::Test::HasFatalFailure()) return;
  }
}

}  // namespace
}  // namespace pellora
