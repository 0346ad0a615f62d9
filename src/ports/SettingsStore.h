// SettingsStore: the user's options on the disk.
#pragma once

#include <optional>
#include <string>

namespace pellora {

// Per-user store of texts under application and key; the section is always "Options".
class SettingsStore {
 public:
  virtual ~SettingsStore() = default;
  virtual std::optional<std::string> Get(const std::string& application, const std::string& key) const = 0;
  // Written at once and atomically; throws Failure(File) when it cannot be.
  virtual void Set(const std::string& application, const std::string& key, const std::string& value) = 0;
};

}  // namespace pellora
