// The clipboard, tray and windows of a run without a display, for which QtCore is enough.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ports/Clipboard.h"
#include "ports/Tray.h"
#include "ui/Views.h"

namespace pellora {

class NoClipboard final : public Clipboard {
 public:
  std::optional<std::string> Text() const override { return std::nullopt; }
};

class NoTray final : public Tray {
 public:
  void Add(const std::string&, const std::string&, TrayEvents&) override {}
  void SetPicture(const std::string&) override {}
  void SetTip(const std::string&) override {}
  void Delete() override {}
};

class NoWindows final : public WindowSystem {
 public:
  std::unique_ptr<WindowView> NewView(Window&) override { return std::make_unique<NoView>(); }
  ScreenSize Screen() const override { return {}; }
  void PopUp(const std::vector<Menu*>&, const Menu&) override {}
  void FollowScript(const std::string&) override {}

 private:
  class NoView final : public WindowView {
   public:
    void Show() override {}
    void Hide() override {}
    void Raise() override {}
    void SetState(WindowState) override {}
    void Changed(const Control*) override {}
  };
};

}  // namespace pellora
