// SetBrowserMenu: applies the setting "BrowserIngeration" to the user's browsers. Called once at each start: a changed
// setting takes effect at the next one.
#pragma once

namespace pellora {

class BrowserMenu;

// Ignores failures.
void SetBrowserMenu(BrowserMenu& menu, bool enabled);

}  // namespace pellora
