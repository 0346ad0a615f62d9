// options: the dialog that edits the program's settings, on five pages, of which the last is missing where the
// program has no web engine. It is not modal; nothing takes effect before
// OK, and Cancel or closing it changes nothing.
//
// The controls are in Tab order. The numbers are those of the language files.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "core/Program.h"
#include "core/WebTexts.h"
#include "ports/Dialogs.h"
#include "ports/Files.h"
#include "ui/Controls.h"
#include "ui/Window.h"
#include "ui/Words.h"

namespace pellora {

class options final : public Window {
 public:
  explicit options(Program& program);

  TabStrip TabStrip1{this,
                     "TabStrip1",
                     {{"", "General", 600},
                      {"", "Connection", 601},
                      {"", "Scheduling", 602},
                      {"", "Language", 604},
                      {"", "Transfers", 800}}};

  // Page 1.
  Frame Frame1{this, "Frame1", "General", 600};
  CheckBox Check10{this, "Check10", "Auto start when Windows starts.", 610};
  CheckBox Check2{this, "Check2", "Browser Integration ( right button popup ) ", 611};
  CheckBox Check5{this, "Check5", "Auto Preview ZIP files", 607};
  CheckBox Check4{this, "Check4", "Safe disk writing mode ( slower but avoid data losts )", 606};
  CheckBox Check3{this, "Check3", "Choose the destination directory before downloading", 605};
  CheckBox Check1{this, "Check1", "Check URLs in the clipboard", 612};
  Label Label7{this, "Label7", "Ignore this kinds of files  (list of extensions separated by a comma)", 613};
  TextBox Text9{this, "Text9"};
  Label Label3{this, "Label3", "Default downloads folder", 608};
  TextBox Text2{this, "Text2"};  // the downloads folder
  CommandButton Browse2{this, "Browse2", "..."};
  Label Label1{this, "Label1", "Temporary Segmented Files path :", 609};
  TextBox Text1{this, "Text1"};  // the temporary folder
  CommandButton Browse1{this, "Browse1", "..."};
  Words FolderWords{this, "FolderWords", "Choose a folder", 959};

  // Page 2.
  Frame Frame2{this, "Frame2", "Connection settings", 614};
  Label l1{this, "l1", "Max Number of Segments (1-8) :", 615};
  TextBox Text3{this, "Text3"};
  Label Label2{this, "Label2", "Max Simultaneous downloads (1-99) :", 616};
  TextBox Text4{this, "Text4"};
  Frame Frame4{this, "Frame4", "Proxy settings :", 630};
  CheckBox Check8{this, "Check8", "Use Proxy HTTP", 633};
  CheckBox Check9{this, "Check9", "Use Proxy FTP (not working yet)", 634};
  Label Label4{this, "Label4", "Server :", 631};
  TextBox Text7{this, "Text7"};
  Label Label5{this, "Label5", "Port :", 632};
  TextBox Text8{this, "Text8"};
  Frame Frame7{this, "Frame7", "Windows of downloads", 906};
  CheckBox Check16{this, "Check16", "Keep them closed", 818};
  CheckBox Check17{this, "Check17", "Close them when the file is finished", 819};

  // Page 3.
  Frame Frame3{this, "Frame3", "Scheduling", 623};
  CheckBox Check7{this, "Check7", "Starts scheduled downloads at this date :", 624};
  OptionButton Option1{this, "Option1", "Fixed time :", 625};
  TextBox Text5{this, "Text5"};  // its date
  TextBox Text6{this, "Text6"};  // its time
  CommandButton Command2{this, "Command2", "Get now", 629};
  OptionButton Option2{this, "Option2", "Daily :", 626};
  Label Label8{this, "Label8", "Hour :", 627};
  TextBox Text10{this, "Text10"};
  CheckBox Check6{this, "Check6", "Close Internet connection when scheduled downloads are finished.", 648};

  // Page 4.
  Frame Frame5{this, "Frame5", "Language", 621};
  Label Label6{this, "Label6", "Select your prefered language for Pellora :", 622};
  ComboBox Combo1{this, "Combo1"};

  // Page 5.
  Frame Frame6{this, "Frame6", "Transfers", 800};
  Label Label9{this, "Label9", "Downloads of the web engine, which checks every byte :", 801};
  OptionButton Option3{this, "Option3", "Only what the classic engine refuses (https, ftps, sftp)", 802};
  OptionButton Option4{this, "Option4", "All downloads", 803};
  OptionButton Option5{this, "Option5", "Off", 804};
  Label Label10{this, "Label10", "An http address that leads to https needs \"All downloads\".", 806};
  Label Label11{this, "Label11", "Additional certificates (PEM file) :", 807};
  TextBox Text11{this, "Text11"};
  Label Label12{this, "Label12", "Speed limit of all downloads (KiB/s, empty : none) :", 867};
  TextBox Text12{this, "Text12"};
  CheckBox Check13{this, "Check13", "Only from", 868};
  TextBox Text13{this, "Text13"};  // an hour
  Label Label13{this, "Label13", "to", 869};
  TextBox Text14{this, "Text14"};  // another one
  Label Label14{this, "Label14", "o'clock", 870};
  CheckBox Check12{this, "Check12", "Look for checksums beside the file (SHA256SUMS)", 903};
  CheckBox Check14{this, "Check14", "Keep the computer awake while data arrives", 955};
  CheckBox Check15{this, "Check15", "Show a notice when downloads finish or stop", 851};

  CommandButton OK{this, "OK", "OK", 635};
  CommandButton Command1{this, "Command1", "Cancel", 636};

  // The languages on offer: base names of the files and display names, of which LanguageCount are in use.
  static constexpr std::int16_t kMostLanguages = 129;
  std::array<std::string, kMostLanguages> LanguageFiles;
  std::array<std::string, kMostLanguages> LanguageNames;
  std::int16_t LanguageCount = 0;

  // Fills the controls from the settings and the language list from the program's folder. Discards what was typed.
  void RefreshFromOptions();

 protected:
  void OnLoad() override;

 private:
  // The controls whose value is the setting itself; at OK the others are converted, by other rules than the store's.
  std::array<std::pair<CheckBox*, bool*>, 15> Switches();
  std::array<std::pair<TextBox*, std::string*>, 5> Texts();
  // The button of each value of WebEngine.
  std::array<std::pair<OptionButton*, std::int32_t>, 3> WebChoices();

  void ConnectEvents();
  void ShowPage(int page);
  void ListLanguages();
  void GetNow();

  // OK.
  void Accept();
  // Completes the folders' separators, tries to write into the folders, and checks the rest. Returns the message that
  // says why OK is refused, if it is.
  std::optional<BoxRequest> Refusal();
  bool HasBadCertificates();
  std::optional<WebText> SpeedLimitFault();  // what its message says
  bool WriteTestFile(const std::string& folder, FileKind kind);
  void ShowSpeedLimit();
  void ApplyControls();
  void ApplySpeedLimit();
  void ApplyScheduleControls();
  void ApplyChosenLanguage();

  Task<> Say(BoxRequest message);
  Task<> Browse(const Label* caption, TextBox* folder);

  Program& program_;
};

}  // namespace pellora
