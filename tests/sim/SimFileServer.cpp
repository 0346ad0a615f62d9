#include "SimFileServer.h"

#include <algorithm>
#include <charconv>

namespace pellora {

const SimFileFault& SimFileServer::FaultOf(int number) const {
  const auto at = byConnection_.find(number);
  return at == byConnection_.end() ? always_ : at->second;
}

const SimContent* SimFileServer::Holds(const std::string& path) const {
  const auto found = files_.find(path);
  return found == files_.end() ? nullptr : &found->second.content;
}

// A request is five lines: scheme, user, password, path, first byte.
void SimFileServer::Received(SimPeer& peer, std::string_view bytes) {
  std::string& waiting = peer.notes["request"];
  waiting += bytes;
  if (std::count(waiting.begin(), waiting.end(), '\n') < 5) return;
  std::vector<std::string> lines;
  for (std::size_t at = 0; lines.size() < 5;) {
    const std::size_t end = waiting.find('\n', at);
    lines.push_back(waiting.substr(at, end - at));
    at = end + 1;
  }
  waiting.clear();
  SimFileRequest request{.connection = peer.Number(),
                         .at = peer.Loop().Time() / SimLoop::kMillisecond,
                         .scheme = lines[0],
                         .user = lines[1],
                         .password = lines[2],
                         .path = lines[3]};
  (void)std::from_chars(lines[4].data(), lines[4].data() + lines[4].size(), request.from);
  requests_.push_back(request);
  const std::uint32_t think = FaultOf(peer.Number()).thinkTime;
  if (think == 0) return Reply(peer, request);
  peer.After(think, [this, request](SimPeer& later) { Reply(later, request); });
}

void SimFileServer::Reply(SimPeer& peer, const SimFileRequest& request) {
  const auto refuse = [&](const std::string& word) {
    peer.Send(word + "\n");
    peer.Close();
  };
  const auto user = users_.find(request.user);
  const bool known = users_.empty() || (user != users_.end() && user->second == request.password);
  if (!known) return refuse("login");
  if (static_cast<int>(loggedIn_.size()) >= mostLogins) return refuse("full");
  loggedIn_[peer.Number()] = true;
  const auto found = files_.find(request.path);
  if (found == files_.end()) return refuse("missing");
  const SimFileFault& fault = FaultOf(peer.Number());
  const Entry& file = found->second;
  const std::uint64_t from = std::min(static_cast<std::uint64_t>(request.from), file.content.Length());
  const std::uint64_t rest = file.content.Length() - from;
  peer.Send("bytes " + (fault.hidesLength ? "-1" : std::to_string(rest)) + " " +
            std::to_string(fault.hidesModified ? -1 : file.modified) + "\n");
  peer.Send(file.content, from, std::min(rest, fault.endAfter.value_or(rest)));
  if (!fault.neverDone) peer.Close();
}

}  // namespace pellora
