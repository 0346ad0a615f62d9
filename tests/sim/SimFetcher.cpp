#include "SimFetcher.h"

#include <algorithm>
#include <utility>

#include "SimFetch.h"

namespace pellora {

class SimFetchBlock final : public FetchBlock {
 public:
  SimFetchBlock(std::shared_ptr<SimFetchPool> pool, std::size_t capacity)
      : pool_(std::move(pool)), capacity_(capacity) {}
  ~SimFetchBlock() override { pool_->GiveBack(capacity_); }
  SimFetchBlock(const SimFetchBlock&) = delete;
  SimFetchBlock& operator=(const SimFetchBlock&) = delete;
  std::string_view Bytes() const override { return bytes; }
  std::string bytes;

 private:
  std::shared_ptr<SimFetchPool> pool_;
  std::size_t capacity_;
};

namespace {

class FetchHandle final : public Fetch {
 public:
  explicit FetchHandle(std::shared_ptr<SimFetch> fetch) : fetch_(std::move(fetch)) {}
  ~FetchHandle() override { fetch_->Cancel(); }
  FetchHandle(const FetchHandle&) = delete;
  FetchHandle& operator=(const FetchHandle&) = delete;
  void SetReading(bool reading) override { fetch_->SetReading(reading); }

 private:
  std::shared_ptr<SimFetch> fetch_;
};

}  // namespace

std::unique_ptr<FetchBlock> SimFetchPool::Take(std::size_t capacity, const std::shared_ptr<SimFetch>& fetch,
                                               std::string*& bytes) {
  if (free < capacity || (!waiting_.empty() && turn_ != fetch.get())) {
    waiting_.push_back({fetch, capacity});
    return nullptr;
  }
  turn_ = nullptr;  // a second block has its own turn
  free -= capacity;
  auto block = std::make_unique<SimFetchBlock>(shared_from_this(), capacity);
  bytes = &block->bytes;
  return block;
}

void SimFetchPool::GiveBack(std::size_t capacity) {
  free += capacity;
  if (!loop_ || waiting_.empty()) return;
  loop_->Arrive(kFetchSources, loop_->Time(), [self = shared_from_this()] { self->Wake(); });
}

void SimFetchPool::Wake() {
  while (!waiting_.empty()) {
    const std::shared_ptr<SimFetch> first = waiting_.front().fetch.lock();
    if (first && free < waiting_.front().capacity) return;
    waiting_.pop_front();
    turn_ = first.get();
    if (first) first->Resume();
    turn_ = nullptr;
  }
}

SimFetcher::SimFetcher(SimLoop& loop, SimNetwork& network, const SimDisk& disk)
    : loop_(loop), network_(network), disk_(disk), pool_(std::make_shared<SimFetchPool>(loop)) {}

SimFetcher::~SimFetcher() { Drop(); }

std::unique_ptr<Fetch> SimFetcher::Begin(FetchRequest request, FetchEvents& events) {
  SimFetchLog& log = log_.emplace_back();
  log.request = request;
  log.request.throttle = nullptr;  // ends with the request
  log.beganAt = loop_.Time() / SimLoop::kMillisecond;
  loop_.Trace().Note(loop_.Time(), "fetch", log_.size(), static_cast<std::uint64_t>(request.from), request.url);
  const auto fetch = std::make_shared<SimFetch>(*this, std::move(request), events, log);
  std::erase_if(running_, [](const std::weak_ptr<SimFetch>& running) { return running.expired(); });
  running_.push_back(fetch);
  fetch->Begin();
  return std::make_unique<FetchHandle>(fetch);
}

void SimFetcher::SetAddresses(const std::string& host, std::vector<std::string> addresses) {
  rotations_[host] = {std::move(addresses), 0};
}

void SimFetcher::SetPool(std::size_t bytes, std::size_t longestBlock) {
  pool_->longest = longestBlock;
  pool_->free = bytes;
}

bool SimFetcher::Starved() const { return pool_->HasWaiters(); }

std::size_t SimFetcher::FreeBytes() const { return pool_->free; }

std::size_t SimFetcher::Running() const {
  return static_cast<std::size_t>(std::count_if(running_.begin(), running_.end(), [](const auto& weak) {
    const std::shared_ptr<SimFetch> fetch = weak.lock();
    return fetch && fetch->IsRunning();
  }));
}

void SimFetcher::CloseKept() { kept_.clear(); }

void SimFetcher::Drop() {
  for (const std::weak_ptr<SimFetch>& weak : running_) {
    if (const std::shared_ptr<SimFetch> fetch = weak.lock()) fetch->Cancel();
  }
  running_.clear();
  kept_.clear();
  pool_->Drop();
}

std::string SimFetcher::OwnAddress(const std::string& host) {
  if (IsNumericHost(host)) return host;
  const auto own = ownAddresses_.find(host);
  if (own != ownAddresses_.end()) return own->second;
  const std::size_t number = ownAddresses_.size() + 1;
  return ownAddresses_[host] = "10.77." + std::to_string(number / 250) + "." + std::to_string(number % 250 + 1);
}

// Where the connection goes; nullopt if the name is unknown.
std::optional<SimFetcher::Address> SimFetcher::LookUp(const std::string& host, const std::string& demanded) {
  if (!demanded.empty()) {
    for (const auto& [name, address] : ownAddresses_) {
      if (address == demanded) return Address{name, demanded};
    }
    return Address{demanded, demanded};
  }
  if (!network_.HasConnection() && !IsNumericHost(host)) return std::nullopt;
  const auto rotation = rotations_.find(host);
  if (rotation != rotations_.end() && !rotation->second.addresses.empty()) {
    Rotation& several = rotation->second;
    const std::string& next = several.addresses[several.next++ % several.addresses.size()];
    return Address{next, next};
  }
  if (!IsNumericHost(host) && !network_.HasHost(host)) return std::nullopt;
  return Address{host, OwnAddress(host)};
}

std::unique_ptr<SimFetchLink> SimFetcher::TakeKept(const std::string& key, const std::string& address) {
  const auto found = std::find_if(kept_.rbegin(), kept_.rend(), [&](const auto& link) {
    return link->key == key && (address.empty() || link->peerAddress == address);
  });
  if (found == kept_.rend()) return nullptr;
  std::unique_ptr<SimFetchLink> link = std::move(*found);
  kept_.erase(std::next(found).base());
  return link;
}

void SimFetcher::Keep(std::unique_ptr<SimFetchLink> link) {
  if (mostKept_ == 0) return;
  link->connection->SetReading(true);
  if (kept_.size() >= mostKept_) kept_.erase(kept_.begin());
  kept_.push_back(std::move(link));
}

void SimFetcher::Forget(const SimFetchLink& link) {
  std::erase_if(kept_, [&](const auto& kept) { return kept.get() == &link; });
}

}  // namespace pellora
