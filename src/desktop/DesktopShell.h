// DesktopShell: opens files, folders and URLs with the desktop's opener. Downloaded files are never executed: for a
// program, a script or a launcher, its folder is opened instead.
#pragma once

#include "ports/Shell.h"

namespace pellora {

class DesktopShell final : public Shell {
 public:
  // `opener` is looked up in PATH.
  explicit DesktopShell(std::string opener = "xdg-open") : opener_(std::move(opener)) {}

  void OpenPath(const std::string& path, const std::string& workingFolder) override;
  void OpenUrl(const std::string& url) override;
  void Start(const std::string& program, const std::vector<std::string>& arguments) override;

 private:
  void Open(const std::string& target, const std::string& workingFolder);

  std::string opener_;
};

}  // namespace pellora
