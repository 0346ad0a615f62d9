// Bars: the bindings of toolbars, tab strips and status bars.
#pragma once

#include <memory>

#include "desktop/views/Bindings.h"

namespace pellora {

class StatusBar;
class TabStrip;
class Toolbar;

// To a QToolBar: one action with icon and caption for each button. A button without a caption is named by its key in
// its tool tip and for assistive technology.
std::unique_ptr<Binding> BindToolbar(Toolbar& control, QObject& object, BindingContext& context);

// To a QTabBar.
std::unique_ptr<Binding> BindTabStrip(TabStrip& control, QObject& object, BindingContext& context);

// To a QStatusBar: panel 1 takes the remaining width, and that of the other panels if its text is too long. Panels 4 to
// 6 show the state of the keys that they name: CAPS, NUM, INS.
std::unique_ptr<Binding> BindStatusBar(StatusBar& control, QObject& object, BindingContext& context);

}  // namespace pellora
