#include "fetch/HostKeys.h"

#include <array>
#include <cstdint>
#include <span>

#include "ports/DownloadFiles.h"
#include "ports/Files.h"
#include "ports/Machine.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

bool EndsInTheMiddleOfALine(File& file, std::uint64_t length) {
  std::array<char, 1> last{};
  return length > 0 && file.ReadAt(length - 1, std::span<char>(last)) == 1 && last[0] != '\n';
}

}  // namespace

HostKey ReadHostKey(std::string_view reason) {
  const std::size_t blank = reason.find(' ');
  HostKey key;
  key.fingerprint = reason.substr(0, blank);
  if (blank != std::string_view::npos) key.key = reason.substr(blank + 1);
  return key;
}

std::string KnownHostsName(const WebAddress& address) {
  if (address.port == DefaultPort(WebScheme::Sftp)) return address.host;
  return "[" + address.host + "]:" + std::to_string(address.port);
}

void AddKnownHost(Files& files, DownloadFiles& downloadFiles, const std::string& path, const std::string& line) {
  if (!files.Exists(path)) return downloadFiles.Replace(path, line + "\n");
  const std::unique_ptr<File> file = files.Open(path, FileKind::Output);
  const std::uint64_t length = file->Length();
  file->WriteAt(length, (EndsInTheMiddleOfALine(*file, length) ? "\n" : "") + line + "\n");
}

std::string HostKeys::AcceptedFor(const std::string& origin) const {
  const auto found = accepted_.find(origin);
  return found == accepted_.end() ? std::string() : found->second;
}

HostKeys::Answer HostKeys::Find(const std::string& origin, const std::string& fingerprint) const {
  const auto found = questions_.find(origin + " " + fingerprint);
  return found == questions_.end() ? nullptr : found->second;
}

HostKeys::Answer HostKeys::Begin(const std::string& origin, const std::string& fingerprint) {
  return questions_[origin + " " + fingerprint] = std::make_shared<std::optional<bool>>();
}

void HostKeys::End(const std::string& origin, const std::string& fingerprint, bool trusted) {
  if (const Answer answer = Find(origin, fingerprint)) *answer = trusted;
  questions_.erase(origin + " " + fingerprint);
  if (trusted) accepted_[origin] = fingerprint;
}

std::string KnownHostsFile(const Platform& platform) {
  const std::string home = platform.machine.HomeFolder();
  return home.empty() ? std::string() : home + "/.ssh/known_hosts";
}

std::string PrivateKeyFile(const Platform& platform) {
  const std::string home = platform.machine.HomeFolder();
  for (const char* const name : {"id_ed25519", "id_ecdsa"}) {
    const std::string file = home + "/.ssh/" + name;
    if (!home.empty() && platform.files.Exists(file)) return file;
  }
  return {};
}

std::vector<std::string> KnownHostsFiles(const Platform& platform) {
  std::vector<std::string> files{"/etc/ssh/ssh_known_hosts"};
  if (const std::string own = KnownHostsFile(platform); !own.empty()) files.insert(files.begin(), own);
  return files;
}

}  // namespace pellora
