#include "capture/SetBrowserMenu.h"

#include "platform/BrowserMenu.h"
#include "platform/Failure.h"

namespace pellora {

void SetBrowserMenu(BrowserMenu& menu, bool enabled) {
  Skip([&] { menu.SetEntry(enabled); });
}

}  // namespace pellora
