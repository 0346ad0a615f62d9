#include "capture/SetBrowserMenu.h"

#include "ports/BrowserMenu.h"
#include "ports/Failure.h"

namespace pellora {

void SetBrowserMenu(BrowserMenu& menu, bool enabled) {
  Skip([&] { menu.SetEntry(enabled); });
}

}  // namespace pellora
