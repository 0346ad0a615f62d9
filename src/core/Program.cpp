#include "core/Program.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "async/TaskLoop.h"
#include "core/SpeedLimits.h"
#include "core/WebTexts.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Machine.h"

namespace pellora {

namespace {

template <class Array>
auto& At(Array& array, int index) {
  if (index < 0 || static_cast<std::size_t>(index) >= array.size()) {
    throw Failure(FailureNumber::OutOfRange, "no such record");
  }
  return array[static_cast<std::size_t>(index)];
}

Task<> SayAndEnd(Program* program, std::string reason) {
  BoxRequest request{std::move(reason), kProgramName, kCritical};
  (void)co_await program->boxes.Ask(program, std::move(request));
  program->platform.machine.End(1);
}

}  // namespace

Program::Program(Platform& thePlatform)
    : platform(thePlatform), boxes(thePlatform), speed(std::make_unique<SpeedLimits>(thePlatform, settings)) {
  FillWebTexts(LangStrings);
}

Program::~Program() = default;

DownloadRecord& Program::Download(int index) { return At(downloads_, index); }
std::shared_ptr<Transfer>& Program::TransferWindowAt(int index) { return At(transferWindows_, index); }
std::shared_ptr<ZipViewer>& Program::ZipViewerAt(int index) { return At(zipViewers_, index); }

std::uint32_t Program::Serial(int index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= serials_.size()) return 0;
  return serials_[static_cast<std::size_t>(index)];
}

void Program::RaiseSerial(int index) {
  quiet_.erase(Serial(index));
  undecided_.erase(Serial(index));
  At(serials_, index) = nextSerial_++;
  if (Web(index) != nullptr) webFigures_[static_cast<std::size_t>(index)].reset();
  speed->Forget(index);
  queuePlaces_.erase(index);
}

WebFigures* Program::Web(int index) {
  const auto at = static_cast<std::size_t>(index);
  return index >= 0 && at < webFigures_.size() && webFigures_[at] ? &*webFigures_[at] : nullptr;
}

WebFigures& Program::AddWeb(int index) {
  const auto at = static_cast<std::size_t>(index);
  if (at >= webFigures_.size()) webFigures_.resize(at + 1);
  if (!webFigures_[at]) webFigures_[at].emplace();
  return *webFigures_[at];
}

std::uint64_t Program::AddBoxedStop(BoxedStop stop) {
  boxedStops[nextBoxedStop_] = std::move(stop);
  return nextBoxedStop_++;
}

void Program::SetQuiet(int index) { quiet_.insert(Serial(index)); }

std::optional<std::int64_t> Program::QueuePlace(int index) const {
  const auto at = queuePlaces_.find(index);
  if (at == queuePlaces_.end()) return std::nullopt;
  return at->second;
}

void Program::ResizeDownloads(std::int16_t count) {
  const auto size = static_cast<std::size_t>(count) + 1;
  for (std::size_t i = size; i < downloads_.size(); ++i) RaiseSerial(static_cast<int>(i));
  downloads_.resize(size);
  transferWindows_.resize(std::max(transferWindows_.size(), size));
  zipViewers_.resize(std::max(zipViewers_.size(), size));
  while (serials_.size() < size) serials_.push_back(nextSerial_++);
  DownloadCount = count;
}

int Program::ActiveCount() const {
  int count = 0;
  for (std::size_t i = 1; i < downloads_.size(); ++i) {
    const DownloadRecord& record = downloads_[i];
    if (!record.InUse || !record.Active) continue;
    const bool yields = i < webFigures_.size() && webFigures_[i] && webFigures_[i]->yields;
    if (!yields) ++count;
  }
  return count;
}

std::int64_t Program::SessionBytes() const {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int64_t>(std::min(socketTotal_, kMost) + webTotal_);
}

const std::string& Program::Text(int number) const {
  static const std::string kNone;
  if (number < 0 || number >= kLangStringCount) return kNone;
  return LangStrings[static_cast<std::size_t>(number)];
}

void Program::EndWithFailure(const std::string& reason) {
  if (ending_) return;
  ending_ = true;
  platform.tasks.Spawn(SayAndEnd(this, reason));
}

}  // namespace pellora
