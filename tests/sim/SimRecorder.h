// SimRecorder: a plain client of one connection, for tests of the network itself. It records each event.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "SimPlatform.h"

namespace pellora {

class SimRecorder final : public ConnectionEvents {
 public:
  explicit SimRecorder(SimPlatform& sim) : sim_(sim) {}

  void Connect(const std::string& host, std::int32_t port = 80) {
    connection = sim_.network().Connect(host, port, *this);
  }
  // Connects and, once connected, sends the text.
  void Ask(const std::string& host, const std::string& text, std::int32_t port = 80) {
    request_ = text;
    Connect(host, port);
  }

  std::unique_ptr<Connection> connection;
  std::string events;  // one letter for each: C connected, D data, P peer closed, F failed
  std::string data;
  std::vector<std::size_t> blocks;
  std::vector<double> times;  // ms of each event
  std::function<void(char event)> onEvent;

  bool Over() const { return events.find_first_of("PF") != std::string::npos; }
  // What follows the blank line of the first reply.
  std::string Body() const {
    const std::size_t end = data.find("\r\n\r\n");
    return end == std::string::npos ? "" : data.substr(end + 4);
  }

 private:
  void Note(char event) {
    events += event;
    times.push_back(sim_.Elapsed());
    if (onEvent) onEvent(event);
  }
  void Connected() override {
    if (!request_.empty()) connection->Send(request_);
    Note('C');
  }
  void DataArrived(std::string_view block) override {
    data += block;
    blocks.push_back(block.size());
    Note('D');
  }
  void PeerClosed() override { Note('P'); }
  void ConnectionFailed(const std::string&) override { Note('F'); }

  SimPlatform& sim_;
  std::string request_;
};

}  // namespace pellora
