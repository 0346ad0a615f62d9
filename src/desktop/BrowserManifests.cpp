#include "desktop/BrowserManifests.h"

#include <sys/stat.h>

#include <array>
#include <exception>
#include <optional>
#include <string_view>

#include "desktop/AtomicFile.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

// Profile roots of the Chromium family, below $XDG_CONFIG_HOME.
constexpr std::array kChromiumRoots = {"chromium",
                                       "google-chrome",
                                       "google-chrome-beta",
                                       "google-chrome-unstable",
                                       "microsoft-edge",
                                       "microsoft-edge-beta",
                                       "microsoft-edge-dev",
                                       "BraveSoftware/Brave-Browser",
                                       "BraveSoftware/Brave-Browser-Beta",
                                       "BraveSoftware/Brave-Browser-Nightly",
                                       "vivaldi",
                                       "vivaldi-snapshot",
                                       "opera",
                                       "yandex-browser"};

std::string JsonText(const std::string& text) {
  static constexpr std::string_view kHex = "0123456789abcdef";
  std::string quoted = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20) {
      quoted += "\\u00";
      quoted += kHex[byte >> 4U];
      quoted += kHex[byte & 0xFU];
    } else {
      if (c == '"' || c == '\\') quoted += '\\';
      quoted += c;
    }
  }
  return quoted + '"';
}

// The beginning of each manifest of the program's, whatever copy of it has written it.
std::string ManifestHead() {
  return "{\n  \"name\": " + JsonText(kHostName) + ",\n  \"description\": \"Hands links to Pellora\",\n  \"path\": ";
}

std::string ManifestText(const std::string& program, const std::string& allowed) {
  return ManifestHead() + JsonText(program) + ",\n  \"type\": \"stdio\",\n  " + allowed + "\n}\n";
}

bool IsFolder(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void RemoveOwn(const std::string& path) {
  const std::optional<std::string> text = ReadSmallFile(path);
  if (text && text->starts_with(ManifestHead())) RemoveFile(path);
}

}  // namespace

BrowserManifests::BrowserManifests(const std::string& programFolder, const std::string& home,
                                   const std::string& configHome, bool registers)
    : registers_(registers) {
  const std::string program = programFolder + "/" + kHostProgram;
  const std::string gecko = ManifestText(program, "\"allowed_extensions\": [" + JsonText(kGeckoId) + "]");
  // Newer versions keep their profiles in the second folder but still look for hosts only in the first. They may look
  // in the second one day.
  const std::string profiles = configHome + "/mozilla";
  places_.push_back({home + "/.mozilla", "native-messaging-hosts", gecko, profiles});
  places_.push_back({profiles, "native-messaging-hosts", gecko, {}});
  const std::string origin = std::string("chrome-extension://") + kChromiumId + "/";
  const std::string chromium = ManifestText(program, "\"allowed_origins\": [" + JsonText(origin) + "]");
  for (const char* const root : kChromiumRoots) {
    places_.push_back({configHome + "/" + root, "NativeMessagingHosts", chromium, {}});
  }
}

void BrowserManifests::SetEntry(bool present) {
  std::exception_ptr first;
  for (const Place& place : places_) {
    if (!IsFolder(place.parent) && !(present && registers_ && IsFolder(place.profiles))) continue;
    const std::string path = place.parent + "/" + place.folder + "/" + kHostName + ".json";
    try {
      if (!registers_) {
        RemoveOwn(path);
      } else if (present) {
        UpdateFile(path, place.text, 0644);
      } else {
        RemoveFile(path);
      }
    } catch (const Failure&) {  // continue with the other browsers
      if (!first) first = std::current_exception();
    }
  }
  if (first) std::rethrow_exception(first);
}

}  // namespace pellora
