// ViewerFace: what the windows that list an archive have in common: the controls, folders and displays.
//
// Form2 is the one of the classic engine's downloads, LookInside that of the web engine's.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ui/Controls.h"
#include "ui/Window.h"
#include "ui/Words.h"

namespace pellora {

class ViewerFace : public Window {
 public:
  virtual void ShowList() = 0;

  std::string CurrentFolder;  // "" is the root

  Label Label1{this, "Label1"};  // how far the reading is, then the totals
  Label Label2{this, "Label2"};  // the archive's URL
  ListView ListView1{this,
                     "ListView1",
                     {{"", "Filename", 0, "", 30},
                      {"", "Packed Size", 0, "", 13},
                      {"", "Normal Size", 0, "", 13},
                      {"", "Ratio", 0, "", 9},
                      {"", "Internal Path", 0, "", 35}}};
  OptionButton Option1{this, "Option1", "View By Folder"};
  OptionButton Option2{this, "Option2", "View By File"};
  OptionButton Option3{this, "Option3", "List"};
  OptionButton Option4{this, "Option4", "Report"};
  OptionButton Option5{this, "Option5", "Icon"};
  OptionButton Option6{this, "Option6", "Small"};
  CommandButton Command4{this, "Command4", "Parent Directory"};
  CommandButton Command1{this, "Command1", "Extract ALL"};
  CommandButton Command2{this, "Command2", "Extract SELECTED"};
  CommandButton Command3{this, "Command3", "Download classic"};
  Words AscendingWords{this, "AscendingWords", "ascending", 0};
  Words DescendingWords{this, "DescendingWords", "descending", 0};

 protected:
  ViewerFace(Platform& platform, std::string typeName);

  void OnSized() override { OnResize(); }
  void OnResize() override;

  // Replaces the rows. Switches to the report display whichever option is set; the options keep their values.
  void Fill(std::vector<ListRow> rows);
  void Fill(std::shared_ptr<const RowSource> rows);

 private:
  void PrepareList();
  void GoToParent();
  void SortByColumn(int column);
  void ChooseView(bool byFile);
  void ChooseDisplay(const OptionButton& chosen, int display);
};

}  // namespace pellora
