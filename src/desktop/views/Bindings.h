// Bindings: each object ties one control to the widget of its name. UpdateWidget() applies the control's properties to
// the widget and is called after a change, at most once in a turn of the event loop; each action of the user is
// delivered to the control at once, as one event.
#pragma once

#include <QObject>
#include <functional>
#include <memory>

class QAction;
class QWidget;

namespace pellora {

class Control;
class EventGate;
class ViewMemory;

// Shared by the bindings of one window. Bindings connect with `receiver` as context, so that destroying it disconnects
// them all from the model.
struct BindingContext {
  EventGate& gate;
  QObject* receiver = nullptr;
  bool updatingWidgets = false;  // widgets are being set; their signals do not come from the user
  std::function<void()> flush;   // applies pending changes now
  ViewMemory* memory = nullptr;  // null: nothing is remembered
};

class Binding {
 public:
  Binding() = default;
  virtual ~Binding() = default;
  Binding(const Binding&) = delete;
  Binding& operator=(const Binding&) = delete;
  virtual void UpdateWidget() = 0;
};

// The binding of `control` to `object`, or null if the two do not match. Both must outlive it.
std::unique_ptr<Binding> Bind(Control& control, QObject& object, BindingContext& context);

}  // namespace pellora
