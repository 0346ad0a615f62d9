#include "fetch/HostKeys.h"

#include <array>
#include <cstdint>
#include <span>
#include <utility>

#include "async/InBackground.h"
#include "ports/Background.h"
#include "ports/DownloadFiles.h"
#include "ports/Failure.h"
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

void AddKnownHost(Files& files, DownloadFiles& downloadFiles, const std::string& path, const std::string& line) {
  if (!files.Exists(path)) return downloadFiles.Replace(path, line + "\n");
  const std::unique_ptr<File> file = files.Open(path, FileKind::Output);
  const std::uint64_t length = file->Length();
  file->WriteAt(length, (EndsInTheMiddleOfALine(*file, length) ? "\n" : "") + line + "\n");
}

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

std::string HostKeys::AcceptedFor(const std::string& origin) const {
  const auto found = accepted_.find(origin);
  return found == accepted_.end() ? std::string() : found->second;
}

void HostKeys::Accept(const std::string& origin, const std::string& fingerprint) {
  accepted_[origin] = fingerprint;
  const auto [first, last] = waiting_.equal_range(origin + " " + fingerprint);
  std::vector<std::function<void()>> calls;
  for (auto waiting = first; waiting != last; ++waiting) calls.push_back(std::move(waiting->second));
  waiting_.erase(first, last);
  for (const auto& call : calls) call();
}

void HostKeys::WhenAccepted(const std::string& origin, const std::string& fingerprint, std::function<void()> call) {
  waiting_.emplace(origin + " " + fingerprint, std::move(call));
}

Task<> KeepHostKey(const Platform* platform, WebAddress address, HostKey key) {
  const std::string file = KnownHostsFile(*platform);
  if (file.empty() || key.key.empty()) co_return;
  Background::Work write = [files = &platform->files, downloads = platform->downloadFiles, file,
                            line = KnownHostsName(address) + " " + key.key] {
    AddKnownHost(*files, *downloads, file, line);
  };
  try {
    co_await InBackground(platform, std::move(write));
  } catch (const Failure&) {
    // Asked again at the next start.
  }
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
