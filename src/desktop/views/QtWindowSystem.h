// QtWindowSystem: the windows of the program on the desktop. Each view is a form of that window's type
// (see Forms.h), or what another part of the desktop makes for windows of that type; a window whose
// type has neither has a view that shows nothing.
#pragma once

#include <QMenu>
#include <QPointer>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "async/EventGate.h"
#include "ui/Views.h"

class QWidget;

namespace pellora {

class QtWindowSystem : public WindowSystem {
 public:
  // `gate` outlives the system and its views.
  explicit QtWindowSystem(EventGate& gate) : gate_(gate) {}
  ~QtWindowSystem() override;

  using ViewMaker = std::function<std::unique_ptr<WindowView>(Window&)>;
  // Has the views of windows of that type made by somebody else.
  void MakeBy(std::string typeName, ViewMaker maker) { makers_.emplace_back(std::move(typeName), std::move(maker)); }

  std::unique_ptr<WindowView> NewView(Window& window) override;
  ScreenSize Screen() const override;
  void PopUp(const std::vector<Menu*>& entries, const Menu& standard) override;

 private:
  EventGate& gate_;
  std::vector<std::pair<std::string, ViewMaker>> makers_;
  QPointer<QMenu> popup_;  // the one that stands
};

// The form of a view that a QtWindowSystem made; null before its first showing.
QWidget* FormOf(const WindowView& view);

}  // namespace pellora
