#include "desktop/FolderVariables.h"

#include <pwd.h>
#include <unistd.h>

#include <QByteArray>
#include <QtGlobal>
#include <array>
#include <cstdio>

namespace pellora {

namespace {

constexpr std::array kFolders{"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME",
                              "XDG_RUNTIME_DIR"};

// Also removes a variable that is no whole path.
bool IsWhole(const char* name) {
  const QByteArray value = qgetenv(name);
  if (value.startsWith('/')) return true;
  if (value.isEmpty()) return false;
  std::fprintf(stderr, "Pellora: ignores %s=%.100s\n", name, value.constData());
  qunsetenv(name);
  return false;
}

}  // namespace

void UseWholeFolders() {
  for (const char* const name : kFolders) (void)IsWhole(name);
  if (IsWhole("HOME")) return;
  if (const passwd* const user = getpwuid(getuid())) qputenv("HOME", user->pw_dir);
}

}  // namespace pellora
