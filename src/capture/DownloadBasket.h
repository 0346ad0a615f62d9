// DownloadBasket: a small square that stays on top of all windows and adds URLs dropped on it. The left button moves
// it, never off the screen; the right one opens the tray icon's menu.
#pragma once

#include <memory>

#include "async/Task.h"
#include "core/Capture.h"
#include "core/Program.h"
#include "ui/DataObject.h"
#include "ui/Property.h"
#include "ui/Window.h"
#include "ui/Words.h"

namespace pellora {

class MainWindow;
class PelloraCatcher;

enum MouseButton : int { kLeftButton = 1, kRightButton = 2, kMiddleButton = 4 };

class DownloadBasket final : public Window, public Basket {
 public:
  static constexpr int kSide = 32;  // pixels at 96 dpi

  // Keeps both alive.
  DownloadBasket(Program& program, std::shared_ptr<MainWindow> main, std::shared_ptr<PelloraCatcher> catcher);

  // In pixels at 96 dpi from the screen's upper left corner.
  Property<double> Left{this, 0.0};
  Property<double> Top{this, 0.0};
  Property<bool> TopMost{this, false};
  Words BasketWords{this, "BasketWords", "Download basket", 964};

  float DragStartX = 0;  // of the left button's press
  float DragStartY = 0;

  void SetShown(bool shown) override;

  // From the view; positions in pixels from the window's upper left corner.
  void MouseDown(int button, float x, float y);
  void MouseMove(int button, float x, float y);
  void MouseUp(int button, float x, float y);
  // Returns the effect for the drag's source.
  int OLEDragDrop(const DataObject& data, int effect);
  // The same for every drag: the pointer does not show whether it is acceptable.
  int OLEDragOver(const DataObject& data, int effect);

 protected:
  void OnLoad() override;
  void OnQueryUnload(bool& cancel, UnloadMode mode) override;

 private:
  Task<> ShowOnTop();
  // Only within the screen; each axis separately.
  void MoveTo(double left, double top);

  Program& program_;
  const std::shared_ptr<MainWindow> main_;
  const std::shared_ptr<PelloraCatcher> catcher_;
  bool shown_ = false;  // as last requested
};

}  // namespace pellora
