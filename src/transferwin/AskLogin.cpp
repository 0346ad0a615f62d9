#include "transferwin/AskLogin.h"

#include <utility>

#include "core/WebTexts.h"
#include "lang/Language.h"

namespace pellora {

AskLogin::AskLogin(Program& program, const Question& question)
    : Window(program.platform, "AskLogin", "Log In"), program_(program) {
  Tag = TagText(static_cast<int>(WebText::LoginTitle));
  Label1.Caption = question.reason;
  Label2.Caption = question.where;
  Label3.Caption = question.realm.empty() ? "" : FillText(TextOf(program, WebText::Realm), {question.realm});
  Label3.Visible = !question.realm.empty();
  Label6.Visible = question.unencrypted;
  Text1.Text = question.user;
  Label4.Visible = !question.onlyPassword;
  Text1.Visible = !question.onlyPassword;
  Check1.Visible = !question.onlyPassword;
  Check1.Enabled = question.canRemember;
  Command1.OnClick = [this] {
    const auto hold = Hold();
    answered_ = true;
    const Login login{Text1.Text(), Text2.Text()};
    const bool remember = Check1.Value();
    Unload();
    if (OnLogin) OnLogin(login, remember);
  };
  Command2.OnClick = [this] { Unload(); };
}

void AskLogin::OnLoad() {
  ApplyLanguage(*this, program_);
  // The cursor is where something is missing.
  TextBox& first = Text1.Visible() && Text1.Text().empty() ? Text1 : Text2;
  first.SelectAll = first.SelectAll() + 1;
}

void AskLogin::OnUnload() {
  Text2.Text = std::string();
  if (!answered_ && OnCancel) OnCancel();
}

}  // namespace pellora
