#include "ui/SystemHelpers.h"

#include "ports/AutoStart.h"
#include "ports/Failure.h"
#include "ui/Controls.h"

namespace pellora {

void SetAutoStart(AutoStart& autoStart, bool enabled) {
  Skip([&] { autoStart.SetEntry(enabled); });
}

std::string FileTypePicture(std::string_view name) {
  const std::string_view part = name.substr(name.rfind('/') + 1);  // npos + 1 is 0
  if (part.empty() && !name.empty()) return "folder";
  const std::size_t dot = part.rfind('.');
  return "file:" + std::string(dot == std::string_view::npos ? std::string_view() : part.substr(dot + 1));
}

void LoadFileIcons(std::string_view name, Picture& pic16, Picture& pic32) {
  pic16.Image = FileTypePicture(name);
  pic32.Image = FileTypePicture(name);
}

}  // namespace pellora
