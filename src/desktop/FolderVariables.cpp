#include "desktop/FolderVariables.h"

#include <pwd.h>
#include <unistd.h>

#include <QByteArray>
#include <QtGlobal>
#include <array>
#include <cstdio>

namespace pellora {

namespace {

constexpr std::array kFolders{"HOME",           "XDG_CONFIG_HOME", "XDG_DATA_HOME",
                              "XDG_STATE_HOME", "XDG_CACHE_HOME",  "XDG_RUNTIME_DIR"};

void DropIfRelative(const char* name) {
  const QByteArray value = qgetenv(name);
  if (value.isEmpty() || value.startsWith('/')) return;
  std::fprintf(stderr, "Pellora: ignores %s=%.100s\n", name, value.constData());
  qunsetenv(name);
}

}  // namespace

void UseWholeFolders() {
  for (const char* const name : kFolders) DropIfRelative(name);
  if (!qEnvironmentVariableIsEmpty("HOME")) return;
  if (const passwd* const user = getpwuid(getuid())) qputenv("HOME", user->pw_dir);
}

}  // namespace pellora
