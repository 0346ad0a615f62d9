// Extract: the dialog for a folder to extract into. Its choices have no effect: no member of an archive is fetched or
// written from here.
//
// Each dialog is shown once and lives until it is closed; its creator may drop it earlier.
#pragma once

#include <cstdint>
#include <string>

#include "core/Program.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora {

class Folders;

class Extract final : public Window {
 public:
  // `folders` may be null if there is nothing to choose from. Both outlive the dialog.
  Extract(Program& program, const Folders* folders);

  bool DialogClosed = false;      // in any way
  std::int16_t DialogResult = 0;  // 1: by "Extract"
  std::string TargetFolder;       // empty when the dialog was closed by its frame

  // The folder that Dir1 shows; empty if none could be read.
  const std::string& Path() const { return path_; }

  Label Label1{this, "Label1", "Extraction directory :"};
  ComboBox Drive1{this, "Drive1"};
  ListView Dir1{this, "Dir1", {{"", ""}}};  // the folders in Path(), its caption
  Label FileCount{this, "Extract", "0 files to be extracted"};
  Frame Frame1{this, "Frame1", "Options"};
  CheckBox Check1{this, "Check1", "Use Accelerated download"};
  CheckBox Check2{this, "Check2", "Use internal zip paths"};
  CheckBox Check3{this, "Check3", "Delete the zip file after extraction"};
  ComboBox Combo1{this, "Combo1"};
  CommandButton Command1{this, "Command1", "Extract"};
  CommandButton Command2{this, "Command2", "Cancel"};

 protected:
  void OnLoad() override;
  void OnQueryUnload(bool& cancel, UnloadMode mode) override;

 private:
  bool SetPath(const std::string& path);  // False, with nothing changed, if the folder cannot be read
  void EnterSelected();
  void Accept();
  void Cancel();
  Task<> SayUnavailable();

  Program& program_;
  const Folders* folders_;
  std::string path_;
};

}  // namespace pellora
