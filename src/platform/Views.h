// Views: how a window of the logic becomes visible. A view follows its Window's properties; what the
// user does to it comes back through Window's View... methods and the controls' events.
#pragma once

#include <memory>

namespace pellora {

class Control;
class Window;

class WindowView {
 public:
  virtual ~WindowView() = default;  // the window disappears
  virtual void Show() = 0;
  virtual void Hide() = 0;
  virtual void Raise() = 0;
  // A property of `control` changed, or of the window itself if null. Gathered; nothing is drawn here.
  virtual void Changed(const Control* control) = 0;
};

class WindowSystem {
 public:
  virtual ~WindowSystem() = default;
  // `window` outlives the view.
  virtual std::unique_ptr<WindowView> NewView(Window& window) = 0;
};

}  // namespace pellora
