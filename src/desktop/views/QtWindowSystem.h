// QtWindowSystem: the windows of the program on the desktop. Each view is a form of that window's type
// (see Forms.h); a window whose type has none has a view that shows nothing.
#pragma once

#include <memory>

#include "platform/EventGate.h"
#include "platform/Views.h"

class QWidget;

namespace pellora {

class QtWindowSystem : public WindowSystem {
 public:
  // `gate` outlives the system and its views.
  explicit QtWindowSystem(EventGate& gate) : gate_(gate) {}
  std::unique_ptr<WindowView> NewView(Window& window) override;

 private:
  EventGate& gate_;
};

// The form of a view that a QtWindowSystem made; null before its first showing.
QWidget* FormOf(const WindowView& view);

}  // namespace pellora
