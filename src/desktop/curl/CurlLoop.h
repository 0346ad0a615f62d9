// CurlLoop: transfers of http and https on the event loop, and the connections kept for later ones.
//
// libcurl says which sockets and which moment it waits for; notifiers and an alarm report them. Its callbacks run
// inside Act and Look only; events are delivered after they have returned, so an event may begin, pause or end any
// transfer.
#pragma once

#include <curl/curl.h>

#include <map>
#include <memory>
#include <vector>

#include "desktop/SocketNotifier.h"
#include "desktop/curl/CurlTransfer.h"
#include "ports/EventLoop.h"

namespace pellora {

class CurlLoop final : public FetchDriver, public std::enable_shared_from_this<CurlLoop> {
 public:
  CurlLoop(EventGate& gate, EventLoop& events, std::shared_ptr<FetchPool> pool, std::shared_ptr<FetchDesk> desk);
  ~CurlLoop() override;
  CurlLoop(const CurlLoop&) = delete;
  CurlLoop& operator=(const CurlLoop&) = delete;

  void Begin(CurlRequest request, std::shared_ptr<FetchChannel> channel);
  void Look(FetchChannel& channel) override;

 private:
  struct Watch {
    SocketNotifier readable;
    SocketNotifier writable;
  };

  static int OnSocket(CURL* easy, curl_socket_t fd, int what, void* self, void* watch);
  static int OnTimer(CURLM* multi, long milliseconds, void* self);

  SocketNotifier NewNotifier(int fd, QSocketNotifier::Type type, int mask);
  void Act(int fd, int mask);
  void Tick();
  void FinishEnded();
  void DeliverReady();
  void LeaveReady();
  void StartTicks();
  void Retry();
  void LimitKeptConnections();

  EventGate& gate_;
  const std::shared_ptr<FetchPool> pool_;
  const std::shared_ptr<FetchDesk> desk_;
  CURLM* multi_;
  std::unique_ptr<Alarm> timer_;
  std::unique_ptr<Alarm> ticks_;
  bool ticking_ = false;
  std::unique_ptr<Alarm> retries_;  // while a throttle holds a transfer up
  bool retrying_ = false;
  std::map<int, Watch> watches_;
  std::map<const FetchChannel*, std::unique_ptr<CurlTransfer>> transfers_;
  std::vector<std::shared_ptr<FetchChannel>> ready_;  // with events to deliver
};

}  // namespace pellora
