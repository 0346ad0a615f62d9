#include "async/Winsock.h"

#include <utility>

#include "async/EventGate.h"
#include "ports/Failure.h"
#include "ports/Platform.h"

namespace pellora {

Winsock::Winsock(Platform& platform) : platform_(platform) {}

Winsock::~Winsock() { Close(); }

void Winsock::Connect(const std::string& host, std::int32_t port) {
  if (state_ != SocketState::Closed) throw Failure(FailureNumber::Socket, "the socket is not closed");
  RemoteHost = host;
  RemotePort = port;
  ++number_;
  state_ = SocketState::Connecting;
  connection_ = platform_.network.Connect(host, port, *this);
  if (!reading_) connection_->SetReading(false);
}

void Winsock::SendData(std::string_view text) {
  if (state_ != SocketState::Connected && state_ != SocketState::PeerClosing) {
    throw Failure(FailureNumber::Socket, "the socket is not connected");
  }
  connection_->Send(text);
}

void Winsock::Close() {
  block_ = {};
  if (state_ == SocketState::Closed) return;
  ++number_;
  held_ = false;
  state_ = SocketState::Closed;
  connection_->Close();
  // The connection may be the one whose event is being handled.
  platform_.gate.DisposeAfterEvent(std::exchange(connection_, nullptr));
}

void Winsock::SetReading(bool reading) {
  if (reading_ == reading) return;
  reading_ = reading;
  ApplyReading();
}

void Winsock::Hold(bool held) {
  if (held_ == held || !connection_) return;
  held_ = held;
  ApplyReading();
}

void Winsock::ReadAtMost(std::size_t bytes) {
  if (connection_) connection_->ReadAtMost(bytes);
}

void Winsock::ApplyReading() {
  if (connection_) connection_->SetReading(reading_ && !held_);
}

void Winsock::Connected() {
  state_ = SocketState::Connected;
  if (OnConnect) OnConnect();
}

void Winsock::DataArrived(std::string_view block) {
  block_ = block;
  // Valid only during this call; a handler that closed the socket has emptied it already.
  const std::uint32_t before = number_;
  if (OnDataArrival) OnDataArrival(block.size());
  if (number_ == before) block_ = {};
}

void Winsock::PeerClosed() {
  state_ = SocketState::PeerClosing;
  if (OnClose) OnClose();
}

void Winsock::ConnectionFailed(const std::string&) {
  state_ = SocketState::Error;
  if (OnError) OnError();
}

}  // namespace pellora
