#include "desktop/confine/Environment.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <utility>

namespace pellora {

namespace {

// Each names files or folders, separated by colons.
constexpr std::array kPlaces = {"LD_LIBRARY_PATH",     "QT_PLUGIN_PATH",         "GST_PLUGIN_PATH",
                                "GST_PLUGIN_PATH_1_0", "GST_PLUGIN_SYSTEM_PATH", "GST_PLUGIN_SYSTEM_PATH_1_0",
                                "PULSE_CLIENTCONFIG",  "PULSE_COOKIE",           "ALSA_CONFIG_PATH"};
constexpr std::array kOthers = {
    "PULSE_SERVER", "PULSE_SINK", "GST_PLUGIN_SCANNER", "GST_PLUGIN_SCANNER_1_0", "GST_PLUGIN_FEATURE_RANK",
    "GST_DEBUG"};

const char* Value(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

// Named explicitly so that none is started.
std::string SoundServer() {
  if (const char* const given = Value("PULSE_SERVER")) return given;
  const char* const runtime = Value("XDG_RUNTIME_DIR");
  return "unix:" + (runtime != nullptr ? runtime : "/run/user/" + std::to_string(getuid())) + "/pulse/native";
}

}  // namespace

std::string CacheFolder() {
  if (const char* const cache = Value("XDG_CACHE_HOME")) return std::string(cache) + "/pellora";
  const char* home = Value("HOME");
  if (home == nullptr) {
    const passwd* const user = getpwuid(getuid());
    home = user != nullptr ? user->pw_dir : nullptr;
  }
  return home != nullptr ? std::string(home) + "/.cache/pellora" : std::string();
}

void ReduceEnvironment() {
  std::vector<std::pair<std::string, std::string>> kept = {
      {"LC_ALL", "C.UTF-8"},
      {"HOME", "/nonexistent"},  // otherwise libraries look up the user's home
      {"QT_QPA_PLATFORM", "offscreen"},
      {"QT_MEDIA_BACKEND", "gstreamer"},
  };
  const auto keep = [&kept](const char* name) {
    if (const char* const value = Value(name)) kept.emplace_back(name, value);
  };
  for (const char* name : kPlaces) keep(name);
  for (const char* name : kOthers) keep(name);
  kept.emplace_back("PULSE_SERVER", SoundServer());
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    explicit_bzero(*variable, std::strlen(*variable));
  }
  clearenv();
  for (const auto& [name, value] : kept) setenv(name.c_str(), value.c_str(), 1);
}

std::vector<std::string> NamedPlaces() {
  std::vector<std::string> places;
  for (const char* name : kPlaces) {
    const char* const value = Value(name);
    std::istringstream all(value != nullptr ? value : "");
    for (std::string place; std::getline(all, place, ':');) {
      if (!place.empty()) places.push_back(place);
    }
  }
  return places;
}

}  // namespace pellora
