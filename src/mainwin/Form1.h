// Form1: the dialog for the URL of a new download. Its answer is its Tag: "" while it is open, then "NOW", "LATER" or
// "CANCEL". Before its Load the Tag is the number of its caption.
#pragma once

#include "core/Program.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora {

class Form1 final : public Window {
 public:
  explicit Form1(Program& program);

  TextBox Text1{this, "Text1"};  // the URL
  CommandButton Command1{this, "Command1", "Download Now !", 696};
  CommandButton Command2{this, "Command2", "Download Later !", 697};
  CommandButton Command3{this, "Command3", "Cancel", 698};

  // Selects all of Text1 in the view.
  void SelectText();

 protected:
  void OnLoad() override;
  void OnQueryUnload(bool& cancel, UnloadMode mode) override;

 private:
  Program& program_;
};

}  // namespace pellora
