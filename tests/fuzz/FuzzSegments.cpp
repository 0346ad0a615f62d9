#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "../scenario/transfer/TransferRig.h"
#include "Oracle.h"
#include "Targets.h"
#include "transfer/RangeReply.h"

namespace pellora {

namespace {

constexpr int kMaxSent = 64;  // blocks of one segment; the wire searches them at each block

// What the server sends to one segment, block by block.
using Blocks = std::vector<std::string>;

Blocks BlocksOf(std::string_view text, bool whole) {
  Blocks blocks = Pieces(text, "\2");
  if (whole) blocks = {Joined(blocks)};
  std::erase(blocks, "");
  if (blocks.size() > kMaxSent) blocks.resize(kMaxSent);
  return blocks;
}

// A server without range support: every segment gets its blocks, whatever it requested.
class BlockServer final : public SimServer {
 public:
  BlockServer(int size, const std::vector<Blocks>& segments) : size_(size), segments_(segments) {}

  SimWire Wire(int number) override {
    SimWire wire;
    wire.latency = 1;
    wire.cut = SimCut::Whole;
    std::uint64_t sent = 0;
    if (number > 1) {
      for (const std::string& block : Sent(number)) wire.splitAt.push_back(sent += block.size());
    }
    return wire;
  }
  void Accepted(SimPeer&) override {}
  void Received(SimPeer& peer, std::string_view) override {
    if (peer.Number() == 1) {
      peer.Send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size_) + "\r\n\r\n");
    } else {
      peer.Send(Joined(Sent(peer.Number())));
    }
  }

 private:
  const Blocks& Sent(int number) const { return segments_[static_cast<std::size_t>(number - 2) % segments_.size()]; }

  int size_;
  const std::vector<Blocks>& segments_;
};

struct Part {
  std::string bytes;
  bool complete = false;
  bool operator==(const Part&) const = default;
};

// The rules in a few lines: the blocks without their headers, concatenated until there is enough.
Part Expected(const Blocks& blocks, std::int64_t size, std::int64_t wanted,
              const std::function<std::size_t(std::string_view)>& headerLength) {
  Part part;
  for (const std::string& block : blocks) {
    part.bytes += block.substr(headerLength(block));
    if (size == 0) break;  // an "Error !" is shown, and nothing more is read
    part.complete = static_cast<std::int64_t>(part.bytes.size()) >= wanted;
    if (part.complete) break;
  }
  return part;
}

// The visible outcome: the finished file, or the part files as far as they count.
struct Outcome {
  bool finished = false;
  std::string output;
  std::vector<Part> parts;
};

Outcome Run(int size, int most, const std::vector<Blocks>& segments,
            const std::function<std::size_t(std::string_view)>& headerLength) {
  TransferRig rig({.seed = 1});
  BlockServer server(size, segments);
  rig.sim.network().Serve("o.example", 80, server);
  rig.program.settings.MaxSegments = most;
  rig.Start("http://o.example/a.bin");
  rig.sim.RunFor(3000);

  Outcome outcome;
  const DownloadRecord& record = rig.Record();
  outcome.finished = record.Finished;
  bool all = record.SegmentCount >= 1;
  std::string joined;
  Demand(record.SegmentCount >= 1, "a download has a plan");
  for (int i = 1; i <= record.SegmentCount; ++i) {
    const SegmentRecord& segment = record.Segment(i);
    const Blocks& blocks = segments[static_cast<std::size_t>(i - 1) % segments.size()];
    // The plan of an empty file ends before its first byte.
    const Part expected = Expected(blocks, size, std::int64_t{segment.RangeSize}, headerLength);
    Demand((segment.State == kSegmentComplete) == expected.complete, "a segment is complete once it has enough");
    Demand(static_cast<std::size_t>(segment.ReceivedNow) == expected.bytes.size(), "every byte of body is counted");
    if (!outcome.finished) {
      const bool there = rig.sim.disk().Has(segment.TempFile);
      const std::string written = there ? rig.sim.disk().Get(segment.TempFile) : std::string();
      Demand(written == expected.bytes, "a part file holds the body as it came");
    }
    all = all && expected.complete;
    joined += expected.bytes.substr(0, static_cast<std::size_t>(segment.RangeSize));
    outcome.parts.push_back({expected.bytes.substr(0, static_cast<std::size_t>(segment.RangeSize)), expected.complete});
  }
  Demand(outcome.finished == all, "a download is finished once all segments are complete");
  if (outcome.finished) {
    outcome.output = rig.Output();
    Demand(outcome.output == joined, "the file is its segments in sequence");
    Demand(rig.sim.network().Open() == 0, "nothing is left open");
  }
  Demand(rig.sim.dialogs().Boxes().size() <= 1, "a question does not come twice");
  Demand(rig.Broken().empty(), "the plan holds");
  if (rig.WindowOf()) rig.Pause();
  Demand(rig.Broken().empty(), "the plan holds after a pause");
  return outcome;
}

// The reply's header is complete in the first block, and nothing after it looks like one.
bool SplitsFreely(const Blocks& blocks) {
  if (blocks.empty()) return true;
  const std::size_t length = HeaderLengthIn(blocks.front());
  return length > 3 && blocks.front().find("\r\n\r\n") + 4 == length &&
         LowerCase(Joined(blocks)).find("http/1.", 1) == std::string::npos;
}

}  // namespace

std::size_t HeaderLengthIn(std::string_view block) {
  const std::string lower = LowerCase(block);
  if (!lower.starts_with("http/1.")) return 0;
  const bool known =
      lower.find("206 partial content") != std::string::npos || lower.find("http/1.1 200") != std::string::npos;
  if (!known) return 0;
  const std::size_t end = lower.find("\r\n\r\n");
  return end == std::string::npos ? 3 : end + 4;
}

void FuzzSegments(std::string_view bytes, const std::function<std::size_t(std::string_view)>& headerLength) {
  Choices choices(bytes);
  const int low = static_cast<int>(choices.Byte());
  const int size = low + 256 * static_cast<int>(choices.Byte());
  const int most = 1 + static_cast<int>(choices.Byte() % 8);
  std::vector<Blocks> split;
  std::vector<Blocks> whole;
  bool free = size > 0;
  for (const std::string& text : Pieces(choices.Rest(), "\1")) {
    split.push_back(BlocksOf(text, false));
    whole.push_back(BlocksOf(Joined(split.back()), true));
    free = free && SplitsFreely(split.back());
    for (const std::string& block : split.back()) {
      Demand(RangeHeaderLength(block) == headerLength(block), "a header is what the rules say");
    }
  }
  const Outcome outcome = Run(size, most, split, headerLength);
  if (!free || split == whole) return;
  const Outcome other = Run(size, most, whole, headerLength);
  Demand(outcome.finished == other.finished && outcome.output == other.output && outcome.parts == other.parts,
         "it does not matter where blocks end");
}

}  // namespace pellora
