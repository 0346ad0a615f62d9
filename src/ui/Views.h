// Views: what makes a window of the logic visible. A view follows its Window's properties; what the user does comes
// back through Window's View... methods and the controls' events.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace pellora {

class Control;
class Menu;
class Window;
enum class WindowState;

class WindowView {
 public:
  virtual ~WindowView() = default;  // the window disappears
  virtual void Show() = 0;
  virtual void Hide() = 0;
  virtual void Raise() = 0;
  virtual void SetState(WindowState state) = 0;
  // A property of `control` changed, or of the window itself if null. Only noted; nothing is drawn here.
  virtual void Changed(const Control* control) = 0;
};

struct ScreenSize {
  int width = 0;  // pixels at 96 dpi
  int height = 0;
};

class WindowSystem {
 public:
  virtual ~WindowSystem() = default;
  // `window` outlives the view.
  virtual std::unique_ptr<WindowView> NewView(Window& window) = 0;
  // The screen that windows are placed on.
  virtual ScreenSize Screen() const = 0;
  // Opens a menu at the mouse pointer with the entries that are visible, as they are now; a caption "-" is a separator.
  // Choosing an entry clicks it. `standard` is shown as the default entry.
  virtual void PopUp(const std::vector<Menu*>& entries, const Menu& standard) = 0;
  // Lays windows out from the side where this text, a word of the user's language, begins.
  virtual void FollowScript(const std::string& word) = 0;
};

}  // namespace pellora
