// The servers of ftp, ftps and sftp.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "FetchServers.h"

namespace pellora {

Vsftpd::Vsftpd(const Folder& folder, bool secure) : port_(FreePort()), secure_(secure) {
  const std::string files = folder.Path("files");
  std::filesystem::create_directory(files);
  chmod(files.c_str(), 0755);
  std::string text = "listen=YES\nlisten_address=127.0.0.1\nlisten_port=" + std::to_string(port_) +
                     "\nbackground=NO\nrun_as_launching_user=YES\nftp_username=" + getpwuid(geteuid())->pw_name +
                     "\nseccomp_sandbox=NO\nlocal_enable=NO\nanonymous_enable=YES\nanon_root=" + files +
                     "\npasv_address=127.0.0.1\nxferlog_enable=NO\n";
  if (secure) {
    text +=
        "ssl_enable=YES\nimplicit_ssl=YES\nallow_anon_ssl=YES\nforce_anon_logins_ssl=YES\nforce_anon_data_ssl=YES\n"
        "ssl_ciphers=HIGH\nrsa_cert_file=" +
        folder.Path("server0.pem") + "\nrsa_private_key_file=" + folder.Path("server0.key") + "\n";
  }
  const std::string name = folder.Path(secure ? "vsftpd-tls.conf" : "vsftpd.conf");
  Put(name, text);
  server_ = std::make_unique<Server>(UnpackedProgram("vsftpd/usr/sbin/vsftpd"), std::vector<std::string>{name}, port_);
}

std::string Vsftpd::Url(const std::string& name) const {
  return std::string(secure_ ? "ftps://localhost:" : "ftp://127.0.0.1:") + std::to_string(port_) + "/" + name;
}

OpenSsh::OpenSsh(const Folder& folder) : folder_(folder), port_(FreePort()) {
  const passwd* const account = geteuid() == 0 ? getpwnam("games") : getpwuid(geteuid());
  user_ = account->pw_name;
  for (const std::string name : {"host", "user", "other"}) {
    RunProgramToItsEnd("ssh-keygen", {"-q", "-t", "ed25519", "-N", "", "-f", folder.Path(name)});
  }
  Put(folder.Path("sshd.conf"), "Port " + std::to_string(port_) + "\nListenAddress 127.0.0.1\nHostKey " +
                                    folder.Path("host") + "\nPidFile none\nAuthorizedKeysFile " +
                                    folder.Path("user.pub") +
                                    "\nStrictModes no\nPasswordAuthentication no\nSubsystem sftp internal-sftp\n"
                                    "ForceCommand internal-sftp\nLogLevel QUIET\n");
  const std::string program = UnpackedProgram("openssh-server/usr/sbin/sshd");
  std::vector<std::string> command{program, "-D", "-e", "-f", folder.Path("sshd.conf")};
  if (geteuid() == 0) {
    // The server must reach its key and the files.
    chmod(folder.Path().c_str(), 0755);
    if (chown(folder.Path("host").c_str(), account->pw_uid, account->pw_gid) != 0) {
      throw std::runtime_error("no owner for the host key");
    }
    command.insert(command.begin(), {"setpriv", "--reuid=" + std::to_string(account->pw_uid),
                                     "--regid=" + std::to_string(account->pw_gid), "--clear-groups"});
  }
  server_ =
      std::make_unique<Server>(command.front(), std::vector<std::string>(command.begin() + 1, command.end()), port_);
}

std::string OpenSsh::Url(const std::string& path) const { return "sftp://127.0.0.1:" + std::to_string(port_) + path; }

std::string OpenSsh::HostKey() const {
  const std::string text = Content(folder_.Path("host.pub"));
  return text.substr(0, text.find(' ', text.find(' ') + 1));
}

std::string OpenSsh::Fingerprint() const {
  QProcess process;
  process.start("ssh-keygen", {"-l", "-f", QString::fromStdString(folder_.Path("host.pub"))});
  process.waitForFinished();
  const std::string text = process.readAllStandardOutput().toStdString();
  const std::string::size_type start = text.find("SHA256:");
  return text.substr(start, text.find(' ', start) - start);
}

namespace {

void SendAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = send(fd, text.data(), text.size(), MSG_NOSIGNAL);
    if (count <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace

OddFtpServer::OddFtpServer() : listener_(ListenOnLoopback(port_)), thread_([this] { Serve(); }) {}

OddFtpServer::~OddFtpServer() {
  shutdown(listener_, SHUT_RDWR);
  if (open_ >= 0) shutdown(open_, SHUT_RDWR);
  thread_.join();
  close(listener_);
}

void OddFtpServer::Serve() {
  for (;;) {
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) return;
    open_ = fd;
    Converse(fd);
    open_ = -1;
    close(fd);
  }
}

void OddFtpServer::Converse(int fd) {
  SendAll(fd, greeting + " odd\r\n");
  int data = -1;
  std::string line;
  char c = 0;
  while (recv(fd, &c, 1, 0) == 1) {
    line += c;
    if (c != '\n') continue;
    SendAll(fd, ReplyTo(line, data));
    if (line.starts_with("RETR")) {
      const int connection = accept4(data, nullptr, nullptr, SOCK_CLOEXEC);
      SendAll(connection, content);
      close(connection);
      if (confirms) SendAll(fd, "226 done\r\n");
    }
    line.clear();
  }
  if (data >= 0) close(data);
}

std::string OddFtpServer::ReplyTo(const std::string& command, int& data) {
  if (command.starts_with("USER")) return "230 in\r\n";
  if (command.starts_with("EPSV")) {
    int port = 0;
    if (data >= 0) close(data);
    data = ListenOnLoopback(port);
    return "229 here (|||" + std::to_string(port) + "|)\r\n";
  }
  if (command.starts_with("SIZE")) return size.empty() ? "550 no\r\n" : "213 " + size + "\r\n";
  if (command.starts_with("RETR")) return "150 Opening connection" + opening + "\r\n";
  if (command.starts_with("TYPE")) return "200 yes\r\n";
  if (command.starts_with("REST")) return "350 yes\r\n";
  if (command.starts_with("PWD")) return "257 \"/\"\r\n";
  return "500 no\r\n";
}

}  // namespace pellora
