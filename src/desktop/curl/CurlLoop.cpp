#include "desktop/curl/CurlLoop.h"

#include <algorithm>
#include <utility>

#include "async/EventGate.h"
#include "desktop/SocketBudget.h"

namespace pellora {

namespace {

constexpr std::uint32_t kTickMilliseconds = 50;
constexpr std::uint32_t kRetryMilliseconds = 20;
constexpr std::size_t kKeptConnections = 32;

CurlTransfer& TransferOf(CURL* easy) {
  CurlTransfer* transfer = nullptr;
  curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
  return *transfer;
}

}  // namespace

CurlLoop::CurlLoop(EventGate& gate, EventLoop& events, std::shared_ptr<FetchPool> pool, std::shared_ptr<FetchDesk> desk)
    : gate_(gate),
      pool_(std::move(pool)),
      desk_(std::move(desk)),
      multi_(curl_multi_init()),
      timer_(events.NewAlarm([this] { Act(CURL_SOCKET_TIMEOUT, 0); })),
      ticks_(events.NewAlarm([this] { Tick(); })),
      retries_(events.NewAlarm([this] { Retry(); })) {
  curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &OnSocket);
  curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &OnTimer);
  curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
  // Paused streams of a shared connection would hold each other up.
  curl_multi_setopt(multi_, CURLMOPT_PIPELINING, static_cast<long>(CURLPIPE_NOTHING));
}

CurlLoop::~CurlLoop() {
  for (const auto& [channel, transfer] : transfers_) curl_multi_remove_handle(multi_, transfer->Easy());
  transfers_.clear();
  curl_multi_cleanup(multi_);
}

void CurlLoop::Begin(CurlRequest request, std::shared_ptr<FetchChannel> channel) {
  const FetchChannel* const key = channel.get();
  auto ready = [this, weak = std::weak_ptr(channel)] {
    if (auto self = weak.lock()) ready_.push_back(std::move(self));
  };
  auto transfer = std::make_unique<CurlTransfer>(std::move(request), std::move(channel), pool_, ready, nullptr);
  if (transfer->Setup() != CURLE_OK) {
    transfer->Finish(transfer->Setup());
    return LeaveReady();
  }
  CURL* const easy = transfer->Easy();
  transfers_.emplace(key, std::move(transfer));
  LimitKeptConnections();
  curl_multi_add_handle(multi_, easy);
}

void CurlLoop::Look(FetchChannel& channel) {
  const auto found = transfers_.find(&channel);
  if (found == transfers_.end()) return;
  if (channel.Dropped()) {
    const std::unique_ptr<CurlTransfer> transfer = std::move(found->second);
    transfers_.erase(found);
    curl_multi_remove_handle(multi_, transfer->Easy());
    LimitKeptConnections();
  } else {
    found->second->ApplyReading();
  }
  StartTicks();
  LeaveReady();
}

int CurlLoop::OnSocket(CURL* /*easy*/, curl_socket_t fd, int what, void* self, void* /*watch*/) {
  auto& loop = *static_cast<CurlLoop*>(self);
  if (what == CURL_POLL_REMOVE) {
    loop.watches_.erase(fd);  // leaves the poll set before the descriptor's number can be reused
    return 0;
  }
  Watch& watch = loop.watches_[fd];
  if (!watch.readable) watch.readable = loop.NewNotifier(fd, QSocketNotifier::Read, CURL_CSELECT_IN);
  watch.readable->setEnabled((what & CURL_POLL_IN) != 0);
  if (!watch.writable && (what & CURL_POLL_OUT) != 0) {
    watch.writable = loop.NewNotifier(fd, QSocketNotifier::Write, CURL_CSELECT_OUT);
  }
  if (watch.writable) watch.writable->setEnabled((what & CURL_POLL_OUT) != 0);
  return 0;
}

SocketNotifier CurlLoop::NewNotifier(int fd, QSocketNotifier::Type type, int mask) {
  SocketNotifier notifier(new QSocketNotifier(fd, type));
  QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(), [this, fd, mask] { Act(fd, mask); });
  return notifier;
}

int CurlLoop::OnTimer(CURLM* /*multi*/, long milliseconds, void* self) {
  Alarm& timer = *static_cast<CurlLoop*>(self)->timer_;
  if (milliseconds < 0) {
    timer.Stop();
  } else {
    timer.Start(static_cast<std::uint32_t>(milliseconds), false);
  }
  return 0;
}

void CurlLoop::Act(int fd, int mask) {
  const auto hold = shared_from_this();  // an event may end the last Fetch
  int running = 0;
  curl_multi_socket_action(multi_, fd, mask, &running);
  FinishEnded();
  StartTicks();
  DeliverReady();
}

void CurlLoop::FinishEnded() {
  int left = 0;
  bool ended = false;
  while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* const easy = message->easy_handle;  // the message goes with the handle
    CurlTransfer& transfer = TransferOf(easy);
    transfer.Finish(ResultOf(*message));
    curl_multi_remove_handle(multi_, easy);
    transfers_.erase(transfer.Channel().get());
    ended = true;
  }
  if (ended) LimitKeptConnections();
}

void CurlLoop::Tick() {
  const auto hold = shared_from_this();
  ticking_ = false;
  for (const auto& [channel, transfer] : transfers_) transfer->Tick();
  StartTicks();
  DeliverReady();
}

void CurlLoop::Retry() {
  const auto hold = shared_from_this();
  retrying_ = false;
  for (const auto& [channel, transfer] : transfers_) transfer->Retry();
  StartTicks();
  DeliverReady();
}

void CurlLoop::StartTicks() {
  const auto any = [this](bool (CurlTransfer::*is)() const) {
    return std::any_of(transfers_.begin(), transfers_.end(), [is](const auto& one) { return ((*one.second).*is)(); });
  };
  if (!ticking_) {
    ticking_ = any(&CurlTransfer::Gathers);
    if (ticking_) ticks_->Start(kTickMilliseconds, false);
  }
  if (!retrying_) {
    retrying_ = any(&CurlTransfer::Throttled);
    if (retrying_) retries_->Start(kRetryMilliseconds, false);
  }
}

void CurlLoop::DeliverReady() {
  for (const auto& channel : std::exchange(ready_, {})) channel->Deliver(gate_);
}

// For events that came up inside a call of the Fetch.
void CurlLoop::LeaveReady() {
  for (auto& channel : std::exchange(ready_, {})) desk_->Leave(std::move(channel));
}

// libcurl's limit counts connections in use too.
void CurlLoop::LimitKeptConnections() {
  const std::size_t kept = std::min(kKeptConnections, SocketLimit() / 8);
  curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS,
                    static_cast<long>(std::max<std::size_t>(transfers_.size() + kept, 1)));
}

}  // namespace pellora
