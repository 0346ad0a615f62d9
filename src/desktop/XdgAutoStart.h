// XdgAutoStart: the program's entry in the user's autostart folder
// (Desktop Application Autostart Specification, $XDG_CONFIG_HOME/autostart).
#pragma once

#include <string>
#include <utility>

#include "ports/AutoStart.h"

namespace pellora {

// The program of a package, by its name in the folders of $PATH. Once the package is removed, nothing is started.
inline constexpr const char* kInstalledCommand = "pellora";

class XdgAutoStart final : public AutoStart {
 public:
  // `program`: full path of the executable, or kInstalledCommand. `configHome`: $XDG_CONFIG_HOME, no trailing slash.
  XdgAutoStart(std::string program, const std::string& configHome)
      : program_(std::move(program)), entry_(configHome + "/autostart/PelloraAutoStart.desktop") {}

  void SetEntry(bool present) override;

  // Has an entry that another copy of the program has made start this one. Failures are ignored.
  void TakeOver();

 private:
  std::string Text() const;

  std::string program_;
  std::string entry_;
};

}  // namespace pellora
