// XdgAutoStart: the program's entry in the user's autostart folder
// (Desktop Application Autostart Specification, $XDG_CONFIG_HOME/autostart).
#pragma once

#include <string>

#include "ports/AutoStart.h"

namespace pellora {

class XdgAutoStart final : public AutoStart {
 public:
  // `program`: full path of the executable. `configHome`: $XDG_CONFIG_HOME, no trailing slash.
  XdgAutoStart(std::string program, const std::string& configHome)
      : program_(std::move(program)), entry_(configHome + "/autostart/PelloraAutoStart.desktop") {}

  void SetEntry(bool present) override;

 private:
  std::string program_;
  std::string entry_;
};

}  // namespace pellora
