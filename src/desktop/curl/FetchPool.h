// FetchPool: the memory of all received bytes that nobody has stored yet, within one limit.
//
// What transfers gather has a smaller limit, which they share: many of them have shorter blocks.
//
// A transfer that finds no room waits in a queue; what is freed is set apart for the first of the queue, which is then
// called. So transfers that wait hold nothing up, whatever becomes of them. All calls may come from any thread.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "ports/Fetcher.h"

namespace pellora {

class FetchPool;

class PoolBlock final : public FetchBlock {
 public:
  // `bytes` is empty and has its memory already.
  PoolBlock(std::shared_ptr<FetchPool> pool, std::string bytes, std::size_t capacity);
  ~PoolBlock() override;
  PoolBlock(const PoolBlock&) = delete;
  PoolBlock& operator=(const PoolBlock&) = delete;

  std::string_view Bytes() const override { return bytes_; }
  std::size_t Room() const { return capacity_ - bytes_.size(); }
  std::size_t Capacity() const { return capacity_; }
  void Append(std::string_view bytes) { bytes_ += bytes; }  // no more than Room

 private:
  std::shared_ptr<FetchPool> pool_;
  std::string bytes_;
  std::size_t capacity_;
};

class FetchPool : public std::enable_shared_from_this<FetchPool> {
 public:
  static constexpr std::size_t kPoolBytes = std::size_t{3} << 20;
  static constexpr std::size_t kBlockBytes = std::size_t{256} << 10;  // the longest block
  static constexpr std::size_t kGatheredBytes = std::size_t{2} << 20;
  static constexpr std::size_t kShortestBlock = std::size_t{16} << 10;

  class Waiter {
   public:
    virtual ~Waiter() = default;
    virtual void BlockGranted() = 0;  // Take gives it
  };

  // A transfer has its share from Join to Leave.
  void Join();
  void Leave();
  // How long the blocks of each may be.
  std::size_t Share() const;
  // Null if there is no room: the waiter is called once there is, unless it cancels.
  std::unique_ptr<PoolBlock> Take(std::size_t capacity, const std::shared_ptr<Waiter>& waiter);
  void Cancel(const Waiter& waiter);
  std::size_t Free() const;
  bool HasWaiters() const;
  void FreeSpare();  // the blocks that are kept for the next transfers

 private:
  friend class PoolBlock;
  struct Waiting {
    std::shared_ptr<Waiter> waiter;
    std::size_t capacity;
  };

  std::unique_ptr<PoolBlock> NewBlock(std::size_t capacity);
  void TakeBack(std::string bytes, std::size_t capacity);
  // Sets blocks apart for those who wait; they are to be called without the lock.
  std::vector<std::shared_ptr<Waiter>> Grant();

  mutable std::mutex mutex_;
  std::size_t free_ = kPoolBytes;
  std::size_t members_ = 0;
  std::deque<Waiting> waiting_;
  std::map<const Waiter*, std::unique_ptr<PoolBlock>> granted_;
  std::vector<std::string> spare_;  // of kBlockBytes; the last one given back is the first in use
};

}  // namespace pellora
