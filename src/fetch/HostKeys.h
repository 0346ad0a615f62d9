// HostKeys: keys of sftp servers that the user has been asked about, and the files that hold known ones.
//
// A key that was accepted is appended to the user's known_hosts, where the next start and other programs find it. While
// the program runs it counts even if it could not be written. What a file says counts more: a host whose key has
// changed there is refused, accepted or not.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/WebAddress.h"

namespace pellora {

class DownloadFiles;
class Files;
struct Platform;

struct HostKey {
  std::string fingerprint;  // "SHA256:..."
  std::string key;          // kind and Base64, as in a file of them
};

// Of FetchEnd::UnknownKey.
HostKey ReadHostKey(std::string_view reason);

// The server as such a file names it: "host", or "[host]:port".
std::string KnownHostsName(const WebAddress& address);

// Appends the line to the file, which is made for the user alone if it is missing, like its folder. Fails with a
// Failure. Belongs into the background.
void AddKnownHost(Files& files, DownloadFiles& downloadFiles, const std::string& path, const std::string& line);

class HostKeys {
 public:
  std::string AcceptedFor(const std::string& origin) const;  // a fingerprint; or empty

  // The answer to a question, once it has come. Downloads from one server share it.
  using Answer = std::shared_ptr<std::optional<bool>>;
  // The question about this key, if it is open; else null.
  Answer Find(const std::string& origin, const std::string& fingerprint) const;
  Answer Begin(const std::string& origin, const std::string& fingerprint);
  void End(const std::string& origin, const std::string& fingerprint, bool trusted);

 private:
  std::map<std::string, std::string> accepted_;  // by origin
  std::map<std::string, Answer> questions_;      // open ones, by origin and fingerprint
};

// The user's file, and the one for all users.
std::string KnownHostsFile(const Platform& platform);  // empty without a home
std::vector<std::string> KnownHostsFiles(const Platform& platform);

// The user's own key, of a kind that can be used; empty if there is none.
std::string PrivateKeyFile(const Platform& platform);

}  // namespace pellora
