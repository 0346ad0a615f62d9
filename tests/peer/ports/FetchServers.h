// Servers for the tests of fetching: certificates of an authority made for the test, nginx, vsftpd and OpenSSH with
// configurations in the test's folder, and a server of odd replies. All listen on loopback and end with their objects.
#pragma once

#include <QProcess>
#include <atomic>
#include <chrono>
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

// That this process has used.
std::chrono::microseconds ProcessorTime();

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
  std::string Http2AloneUrl(const std::string& name) const;  // refuses HTTP/1.1 in the handshake
  std::string OldTlsUrl(const std::string& name) const;
  int PlainPort() const { return plain_; }
  int SecurePort(Certificate certificate) const { return secure_.at(static_cast<std::size_t>(certificate)); }
  std::string Log() const { return Content(folder_.Path("access.log")); }

 private:
  std::string Configuration() const;

  const Folder& folder_;
  int plain_;
  int http2_;
  int http2Alone_;
  int cleartextHttp2_;
  int oldTls_;
  std::vector<int> secure_;
  std::unique_ptr<Server> server_;
};

// vsftpd for anonymous users, by TLS from the first byte if `secure`. Its files are in "files" of the folder.
class Vsftpd {
 public:
  Vsftpd(const Folder& folder, bool secure);
  std::string Url(const std::string& name) const;

 private:
  int port_;
  bool secure_;
  std::unique_ptr<Server> server_;
};

// OpenSSH's server for one user with one key ("user" in the folder). Root runs it as another user, since it would need
// an account for itself otherwise.
class OpenSsh {
 public:
  explicit OpenSsh(const Folder& folder);
  std::string Url(const std::string& path) const;
  std::string Name() const { return "[127.0.0.1]:" + std::to_string(port_); }  // in known_hosts
  const std::string& User() const { return user_; }
  std::string HostKey() const;  // its kind and Base64
  std::string Fingerprint() const;

 private:
  const Folder& folder_;
  int port_;
  std::string user_;
  std::unique_ptr<Server> server_;
};

// The descriptor of a socket that listens on loopback, and its port.
int ListenOnLoopback(int& port);

// An FTP server that serves "content" whatever is asked for, in the ways that its members say.
class OddFtpServer {
 public:
  OddFtpServer();
  ~OddFtpServer();
  OddFtpServer(const OddFtpServer&) = delete;
  OddFtpServer& operator=(const OddFtpServer&) = delete;
  std::string Url() const { return "ftp://127.0.0.1:" + std::to_string(port_) + "/file"; }

  std::string content;
  std::string size;              // of the reply to SIZE
  std::string opening;           // of the reply to RETR
  std::string greeting = "220";  // with its text
  bool confirms = true;          // sends 226 after the data

 private:
  void Serve();
  void Converse(int fd);
  std::string ReplyTo(const std::string& command, int& data);

  int port_ = 0;
  int listener_;
  std::atomic<int> open_ = -1;
  std::thread thread_;
};

}  // namespace pellora
