// BrowserMenu: the hand-over from the context menus of the user's browsers.
#pragma once

namespace pellora {

class BrowserMenu {
 public:
  virtual ~BrowserMenu() = default;
  // Makes the program known to every browser of the user, or to none of them. A browser that the user
  // does not have is passed over; an entry that is not there is no failure.
  virtual void SetEntry(bool present) = 0;
};

}  // namespace pellora
