// SimFtpServer: a scripted FTP server (RFC 959, passive data connections only) with a menu of faults.
//
// Faults are chosen by the number of the control connection (OnConnection), else the same for all (Always). Each PASV
// opens a separate port, which is closed with its control connection. SIZE and RETR work only in binary type, so that a
// client that forgot TYPE I fails. A login counts until the server has noticed that the client hung up, plus a set
// time. Every command is recorded by connection, and the network's log has every byte.
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

// The faults of one control connection and its data connections. By default there are none.
struct FtpFault {
  SimWire wire;
  SimWire dataWire;
  std::string greeting = "220 ready\r\n";  // empty: none, and no replies at all
  // By verb: the reply to a command that is executed. In PASV's, {address} stands for the six numbers, {above255} for
  // the same with 256 added to each of the last two.
  std::map<std::string, std::string> say;
  // By verb: the reply to a command that is not executed; empty is none.
  std::map<std::string, std::string> refuse;
  int refuseData = 0;                         // that many attempts at each data port are refused
  std::string dataHost = "10.0.0.1";          // where the data ports are
  std::optional<std::uint64_t> endDataAfter;  // the server ends each transfer after that many bytes
  std::string done = "226 that was all\r\n";  // sent after the last byte, with the delay in ms
  std::uint32_t doneDelay = 0;
  std::uint32_t thinkTime = 0;  // ms between a command and its reply
};

// Where a login above the limit is refused.
enum class FtpLimit { Greeting, User, Pass };

struct FtpCommandLog {
  int connection = 0;
  std::int64_t at = 0;  // ms since the start of the run, when it reached the server
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
  // Removes all faults and limits.
  void NoFaults() {
    always_ = {};
    byConnection_.clear();
    mostLogins = INT_MAX;
    lingering = 0;
  }
  // Passwords by user; "anonymous" is accepted with any.
  std::string loginDirectory = "/";
  int mostLogins = INT_MAX;
  FtpLimit limitAt = FtpLimit::Pass;
  std::string limitReply = "530 too many logins\r\n";
  std::uint32_t lingering = 0;  // ms that a login still counts after the client's hang-up was noticed

  const std::vector<FtpCommandLog>& Log() const { return log_; }
  std::vector<std::string> Commands(int connection) const;
  int Count(const std::string& line) const;  // of all connections
  int Connections() const { return connections_; }
  int Logins() const;  // open now
  int MostLogins() const { return mostLoginsSeen_; }
  int Refusals() const { return refusals_; }  // because of the limit
  // When data connections were attempted, including refused ones; ms since the start.
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
  void Transfer(Session& session);  // once RETR was received and the data connection is open
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
