// WantDown: the question whether to download a URL from the clipboard. Its answer is its Tag: "" while it is open, then
// "YES" or "NO". Before its Load the Tag is the number of its caption.
#pragma once

#include "core/Program.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora {

class WantDown final : public Window {
 public:
  explicit WantDown(Program& program);

  Label Label1{this, "Label1", "Do you want to download :", 405};
  Label Label2{this, "Label2"};  // the URL, as plain text
  CommandButton Command1{this, "Command1", "Yes", 406};
  CommandButton Command2{this, "Command2", "No ", 407};

 protected:
  void OnLoad() override;
  void OnQueryUnload(bool& cancel, UnloadMode mode) override;

 private:
  Program& program_;
};

}  // namespace pellora
