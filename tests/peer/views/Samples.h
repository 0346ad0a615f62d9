// Samples: windows with the same controls as the program's, filled with what a user would see. They repeat the
// declarations: a control added to the program's window is checked here only once it is added here too.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora::testing_views {

struct SampleTransfer : Window {
  explicit SampleTransfer(Platform& given) : Window(given, "TransferWindow", "") { Height = 333; }

  Label Label2{this, "Label2", "Downloading file :", 500};
  Label Label3{this, "Label3"};
  Label state{this, "state", "State : Idle"};
  Label Speed{this, "Speed"};
  Label Est{this, "Est"};
  Label Ela{this, "Ela"};
  Label Label4{this, "Label4"};
  Label Label1{this, "Label1"};
  Label Label6{this, "Label6", "Estimated time :", 670};
  Label Label5{this, "Label5", "Time Elapsed :", 669};
  ProgressBar PB{this, "PB"};
  CommandButton Command1{this, "Command1", "Start Download", 501};
  CommandButton Command2{this, "Command2", "Cancel", 503};
  CommandButton Command3{this, "Command3", "Pause Download", 502};
  CommandButton Command4{this, "Command4", "Hide Details", 515};
  Frame Frame1{this, "Frame1", "Segmented Downloads :"};
  Frame Frame2{this, "Frame2"};
  ControlArray<Label> Label7{this, "Label7", {{"Segment #", 510}, {"State", 511}, {"Progress ", 512}, {"Size", 513}}};
  ControlArray<Shape> Shape1{this, "Shape1", 8};
  ControlArray<Shape> Prog{this, "Prog", 8};
  ControlArray<Label> Num{this, "Num", 8};
  ControlArray<Label> StateS{this, "StateS", 8};
  ControlArray<Label> Size{this, "Size", 8};
  ListBox List1{this, "List1"};
  Line Line1{this, "Line1"};

  // Eight segments, in all states.
  void FillRunning();
  // Only the first `count` rows.
  void KeepRows(int count);

  int loads = 0;
  int closes = 0;
  int resizes = 0;
  bool refuseClose = true;

 protected:
  void OnLoad() override { ++loads; }
  void OnResize() override { ++resizes; }
  void OnQueryUnload(bool& cancel, UnloadMode mode) override;
};

struct SampleMain : Window {
  explicit SampleMain(Platform& given) : Window(given, "MainWindow", "Pellora !") {}

  Menu mFile{this, "mFile", "&File", 786};
  Menu mAddurl{this, "mAddurl", "&Add URL", 110};
  Menu mExit{this, "mExit", "E&xit", 118};
  Menu sdw{this, "sdw", "&Show download windows", 121};
  Menu popup{this, "popup", "popup"};
  Menu opene{this, "opene", "&Open file", 283};
  Menu resumed{this, "resumed", "&Resume Download", 286};
  Menu delete_{this, "delete", "&Delete Download", 282};
  Menu shedulded{this, "shedulded", "Schedulded", 287};
  Menu openfile2{this, "openfile2", "&Open file", 284};
  Toolbar Toolbar1{this,
                   "Toolbar1",
                   {{"AddURL", "Add URL", 100, "Add a URL to the list of downloads"},
                    {"RemoveURL", "Delete URL", 101},
                    {"ResetList", "Reset List", 102},
                    {"Options", "Options", 103},
                    {"PauseDownload", "Pause", 104},
                    {"PauseAll", "Pause All", 105},
                    {"ResumeDownloads", "Resume All", 106},
                    {"Quit", "Quit", 108},
                    {"Browser", ""}}};
  Label Label1{this, "Label1", "Current Downloads :", 275};
  ListView ListView1{this,
                     "ListView1",
                     {{"", "Filename", 200, "", 140},
                      {"", "Server", 204, "", 134},
                      {"", "Size", 201, "", 58},
                      {"", "Status", 205, "", 70},
                      {"", "Download Date", 206, "", 117},
                      {"", "Est. time", 207, "", 58}}};
  Label Label3{this, "Label3", "Finished files :", 276};
  ListView ListView2{
      this,
      "ListView2",
      {{"", "Filename", 200, "", 35}, {"", "Size", 201, "", 10}, {"", "URL", 202, "", 35}, {"", "Date", 203, "", 20}}};
  ControlArray<Picture> Legend{this, "Legend", 3};
  Label Label10{this, "Label10", "Downloading", 272};
  Label Label11{this, "Label11", "Paused", 273};
  Label Label12{this, "Label12", "Scheduled", 274};
  Label Label2{this, "Label2", "Visit Pellora website ", 271};
  CommandButton Command4{this, "Command4", "<"};
  TabStrip TabStrip1{this, "TabStrip1", {{"Prev", "Preview", 250}, {"Info", "Infos", 251}}};
  Frame Picture1{this, "Picture1"};
  Label Label5{this, "Label5", "Preview not available."};
  CommandButton Command2{this, "Command2", ">"};
  CommandButton Command3{this, "Command3", "|||||"};
  Frame Details{this, "Details"};
  ControlArray<Label> InfoCaption{
      this,
      "InfoCaption",
      {{"Filename", 200}, {"Size", 201}, {"URL", 202}, {"Saved to :", 0}, {"Date", 203}, {"Average speed :", 0}}};
  ControlArray<Label> Info{this, "Info", 6};
  StatusBar StatusBar1{
      this, "StatusBar1", {"Pellora! Loaded.", "Speed : 0 kb/s", "Total Downloaded : 0kb", "CAPS", "NUM", "INS"}};

  void Fill();
  void ShowPane(bool shown, int tab);

  std::vector<std::pair<int, int>> sizes;  // at each showing
  std::vector<std::pair<int, int>> resizes;
  int mouseMoves = 0;

 protected:
  void OnSized() override { sizes.emplace_back(Width(), Height()); }
  void OnResize() override { resizes.emplace_back(Width(), Height()); }
  void OnMouseMove() override { ++mouseMoves; }
};

struct SampleForm1 : Window {
  explicit SampleForm1(Platform& given) : Window(given, "Form1", "Enter the URL of the file to download") {
    Height = 118;  // folded
  }
  TextBox Text1{this, "Text1", "http://"};
  CommandButton Command1{this, "Command1", "Download Now !", 696};
  CommandButton Command2{this, "Command2", "Download Later !", 697};
  CommandButton Command3{this, "Command3", "Cancel", 698};
};

struct SampleWantDown : Window {
  explicit SampleWantDown(Platform& given) : Window(given, "WantDown", "Pellora Question ! Clipboard hook") {}
  Label Label1{this, "Label1", "Do you want to download :", 405};
  Label Label2{this, "Label2"};
  CommandButton Command1{this, "Command1", "Yes", 406};
  CommandButton Command2{this, "Command2", "No ", 407};
};

}  // namespace pellora::testing_views
