// SetBrowserMenu: applies the setting "BrowserIngeration" to the user's browsers. Done once at each start:
// a change of the setting takes effect at the next one.
#pragma once

namespace pellora {

class BrowserMenu;

// Reports nothing: a browser whose entry cannot be written has none.
void SetBrowserMenu(BrowserMenu& menu, bool enabled);

}  // namespace pellora
