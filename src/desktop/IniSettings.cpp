#include "desktop/IniSettings.h"

#include <QStandardPaths>
#include <utility>

#include "core/IniText.h"
#include "desktop/AtomicFile.h"
#include "desktop/XdgFolders.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

constexpr const char* kLayered = "Pellora";

}  // namespace

std::string IniSettings::DefaultFolder() {
  return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation).toStdString() + "/pellora";
}

std::vector<std::string> IniSettings::DefaultSystemFolders() {
  std::vector<std::string> folders = XdgFolders(qgetenv("XDG_CONFIG_DIRS").toStdString(), "/etc/xdg");
  for (std::string& folder : folders) folder += "/pellora";
  return folders;
}

std::string IniSettings::PathOf(const std::string& application) const { return folder_ + "/" + application + ".ini"; }

std::optional<std::string> IniSettings::Get(const std::string& application, const std::string& key) const {
  const std::optional<std::string> content = ReadSmallFile(PathOf(application));
  std::optional<std::string> value = content ? IniValue(*content, key) : std::nullopt;
  return value || application != kLayered ? value : SystemValue(key);
}

std::optional<std::string> IniSettings::SystemValue(const std::string& key) const {
  std::optional<std::string> value;
  for (const std::string& folder : systemFolders_) {
    Skip([&] {
      const std::optional<std::string> content = ReadSmallFile(folder + "/" + kLayered + ".ini");
      if (content) value = IniValue(*content, key);
    });
    if (value) break;
  }
  return value;
}

void IniSettings::SetAll(const std::string& application, const Values& values) {
  // A file that cannot be read is not replaced: its content would be lost.
  const std::string content = ReadSmallFile(PathOf(application)).value_or("");
  std::string changed = content;
  for (const auto& [key, text] : values) changed = WithIniValue(std::move(changed), key, text);
  if (changed == content) return;
  ReplaceFile(PathOf(application), changed, 0600);
}

}  // namespace pellora
