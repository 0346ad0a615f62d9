#include "desktop/IniSettings.h"

#include <QStandardPaths>

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

void IniSettings::Set(const std::string& application, const std::string& key, const std::string& value) {
  // A file that cannot be read is not replaced, which would lose its content.
  const std::string content = ReadSmallFile(PathOf(application)).value_or("");
  const std::string changed = WithIniValue(content, key, value);
  if (changed == content) return;  // most saves change only a few keys
  ReplaceFile(PathOf(application), changed, 0600);
}

}  // namespace pellora
