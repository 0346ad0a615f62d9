#include "transfer/JoinParts.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string_view>
#include <utility>

#include "async/InBackground.h"

namespace pellora {

namespace {

constexpr std::uint64_t kChunk = std::uint64_t{1} << 20;
constexpr std::uint64_t kPiece = 4 * kChunk;  // in one work: the way to the thread and back costs little beside it

// What a short part lacks becomes zeros, so that every following segment still lands at its place.
void CopyThroughMemory(File& part, std::uint64_t from, File& output, std::uint64_t position, std::size_t size) {
  std::vector<char> buffer(size);
  (void)part.ReadAt(from, buffer);
  output.WriteAt(position, std::string_view(buffer.data(), size));
}

// Copies `size` bytes from `from` of `part` to `position` of `output`.
void CopyPiece(File& part, std::uint64_t from, File& output, std::uint64_t position, std::uint64_t size) {
  for (std::uint64_t done = 0; done < size;) {
    const auto wanted = static_cast<std::size_t>(std::min(kChunk, size - done));
    const std::size_t moved = output.CopyFrom(part, from + done, position + done, wanted);
    if (moved < wanted) CopyThroughMemory(part, from + done + moved, output, position + done + moved, wanted - moved);
    done += wanted;
  }
}

std::uint64_t JoinedSize(const JoinPlan& plan) {
  return std::accumulate(plan.parts.begin(), plan.parts.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const JoinPlan::Part& part) { return sum + part.size; });
}

// An existing output file is not emptied: a longer one keeps its tail. A disk without room for the whole says so
// before anything is copied, and with its room set apart the file is written faster and in one piece.
Background::Work OpenOutput(Files* files, const SharedJoinFiles& open, const JoinPlan& plan) {
  return [files, open, path = plan.output, size = JoinedSize(plan)] {
    open->output = files->Open(path, FileKind::Output);
    open->output->Reserve(size);
  };
}

Background::Work CopyNext(const SharedJoinFiles& open, std::size_t part, std::uint64_t from, std::uint64_t position,
                          std::uint64_t size) {
  return [open, part, from, position, size] { CopyPiece(*open->parts[part], from, *open->output, position, size); };
}

Background::Work CloseOutput(const SharedJoinFiles& open) {
  return [open] { open->output.reset(); };
}

}  // namespace

JoinPlan PlanJoin(const DownloadRecord& record) {
  JoinPlan plan;
  plan.output = record.SavePath;
  for (int i = 1; i <= record.SegmentCount; ++i) {
    const SegmentRecord& segment = record.Segment(i);
    if (segment.State != kSegmentComplete || segment.RangeSize <= 0) continue;
    plan.parts.push_back({segment.TempFile, static_cast<std::uint64_t>(segment.RangeSize)});
  }
  return plan;
}

// The parts are opened in this event: opened in the background, a part that was deleted after a stop would be created
// again, empty.
Task<> JoinParts(const Platform* platform, SharedJoinFiles open, JoinPlan plan, std::function<bool()> current) {
  for (const JoinPlan::Part& part : plan.parts) open->parts.push_back(platform->files.Open(part.path, FileKind::Part));
  Background::Work work = OpenOutput(&platform->files, open, plan);
  co_await InBackground(platform, std::move(work));
  std::uint64_t position = 0;
  for (std::size_t i = 0; i < plan.parts.size(); ++i) {
    const std::uint64_t whole = plan.parts[i].size;
    for (std::uint64_t from = 0; from < whole; from += kPiece) {
      if (!current()) co_return;
      const std::uint64_t size = std::min(kPiece, whole - from);
      work = CopyNext(open, i, from, position, size);
      co_await InBackground(platform, std::move(work));
      position += size;
    }
  }
  work = CloseOutput(open);
  co_await InBackground(platform, std::move(work));
}

void ReleaseJoinFiles(const Platform& platform, SharedJoinFiles open) {
  platform.background.Run([open = std::move(open)] {}, [](const std::exception_ptr&) {});
}

}  // namespace pellora
