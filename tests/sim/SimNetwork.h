// SimNetwork: scripted servers by host and port, and the wires to them.
//
// A wire has a delay in each direction, a speed, a way in which it splits the server's bytes into blocks, and faults
// (SimWire). A server is anything that implements SimServer; SimScript makes one of two callbacks. The server's end
// of a connection is a SimPeer, valid as long as it is referenced.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "SimContent.h"
#include "SimLoop.h"
#include "ports/Network.h"

namespace pellora {

// How the server's bytes become blocks.
enum class SimCut {
  Seeded,     // 1,000 bytes to 64 KiB, chosen by the seed
  Whole,      // all that the server has sent so far
  EveryByte,  // one byte at a time
};

// One connection's wire. Byte numbers count from the first byte that the server sends on this connection.
struct SimWire {
  bool refuse = false;
  bool hangBeforeAccept = false;              // never connected or refused
  bool hangAfterAccept = false;               // connected; the server never sees or sends anything
  std::uint32_t connectDelay = 0;             // ms in addition to the round trip
  std::optional<std::uint32_t> latency = {};  // ms in each direction; by default 2 to 20, chosen by the seed
  std::uint64_t bytesPerSecond = 0;           // 0: 20 MB/s
  SimCut cut = SimCut::Seeded;
  std::vector<std::uint64_t> splitAt = {};      // a block ends before each of these bytes
  std::optional<std::uint64_t> dropAfter = {};  // the connection ends after that many bytes
  std::optional<std::uint64_t> hangAfter = {};  // after that many bytes nothing more comes, but it stays open
};

class SimPeer;

class SimServer {
 public:
  virtual ~SimServer() = default;
  // The wire of the connection with that number; numbers count from 1 for each server.
  virtual SimWire Wire(int number) = 0;
  // An attempt begins; its wire may still be changed.
  virtual void Dialled(SimPeer&) {}
  virtual void Accepted(SimPeer& peer) = 0;
  virtual void Received(SimPeer& peer, std::string_view bytes) = 0;
  virtual void ClientClosed(SimPeer&) {}
  // The content of a correct download of that path; null if there is none or the script decides.
  virtual const SimContent* Holds(const std::string&) const { return nullptr; }

 private:
  friend class SimNetwork;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

// A server of two callbacks, each of which may be empty.
class SimScript : public SimServer {
 public:
  std::function<void(SimPeer&)> onConnect;
  std::function<void(SimPeer&, std::string_view)> onData;
  SimWire wire;                   // of all other connections
  std::map<int, SimWire> wireOf;  // by number

  SimWire Wire(int number) override;
  void Accepted(SimPeer& peer) override;
  void Received(SimPeer& peer, std::string_view bytes) override;
};

// One connection attempt, in order of the attempts.
struct SimConnectionLog {
  std::string host;
  std::int32_t port = 0;
  int number = 0;                 // at its server; 0 if there was none
  std::int64_t askedAt = 0;       // ms since the start of the run
  std::int64_t connectedAt = -1;  // -1: never
  std::int64_t closedAt = -1;     // by the program
  std::string received;           // every byte the program sent
  std::uint64_t delivered = 0;    // bytes delivered to the program
};

class SimNetwork final : public Network {
 public:
  explicit SimNetwork(SimLoop& loop) : loop_(loop) {}
  ~SimNetwork() override;

  // The port.
  std::unique_ptr<Connection> Connect(const std::string& host, std::int32_t port, ConnectionEvents& events) override;
  bool HasConnection() const override { return online_; }

  // `server` must live as long as the network or until Remove.
  void Serve(const std::string& host, std::int32_t port, SimServer& server) {
    servers_[{host, port}] = &server;
    alive_[{host, port}] = server.alive_;
  }
  void Remove(const std::string& host, std::int32_t port) { servers_.erase({host, port}); }

  // Offline, attempts fail at once; connections that exist stay silent for ever, also once the network is back.
  void SetOnline(bool online);
  // Something is or was served at that host, on any port.
  bool HasHost(const std::string& host) const;
  SimLoop& Loop() { return loop_; }

  // The server at that address; null if there is none or it is gone.
  const SimServer* At(const std::string& host, std::int32_t port) const;

  const std::deque<SimConnectionLog>& Log() const { return log_; }
  // Connections that the program has open or is opening.
  int Open() const { return open_; }
  int MostOpen() const { return mostOpen_; }

 private:
  friend class SimPeer;
  friend class SimConnection;

  SimLoop& loop_;
  std::map<std::pair<std::string, std::int32_t>, SimServer*> servers_;
  std::map<std::pair<std::string, std::int32_t>, std::weak_ptr<int>> alive_;  // of each
  std::map<SimServer*, int> attempts_;
  std::deque<SimConnectionLog> log_;
  int open_ = 0;
  int mostOpen_ = 0;
  bool online_ = true;
  int outages_ = 0;
};

// The server's end of one connection.
class SimPeer : public std::enable_shared_from_this<SimPeer> {
 public:
  SimPeer(SimNetwork& network, SimServer* server, SimWire wire, SimConnectionLog& log, ConnectionEvents& events);

  int Number() const { return log_.number; }  // 1 is the server's first
  const SimConnectionLog& Log() const { return log_; }
  SimLoop& Loop() { return loop_; }
  SimWire wire;                              // may be changed while the connection runs
  std::map<std::string, std::string> notes;  // for the script

  void Send(std::string bytes);
  // Bytes `offset` to `offset + length - 1` of a content.
  void Send(const SimContent& content, std::uint64_t offset, std::uint64_t length);
  // Ends the connection after what was sent. What the program sends later is still received.
  void Close();
  // Ends it at once; bytes in transit are lost.
  void Reset();
  // Runs `action` `milliseconds` from now unless the connection has ended by then.
  void After(std::uint32_t milliseconds, std::function<void(SimPeer&)> action);
  std::uint64_t Sent() const { return sent_; }       // bytes queued so far
  std::uint64_t Waiting() const { return queued_; }  // bytes that the program has not received yet
  bool ClientGone() const { return events_ == nullptr; }
  // Nothing more goes to the program: the server has closed after its last byte, or the attempt failed.
  bool ServerGone() const { return over_ || (closing_ && queued_ == 0); }

 private:
  friend class SimNetwork;
  friend class SimConnection;
  struct Piece {
    SimContent content;
    std::uint64_t offset = 0;
    std::uint64_t left = 0;
  };

  void Begin();
  bool IsCutOff() const { return outage_ != network_.outages_; }
  void Fail(const std::string& reason, SimLoop::Micros at);
  void ClientSends(std::string bytes);
  void ClientCloses();
  void SetReading(bool reading);
  void ReadAtMost(std::size_t bytes) { most_ = bytes; }
  void Pump();
  void DeliverBlock();
  void EndOfStream();
  std::uint64_t BlockSize();
  SimLoop::Micros Way() const { return way_; }
  template <class Handler>
  void Arrive(SimLoop::Micros at, Handler handler);

  SimNetwork& network_;
  SimLoop& loop_;
  SimServer* server_;
  SimConnectionLog& log_;
  ConnectionEvents* events_;  // null once the program has closed
  std::uint64_t id_;
  int outage_;  // the network's count when the attempt began
  SimLoop::Micros way_ = 0;
  std::deque<Piece> queue_;
  std::uint64_t queued_ = 0;     // bytes in the queue
  std::uint64_t sent_ = 0;       // bytes ever queued
  std::uint64_t delivered_ = 0;  // bytes delivered to the program
  std::uint64_t planned_ = 0;    // the maximum size of the block in transit
  SimLoop::Micros wireFree_ = 0;
  SimLoop::Micros lastToServer_ = 0;
  bool connected_ = false;
  bool reading_ = true;
  std::uint64_t most_ = 0;  // bytes of a block; 0: no limit of the program's
  bool underWay_ = false;   // a block or the end of the stream is scheduled
  bool closing_ = false;    // the server closes after its bytes
  bool over_ = false;       // nothing more goes to the program
  bool lost_ = false;       // nothing more comes from it
};

}  // namespace pellora
