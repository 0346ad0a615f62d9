#include "mainwin/WantDown.h"

#include "lang/Language.h"

namespace pellora {

namespace {
constexpr int kCaptionNumber = 792;
}

WantDown::WantDown(Program& program)
    : Window(program.platform, "WantDown", "Pellora Question ! Clipboard hook"), program_(program) {
  Tag = TagText(kCaptionNumber);
  Command1.OnClick = [this] { Tag = "YES"; };
  Command2.OnClick = [this] { Tag = "NO"; };
}

void WantDown::OnLoad() {
  Tag = TagText(kCaptionNumber);
  ApplyLanguage(*this, program_);
}

// Any closing is an answer; the wait for one would never end otherwise.
void WantDown::OnQueryUnload(bool&, UnloadMode) {
  if (Tag().empty()) Tag = "NO";
}

}  // namespace pellora
