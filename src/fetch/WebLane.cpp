#include "fetch/WebLane.h"

#include <utility>

namespace pellora {

namespace {

constexpr std::int64_t kAnswerWithin = 120'000;  // ms
constexpr std::int64_t kBytesWithin = 20'000;

}  // namespace

void WebLane::Begin(Fetcher& fetcher, FetchRequest request, const AskedFor& asked,
                    std::unique_ptr<HostMemory::Connection> connection, std::shared_ptr<SpeedLane> speed,
                    std::int64_t now) {
  asked_ = asked;
  answered_ = false;
  reading_ = true;
  lastSign_ = now;
  compares = false;
  sample = false;
  sampleAt = 0;
  meter.Start(now);
  connection_ = std::move(connection);
  speed_ = std::move(speed);
  request.throttle = speed_;
  fetch_ = fetcher.Begin(std::move(request), *this);
}

void WebLane::Close() {
  fetch_.reset();
  connection_.reset();
  speed_.reset();
}

void WebLane::SetReading(bool reading, std::int64_t now) {
  if (!fetch_ || reading == reading_) return;
  reading_ = reading;
  lastSign_ = now;
  fetch_->SetReading(reading);
}

bool WebLane::Overdue(std::int64_t now) const {
  if (!fetch_ || !reading_) return false;
  return now - lastSign_ > (answered_ ? kBytesWithin : kAnswerWithin);
}

void WebLane::Answered(const FetchAnswer& answer) {
  answered_ = true;
  owner_.LaneAnswered(*this, answer);
}

void WebLane::DataArrived(std::unique_ptr<FetchBlock> block) { owner_.LaneReceived(*this, std::move(block)); }

void WebLane::Ended(FetchEnd end, const std::string& reason) {
  const std::unique_ptr<Fetch> ended = std::move(fetch_);
  connection_.reset();
  speed_.reset();
  owner_.LaneEnded(*this, end, reason);
}

}  // namespace pellora
