// WatchedNetwork: the simulated network as the program of a life sees it. It knows every open connection and its owner,
// and what kind of event came last.
#pragma once

#include <array>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Origin.h"
#include "Planted.h"
#include "ports/Network.h"

namespace pellora {

// The kind of a network event.
enum class Arrival { None, Connected, Block, Other };

struct OpenConnection {
  const ConnectionEvents* events;  // the socket: a member of a window, or of its array of sockets
  HostId host;
};

class WatchedEvents;

class WatchedNetwork final : public Network {
 public:
  WatchedNetwork(SimPlatform& sim, Planted planted);
  ~WatchedNetwork() override;

  // The port.
  std::unique_ptr<Connection> Connect(const std::string& host, std::int32_t port, ConnectionEvents& events) override;
  bool HasConnection() const override { return sim_.network().HasConnection(); }

  const std::list<OpenConnection>& Open() const { return open_; }
  // Of the event in progress; resets it.
  Arrival TakeArrival() { return std::exchange(arrival_, Arrival::None); }

 private:
  friend class WatchedConnection;
  SimPlatform& sim_;
  Planted planted_;
  SimRandom random_;
  std::list<OpenConnection> open_;
  Arrival arrival_ = Arrival::None;
  std::map<const ConnectionEvents*, std::string> lastBlocks_;  // for Planted::LateBlock
  // Closed only by the program, for Planted::SocketLeftOpen.
  std::vector<std::pair<std::shared_ptr<WatchedEvents>, std::unique_ptr<Connection>>> left_;
};

}  // namespace pellora
