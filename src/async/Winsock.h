// Winsock: the socket control of the windows, over one Connection at a time.
//
// Connect on a socket that is not closed is a Failure; Close is harmless on a closed one and no event follows it. A
// failed attempt or a peer that closed does not close the socket: only Close does. `Number` rises with each Connect and
// Close, so that a handler that waited can tell whether its connection is still the present one.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "ports/Network.h"

namespace pellora {

class EventGate;
struct Platform;

enum class SocketState : std::int16_t { Closed = 0, Connecting = 6, Connected = 7, PeerClosing = 8, Error = 9 };

class Winsock final : private ConnectionEvents {  // NOLINT(cppcoreguidelines-virtual-class-destructor): final
 public:
  explicit Winsock(Platform& platform);
  ~Winsock();
  Winsock(const Winsock&) = delete;
  Winsock& operator=(const Winsock&) = delete;

  std::string RemoteHost;
  std::int32_t RemotePort = 0;

  void Connect() { Connect(RemoteHost, RemotePort); }
  void Connect(const std::string& host, std::int32_t port);
  // One character per byte. A Failure unless the socket is connected.
  void SendData(std::string_view text);
  // All that has arrived; valid until the DataArrival handler returns or first waits.
  std::string_view GetData() const { return block_; }
  void Close();
  SocketState State() const { return state_; }
  std::uint32_t Number() const { return number_; }
  // While False, data waits in the kernel; applies to later connections too.
  void SetReading(bool reading);
  // While True, data of this connection waits in the kernel, whatever SetReading says; no other connection begins so.
  void Hold(bool held);
  bool Held() const { return held_; }
  void ReadAtMost(std::size_t bytes);  // as Connection has it, of this connection

  // Events. Set once, before the first Connect.
  std::function<void()> OnConnect;
  std::function<void(std::size_t bytes)> OnDataArrival;
  std::function<void()> OnClose;
  std::function<void()> OnError;

 private:
  void ApplyReading();
  void Connected() override;
  void DataArrived(std::string_view block) override;
  void PeerClosed() override;
  void ConnectionFailed(const std::string& reason) override;

  Platform& platform_;
  std::shared_ptr<Connection> connection_;
  std::string_view block_;
  SocketState state_ = SocketState::Closed;
  std::uint32_t number_ = 0;
  bool reading_ = true;
  bool held_ = false;
};

}  // namespace pellora
