// PelloraCatcher: the hidden window behind the icon in the notification area. It owns the icon, takes its
// mouse events, has the icon's menu and shows the speed by changing the icon's picture. The icon is there
// from its Load to its Unload; the window itself is never shown.
#pragma once

#include <string>

#include "core/Capture.h"
#include "core/Program.h"
#include "ports/Tray.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora {

class MainWindow;

class PelloraCatcher final : public Window, public Catcher, public TrayEvents {
 public:
  // `main` is held for as long as this lives.
  PelloraCatcher(Program& program, std::shared_ptr<MainWindow> main);

  Menu pop{this, "pop", "Hidden"};  // the heading; not visible
  Menu openwin{this, "openwin", "&Open Pellora!", 700};
  Menu pauseall{this, "pauseall", "&Pause all downloads", 701};
  Menu resumeall{this, "resumeall", "&Resume all downloads", 702};
  Menu b{this, "b", "-"};
  Menu closebasket{this, "closebasket", "&Close Basket", 805};  // visible only in the basket's popup
  Menu exitmenu{this, "exitmenu", "&Exit", 703};
  ControlArray<Picture> Picture1{this, "Picture1", 4};  // of the speed levels 1 to 4
  Label Label1{this, "Label1"};

  void LoadWindow() override { Load(); }
  void refreshMessage(const std::string& text) override;
  void refreshIcon(int level) override;

  void TrayMouseEvent(int message) override;
  // The menu at the mouse pointer. From the basket it offers to close the basket.
  void ShowPopup();
  void ShowPopupOfBasket();

 protected:
  void OnLoad() override;
  void OnUnload() override;

 private:
  Program& program_;
  const std::shared_ptr<MainWindow> main_;
};

}  // namespace pellora
