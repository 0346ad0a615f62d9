// NoTray: the tray of a run without a display.
#pragma once

#include "ports/Tray.h"

namespace pellora {

class NoTray final : public Tray {
 public:
  void Add(const std::string&, const std::string&, TrayEvents&) override {}
  void SetPicture(const std::string&) override {}
  void SetTip(const std::string&) override {}
  void Delete() override {}
};

}  // namespace pellora
