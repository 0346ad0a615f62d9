#include "desktop/curl/CurlThread.h"

#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

namespace pellora {

namespace {

constexpr std::chrono::milliseconds kTick(50);
constexpr std::chrono::milliseconds kRetry(20);
constexpr std::chrono::milliseconds kLongWait(10000);
constexpr std::uint64_t kMostUnasked = std::uint64_t{32} << 20;  // several times what libcurl reads ahead

}  // namespace

void ThreadCount::Begin() {
  const std::lock_guard lock(mutex_);
  ++count_;
}

void ThreadCount::End() {
  const std::lock_guard lock(mutex_);
  --count_;
  ended_.notify_all();
}

bool ThreadCount::WaitForNone(int milliseconds) {
  std::unique_lock lock(mutex_);
  return ended_.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return count_ == 0; });
}

void CurlThread::Start(const std::shared_ptr<CurlThread>& self, const std::shared_ptr<ThreadCount>& count) {
  count->Begin();
  try {
    std::thread([held = std::shared_ptr(self), count]() mutable {
      held->Run();
      held.reset();
      count->End();
    }).detach();
  } catch (const std::system_error& error) {
    count->End();
    self->channel_->Put(FetchOutcome{FetchEnd::Other, error.what()});
    self->desk_->Leave(self->channel_);
  }
}

void CurlThread::Look(FetchChannel& channel) {
  if (channel.Dropped()) sockets_.ShutDown();
  changed_ = true;
  const std::lock_guard lock(mutex_);
  if (multi_ != nullptr) curl_multi_wakeup(multi_);
}

void CurlThread::EndFlood() {
  const std::uint64_t taken = channel_->BytesPut();
  if (sockets_.Received() > kMostUnasked + taken + taken / 4) sockets_.ShutDown();  // short replies have long heads
}

void CurlThread::Run() {
  CURLM* const multi = curl_multi_init();
  {
    const std::lock_guard lock(mutex_);
    multi_ = multi;
  }
  {
    CurlTransfer transfer(
        std::move(request_), channel_, pool_, [this] { desk_->Leave(channel_); }, &sockets_);
    Carry(transfer);
  }
  {
    const std::lock_guard lock(mutex_);
    multi_ = nullptr;
  }
  curl_multi_cleanup(multi);
}

void CurlThread::Carry(CurlTransfer& transfer) {
  if (transfer.Setup() != CURLE_OK) return transfer.Finish(transfer.Setup());
  curl_multi_add_handle(multi_, transfer.Easy());
  int running = 1;
  auto tick = std::chrono::steady_clock::now() + kTick;
  while (!channel_->Dropped()) {
    if (changed_.exchange(false)) transfer.ApplyReading();
    transfer.Retry();
    curl_multi_perform(multi_, &running);
    if (running == 0) break;
    const auto now = std::chrono::steady_clock::now();
    if (now >= tick) {
      transfer.Tick();
      tick = now + kTick;
    }
    const auto wait = transfer.Throttled() ? kRetry : transfer.Gathers() ? kTick : kLongWait;
    curl_multi_poll(multi_, nullptr, 0, static_cast<int>(wait.count()), nullptr);
  }
  int left = 0;
  if (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) transfer.Finish(ResultOf(*message));
  curl_multi_remove_handle(multi_, transfer.Easy());
}

}  // namespace pellora
