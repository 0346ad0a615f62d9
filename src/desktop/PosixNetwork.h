// PosixNetwork: TCP connections on non-blocking sockets and Qt's notifiers.
//
// All connections share one receive buffer: a readiness is one recv, delivered in place. A peer that is gone
// is reported once, behind all of its data, and the socket then leaves the poll set for good. A connection
// that the peer resets ends with PeerClosed like one that it closes. A literal address is dialled inside the
// call. Addresses of a name are tried in turn; one that does not answer gives way to the next after a while.
#pragma once

#include <memory>
#include <vector>

#include "desktop/Resolver.h"
#include "ports/Network.h"

namespace pellora {

class EventGate;
class EventLoop;

class PosixNetwork final : public Network {
 public:
  static constexpr std::size_t kReceiveBytes = std::size_t{256} << 10;
  static constexpr unsigned kPatienceMilliseconds = 3000;  // for an address, while there is another one

  PosixNetwork(EventGate& gate, EventLoop& events);
  ~PosixNetwork() override;
  PosixNetwork(const PosixNetwork&) = delete;
  PosixNetwork& operator=(const PosixNetwork&) = delete;

  std::unique_ptr<Connection> Connect(const std::string& host, std::int32_t port, ConnectionEvents& events) override;
  bool HasConnection() const override;

 private:
  class Link;
  class Handle;

  EventGate& gate_;
  EventLoop& events_;
  Resolver resolver_;
  std::vector<char> buffer_;
};

}  // namespace pellora
