#include "desktop/DesktopShell.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>

#include "core/Ascii.h"
#include "core/Scheme.h"
#include "desktop/ActivationToken.h"
#include "desktop/FileFailure.h"
#include "desktop/PosixFiles.h"
#include "desktop/Spawn.h"

namespace pellora {

namespace {

bool IsExecutable(const std::string& path) {
  if (EndsWithNoCase(path, ".desktop")) return true;
  if (access(path.c_str(), X_OK) != 0) return false;
  std::array<char, 4> start{};
  const std::size_t count = PosixFiles().OpenForReading(path)->ReadAt(0, start);
  const std::string_view begin(start.data(), count);
  return begin.starts_with(
             "\x7f"
             "ELF") ||
         begin.starts_with("#!");
}

}  // namespace

// What opens the target also gets the token of the user's action, if there is one.
void DesktopShell::Open(const std::string& target, const std::string& workingFolder) {
  SpawnDetached(opener_, {target}, workingFolder);
  DropActivationToken();
}

void DesktopShell::OpenPath(const std::string& path, const std::string& workingFolder) {
  // xdg-open takes an absolute path neither for an option nor for a URL.
  const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
  if (!real) throw FileFailure(path, errno);
  std::string target = real.get();
  struct stat status {};
  if (stat(target.c_str(), &status) != 0) throw FileFailure(path, errno);
  if (S_ISREG(status.st_mode) && IsExecutable(target)) target.resize(std::max<std::size_t>(target.rfind('/'), 1));
  Open(target, workingFolder);
}

void DesktopShell::OpenUrl(const std::string& url) {
  const bool clean = std::none_of(url.begin(), url.end(), [](char c) { return (c >= 0 && c <= ' ') || c == 0x7f; });
  if (IsOpenableUrl(url) && clean) Open(url, "");
}

void DesktopShell::Start(const std::string& program, const std::vector<std::string>& arguments) {
  if (access(program.c_str(), X_OK) != 0) throw FileFailure(program, errno);
  SpawnDetached(program, arguments, "");
}

}  // namespace pellora
