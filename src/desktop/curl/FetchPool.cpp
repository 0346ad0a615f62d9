#include "desktop/curl/FetchPool.h"

#include <algorithm>

namespace pellora {

namespace {

constexpr std::size_t kSpareBlocks = 4;

}  // namespace

PoolBlock::PoolBlock(std::shared_ptr<FetchPool> pool, std::string bytes, std::size_t capacity)
    : pool_(std::move(pool)), bytes_(std::move(bytes)), capacity_(capacity) {}

PoolBlock::~PoolBlock() { pool_->TakeBack(std::move(bytes_), capacity_); }

void FetchPool::Join() {
  const std::lock_guard lock(mutex_);
  ++members_;
}

void FetchPool::Leave() {
  const std::lock_guard lock(mutex_);
  --members_;
}

std::size_t FetchPool::Share() const {
  const std::lock_guard lock(mutex_);
  return std::clamp(kGatheredBytes / std::max<std::size_t>(members_, 1), kShortestBlock, kBlockBytes);
}

std::unique_ptr<PoolBlock> FetchPool::NewBlock(std::size_t capacity) {
  std::string bytes;
  if (capacity == kBlockBytes && !spare_.empty()) {
    bytes = std::move(spare_.back());
    spare_.pop_back();
  }
  bytes.clear();
  bytes.reserve(capacity);
  free_ -= capacity;
  return std::make_unique<PoolBlock>(shared_from_this(), std::move(bytes), capacity);
}

std::unique_ptr<PoolBlock> FetchPool::Take(std::size_t capacity, const std::shared_ptr<Waiter>& waiter) {
  const std::lock_guard lock(mutex_);
  const auto granted = granted_.find(waiter.get());
  if (granted != granted_.end()) {
    std::unique_ptr<PoolBlock> block = std::move(granted->second);
    granted_.erase(granted);
    return block;
  }
  if (waiting_.empty() && free_ >= capacity) return NewBlock(capacity);
  const bool queued = std::any_of(waiting_.begin(), waiting_.end(), [&](const auto& w) { return w.waiter == waiter; });
  if (!queued) waiting_.push_back({waiter, capacity});
  return nullptr;
}

void FetchPool::Cancel(const Waiter& waiter) {
  std::unique_ptr<PoolBlock> unused;  // given back after the lock
  std::vector<std::shared_ptr<Waiter>> next;
  {
    const std::lock_guard lock(mutex_);
    const auto granted = granted_.find(&waiter);
    if (granted != granted_.end()) {
      unused = std::move(granted->second);
      granted_.erase(granted);
    }
    std::erase_if(waiting_, [&](const Waiting& w) { return w.waiter.get() == &waiter; });
    next = Grant();
  }
  for (const auto& one : next) one->BlockGranted();
}

std::size_t FetchPool::Free() const {
  const std::lock_guard lock(mutex_);
  return free_;
}

bool FetchPool::HasWaiters() const {
  const std::lock_guard lock(mutex_);
  return !waiting_.empty();
}

void FetchPool::FreeSpare() {
  const std::lock_guard lock(mutex_);
  spare_.clear();
}

void FetchPool::TakeBack(std::string bytes, std::size_t capacity) {
  std::vector<std::shared_ptr<Waiter>> next;
  {
    const std::lock_guard lock(mutex_);
    if (capacity == kBlockBytes && spare_.size() < kSpareBlocks) spare_.push_back(std::move(bytes));
    free_ += capacity;
    next = Grant();
  }
  for (const auto& one : next) one->BlockGranted();
}

std::vector<std::shared_ptr<FetchPool::Waiter>> FetchPool::Grant() {
  std::vector<std::shared_ptr<Waiter>> next;
  while (!waiting_.empty() && free_ >= waiting_.front().capacity) {
    Waiting first = std::move(waiting_.front());
    waiting_.pop_front();
    granted_.emplace(first.waiter.get(), NewBlock(first.capacity));
    next.push_back(std::move(first.waiter));
  }
  return next;
}

}  // namespace pellora
