#include "ui/Window.h"

#include <algorithm>
#include <utility>

#include "async/EventGate.h"
#include "ports/Platform.h"
#include "ui/Controls.h"

namespace pellora {

Window::Window(Platform& platform, std::string typeName, std::string caption)
    : TypeName(std::move(typeName)),
      Caption(this, std::move(caption)),
      Tag(this, ""),
      Width(this, 0),
      Height(this, 0),
      platform_(platform) {}

Window::~Window() = default;

void Window::Load() {
  if (view_) return;
  view_ = platform_.windows.NewView(*this);
  platform_.gate.Keep(shared_from_this());
  OnLoad();
}

void Window::Show() {
  Load();
  visible_ = true;
  view_->Show();
}

void Window::Hide() {
  visible_ = false;
  if (view_) view_->Hide();
}

void Window::Raise() {
  if (view_) view_->Raise();
}

void Window::SetState(WindowState state) {
  state_ = state;
  if (view_) view_->SetState(state);
}

bool Window::Unload(UnloadMode mode) {
  if (!view_) return true;
  bool cancel = false;
  OnQueryUnload(cancel, mode);
  if (cancel) return false;
  OnUnload();
  visible_ = false;
  // Both may be in use further up the stack: the view may be delivering the event that unloads it.
  platform_.gate.DisposeAfterEvent(std::exchange(view_, nullptr));
  platform_.gate.LetGo(this);
  return true;
}

void Window::Abandon() {
  visible_ = false;
  view_.reset();
  platform_.gate.LetGo(this);
}

void Window::OnQueryUnload(bool&, UnloadMode) {}

Control* Window::Find(const std::string& name) const {
  const auto at = std::find_if(controls_.begin(), controls_.end(), [&](const Control* c) { return c->Name == name; });
  return at == controls_.end() ? nullptr : *at;
}

void Window::NoteChange(const Control* control) {
  if (view_) view_->Changed(control);
}

void Window::ViewClosed() {
  const auto hold = Hold();
  platform_.gate.Deliver([this] { Unload(UnloadMode::UserClosed); });
}

void Window::TakeSize(int outerWidth, int outerHeight, int innerWidth, int innerHeight) {
  Width = outerWidth;
  Height = outerHeight;
  innerWidth_ = innerWidth;
  innerHeight_ = innerHeight;
}

void Window::ViewSized(int outerWidth, int outerHeight, int innerWidth, int innerHeight) {
  const auto hold = Hold();
  platform_.gate.Deliver([&] {
    TakeSize(outerWidth, outerHeight, innerWidth, innerHeight);
    OnSized();
  });
}

void Window::ViewResized(int outerWidth, int outerHeight, int innerWidth, int innerHeight) {
  const auto hold = Hold();
  platform_.gate.Deliver([&] {
    TakeSize(outerWidth, outerHeight, innerWidth, innerHeight);
    OnResize();
  });
}

void Window::ViewStateChanged(WindowState state) {
  const auto hold = Hold();
  platform_.gate.Deliver([&] { state_ = state; });
}

void Window::ViewActivated() {
  const auto hold = Hold();
  platform_.gate.Deliver([this] { OnActivate(); });
}

void Window::ViewDeactivated() {
  const auto hold = Hold();
  platform_.gate.Deliver([this] { OnDeactivate(); });
}

void Window::ViewMouseMoved() {
  const auto hold = Hold();
  platform_.gate.Deliver([this] { OnMouseMove(); });
}

}  // namespace pellora
