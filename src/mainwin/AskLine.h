// AskLine: asks for one line of text, such as an address or a speed.
//
//   LineQuestion question;
//   question.title = ...;
//   std::optional<std::string> line = co_await window.askLine->Ask(std::move(question));
//
// The window stays open while the text is refused, and says why. It is not modal, and asks one question at a time.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "async/Task.h"
#include "core/Program.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora {

struct LineQuestion {
  std::string title;    // of the window
  std::string caption;  // above the text box
  std::string text;     // in the text box at first, and selected
  // Why a text is refused; "" accepts it. It is called on OK, with the text without blanks around it. Empty: accepts
  // every text.
  std::function<std::string(const std::string& text)> refusal;
};

class AskLine final : public Window {
 public:
  explicit AskLine(Program& program);

  Label Label1{this, "Label1"};  // the question's caption
  TextBox Text1{this, "Text1"};
  Label Label2{this, "Label2"};  // why the text is refused
  CommandButton Command1{this, "Command1", "OK", 635};
  CommandButton Command2{this, "Command2", "Cancel", 636};

  // The accepted text without blanks around it; none after Cancel or a closed frame. While another question is open it
  // only raises that one, and there is no answer.
  Task<std::optional<std::string>> Ask(LineQuestion question);

 protected:
  void OnLoad() override;
  void OnQueryUnload(bool& cancel, UnloadMode mode) override;

 private:
  void Open(const LineQuestion& question);
  void Accept();

  Program& program_;
  bool asking_ = false;
  bool answered_ = false;
  std::optional<std::string> answer_;
  std::function<std::string(const std::string& text)> refusal_;
};

}  // namespace pellora
