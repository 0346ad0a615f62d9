// SimFileServer: what SimFetcher reads ftp, ftps and sftp from. It serves files by their length, their bytes and the
// time of their last change, to logins, over the simulated network; its wire format is one of the simulator's own.
#pragma once

#include <climits>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SimContent.h"
#include "SimNetwork.h"

namespace pellora {

struct SimFileFault {
  SimWire wire = {};
  bool hidesLength = false;
  bool hidesModified = false;
  std::optional<std::uint64_t> endAfter = {};  // the transfer ends after that many bytes, as if complete
  bool neverDone = false;                      // its end is not confirmed, and the connection stays open
  std::uint32_t thinkTime = 0;                 // ms between request and reply
};

struct SimFileRequest {
  int connection = 0;
  std::int64_t at = 0;  // ms since the start of the run
  std::string scheme, user, password, path;
  std::int64_t from = 0;
};

class SimFileServer final : public SimServer {
 public:
  SimFileServer(SimNetwork& network, const std::string& host, std::int32_t port) { network.Serve(host, port, *this); }

  // `modified`: seconds since 1970.
  void File(const std::string& path, SimContent content, std::int64_t modified = 1'700'000'000) {
    files_[path] = {std::move(content), modified};
  }
  void Remove(const std::string& path) { files_.erase(path); }
  // Without users everybody is let in.
  void User(const std::string& name, const std::string& password) { users_[name] = password; }
  void Always(SimFileFault fault) { always_ = std::move(fault); }
  void OnConnection(int number, SimFileFault fault) { byConnection_[number] = std::move(fault); }
  int mostLogins = INT_MAX;  // further connections are refused

  const std::vector<SimFileRequest>& Requests() const { return requests_; }

  SimWire Wire(int number) override { return FaultOf(number).wire; }
  void Accepted(SimPeer&) override {}
  void Received(SimPeer& peer, std::string_view bytes) override;
  void ClientClosed(SimPeer& peer) override { loggedIn_.erase(peer.Number()); }
  const SimContent* Holds(const std::string& path) const override;

 private:
  struct Entry {
    SimContent content;
    std::int64_t modified = 0;
  };
  const SimFileFault& FaultOf(int number) const;
  void Reply(SimPeer& peer, const SimFileRequest& request);

  std::map<std::string, Entry> files_;
  std::map<std::string, std::string> users_;
  SimFileFault always_;
  std::map<int, SimFileFault> byConnection_;
  std::vector<SimFileRequest> requests_;
  std::map<int, bool> loggedIn_;  // by connection
};

}  // namespace pellora
