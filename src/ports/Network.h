// Network: TCP connections as the logic needs them.
//
// One Connection is one attempt: it resolves the name, connects, delivers and ends. Its events come through the
// EventGate, in the order Connected, DataArrived..., PeerClosed, never inside the call that caused them and never after
// Close or the Connection's destruction. All bytes of one readiness are one block,
// but for ReadAtMost. A failed attempt reports
// ConnectionFailed once and does nothing more; so does a host "" or a port outside 1 to 65535, which are never taken
// for loopback or cut to 16 bits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace pellora {

class ConnectionEvents {
 public:
  virtual void Connected() = 0;
  // `block` is valid until the call returns.
  virtual void DataArrived(std::string_view block) = 0;
  virtual void PeerClosed() = 0;
  virtual void ConnectionFailed(const std::string& reason) = 0;

 protected:
  ~ConnectionEvents() = default;
};

class Connection {
 public:
  virtual ~Connection() = default;
  // Queues the bytes; what the kernel does not take at once is sent later. Sending to a peer that is gone is no
  // failure.
  virtual void Send(std::string_view bytes) = 0;
  // Ends the connection at once; no event follows.
  virtual void Close() = 0;
  // While False, data waits in the kernel.
  virtual void SetReading(bool reading) = 0;
  // Of one readiness; the rest is the next block. 0: all.
  virtual void ReadAtMost(std::size_t bytes) = 0;
};

class Network {
 public:
  virtual ~Network() = default;
  // Starts an attempt. `events` must live until Close or the Connection's destruction.
  virtual std::unique_ptr<Connection> Connect(const std::string& host, std::int32_t port, ConnectionEvents& events) = 0;
  // True if any interface but loopback is up and has an address.
  virtual bool HasConnection() const = 0;
};

}  // namespace pellora
