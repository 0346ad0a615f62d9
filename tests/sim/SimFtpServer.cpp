#include "SimFtpServer.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace pellora {

struct SimFtpServer::Session {
  int number = 0;
  std::shared_ptr<SimPeer> peer;
  std::string waiting;  // an unfinished command
  std::string user;
  std::string folder;
  bool greeted = false;
  bool counted = false;  // towards the limit of logins
  bool loggedIn = false;
  bool ended = false;
  bool binary = false;
  std::uint64_t rest = 0;
  std::optional<std::string> retrieve;  // the path of a RETR waiting for its data connection
  DataPort* port = nullptr;
  std::shared_ptr<SimPeer> data;

  // The client may have hung up before it was connected; the server is not notified then.
  bool IsOpen() const { return !ended && !(peer->ClientGone() && peer->Log().connectedAt < 0); }
};

class SimFtpServer::DataPort final : public SimServer {
 public:
  DataPort(SimFtpServer& server, Session& session, std::string host, std::int32_t port)
      : server_(server), session_(&session), host_(std::move(host)), port_(port) {
    server_.network_.Serve(host_, port_, *this);
  }
  ~DataPort() override { Shut(); }

  void Shut() {
    if (session_) server_.network_.Remove(host_, port_);
    session_ = nullptr;
  }
  SimWire Wire(int number) override {
    const FtpFault& fault = server_.FaultOf(session_->number);
    server_.dataTries_.push_back(server_.network_.Log().back().askedAt);
    SimWire wire = fault.dataWire;
    wire.refuse = wire.refuse || number <= fault.refuseData;
    return wire;
  }
  void Accepted(SimPeer& peer) override {
    if (!session_) return peer.Reset();
    session_->data = peer.shared_from_this();
    server_.Transfer(*session_);
  }
  void Received(SimPeer&, std::string_view) override {}

 private:
  SimFtpServer& server_;
  Session* session_;
  std::string host_;
  std::int32_t port_;
};

SimFtpServer::SimFtpServer(SimNetwork& network, const std::string& host, std::int32_t port) : network_(network) {
  network_.Serve(host, port, *this);
}

SimFtpServer::~SimFtpServer() = default;

const FtpFault& SimFtpServer::FaultOf(int number) const {
  const auto at = byConnection_.find(number);
  return at == byConnection_.end() ? always_ : at->second;
}

std::vector<std::string> SimFtpServer::Commands(int connection) const {
  std::vector<std::string> lines;
  for (const FtpCommandLog& entry : log_) {
    if (entry.connection == connection) lines.push_back(entry.line);
  }
  return lines;
}

int SimFtpServer::Count(const std::string& line) const {
  return static_cast<int>(
      std::count_if(log_.begin(), log_.end(), [&](const FtpCommandLog& entry) { return entry.line == line; }));
}

int SimFtpServer::Logins() const {
  return static_cast<int>(std::count_if(sessions_.begin(), sessions_.end(), [](const auto& entry) {
    return entry.second->counted && entry.second->IsOpen();
  }));
}

int SimFtpServer::Greeted() const {
  return static_cast<int>(std::count_if(sessions_.begin(), sessions_.end(), [](const auto& entry) {
    return entry.second->greeted && entry.second->IsOpen();
  }));
}

SimWire SimFtpServer::Wire(int number) {
  connections_ = std::max(connections_, number);
  return FaultOf(number).wire;
}

void SimFtpServer::Accepted(SimPeer& peer) {
  auto session = std::make_unique<Session>();
  session->number = peer.Number();
  session->peer = peer.shared_from_this();
  session->folder = loginDirectory;
  Session& here = *session;
  sessions_[peer.Number()] = std::move(session);
  if (limitAt == FtpLimit::Greeting && Greeted() >= mostLogins) {
    ++refusals_;
    here.ended = true;
    peer.Send(limitReply);
    peer.Close();
    return;
  }
  here.greeted = true;
  peer.Send(FaultOf(here.number).greeting);
}

void SimFtpServer::Received(SimPeer& peer, std::string_view bytes) {
  Session& session = *sessions_.at(peer.Number());
  session.waiting += bytes;
  for (std::size_t end = session.waiting.find("\r\n"); end != std::string::npos; end = session.waiting.find("\r\n")) {
    const std::string line = session.waiting.substr(0, end);
    session.waiting.erase(0, end + 2);
    log_.push_back({session.number, peer.Loop().Time() / SimLoop::kMillisecond, line});
    const FtpFault& fault = FaultOf(session.number);
    if (fault.greeting.empty()) continue;
    if (fault.thinkTime == 0) {
      Handle(session, line);
    } else {
      peer.After(fault.thinkTime, [this, &session, line](SimPeer&) { Handle(session, line); });
    }
  }
}

void SimFtpServer::ClientClosed(SimPeer& peer) {
  Session& session = *sessions_.at(peer.Number());
  if (lingering == 0) return EndSession(session);
  peer.Loop().InWorld(peer.Loop().Time() + SimLoop::Micros{lingering} * SimLoop::kMillisecond,
                      [this, &session] { EndSession(session); });
}

const SimContent* SimFtpServer::Holds(const std::string& path) const {
  const auto found = files_.find(path);
  return found == files_.end() ? nullptr : &found->second;
}

void SimFtpServer::EndSession(Session& session) {
  session.ended = true;
  if (session.port) session.port->Shut();
  if (session.data) session.data->Close();
  session.data.reset();
}

void SimFtpServer::Handle(Session& session, const std::string& line) {
  if (session.ended) return;
  const std::size_t blank = line.find(' ');
  const std::string verb = line.substr(0, blank);
  const std::string argument = blank == std::string::npos ? "" : line.substr(blank + 1);
  const FtpFault& fault = FaultOf(session.number);
  if (const auto refused = fault.refuse.find(verb); refused != fault.refuse.end()) {
    session.peer->Send(refused->second);
    return;
  }
  CarryOut(session, verb, argument);
}

void SimFtpServer::Reply(Session& session, const std::string& verb, const std::string& usual) {
  const FtpFault& fault = FaultOf(session.number);
  const auto scripted = fault.say.find(verb);
  session.peer->Send(scripted == fault.say.end() ? usual : scripted->second);
}

std::string SimFtpServer::PathOf(const Session& session, const std::string& argument) const {
  if (argument.starts_with('/')) return argument;
  return session.folder + (session.folder.ends_with('/') ? "" : "/") + argument;
}

bool SimFtpServer::HasFolder(const std::string& path) const {
  const std::string folder = path.ends_with('/') ? path : path + "/";
  return std::any_of(files_.begin(), files_.end(), [&](const auto& file) { return file.first.starts_with(folder); });
}

void SimFtpServer::CarryOut(Session& session, const std::string& verb, const std::string& argument) {
  SimPeer& peer = *session.peer;
  const auto limited = [&](FtpLimit step) {
    if (limitAt != step || Logins() < mostLogins) return false;
    ++refusals_;
    peer.Send(limitReply);
    return true;
  };
  if (verb == "USER") {
    if (limited(FtpLimit::User)) return;
    session.counted = limitAt == FtpLimit::User;
    session.user = argument;
    return Reply(session, verb, "331 password, please\r\n");
  }
  if (verb == "PASS") {
    const auto user = users_.find(session.user);
    const bool known = session.user == "anonymous" || (user != users_.end() && user->second == argument);
    if (!known) return peer.Send("530 not logged in\r\n");
    if (limited(FtpLimit::Pass)) return;
    session.loggedIn = true;
    session.counted = true;
    mostLoginsSeen_ = std::max(mostLoginsSeen_, Logins());
    return Reply(session, verb, "230 logged in\r\n");
  }
  if (!session.loggedIn) return peer.Send("530 please log in\r\n");
  if (verb == "TYPE") {
    session.binary = argument == "I";
    return Reply(session, verb, "200 type set\r\n");
  }
  if (verb == "PWD") return Reply(session, verb, "257 \"" + session.folder + "\" is the current directory\r\n");
  if (verb == "CWD") {
    if (!HasFolder(PathOf(session, argument))) return peer.Send("550 no such directory\r\n");
    session.folder = PathOf(session, argument);
    return Reply(session, verb, "250 directory changed\r\n");
  }
  if (verb == "PASV") return Passive(session);
  if (verb == "REST") {
    session.rest = 0;
    (void)std::from_chars(argument.data(), argument.data() + argument.size(), session.rest);
    return Reply(session, verb, "350 restarting there\r\n");
  }
  if (verb != "SIZE" && verb != "RETR") return peer.Send("502 not known here\r\n");
  const std::string path = PathOf(session, argument);
  const auto file = files_.find(path);
  if (file == files_.end() || !session.binary) return peer.Send("550 no such file in this type\r\n");
  if (verb == "SIZE") return Reply(session, verb, "213 " + std::to_string(file->second.Length()) + "\r\n");
  session.retrieve = path;
  Transfer(session);
}

void SimFtpServer::Passive(Session& session) {
  if (session.port) session.port->Shut();
  session.data.reset();
  const FtpFault& fault = FaultOf(session.number);
  const std::int32_t port = nextPort_++;
  session.port = ports_.emplace_back(std::make_unique<DataPort>(*this, session, fault.dataHost, port)).get();
  std::string host = fault.dataHost;
  std::replace(host.begin(), host.end(), '.', ',');
  const auto scripted = fault.say.find("PASV");
  std::string reply = scripted == fault.say.end() ? "227 Entering Passive Mode ({address}).\r\n" : scripted->second;
  const auto fill = [&](const std::string& name, std::int32_t more) {
    const std::size_t at = reply.find(name);
    if (at == std::string::npos) return;
    reply.replace(at, name.size(),
                  host + "," + std::to_string(port / 256 + more) + "," + std::to_string(port % 256 + more));
  };
  fill("{address}", 0);
  fill("{above255}", 256);
  session.peer->Send(reply);
}

void SimFtpServer::Transfer(Session& session) {
  if (!session.retrieve || !session.data || session.ended) return;
  const SimContent& content = files_.at(*session.retrieve);
  session.retrieve.reset();
  const std::uint64_t from = std::min(std::exchange(session.rest, 0), content.Length());
  std::uint64_t length = content.Length() - from;
  if (const auto& most = FaultOf(session.number).endDataAfter) length = std::min(length, *most);
  Reply(session, "RETR", "150 here it comes\r\n");
  session.data->Send(content, from, length);
  session.data->Close();
  session.peer->After(FaultOf(session.number).doneDelay,
                      [done = FaultOf(session.number).done](SimPeer& peer) { peer.Send(done); });
}

}  // namespace pellora
