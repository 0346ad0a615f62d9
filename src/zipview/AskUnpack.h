// AskUnpack: asks what becomes of files that are in the folder already, and for an archive's password, at once for all
// files that are to be unpacked.
#pragma once

#include <optional>
#include <string>

#include "async/Task.h"
#include "core/Program.h"
#include "core/Selection.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora {

class AskUnpack final : public Window {
 public:
  struct Answer {
    Existing existing = Existing::Number;
    std::string password;
  };

  // What it asks for. Lives for one question.
  AskUnpack(Program& program, bool existing, bool password);

  Label Label1{this, "Label1", "The folder already has files with some of these names :", 1011};
  OptionButton Option1{this, "Option1", "Keep them, and number the new ones", 1012};
  OptionButton Option2{this, "Option2", "Replace them", 1013};
  OptionButton Option3{this, "Option3", "Keep them, and leave these out", 1014};
  Label Label2{this, "Label2", "Password of the archive :", 1015};
  TextBox Text1{this, "Text1"};
  CommandButton Command1{this, "Command1", "OK", 635};
  CommandButton Command2{this, "Command2", "Cancel", 636};

  // Nothing after Cancel or a closed frame.
  Task<std::optional<Answer>> Ask();

 protected:
  void OnLoad() override;
  void OnQueryUnload(bool& cancel, UnloadMode mode) override;

 private:
  void Choose(const OptionButton& chosen);
  void Accept();

  Program& program_;
  const bool asksPassword_;
  bool closed_ = false;
  std::optional<Answer> answer_;
};

}  // namespace pellora
