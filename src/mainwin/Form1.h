// Form1: the dialog for the URL of a new download. Its answer is its Tag: "" while it is open, then "NOW", "LATER",
// "INSIDE", "LIST" or "CANCEL". Before its Load the Tag is the number of its caption.
//
// "More" opens a fold with what else can be asked for. A text of several addresses answers "LIST" at once.
#pragma once

#include "core/Program.h"
#include "mainwin/AddFields.h"
#include "ui/Controls.h"
#include "ui/Window.h"
#include "ui/Words.h"

namespace pellora {

class Form1 final : public Window {
 public:
  static constexpr int kFoldedHeight = 118;
  static constexpr int kUnfoldedHeight = 538;

  explicit Form1(Program& program);

  TextBox Text1{this, "Text1"};  // the URL
  CommandButton Command1{this, "Command1", "Download Now !", 696};
  CommandButton Command2{this, "Command2", "Download Later !", 697};
  CommandButton Command3{this, "Command3", "Cancel", 698};
  CheckBox Check1{this, "Check1", "More", 917};
  // The fold.
  Label Label1{this, "Label1", "Folder :", 918};
  TextBox Text2{this, "Text2"};
  CommandButton Command4{this, "Command4", "..."};
  Label Label2{this, "Label2", "File name :", 919};
  TextBox Text3{this, "Text3"};
  Label Label3{this, "Label3", "User name :", 880};
  TextBox Text4{this, "Text4"};
  Label Label4{this, "Label4", "Password :", 881};
  TextBox Text5{this, "Text5"};
  Label Label5{this, "Label5", "Checksum :", 922};
  TextBox Text6{this, "Text6"};
  Label Label6{this, "Label6", "Referring page :", 923};
  TextBox Text7{this, "Text7"};
  Label Label7{this, "Label7", "Cookies :", 924};
  TextBox Text8{this, "Text8"};
  Label Label8{this, "Label8", "Speed limit (KiB/s) :", 925};
  TextBox Text9{this, "Text9"};
  CheckBox Check2{this, "Check2", "Begin on (date, time) :", 926};
  TextBox Text10{this, "Text10"};
  CommandButton Command5{this, "Command5", "Look &Inside...", 993};
  Words FolderWords{this, "FolderWords", "Choose a folder", 959};
  Label Label10{this, "Label10"};  // the room that is free in the folder
  Label Label9{this, "Label9"};    // what the download would meet: a name that is taken, or itself in the list

  // Selects all of Text1 in the view.
  void SelectText();
  // Closes the fold and empties it: a password is not kept, and the next download has other wishes.
  void EmptyFold();
  // Several addresses were typed or pasted.
  bool NamesSeveral() const;
  // What is asked for, or what is wrong with it.
  FieldsReading Request() const;

 protected:
  void OnLoad() override;
  void OnQueryUnload(bool& cancel, UnloadMode mode) override;

 private:
  std::string Url() const;
  void Foretell();
  std::string Folder() const;
  void ShowRoom();
  Task<> MeasureRoom();
  void Answer(const char* answer);
  Task<> Browse();

  Program& program_;
  bool measuring_ = false;
};

}  // namespace pellora
