// Window: the model of a window. It owns its controls (members of the derived class) and, while loaded, a view on the
// platform's desktop.
//
// Windows are held by shared_ptr: by the slot or member that created them, by the EventGate while loaded, and by each
// of their running tasks. Unload releases the window, but the object stays valid until the handlers and waits in it are
// done.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ui/Property.h"
#include "ui/Views.h"

namespace pellora {

class Control;
struct Platform;

enum class UnloadMode { UserClosed = 0, Code = 1 };
enum class WindowState { Normal = 0, Minimised = 1, Maximised = 2 };

class Window : public std::enable_shared_from_this<Window>, public PropertyOwner {
 public:
  // `typeName` is the class ("TransferWindow"); forms and languages are chosen by it.
  Window(Platform& platform, std::string typeName, std::string caption);
  virtual ~Window();
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  const std::string TypeName;
  Property<std::string> Caption;
  Property<std::string> Tag;
  Property<int> Width;  // outer size as designed, in pixels at 96 dpi
  Property<int> Height;

  // Load runs OnLoad once; Show loads first. Only Load loads an unloaded window again.
  void Load();
  void Show();
  void Hide();
  void Raise();
  void SetState(WindowState state);
  // Calls OnQueryUnload first; False if that cancelled it.
  bool Unload(UnloadMode mode = UnloadMode::Code);
  bool Loaded() const { return view_ != nullptr; }
  bool Visible() const { return visible_; }
  WindowState State() const { return state_; }
  int InnerWidth() const { return innerWidth_; }
  int InnerHeight() const { return innerHeight_; }

  const std::vector<Control*>& Controls() const { return controls_; }
  // Null if there is none. Elements of a control array are named "Prog(0)".
  Control* Find(const std::string& name) const;

  // For a window still loaded when the process ends: drops its view and itself without any event.
  void Abandon();

  // From the view: what the user or the desktop did. Each call is one event.
  void ViewClosed();
  // A size that is no resize: at showing, or when a form fits itself to its contents.
  void ViewSized(int outerWidth, int outerHeight, int innerWidth, int innerHeight);
  void ViewResized(int outerWidth, int outerHeight, int innerWidth, int innerHeight);
  void ViewStateChanged(WindowState state);
  void ViewActivated();
  void ViewDeactivated();
  void ViewMouseMoved();

  void PropertyChanged() override { NoteChange(nullptr); }
  void NoteChange(const Control* control);

 protected:
  // Controls register in the order of their declaration.
  friend class Control;

  virtual void OnLoad() {}
  // Sets `cancel` to keep the window.
  virtual void OnQueryUnload(bool& cancel, UnloadMode mode);
  virtual void OnUnload() {}
  virtual void OnSized() {}  // for layouts: ViewSized gave a size
  virtual void OnResize() {}
  virtual void OnActivate() {}    // also got focus, painted again
  virtual void OnDeactivate() {}  // also lost focus
  virtual void OnMouseMove() {}

  // Keeps this window alive in a task: `const auto hold = Hold();` is its first line.
  std::shared_ptr<Window> Hold() { return shared_from_this(); }

  Platform& platform_;

 private:
  void TakeSize(int outerWidth, int outerHeight, int innerWidth, int innerHeight);

  std::vector<Control*> controls_;
  std::shared_ptr<WindowView> view_;
  bool visible_ = false;
  WindowState state_ = WindowState::Normal;
  int innerWidth_ = 0;
  int innerHeight_ = 0;
};

}  // namespace pellora
