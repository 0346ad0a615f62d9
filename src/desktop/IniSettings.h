// IniSettings: the settings store as text files, <folder>/<application>.ini, in the format of IniText.
//
// A key that the user's Pellora.ini lacks is looked up in pellora/Pellora.ini of the system's folders of configuration,
// where a package or an administrator may have set it. These files are never written, and one that cannot be read
// counts as empty.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "ports/SettingsStore.h"

namespace pellora {

class IniSettings final : public SettingsStore {
 public:
  // `folder` need not exist.
  explicit IniSettings(std::string folder) : folder_(std::move(folder)) {}
  // `systemFolders`: the folders of the system's files, the most important first.
  IniSettings(std::string folder, std::vector<std::string> systemFolders)
      : folder_(std::move(folder)), systemFolders_(std::move(systemFolders)) {}

  // $XDG_CONFIG_HOME/pellora, by default ~/.config/pellora.
  static std::string DefaultFolder();
  // "pellora" in each folder of $XDG_CONFIG_DIRS, by default /etc/xdg.
  static std::vector<std::string> DefaultSystemFolders();

  std::optional<std::string> Get(const std::string& application, const std::string& key) const override;
  void SetAll(const std::string& application, const Values& values) override;

 private:
  std::optional<std::string> SystemValue(const std::string& key) const;
  std::string PathOf(const std::string& application) const;

  std::string folder_;
  std::vector<std::string> systemFolders_;
};

}  // namespace pellora
