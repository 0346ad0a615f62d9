#include "mainwin/AskLine.h"

#include <utility>

#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "lang/Language.h"

namespace pellora {

AskLine::AskLine(Program& program) : Window(program.platform, "AskLine", kProgramName), program_(program) {
  Command1.OnClick = [this] { Accept(); };
  Command2.OnClick = [this] { Unload(); };
}

Task<std::optional<std::string>> AskLine::Ask(LineQuestion question) {
  const auto hold = Hold();
  if (asking_) {
    Raise();
    co_return std::nullopt;
  }
  asking_ = true;
  answered_ = false;
  answer_.reset();
  Open(question);
  refusal_ = std::move(question.refusal);
  std::function<bool()> answered = [this] { return answered_; };
  co_await platform_.tasks.UntilEvent(std::move(answered));
  refusal_ = nullptr;
  asking_ = false;
  co_return std::exchange(answer_, std::nullopt);
}

void AskLine::Open(const LineQuestion& question) {
  Load();
  Caption = question.title;
  Label1.Caption = question.caption;
  Label2.Caption = "";
  Label2.Visible = false;
  Text1.Text = question.text;
  Text1.SelectAll = Text1.SelectAll() + 1;
  Show();
}

void AskLine::Accept() {
  if (answered_) return;
  const std::string text(TrimBlanks(Text1.Text()));
  const std::string refused = refusal_ ? refusal_(text) : "";
  if (!refused.empty()) {
    Label2.Caption = refused;
    Label2.Visible = true;
    Text1.SelectAll = Text1.SelectAll() + 1;
    return;
  }
  answer_ = text;
  Unload();
}

void AskLine::OnLoad() { ApplyLanguage(*this, program_); }

// Any closing is an answer; the wait for one would never end otherwise.
void AskLine::OnQueryUnload(bool&, UnloadMode) { answered_ = true; }

}  // namespace pellora
