// AskLogin: the window for a login that a server or proxy demands. It waits beside everything else and answers once;
// closing it is a no.
#pragma once

#include <functional>
#include <string>

#include "core/Program.h"
#include "ports/Login.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora {

class AskLogin final : public Window {
 public:
  struct Question {
    std::string reason;  // a sentence
    std::string where;   // "https://host:port", or the proxy's host and port
    std::string realm;   // what the server calls it; may be empty
    std::string user;    // proposed
    bool unencrypted = false;
    bool canRemember = false;
    bool onlyPassword = false;  // what is protected knows no users
  };

  AskLogin(Program& program, const Question& question);

  Label Label1{this, "Label1"};  // the reason
  Label Label2{this, "Label2"};  // where
  Label Label3{this, "Label3"};  // the realm
  Label Label4{this, "Label4", "User name :", 880};
  Label Label5{this, "Label5", "Password :", 881};
  Label Label6{this, "Label6", "The password is sent without encryption: others on the way can read it.", 888};
  TextBox Text1{this, "Text1"};  // user name
  TextBox Text2{this, "Text2"};  // password, never shown
  CheckBox Check1{this, "Check1", "Remember in the desktop's password store", 882};
  CommandButton Command1{this, "Command1", "OK", 635};
  CommandButton Command2{this, "Command2", "Cancel", 698};

  // One of them is called, once, after which the window is gone.
  std::function<void(const Login& login, bool remember)> OnLogin;
  std::function<void()> OnCancel;

 protected:
  void OnLoad() override;
  void OnUnload() override;

 private:
  Program& program_;
  bool answered_ = false;
};

}  // namespace pellora
