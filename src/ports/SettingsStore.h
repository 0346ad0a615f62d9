// SettingsStore: the user's options on the disk.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace pellora {

// Per-user store of texts under application and key; the section is always "Options".
class SettingsStore {
 public:
  using Values = std::vector<std::pair<std::string, std::string>>;  // key and text

  virtual ~SettingsStore() = default;
  virtual std::optional<std::string> Get(const std::string& application, const std::string& key) const = 0;
  // Writes all of them in one atomic step, new keys in this order; throws Failure(File) and changes nothing if it
  // cannot.
  virtual void SetAll(const std::string& application, const Values& values) = 0;
  void Set(const std::string& application, const std::string& key, const std::string& value) {
    SetAll(application, {{key, value}});
  }
};

}  // namespace pellora
