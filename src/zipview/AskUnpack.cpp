#include "zipview/AskUnpack.h"

#include <functional>
#include <utility>

#include "async/TaskLoop.h"
#include "lang/Language.h"

namespace pellora {

AskUnpack::AskUnpack(Program& program, bool existing, bool password)
    : Window(program.platform, "AskUnpack", kProgramName), program_(program), asksPassword_(password) {
  Label1.Visible = existing;
  for (OptionButton* const option : {&Option1, &Option2, &Option3}) {
    option->Visible = existing;
    option->OnClick = [this, option] { Choose(*option); };
  }
  Label2.Visible = password;
  Text1.Visible = password;
  Choose(Option1);
  Command1.OnClick = [this] { Accept(); };
  Command2.OnClick = [this] { Unload(); };
}

Task<std::optional<AskUnpack::Answer>> AskUnpack::Ask() {
  const auto hold = Hold();
  Show();
  std::function<bool()> closed = [this] { return closed_; };
  co_await platform_.tasks.UntilEvent(std::move(closed));
  co_return answer_;
}

void AskUnpack::Choose(const OptionButton& chosen) {
  for (OptionButton* const option : {&Option1, &Option2, &Option3}) option->Value = option == &chosen;
}

// An encrypted entry cannot have an empty password.
void AskUnpack::Accept() {
  if (asksPassword_ && Text1.Text().empty()) return;
  Answer answer;
  if (Option2.Value) answer.existing = Existing::Replace;
  if (Option3.Value) answer.existing = Existing::Keep;
  answer.password = Text1.Text;
  answer_ = std::move(answer);
  Unload();
}

void AskUnpack::OnLoad() { ApplyLanguage(*this, program_); }

void AskUnpack::OnQueryUnload(bool&, UnloadMode) { closed_ = true; }

}  // namespace pellora
