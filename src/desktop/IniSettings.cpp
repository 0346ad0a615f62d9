#include "desktop/IniSettings.h"

#include <QStandardPaths>
#include <utility>

#include "core/IniText.h"
#include "desktop/AtomicFile.h"

namespace pellora {

std::string IniSettings::DefaultFolder() {
  return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation).toStdString() + "/pellora";
}

std::string IniSettings::PathOf(const std::string& application) const { return folder_ + "/" + application + ".ini"; }

std::optional<std::string> IniSettings::Get(const std::string& application, const std::string& key) const {
  const std::optional<std::string> content = ReadSmallFile(PathOf(application));
  return content ? IniValue(*content, key) : std::nullopt;
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
