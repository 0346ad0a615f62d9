// HostKeys: keys of sftp servers that the user has been asked about, and the files that hold known ones.
//
// A key that was accepted is appended to the user's known_hosts, where the next start and other programs find it. While
// the program runs it counts even if it could not be written. What a file says counts more: a host whose key has
// changed there is refused, accepted or not.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "async/Task.h"
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

// The same with a key for the user's own file. If that fails the user is asked again at the next start.
Task<> KeepHostKey(const Platform* platform, WebAddress address, HostKey key);

class HostKeys {
 public:
  std::string AcceptedFor(const std::string& origin) const;  // a fingerprint; or empty

  // Calls what waits for this key.
  void Accept(const std::string& origin, const std::string& fingerprint);
  void WhenAccepted(const std::string& origin, const std::string& fingerprint, std::function<void()> call);

 private:
  std::map<std::string, std::string> accepted_;                // by origin
  std::multimap<std::string, std::function<void()>> waiting_;  // by origin and fingerprint
};

// The user's file, and the one for all users.
std::string KnownHostsFile(const Platform& platform);  // empty without a home
std::vector<std::string> KnownHostsFiles(const Platform& platform);

// The user's own key, of a kind that can be used; empty if there is none.
std::string PrivateKeyFile(const Platform& platform);

}  // namespace pellora
