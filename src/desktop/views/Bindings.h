// Bindings: one object ties one control to the widget of its name. Down() brings the control's properties
// to the widget and is called when something changed, at most once in a turn of the event loop; what the
// user does goes up at once, as one event each.
#pragma once

#include <QObject>
#include <functional>
#include <memory>

class QAction;
class QWidget;

namespace pellora {

class Control;
class EventGate;

// What the bindings of one window share. Bindings connect with `receiver` as context, so that its end
// cuts them all from the model.
struct BindingContext {
  EventGate& gate;
  QObject* receiver = nullptr;
  bool settingDown = false;     // widgets are being set; their signals are not the user's
  std::function<void()> flush;  // brings waiting changes down now
};

class Binding {
 public:
  Binding() = default;
  virtual ~Binding() = default;
  Binding(const Binding&) = delete;
  Binding& operator=(const Binding&) = delete;
  virtual void Down() = 0;
};

// The binding of `control` to `object`, or null if the two do not go together. Both outlive it.
std::unique_ptr<Binding> Bind(Control& control, QObject& object, BindingContext& context);

}  // namespace pellora
