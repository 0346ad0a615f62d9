// BrowserMenu: the program's entry in the context menus of the user's browsers.
#pragma once

namespace pellora {

class BrowserMenu {
 public:
  virtual ~BrowserMenu() = default;
  // Registers the program with each of the user's browsers, or removes it from all. Browsers that the user does not
  // have are skipped; removing a missing entry is no failure.
  virtual void SetEntry(bool present) = 0;
};

}  // namespace pellora
