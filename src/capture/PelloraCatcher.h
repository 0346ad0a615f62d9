// PelloraCatcher: the hidden window of the icon in the notification area. It owns the icon and its menu, handles its
// mouse events and shows the speed by the icon's picture. The icon exists from Load to Unload; the window is never
// shown.
#pragma once

#include <cstdint>
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
  // Keeps `main` alive.
  PelloraCatcher(Program& program, std::shared_ptr<MainWindow> main);

  Menu pop{this, "pop", "Hidden"};  // the heading; not visible
  Menu openwin{this, "openwin", "&Open Pellora!", 700};
  Menu pauseall{this, "pauseall", "&Pause all downloads", 701};
  Menu resumeall{this, "resumeall", "&Resume all downloads", 702};
  Menu limitspeed{this, "limitspeed", "&Limit speed",
                  874};  // checked while there is a limit; visible once there was one
  Menu b{this, "b", "-"};
  Menu closebasket{this, "closebasket", "&Close Basket", 805};  // visible only in the basket's popup
  Menu exitmenu{this, "exitmenu", "&Exit", 703};
  ControlArray<Picture> Picture1{this, "Picture1", 4};  // of the speed levels 1 to 4
  Label Label1{this, "Label1"};

  void LoadWindow() override { Load(); }
  void refreshMessage(const std::string& text) override;
  void refreshIcon(int level) override;

  void TrayMouseEvent(int message) override;
  // At the mouse pointer. The basket's popup also offers to close the basket.
  void ShowPopup();
  void ShowPopupOfBasket();

 protected:
  void OnLoad() override;
  void OnUnload() override;

 private:
  void ShowLimit();
  Task<> ToggleLimit();

  Program& program_;
  const std::shared_ptr<MainWindow> main_;
  std::int32_t limit_ = 0;  // KiB/s, the last one
};

}  // namespace pellora
