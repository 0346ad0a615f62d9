#include "mainwin/Form1.h"

#include "lang/Language.h"

namespace pellora {

namespace {
constexpr int kCaptionNumber = 695;
}

Form1::Form1(Program& program)
    : Window(program.platform, "Form1", "Enter the URL of the file to download"), program_(program) {
  Tag = TagText(kCaptionNumber);
  Command1.OnClick = [this] { Tag = "NOW"; };
  Command2.OnClick = [this] { Tag = "LATER"; };
  Command3.OnClick = [this] { Unload(); };
}

// From here on the Tag is the answer.
void Form1::OnLoad() {
  Tag = TagText(kCaptionNumber);
  ApplyLanguage(*this, program_);
  Tag = "CANCEL";
  SelectText();
}

void Form1::OnQueryUnload(bool&, UnloadMode) { Tag = "CANCEL"; }

void Form1::SelectText() { Text1.SelectAll = Text1.SelectAll() + 1; }

}  // namespace pellora
