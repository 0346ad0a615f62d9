#include "desktop/preview/Plugins.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <system_error>
#include <vector>

#include "desktop/preview/MediaLibrary.h"

namespace pellora {

namespace {

constexpr unsigned kTimeoutSeconds = 120;
constexpr std::string_view kListPrefix = "plugins-";

// A checksum (FNV-1a).
class Sum {
 public:
  void Add(std::string_view bytes) {
    for (const char byte : bytes) sum_ = (sum_ ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
  }
  // Changes when a file is added to a folder, removed or replaced.
  void AddState(const std::string& path) {
    struct stat status {};
    Add(path);
    if (stat(path.c_str(), &status) != 0) return;
    Add(std::to_string(status.st_ino) + '.' + std::to_string(status.st_mtim.tv_sec) + '.' +
        std::to_string(status.st_mtim.tv_nsec));
  }
  std::string Text() const {
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(sum_));
    return text.data();
  }

 private:
  std::uint64_t sum_ = 0xcbf29ce484222325U;
};

// Changes with the library and its plugin folders.
std::string ListName() {
  Sum sum;
  sum.AddState(MediaLibraryPath());
  for (const char* name :
       {"GST_PLUGIN_SYSTEM_PATH_1_0", "GST_PLUGIN_PATH_1_0", "GST_PLUGIN_SYSTEM_PATH", "GST_PLUGIN_PATH"}) {
    const char* const value = std::getenv(name);
    std::istringstream folders(value != nullptr ? value : "");
    for (std::string folder; std::getline(folders, folder, ':');) sum.AddState(folder);
  }
  return std::string(kListPrefix) + sum.Text();
}

// Sets the plugin folder beside the library unless it is set. By default the library would also look in the home.
void SetPluginFolder() {
  const std::string beside = MediaLibraryPath().substr(0, MediaLibraryPath().rfind('/')) + "/gstreamer-1.0";
  if (std::getenv("GST_PLUGIN_SYSTEM_PATH") == nullptr) setenv("GST_PLUGIN_SYSTEM_PATH_1_0", beside.c_str(), 0);
}

std::string UseList(const std::string& cacheFolder) {
  SetPluginFolder();
  std::string list = cacheFolder + '/' + ListName();
  setenv("GST_REGISTRY_1_0", list.c_str(), 1);
  return list;
}

void RunListPlugins(const std::string& cacheFolder) {
  posix_spawn_file_actions_t files{};
  posix_spawn_file_actions_init(&files);
  // The list maker must not use the protocol's descriptors. If it fails, playing fails and the next start tries again.
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO}) {
    posix_spawn_file_actions_addopen(&files, descriptor, "/dev/null", O_RDWR, 0);
  }
  std::string cache = "XDG_CACHE_HOME=" + cacheFolder.substr(0, cacheFolder.rfind('/'));
  std::vector<char*> environment;
  for (char** variable = environ; *variable != nullptr; ++variable) environment.push_back(*variable);
  environment.insert(environment.end(), {cache.data(), nullptr});
  std::error_code unknown;
  std::string program = std::filesystem::read_symlink("/proc/self/exe", unknown).string();
  std::string order = kListPlugins;
  const std::array<char*, 3> arguments = {program.data(), order.data(), nullptr};
  pid_t child = 0;
  if (posix_spawn(&child, program.c_str(), &files, nullptr, arguments.data(), environment.data()) == 0) {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  posix_spawn_file_actions_destroy(&files);
}

void RemoveOtherLists(const std::string& folder, const std::string& list) {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
    if (entry.path().filename().string().starts_with(kListPrefix) && entry.path() != list) {
      std::filesystem::remove(entry.path(), ignored);
    }
  }
}

}  // namespace

std::string PreparePlugins(const std::string& cacheFolder) {
  std::string list = UseList(cacheFolder);
  if (access(list.c_str(), R_OK) != 0 && !cacheFolder.empty() && !MediaLibraryPath().empty())
    RunListPlugins(cacheFolder);
  setenv("GST_REGISTRY_UPDATE", "no", 1);
  setenv("GST_REGISTRY_FORK", "no", 1);
  return list;
}

int ListPlugins(const std::string& cacheFolder) {
  alarm(kTimeoutSeconds);
  const std::string list = UseList(cacheFolder);
  umask(S_IRWXG | S_IRWXO);  // the list says which libraries are loaded
  std::error_code failed;
  std::filesystem::create_directories(cacheFolder, failed);
  if (failed || !StartMediaLibrary()) return EXIT_FAILURE;
  RemoveOtherLists(cacheFolder, list);
  return access(list.c_str(), R_OK) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace pellora
