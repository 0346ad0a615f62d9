// PosixNetwork: TCP connections on non-blocking sockets and Qt's notifiers.
//
// All connections share one receive buffer: each readiness is one recv, delivered in place. The end of a connection is
// reported once, after all of its data, and the socket then leaves the poll set for good. A reset by the peer ends with
// PeerClosed, like a close. Literal addresses are connected inside the call. The addresses of a name are tried in turn,
// each for a limited time.
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
  static constexpr unsigned kConnectTimeoutMilliseconds = 3000;  // for each address but the last

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
