// Themes: palettes as desktops set them.
#pragma once

#include <QPalette>
#include <array>

namespace pellora::testing_views {

struct Theme {
  const char* name;
  QPalette palette;
};

// Light, dark, and high contrast both ways. The first is the application's own.
std::array<Theme, 4> Themes();

}  // namespace pellora::testing_views
