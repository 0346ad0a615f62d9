// SimFtpServer: a scripted FTP server (RFC 959, passive data connections only) with a menu of faults.
//
// What a control connection suffers is chosen by its number (OnConnection), else what all suffer (Always).
// Each PASV opens a port of its own, which goes with its control connection. SIZE and RETR work in binary
// type alone, so that a client that forgot TYPE I fails. A login counts until the server has seen the
// client hang up, and as much longer as told. Every command is kept by connection, and the network's log has every
// byte.
#pragma once

#include <climits>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "SimContent.h"
#include "SimNetwork.h"

namespace pellora {

// One control connection's fate, and that of its data connections. Whatever is not named goes well.
struct FtpFault {
  SimWire wire;
  SimWire dataWire;
  std::string greeting = "220 ready\r\n";  // empty: none, and no answer to anything
  // By verb: the text of the reply to a command that is carried out. In PASV's, {address} stands for the
  // six numbers, {above255} for the same with 256 added to each of the last two.
  std::map<std::string, std::string> say;
  // By verb: the reply to a command that is not carried out; empty is silence.
  std::map<std::string, std::string> refuse;
  int refuseData = 0;                         // so many tries of each data port are refused
  std::string dataHost = "10.0.0.1";          // where the data ports are
  std::optional<std::uint64_t> endDataAfter;  // the server ends each transfer after so many bytes
  std::string done = "226 that was all\r\n";  // said so many ms after the last byte was handed over
  std::uint32_t doneDelay = 0;
  std::uint32_t thinkTime = 0;  // ms between a command and its reply
};

// Where a login too many is refused.
enum class FtpLimit { Greeting, User, Pass };

struct FtpCommandLog {
  int connection = 0;
  std::int64_t at = 0;  // ms since the start of the run, at the server
  std::string line;     // without its line end
};

class SimFtpServer final : public SimServer {
 public:
  SimFtpServer(SimNetwork& network, const std::string& host, std::int32_t port = 21);
  ~SimFtpServer() override;

  void File(const std::string& path, SimContent content) { files_[path] = std::move(content); }
  void User(const std::string& name, const std::string& password) { users_[name] = password; }
  void Always(FtpFault fault) { always_ = std::move(fault); }
  void OnConnection(int number, FtpFault fault) { byConnection_[number] = std::move(fault); }
  // Nothing goes wrong any more, and everybody is let in.
  void NoFaults() {
    always_ = {};
    byConnection_.clear();
    mostLogins = INT_MAX;
    lingering = 0;
  }
  // Passwords by user; "anonymous" comes in with any.
  std::string loginDirectory = "/";
  int mostLogins = INT_MAX;
  FtpLimit limitAt = FtpLimit::Pass;
  std::string limitReply = "530 too many logins\r\n";
  std::uint32_t lingering = 0;  // ms for which a login counts on after the client's hang-up was seen

  const std::vector<FtpCommandLog>& Log() const { return log_; }
  std::vector<std::string> Commands(int connection) const;
  int Count(const std::string& line) const;  // of all connections
  int Connections() const { return connections_; }
  int Logins() const;  // that stand now
  int MostLogins() const { return mostLoginsSeen_; }
  int Refusals() const { return refusals_; }  // by the limit
  // When data connections were asked for, refused ones included; ms since the start.
  const std::vector<std::int64_t>& DataTries() const { return dataTries_; }

  SimWire Wire(int number) override;
  void Accepted(SimPeer& peer) override;
  void Received(SimPeer& peer, std::string_view bytes) override;
  void ClientClosed(SimPeer& peer) override;
  const SimContent* Holds(const std::string& path) const override;

 private:
  class DataPort;
  struct Session;
  const FtpFault& FaultOf(int number) const;
  void Handle(Session& session, const std::string& line);
  void CarryOut(Session& session, const std::string& verb, const std::string& argument);
  void Reply(Session& session, const std::string& verb, const std::string& usual);
  void Passive(Session& session);
  void Transfer(Session& session);  // once RETR was seen and the data connection stands
  void EndSession(Session& session);
  std::string PathOf(const Session& session, const std::string& argument) const;
  bool HasFolder(const std::string& path) const;
  int Greeted() const;

  SimNetwork& network_;
  std::map<std::string, SimContent> files_;
  std::map<std::string, std::string> users_;
  FtpFault always_;
  std::map<int, FtpFault> byConnection_;
  std::map<int, std::unique_ptr<Session>> sessions_;
  std::vector<std::unique_ptr<DataPort>> ports_;
  std::vector<FtpCommandLog> log_;
  std::vector<std::int64_t> dataTries_;
  int connections_ = 0;
  int mostLoginsSeen_ = 0;
  int refusals_ = 0;
  std::int32_t nextPort_ = 20000;
};

}  // namespace pellora
