// QtWindowSystem: the program's windows on the desktop. A view is the form of its window's type (see Forms.h), or is
// made by a registered maker; a window without either has a view that shows nothing.
#pragma once

#include <QMenu>
#include <QPointer>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "async/EventGate.h"
#include "desktop/views/MenuKeys.h"
#include "ui/Views.h"

class QWidget;

namespace pellora {

class ViewMemory;

class QtWindowSystem : public WindowSystem {
 public:
  // Both must outlive the system and its views. Without a memory nothing is remembered. For the pace see FormHost.
  explicit QtWindowSystem(EventGate& gate, ViewMemory* memory = nullptr,
                          std::chrono::milliseconds pace = std::chrono::milliseconds(0))
      : gate_(gate), memory_(memory), pace_(pace) {}
  ~QtWindowSystem() override;

  using ViewMaker = std::function<std::unique_ptr<WindowView>(Window&)>;
  // Has `maker` make the views of windows of that type.
  void RegisterMaker(std::string typeName, ViewMaker maker) {
    makers_.emplace_back(std::move(typeName), std::move(maker));
  }

  std::unique_ptr<WindowView> NewView(Window& window) override;
  ScreenSize Screen() const override;
  void PopUp(const std::vector<Menu*>& entries, const Menu& standard) override;
  void FollowScript(const std::string& word) override;

 private:
  EventGate& gate_;
  ViewMemory* memory_;
  std::chrono::milliseconds pace_;
  std::vector<std::pair<std::string, ViewMaker>> makers_;
  QPointer<QMenu> popup_;  // the open one
  MenuKeys menuKeys_;
};

// The form of a view made by a QtWindowSystem; null before its first showing.
QWidget* FormOf(const WindowView& view);

}  // namespace pellora
