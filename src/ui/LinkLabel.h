// LinkLabel: a label that looks like a link. Its colour and underline follow the mouse.
#pragma once

#include <string>
#include <utility>

#include "ui/Controls.h"

namespace pellora {

inline constexpr Colour kLinkColour = 0x0000FF;
inline constexpr Colour kLinkHighlight = 0x000080;

class LinkLabel : public Label {
 public:
  LinkLabel(Window* window, std::string name, std::string caption, int number)
      : Label(window, std::move(name), std::move(caption), number),
        ForeColour(this, kLinkColour),
        Underline(this, false) {}
  Property<Colour> ForeColour;  // a view uses its theme's colour of the same meaning
  Property<bool> Underline;
};

}  // namespace pellora
