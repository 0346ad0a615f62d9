#include "SimNetwork.h"

#include <algorithm>
#include <limits>

#include "SimFaults.h"

namespace pellora {

namespace {
constexpr std::uint64_t kDefaultSpeed = 20'000'000;
constexpr std::uint64_t kLargestBlock = 1U << 16;
constexpr std::uint64_t kLargestWhole = 1U << 24;
}  // namespace

// The program's end.
class SimConnection final : public Connection {
 public:
  explicit SimConnection(std::shared_ptr<SimPeer> peer) : peer_(std::move(peer)) {}
  ~SimConnection() override { peer_->ClientCloses(); }
  void Send(std::string_view bytes) override { peer_->ClientSends(std::string(bytes)); }
  void Close() override { peer_->ClientCloses(); }
  void SetReading(bool reading) override { peer_->SetReading(reading); }
  void ReadAtMost(std::size_t bytes) override { peer_->ReadAtMost(bytes); }

 private:
  std::shared_ptr<SimPeer> peer_;
};

SimWire SimScript::Wire(int number) {
  const auto at = wireOf.find(number);
  return at == wireOf.end() ? wire : at->second;
}

void SimScript::Accepted(SimPeer& peer) {
  if (onConnect) onConnect(peer);
}

void SimScript::Received(SimPeer& peer, std::string_view bytes) {
  if (onData) onData(peer, bytes);
}

SimNetwork::~SimNetwork() = default;

std::unique_ptr<Connection> SimNetwork::Connect(const std::string& host, std::int32_t port, ConnectionEvents& events) {
  SimConnectionLog& log = log_.emplace_back();
  log.host = host;
  log.port = port;
  log.askedAt = loop_.Time() / SimLoop::kMillisecond;
  loop_.Trace().Note(loop_.Time(), "connect", log_.size(), static_cast<std::uint64_t>(port), host);
  const auto found = servers_.find({host, port});
  const bool fails = SimFails("connect", host);
  SimServer* const server = fails || found == servers_.end() || port < 1 || port > 65535 ? nullptr : found->second;
  SimWire wire;
  if (server) {
    log.number = ++attempts_[server];
    wire = server->Wire(log.number);
  }
  const auto peer = std::make_shared<SimPeer>(*this, server, wire, log, events);
  mostOpen_ = std::max(mostOpen_, ++open_);
  if (server) server->Dialled(*peer);
  peer->Begin();
  return std::make_unique<SimConnection>(peer);
}

const SimServer* SimNetwork::At(const std::string& host, std::int32_t port) const {
  const auto found = servers_.find({host, port});
  return found == servers_.end() || alive_.at({host, port}).expired() ? nullptr : found->second;
}

void SimNetwork::SetOnline(bool online) {
  if (online_ && !online) ++outages_;
  online_ = online;
}

bool SimNetwork::HasHost(const std::string& host) const {
  const auto found = alive_.lower_bound({host, INT32_MIN});
  return found != alive_.end() && found->first.first == host;
}

SimPeer::SimPeer(SimNetwork& network, SimServer* server, SimWire aWire, SimConnectionLog& log, ConnectionEvents& events)
    : wire(std::move(aWire)),
      network_(network),
      loop_(network.loop_),
      server_(server),
      log_(log),
      events_(&events),
      id_(network.log_.size()),
      outage_(network.outages_) {
  const std::uint64_t milliseconds = wire.latency ? *wire.latency : loop_.Random().Between(2, 20);
  way_ = static_cast<SimLoop::Micros>(milliseconds) * SimLoop::kMillisecond;
}

// Delivers to the program unless it has closed the connection by then. Keeps the peer alive meanwhile.
template <class Handler>
void SimPeer::Arrive(SimLoop::Micros at, Handler handler) {
  loop_.Arrive(id_, at, [self = shared_from_this(), handler] {
    if (self->events_) handler(*self);
  });
}

void SimPeer::Begin() {
  const SimLoop::Micros now = loop_.Time();
  if (log_.host.empty() || log_.port < 1 || log_.port > 65535) return Fail("no such address", now);
  if (!network_.online_) return Fail("the network is unreachable", now);
  const SimLoop::Micros there = now + way_ + static_cast<SimLoop::Micros>(wire.connectDelay) * SimLoop::kMillisecond;
  if (!server_) return Fail("no such host or no server there", there + way_);
  if (wire.refuse) return Fail("connection refused", there + way_);
  if (wire.hangBeforeAccept) return;
  Arrive(there + way_, [](SimPeer& peer) {
    if (peer.IsCutOff()) return;
    peer.connected_ = true;
    peer.log_.connectedAt = peer.loop_.Time() / SimLoop::kMillisecond;
    peer.events_->Connected();
    peer.Pump();
  });
  lastToServer_ = there;
  if (wire.hangAfterAccept) return;
  loop_.InWorld(there, [self = shared_from_this()] {
    if (self->events_) self->server_->Accepted(*self);
  });
}

void SimPeer::Fail(const std::string& reason, SimLoop::Micros at) {
  Arrive(at, [reason](SimPeer& peer) {
    peer.over_ = true;
    peer.events_->ConnectionFailed(reason);
  });
}

void SimPeer::ClientSends(std::string bytes) {
  if (!events_ || bytes.empty()) return;
  log_.received += bytes;
  loop_.Trace().Note(loop_.Time(), "send", id_, bytes.size());
  if (!connected_ || wire.hangAfterAccept || lost_ || IsCutOff()) return;
  if (SimFails("send", log_.host)) {
    // The peer is gone, and what it sent is lost.
    lost_ = true;
    return Reset();
  }
  lastToServer_ = std::max(lastToServer_, loop_.Time() + way_);
  loop_.InWorld(lastToServer_,
                [self = shared_from_this(), bytes = std::move(bytes)] { self->server_->Received(*self, bytes); });
}

void SimPeer::ClientCloses() {
  if (!events_) return;
  events_ = nullptr;
  queue_.clear();
  queued_ = 0;
  --network_.open_;
  log_.closedAt = loop_.Time() / SimLoop::kMillisecond;
  loop_.Trace().Note(loop_.Time(), "close", id_);
  if (!server_ || !connected_ || wire.hangAfterAccept) return;
  lastToServer_ = std::max(lastToServer_, loop_.Time() + way_);
  loop_.InWorld(lastToServer_, [self = shared_from_this()] { self->server_->ClientClosed(*self); });
}

void SimPeer::SetReading(bool reading) {
  reading_ = reading;
  Pump();
}

void SimPeer::Send(std::string bytes) {
  const std::uint64_t length = bytes.size();
  Send(SimContent(std::move(bytes)), 0, length);
}

void SimPeer::Send(const SimContent& content, std::uint64_t offset, std::uint64_t length) {
  sent_ += length;
  if (length == 0 || !events_ || over_ || closing_) return;
  queue_.push_back({content, offset, length});
  queued_ += length;
  Pump();
}

void SimPeer::Close() {
  closing_ = true;
  Pump();
}

void SimPeer::Reset() {
  queue_.clear();
  queued_ = 0;
  closing_ = true;
  Pump();
}

void SimPeer::After(std::uint32_t milliseconds, std::function<void(SimPeer&)> action) {
  loop_.InWorld(loop_.Time() + static_cast<SimLoop::Micros>(milliseconds) * SimLoop::kMillisecond,
                [self = shared_from_this(), action = std::move(action)] {
                  if (self->events_) action(*self);
                });
}

// Schedules the next block, or the end. One at a time, so that a large file needs no memory.
void SimPeer::Pump() {
  if (!connected_ || !events_ || !reading_ || underWay_ || over_ || IsCutOff()) return;
  if (wire.hangAfter && delivered_ >= *wire.hangAfter) return;
  if (wire.dropAfter && delivered_ >= *wire.dropAfter) {
    queue_.clear();
    queued_ = 0;
    closing_ = true;
  }
  if (queued_ == 0 && !closing_) return;
  underWay_ = true;
  const SimLoop::Micros start = std::max(loop_.Time(), wireFree_);
  if (queued_ == 0) {
    Arrive(start + way_, [](SimPeer& peer) { peer.EndOfStream(); });
    return;
  }
  const std::uint64_t speed = wire.bytesPerSecond == 0 ? kDefaultSpeed : wire.bytesPerSecond;
  planned_ = BlockSize();
  const std::uint64_t size = std::min(planned_, queued_);
  const auto span = static_cast<SimLoop::Micros>(size * 1'000'000 / speed);
  // A stream without a pause pays the latency only once.
  const bool flowing = delivered_ > 0 && wireFree_ + SimLoop::kMillisecond >= loop_.Time();
  const SimLoop::Micros arrives = start + std::max<SimLoop::Micros>(span, 1) + (flowing ? 0 : way_);
  wireFree_ = arrives;
  Arrive(arrives, [](SimPeer& peer) { peer.DeliverBlock(); });
}

// The maximum size of the arriving block, within the limits of the wire.
std::uint64_t SimPeer::BlockSize() {
  std::uint64_t size = 1;
  switch (wire.cut) {
    case SimCut::Seeded:
      size = loop_.Random().Between(1000, kLargestBlock);
      break;
    case SimCut::Whole:
      size = kLargestWhole;
      break;
    case SimCut::EveryByte:
      break;
  }
  // A slow line delivers ten times a second.
  if (wire.bytesPerSecond > 0) size = std::min(size, std::max<std::uint64_t>(1, wire.bytesPerSecond / 10));
  for (const std::uint64_t split : wire.splitAt) {
    if (split > delivered_) size = std::min(size, split - delivered_);
  }
  if (most_ > 0) size = std::min(size, most_);
  if (wire.dropAfter) size = std::min(size, *wire.dropAfter - delivered_);
  if (wire.hangAfter) size = std::min(size, *wire.hangAfter - delivered_);
  return size;
}

void SimPeer::DeliverBlock() {
  underWay_ = false;
  if (!reading_) return;  // waits in the kernel until reading resumes
  if (over_ || IsCutOff()) return;
  const std::uint64_t size = std::min(wire.cut == SimCut::Whole ? BlockSize() : planned_, queued_);
  if (size == 0) return Pump();  // reset while the block was in transit
  if (SimFails("receive", log_.host)) {
    lost_ = true;
    return EndOfStream();
  }
  std::string block(static_cast<std::size_t>(size), '\0');
  std::size_t filled = 0;
  while (filled < block.size()) {
    Piece& piece = queue_.front();
    const std::size_t part = static_cast<std::size_t>(std::min<std::uint64_t>(piece.left, block.size() - filled));
    piece.content.Read(piece.offset, std::span<char>(block.data() + filled, part));
    piece.offset += part;
    piece.left -= part;
    filled += part;
    if (piece.left == 0) queue_.pop_front();
  }
  queued_ -= size;
  delivered_ += size;
  log_.delivered = delivered_;
  loop_.Trace().Note(loop_.Time(), "block", id_, size);
  // The program may close the connection or throw in here.
  struct Next {
    SimPeer& peer;
    ~Next() { peer.Pump(); }
  };
  const Next next{*this};
  events_->DataArrived(block);
}

void SimPeer::EndOfStream() {
  underWay_ = false;
  if (!reading_ || over_ || IsCutOff()) return;
  over_ = true;
  loop_.Trace().Note(loop_.Time(), "end", id_);
  events_->PeerClosed();
}

}  // namespace pellora
