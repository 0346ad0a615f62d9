// Words: a text that no label shows; it names a control for assistive technology and is its tool tip.
#pragma once

#include <string>
#include <utility>

#include "ui/Controls.h"

namespace pellora {

class Words : public Label {
 public:
  Words(Window* window, std::string name, std::string caption, int number)
      : Label(window, std::move(name), std::move(caption), number) {
    Visible = false;
  }
};

}  // namespace pellora
