#include "FetchServers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QStandardPaths>
#include <algorithm>
#include <array>
#include <csignal>
#include <ctime>

namespace pellora {

int ListenOnLoopback(int& port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(fd, 64) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    throw std::runtime_error("no port to listen on");
  }
  port = ntohs(address.sin_port);
  return fd;
}

namespace {

bool TakesConnections(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  const bool connected = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return connected;
}

QStringList Texts(const std::vector<std::string>& arguments) {
  QStringList texts;
  for (const std::string& argument : arguments) texts.append(QString::fromStdString(argument));
  return texts;
}

// Programs for the administrator are not in every user's PATH.
QString Located(const std::string& program) {
  if (program.front() == '/') return QString::fromStdString(program);
  const QString name = QString::fromStdString(program);
  const QString found = QStandardPaths::findExecutable(name);
  return found.isEmpty() ? QStandardPaths::findExecutable(name, {"/usr/sbin", "/sbin"}) : found;
}

// "x" and what gzip makes of it.
const std::string kPacked(
    "\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03\xab\xa8\xa8\xa8\x00\x00\x12\x9e\x5c\x7c\x04\x00\x00\x00\x00",
    kCompressedSize);

struct OddReply {
  const char* path;
  Reply reply;
};
constexpr std::array kReplies{OddReply{"/echo", Reply::Echo},
                              OddReply{"/ends-early", Reply::EndsEarly},
                              OddReply{"/until-close", Reply::UntilClose},
                              OddReply{"/chunked", Reply::Chunked},
                              OddReply{"/chunked-cut", Reply::ChunkedCut},
                              OddReply{"/early-hints", Reply::EarlyHints},
                              OddReply{"/transfer-coded", Reply::TransferCoded},
                              OddReply{"/compressed", Reply::Compressed},
                              OddReply{"/moved", Reply::Moved},
                              OddReply{"/missing", Reply::Missing},
                              OddReply{"/nothing", Reply::Nothing},
                              OddReply{"/silence", Reply::Silence},
                              OddReply{"/endless", Reply::Endless}};

std::string WithLength(const std::string& body) {
  return "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string TextOf(Reply reply, const std::string& head) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  switch (reply) {
    case Reply::Echo:
      return ok + WithLength(head);
    case Reply::EndsEarly:
      return ok + "Content-Length: 1000\r\n\r\n" + std::string(400, 'x');
    case Reply::UntilClose:
      return ok + "Connection: close\r\n\r\n" + std::string(400, 'x');
    case Reply::Chunked:
      return ok + "Transfer-Encoding: chunked\r\n\r\n5\r\nfirst\r\n6\r\nsecond\r\n0\r\nLate: yes\r\n\r\n";
    case Reply::ChunkedCut:
      return ok + "Transfer-Encoding: chunked\r\n\r\n5\r\nfirst\r\n6\r\n";
    case Reply::EarlyHints:
      return "HTTP/1.1 103 Early Hints\r\nLink: early\r\n\r\n" + ok + "Kind: final\r\n" + WithLength("body");
    case Reply::TransferCoded:
      return ok + "Transfer-Encoding: gzip, chunked\r\n\r\n19\r\n" + kPacked + "\r\n0\r\n\r\n";
    case Reply::Compressed:
      return ok + "Content-Encoding: gzip\r\n" + WithLength(kPacked);
    case Reply::Moved:
      return "HTTP/1.1 302 Found\r\nLocation: /elsewhere\r\n" + WithLength("");
    case Reply::Missing:
      return "HTTP/1.1 404 Not Found\r\n" + WithLength("gone");
    case Reply::Endless:
      return ok + "Content-Length: 1099511627776\r\n\r\n";
    case Reply::Nothing:
    case Reply::Silence:
      return {};
  }
  return {};
}

// Replies to what only some requests are, whatever the path; empty for all others.
std::string SpecialReply(const std::string& head) {
  const std::string empty = "Content-Length: 0\r\n\r\n";
  if (head.starts_with("CONNECT login.invalid:")) return "HTTP/1.1 407 Proxy Authentication Required\r\n" + empty;
  if (head.starts_with("CONNECT ")) return "HTTP/1.1 403 Forbidden\r\n" + empty;
  if (head.starts_with("GET http://login.invalid/")) {
    return "HTTP/1.1 407 Proxy Authentication Required\r\n" + WithLength("log in");
  }
  if (!head.starts_with("GET /digest ")) return {};
  if (head.find("Authorization: Digest username=\"joe\"") != std::string::npos) {
    return "HTTP/1.1 200 OK\r\n" + WithLength("in");
  }
  return "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Digest realm=\"here\", nonce=\"abc\", qop=\"auth\"\r\n" +
         WithLength("out");
}

bool ClosesAfter(Reply reply) {
  return reply == Reply::EndsEarly || reply == Reply::UntilClose || reply == Reply::ChunkedCut ||
         reply == Reply::Nothing;
}

}  // namespace

int FreePort() {
  int port = 0;
  close(ListenOnLoopback(port));
  return port;
}

std::chrono::microseconds ProcessorTime() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return std::chrono::seconds(used.tv_sec) + std::chrono::microseconds(used.tv_nsec / 1000);
}

Server::Server(const std::string& program, const std::vector<std::string>& arguments, int port) {
  process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  process_.setStandardOutputFile(QProcess::nullDevice());
  process_.setChildProcessModifier([] {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setpgid(0, 0);  // with all that it starts
  });
  process_.start(Located(program), Texts(arguments));
  if (!process_.waitForStarted()) throw std::runtime_error(program + " does not start");
  if (!RunUntil([&] { return TakesConnections(port) || process_.state() != QProcess::Running; }) ||
      process_.state() != QProcess::Running) {
    throw std::runtime_error(program + " does not listen");
  }
}

Server::~Server() {
  const auto group = static_cast<pid_t>(process_.processId());
  if (group > 0) kill(-group, SIGKILL);
  process_.waitForFinished();
}

void RunProgramToItsEnd(const std::string& program, const std::vector<std::string>& arguments) {
  QProcess process;
  process.start(Located(program), Texts(arguments));
  if (process.waitForFinished() && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0) return;
  throw std::runtime_error(program + ": " + process.readAllStandardError().toStdString());
}

std::string UnpackedProgram(const std::string& path) { return std::string(PELLORA_PACKAGES) + "/" + path; }

Authority::Authority(const Folder& folder) : folder_(folder) {
  RunProgramToItsEnd("openssl",
                     {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-keyout",
                      folder.Path("ca.key"), "-out", folder.Path("ca.pem"), "-subj", "/CN=Authority", "-days", "30"});
  Put(folder.Path("ca.cnf"), "[ca]\ndefault_ca=here\n[here]\ndatabase=" + folder.Path("index") +
                                 "\nnew_certs_dir=" + folder.Path() +
                                 "\ndefault_md=sha256\npolicy=any\nunique_subject=no\ncopy_extensions=copy\n"
                                 "rand_serial=yes\n[any]\ncommonName=supplied\n");
  Put(folder.Path("index"), "");
}

void Authority::Issue(const std::string& name, Certificate kind) const {
  const std::string host = kind == Certificate::OtherHost ? "elsewhere.example" : "localhost";
  std::vector<std::string> request{"req",
                                   "-newkey",
                                   "ec",
                                   "-pkeyopt",
                                   "ec_paramgen_curve:prime256v1",
                                   "-nodes",
                                   "-keyout",
                                   folder_.Path(name + ".key"),
                                   "-subj",
                                   "/CN=" + host,
                                   "-addext",
                                   "subjectAltName=DNS:" + host + ",DNS:files.invalid"};
  const bool own = kind == Certificate::UnknownAuthority;
  const std::string out = folder_.Path(name + (own ? ".pem" : ".csr"));
  request.insert(request.end(), {"-out", out});
  if (own) request.insert(request.end(), {"-x509", "-days", "30"});
  RunProgramToItsEnd("openssl", request);
  if (own) return;
  const std::string end = kind == Certificate::Expired ? "20010101000000Z" : "20800101000000Z";
  RunProgramToItsEnd("openssl", {"ca", "-batch", "-notext", "-config", folder_.Path("ca.cnf"), "-cert",
                                 folder_.Path("ca.pem"), "-keyfile", folder_.Path("ca.key"), "-in", out, "-out",
                                 folder_.Path(name + ".pem"), "-startdate", "20000101000000Z", "-enddate", end});
}

OddServer::OddServer() : listener_(ListenOnLoopback(port_)), acceptor_([this] { Accept(); }) {}

OddServer::~OddServer() {
  ended_ = true;
  shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  {
    const std::lock_guard lock(mutex_);
    for (const int fd : open_) shutdown(fd, SHUT_RDWR);
  }
  for (std::thread& thread : threads_) thread.join();
  close(listener_);
}

std::string OddServer::Url(Reply reply) const {
  const auto* const found =
      std::find_if(kReplies.begin(), kReplies.end(), [&](const OddReply& one) { return one.reply == reply; });
  return "http://127.0.0.1:" + std::to_string(port_) + found->path;
}

std::string OddServer::Requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

void OddServer::Accept() {
  for (;;) {
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) return;
    ++connections_;
    const std::lock_guard lock(mutex_);
    open_.insert(fd);
    threads_.emplace_back([this, fd] { Serve(fd); });
  }
}

void OddServer::Serve(int fd) {
  std::string head;
  std::array<char, 4096> buffer{};
  while (!ended_) {
    const ssize_t count = recv(fd, buffer.data(), buffer.size(), 0);
    if (count <= 0) break;
    head.append(buffer.data(), static_cast<std::size_t>(count));
    if (head.find("\r\n\r\n") == std::string::npos) continue;
    const std::string::size_type at = head.find(' ') + 1;
    const std::string path = head.substr(at, head.find(' ', at) - at);
    const auto* const found =
        std::find_if(kReplies.begin(), kReplies.end(), [&](const OddReply& one) { return one.path == path; });
    const Reply reply = found == kReplies.end() ? Reply::Echo : found->reply;
    {
      const std::lock_guard lock(mutex_);
      requests_ += head;
    }
    SendReply(fd, reply, head);
    head.clear();
    if (ClosesAfter(reply)) break;
  }
  const std::lock_guard lock(mutex_);
  open_.erase(fd);
  close(fd);
}

void OddServer::SendReply(int fd, Reply reply, const std::string& head) {
  const std::string special = SpecialReply(head);
  const std::string text = special.empty() ? TextOf(reply, head) : special;
  if (send(fd, text.data(), text.size(), MSG_NOSIGNAL) < 0) return;
  if (reply == Reply::Endless) SendEndless(fd);
}

void OddServer::SendEndless(int fd) {
  const std::string block(65536, 'e');
  while (!ended_) {
    const ssize_t count = send(fd, block.data(), block.size(), MSG_NOSIGNAL);
    if (count <= 0) return;
    endless_ += count;
  }
}

Nginx::Nginx(const Folder& folder)
    : folder_(folder),
      plain_(FreePort()),
      http2_(FreePort()),
      http2Alone_(FreePort()),
      cleartextHttp2_(FreePort()),
      oldTls_(FreePort()),
      secure_{} {
  const Authority authority(folder);
  for (const Certificate kind :
       {Certificate::Right, Certificate::Expired, Certificate::OtherHost, Certificate::UnknownAuthority}) {
    secure_.push_back(FreePort());
    authority.Issue("server" + std::to_string(static_cast<int>(kind)), kind);
  }
  std::filesystem::create_directory(folder.Path("files"));
  pellora::Put(folder.Path("nginx.conf"), Configuration());
  server_ = std::make_unique<Server>(
      "nginx",
      std::vector<std::string>{"-p", folder.Path(), "-c", folder.Path("nginx.conf"), "-e", folder.Path("error.log")},
      plain_);
}

std::string Nginx::Configuration() const {
  const auto server = [this](int port, const std::string& flags, int certificate, const std::string& more) {
    const std::string name = folder_.Path("server" + std::to_string(certificate));
    return "server { listen 127.0.0.1:" + std::to_string(port) + flags + "; ssl_certificate " + name +
           ".pem; ssl_certificate_key " + name + ".key; root " + folder_.Path("files") + "; " + more + " }\n";
  };
  std::string text =
      "load_module /usr/lib/nginx/modules/ngx_stream_module.so; daemon off; master_process off; pid " +
      folder_.Path("nginx.pid") + "; events {}\nstream { server { listen 127.0.0.1:" + std::to_string(http2Alone_) +
      " ssl; ssl_alpn h2; ssl_certificate " + folder_.Path("server0.pem") + "; ssl_certificate_key " +
      folder_.Path("server0.key") + "; proxy_pass 127.0.0.1:" + std::to_string(cleartextHttp2_) +
      "; } }\nhttp { access_log " + folder_.Path("access.log") +
      " combined; sendfile on; keepalive_requests 10000; client_body_temp_path body; proxy_temp_path proxy; "
      "fastcgi_temp_path fastcgi; uwsgi_temp_path uwsgi; scgi_temp_path scgi; ssl_protocols TLSv1.2 TLSv1.3;\n" +
      server(plain_, "", 0, "") + server(http2_, " ssl http2", 0, "") + server(cleartextHttp2_, " http2", 0, "") +
      server(oldTls_, " ssl", 0, "ssl_protocols TLSv1.1; ssl_ciphers ALL:@SECLEVEL=0;");
  for (std::size_t i = 0; i < secure_.size(); ++i) text += server(secure_[i], " ssl", static_cast<int>(i), "");
  return text + "}\n";
}

void Nginx::Put(const std::string& name, const std::string& content) const {
  pellora::Put(folder_.Path("files/" + name), content);
}

std::string Nginx::Url(const std::string& name) const {
  return "http://127.0.0.1:" + std::to_string(plain_) + "/" + name;
}

std::string Nginx::SecureUrl(Certificate certificate, const std::string& name) const {
  return "https://localhost:" + std::to_string(SecurePort(certificate)) + "/" + name;
}

std::string Nginx::Http2AloneUrl(const std::string& name) const {
  return "https://localhost:" + std::to_string(http2Alone_) + "/" + name;
}

std::string Nginx::Http2Url(const std::string& name) const {
  return "https://localhost:" + std::to_string(http2_) + "/" + name;
}

std::string Nginx::OldTlsUrl(const std::string& name) const {
  return "https://localhost:" + std::to_string(oldTls_) + "/" + name;
}

}  // namespace pellora
