// Whole downloads over HTTP: from the URL to the file on the disk.
#include "TransferFixture.h"

namespace pellora {
namespace {

class Download : public TransferFixture {};

TEST_F(Download, JoinsFourSegmentsIntoTheSameBytes) {
  const SimContent content = SimContent::Generated(1000003);
  origin.File("/a.zip", content);
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.zip", content));
  EXPECT_EQ(Record().SegmentCount, 4);
  EXPECT_EQ(Record().Received, 1000003);
  EXPECT_EQ(Record().Percent, 100.0F);
  EXPECT_FALSE(Record().Active);
  sim.RunFor(2000);
  for (int i = 1; i <= 4; ++i) EXPECT_FALSE(sim.disk().Has(Record().Segment(i).TempFile)) << i;
  EXPECT_EQ(WindowOf()->Command1.Caption(), "Open File");
  EXPECT_EQ(WindowOf()->Command3.Caption(), "Open Folder");
  EXPECT_EQ(sim.network().Open(), 0);
}

TEST_F(Download, ClosesItsWindowAtTheEndIfItIsSoSet) {
  program.settings.CloseFinishedWindows = true;
  const SimContent content = SimContent::Generated(1000003);
  origin.File("/a.zip", content);
  Start("http://o.example/a.zip");
  const std::shared_ptr<TransferWindow> window = WindowOf();
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  sim.RunFor(2000);
  EXPECT_FALSE(window->Loaded());
  EXPECT_EQ(program.TransferWindowAt(1), nullptr);
  EXPECT_TRUE(Record().InUse);
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.zip", content));
  for (int i = 1; i <= 4; ++i) EXPECT_FALSE(sim.disk().Has(Record().Segment(i).TempFile)) << i;
}

TEST_F(Download, SendsExactProbeAndSegmentRequests) {
  SimHttpServer other(sim.network(), "o.example", 8080);
  other.File("/p/a.bin", SimContent::Generated(10000));
  Start("http://o.example:8080/p/a.bin");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  ASSERT_EQ(other.Requests().size(), 3U);
  EXPECT_EQ(sim.network().Log()[0].received,
            "GET /p/a.bin HTTP/1.1\r\nAccept: *.*, */*\r\nConnection: Keep-Alive\r\nHost: o.example\r\n\r\n\r\n");
  EXPECT_EQ(sim.network().Log()[1].received,
            "GET /p/a.bin HTTP/1.1\r\nAccept: *.*, */*\r\nReferer: \r\nConnection: Keep-Alive\r\n"
            "Host: o.example\r\nRange: bytes=0-4999\r\n\r\n");
  EXPECT_EQ(sim.network().Log()[2].received,
            "GET /p/a.bin HTTP/1.1\r\nAccept: *.*, */*\r\nReferer: \r\nConnection: Keep-Alive\r\n"
            "Host: o.example\r\nRange: bytes=5000-9999\r\n\r\n");
}

TEST_F(Download, KeepsTheSameBytesInBlocksOfAnySize) {
  const SimContent content = SimContent::Generated(200011);
  origin.File("/a.bin", content);
  int index = 0;
  for (const SimCut cut : {SimCut::Whole, SimCut::Seeded}) {
    HttpFault fault;
    fault.wire.cut = cut;
    origin.Always(fault);
    sim.disk().Lose("/home/u/dl/a.bin");
    Start("http://o.example/a.bin");
    ASSERT_TRUE(RunUntilFinished(++index)) << sim.Replay();
    EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content));
  }
}

TEST_F(Download, CompletesOverEightSlowConnectionsDespiteTheStallWatch) {
  program.settings.MaxSegments = 8;
  const SimContent content = SimContent::Generated(3000000);
  origin.File("/a.bin", content);
  HttpFault slow;
  slow.wire.latency = 50;
  slow.wire.bytesPerSecond = 200000;
  origin.Always(slow);
  Start("http://o.example/a.bin");
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content));
  EXPECT_EQ(Record().Received, 3000000);
  // One for the probe, eight segments, and those that the spacing loop connected once more.
  EXPECT_GT(origin.Connections(), 9);
}

TEST_F(Download, ContinuesWhereItWasPaused) {
  const SimContent content = SimContent::Generated(2000000);
  origin.File("/a.bin", content);
  HttpFault slow;
  slow.wire.bytesPerSecond = 100000;
  origin.Always(slow);
  Start("http://o.example/a.bin");
  sim.RunFor(3000);
  sim.Do([&] { WindowOf()->Command3.Click(); });
  EXPECT_TRUE(Record().Paused);
  EXPECT_FALSE(Record().Active);
  const std::int32_t received = Record().Received;
  EXPECT_GT(received, 100000);
  for (int i = 1; i <= 4; ++i) {
    const SegmentRecord& segment = Record().Segment(i);
    EXPECT_EQ(segment.ReceivedNow, 0);
    EXPECT_EQ(segment.RangeEnd + segment.ReceivedTotal - segment.RangeStart + 1, segment.RangeSize);
  }
  sim.RunFor(60'000);
  EXPECT_EQ(Record().Received, received);
  sim.Do([&] { WindowOf()->Command3.Click(); });
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  EXPECT_TRUE(sim.disk().Holds("/home/u/dl/a.bin", content));
  EXPECT_EQ(Record().Received, 2000000);
}

}  // namespace
}  // namespace pellora
