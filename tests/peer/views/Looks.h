// Looks: what is wrong with a window as it is laid out: texts that are cut, controls over others or out of the window.
#pragma once

#include <QSize>
#include <QStringList>
#include <QWidget>

namespace pellora::testing_views {

// One line for each fault, which names the control. Texts of the user's and of servers may be cut where their label
// elides them; the program's own may not.
QStringList FaultsOf(const QWidget& window);

// A window of a screen of 1024x600, without its frame and a panel.
inline constexpr QSize kSmallestRoom(1024, 556);

}  // namespace pellora::testing_views
