// IniSettings: the settings store as text files, <folder>/<application>.ini, in the format of IniText.
#pragma once

#include <string>

#include "ports/SettingsStore.h"

namespace pellora {

class IniSettings final : public SettingsStore {
 public:
  // `folder` need not exist.
  explicit IniSettings(std::string folder) : folder_(std::move(folder)) {}

  // $XDG_CONFIG_HOME/pellora, by default ~/.config/pellora.
  static std::string DefaultFolder();

  std::optional<std::string> Get(const std::string& application, const std::string& key) const override;
  void SetAll(const std::string& application, const Values& values) override;

 private:
  std::string PathOf(const std::string& application) const;

  std::string folder_;
};

}  // namespace pellora
