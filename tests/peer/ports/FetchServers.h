// Servers for the tests of fetching: certificates of an authority made for the test, nginx, vsftpd and OpenSSH with
// configurations in the test's folder, and a server of odd replies. All listen on loopback and end with their objects.
#pragma once

#include <QProcess>
#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "FetchStage.h"
#include "Support.h"

namespace pellora {

// A port that nobody listens on at this moment.
int FreePort();

// A program that runs until the object is destroyed.
class Server {
 public:
  // Waits until the port takes connections.
  Server(const std::string& program, const std::vector<std::string>& arguments, int port);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

 private:
  QProcess process_;
};

void RunProgramToItsEnd(const std::string& program, const std::vector<std::string>& arguments);
// From build/packages, where scripts/packages.sh unpacks what is not to be installed.
std::string UnpackedProgram(const std::string& path);

// Certificates for "localhost" in a folder: NAME.pem and NAME.key, and the authority in ca.pem.
class Authority {
 public:
  explicit Authority(const Folder& folder);
  void Issue(const std::string& name, Certificate kind) const;

 private:
  const Folder& folder_;
};

// Each connection gets the reply that its path asks for.
class OddServer {
 public:
  OddServer();
  ~OddServer();
  OddServer(const OddServer&) = delete;
  OddServer& operator=(const OddServer&) = delete;

  int Port() const { return port_; }
  std::string Url(Reply reply) const;
  std::int64_t EndlessBytes() const { return endless_; }
  int Connections() const { return connections_; }
  // The heads of all requests so far.
  std::string Requests() const;

 private:
  void Accept();
  void Serve(int fd);
  void SendReply(int fd, Reply reply, const std::string& head);
  void SendEndless(int fd);

  int port_ = 0;
  int listener_;
  std::atomic<std::int64_t> endless_ = 0;
  std::atomic<int> connections_ = 0;
  std::atomic<bool> ended_ = false;
  mutable std::mutex mutex_;
  std::string requests_;
  std::set<int> open_;
  std::vector<std::thread> threads_;
  std::thread acceptor_;
};

// nginx with one folder of files at several ports.
class Nginx {
 public:
  explicit Nginx(const Folder& folder);

  void Put(const std::string& name, const std::string& content) const;
  std::string Url(const std::string& name) const;
  std::string SecureUrl(Certificate certificate, const std::string& name) const;
  std::string Http2Url(const std::string& name) const;
  std::string OldTlsUrl(const std::string& name) const;
  int PlainPort() const { return plain_; }
  int SecurePort(Certificate certificate) const { return secure_.at(static_cast<std::size_t>(certificate)); }
  std::string Log() const { return Content(folder_.Path("access.log")); }

 private:
  std::string Configuration() const;

  const Folder& folder_;
  int plain_;
  int http2_;
  int oldTls_;
  std::vector<int> secure_;
  std::unique_ptr<Server> server_;
};

}  // namespace pellora
