#include "WatchedNetwork.h"

#include <algorithm>

namespace pellora {

namespace {

// Longer than any header: a byte missing from a longer block is missing from a file.
constexpr std::size_t kBodyBlock = 600;

}  // namespace

// Between the wire and the program's socket. Kept as long as events of the connection may come.
class WatchedEvents final : public ConnectionEvents {
 public:
  WatchedEvents(ConnectionEvents& socket, Arrival& arrival) : socket_(socket), arrival_(arrival) {}

  void Connected() override {
    arrival_ = Arrival::Connected;
    if (!silent) socket_.Connected();
  }
  void DataArrived(std::string_view block) override {
    arrival_ = Arrival::Block;
    if (silent) return;
    if (lostByte && lostByte->Below(60) == 0 && block.size() > kBodyBlock) block.remove_suffix(1);
    if (lastBlock && block.size() > kBodyBlock) *lastBlock = block;
    socket_.DataArrived(block);
  }
  void PeerClosed() override {
    arrival_ = Arrival::Other;
    if (!silent) socket_.PeerClosed();
  }
  void ConnectionFailed(const std::string& reason) override {
    arrival_ = Arrival::Other;
    if (!silent) socket_.ConnectionFailed(reason);
  }
  ConnectionEvents& Socket() { return socket_; }

  bool silent = false;
  SimRandom* lostByte = nullptr;
  std::string* lastBlock = nullptr;

 private:
  ConnectionEvents& socket_;
  Arrival& arrival_;
};

class WatchedConnection final : public Connection {
 public:
  WatchedConnection(WatchedNetwork& network, std::shared_ptr<WatchedEvents> events, const std::string& host,
                    std::int32_t port)
      : network_(network), events_(std::move(events)) {
    at_ = network_.open_.insert(network_.open_.end(), OpenConnection{&events_->Socket(), HostOf(host)});
    connection_ = network_.sim_.network().Connect(host, port, *events_);
  }
  ~WatchedConnection() override { WatchedConnection::Close(); }

  void Send(std::string_view bytes) override {
    probe_ |= bytes.starts_with("GET ") && bytes.find("Range:") == std::string_view::npos;
    if (connection_) connection_->Send(bytes);
  }
  void Close() override {
    if (!connection_) return;
    if (StaysOpen()) {
      events_->silent = true;
      network_.left_.emplace_back(std::move(events_), std::move(connection_));
      return;
    }
    connection_->Close();
    // The event in progress may be its own, so both live as long as this object.
    closed_ = std::move(connection_);
    network_.open_.erase(at_);
  }
  void SetReading(bool reading) override {
    if (connection_) connection_->SetReading(reading);
  }
  void ReadAtMost(std::size_t bytes) override {
    if (connection_) connection_->ReadAtMost(bytes);
  }

 private:
  bool StaysOpen() {
    if (network_.planted_ == Planted::ProbeLeftOpen) return probe_;
    return network_.planted_ == Planted::SocketLeftOpen && network_.random_.Below(30) == 0;
  }

  WatchedNetwork& network_;
  std::shared_ptr<WatchedEvents> events_;
  std::list<OpenConnection>::iterator at_;
  std::unique_ptr<Connection> connection_;  // null once closed
  std::unique_ptr<Connection> closed_;
  bool probe_ = false;
};

WatchedNetwork::WatchedNetwork(SimPlatform& sim, Planted planted)
    : sim_(sim), planted_(planted), random_(sim.Seed() + 2) {}

WatchedNetwork::~WatchedNetwork() = default;

std::unique_ptr<Connection> WatchedNetwork::Connect(const std::string& host, std::int32_t port,
                                                    ConnectionEvents& events) {
  const auto watched = std::make_shared<WatchedEvents>(events, arrival_);
  if (planted_ == Planted::LostByte) watched->lostByte = &random_;
  if (planted_ == Planted::LateBlock) {
    std::string& last = lastBlocks_[&events];
    if (!last.empty()) {
      sim_.loop().Post([connected = std::weak_ptr<WatchedEvents>(watched), block = std::exchange(last, {})] {
        if (const auto now = connected.lock()) now->DataArrived(block);
      });
    }
    watched->lastBlock = &last;
  }
  return std::make_unique<WatchedConnection>(*this, watched, host, port);
}

}  // namespace pellora
