// MainWindow: the two lists with all their actions, the queue pump and the scheduler, the clipboard watch and the
// layout. Its files: MainWindow.cpp (events and hints), Rows.cpp (list rows), Actions.cpp and ListActions.cpp (the
// user's actions), Pump.cpp (the 500 ms tick), StartRecord.cpp (starting one record), Questions.cpp (add dialog and
// clipboard question), Drops.cpp (what is dropped, files of addresses), Arrange.cpp (sorting, filter, keys),
// Preview.cpp (side pane and media preview), VersionCheck.cpp, Layout.cpp.
//
// The popups: a view reports a right click to the list, which sets the entries, and then opens `popup` over ListView1
// if a row is selected there, or `pop2` over ListView2 in any case.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "async/Timer.h"
#include "async/Winsock.h"
#include "core/DownloadNotices.h"
#include "core/Metalink.h"
#include "core/Program.h"
#include "core/Queue.h"
#include "core/QueueOrder.h"
#include "core/RecordLife.h"
#include "core/StayAwake.h"
#include "mainwin/AddList.h"
#include "mainwin/AskLine.h"
#include "mainwin/Form1.h"
#include "mainwin/WantDown.h"
#include "ports/Media.h"
#include "ui/Controls.h"
#include "ui/DataObject.h"
#include "ui/LinkLabel.h"
#include "ui/MediaSurface.h"
#include "ui/Window.h"
#include "ui/Words.h"

namespace pellora {

class options;

class MainWindow final : public Window, public Lists, public DropTarget {
 public:
  // Numbers of RunAction.
  enum Action {
    kAdd = 0,
    kDelete = 1,
    kOptions = 2,
    kQuit = 3,
    kPause = 4,
    kPauseAll = 5,
    kResumeAll = 6,
    kBrowser = 7,
    kResetList = 8,
  };

  explicit MainWindow(Program& program);

  // Menu bar: File.
  Menu mFile{this, "mFile", "&File", 786};
  Menu mAddurl{this, "mAddurl", "&Add URL", 110};
  Menu mDeleteurl{this, "mDeleteurl", "&Delete URL", 111};
  Menu mResetlist{this, "mResetlist", "&Reset List", 112};
  Menu mExit{this, "mExit", "E&xit", 118};
  // Actions.
  Menu mActions{this, "mActions", "&Actions", 119};
  Menu mPausedl{this, "mPausedl", "&Pause Download", 114};
  Menu mPauseall{this, "mPauseall", "Pa&use All", 115};
  Menu mResumeall{this, "mResumeall", "&Resume All", 116};
  // Options.
  Menu mOpt{this, "mOpt", "&Options", 787};
  Menu sdb{this, "sdb", "Show download &Basket"};
  Menu sdw{this, "sdw", "&Show download windows", 121};  // checked: every transfer shows its window
  Menu mProperties{this, "mProperties", "&Preferences", 113};
  // Help.
  Menu help{this, "help", "&Help", 699};
  Menu homepage{this, "homepage", "Home Page"};
  Menu about{this, "about", "About Pellora!", 693};
  // Popup of ListView1.
  Menu popup{this, "popup", "popup"};
  Menu opene{this, "opene", "&Open file", 283};
  Menu resumed{this, "resumed", "&Resume Download", 286};
  Menu delete_{this, "delete", "&Delete Download", 282};
  Menu stopdl{this, "stopdl", "&Stop Download", 289};
  Menu stopall{this, "stopall", "Stop &All downloads", 288};
  Menu properties{this, "properties", "&Properties", 285};  // opens nothing
  Menu shedulded{this, "shedulded", "Schedulded", 287};
  Menu speedlimit{this, "speedlimit", "Speed limit...", 872};
  Menu lookinside{this, "lookinside", "Look &Inside...", 993};
  Menu changeaddress{this, "changeaddress", "&Change Address...", 943};
  Menu queuefirst{this, "queuefirst", "&First in the Queue", 949};
  Menu queueup{this, "queueup", "&Up in the Queue", 950};
  Menu queuedown{this, "queuedown", "Do&wn in the Queue", 952};
  Menu queuelast{this, "queuelast", "&Last in the Queue", 953};
  // Popup of ListView2.
  Menu pop2{this, "pop2", "pop2"};
  Menu openfile2{this, "openfile2", "&Open file", 284};
  Menu cleardown2{this, "cleardown2", "&Clear download", 281};
  Menu clearall{this, "clearall", "Clear all &download(s)", 280};
  // Popup of the lists' headings.
  Menu headings{this, "headings", "headings"};
  Menu findrows{this, "findrows", "&Filter...", 815};
  Menu owncolumns{this, "owncolumns", "Original &columns", 816};  // of the view alone
  // Keys without an entry.
  Menu pasteurl{this, "pasteurl", ""};
  Menu sidepane{this, "sidepane", ""};
  Menu endfilter{this, "endfilter", ""};  // enabled while the filter is shown

  Toolbar Toolbar1{this,
                   "Toolbar1",
                   {{"AddURL", "Add URL", 100},
                    {"RemoveURL", "Delete URL", 101},
                    {"ResetList", "Reset List", 102},
                    {"Options", "Options", 103},
                    {"PauseDownload", "Pause", 104},
                    {"PauseAll", "Pause All", 105},
                    {"ResumeDownloads", "Resume All", 106},
                    {"Quit", "Quit", 108},
                    {"Browser", "", -107}}};
  // Hidden strip of buttons; the index is the action's number.
  ControlArray<CommandButton> Command1{this,
                                       "Command1",
                                       {{"Add URL", 100},
                                        {"Delete URL", 101},
                                        {"Options", 103},
                                        {"Quit", 108},
                                        {"Pause Download", 104},
                                        {"Pause All ", 105},
                                        {"Resume All", 106},
                                        {"Browser", 107},
                                        {"Reset list", 102}}};

  // Hidden until the user asks for it.
  Label FilterCaption{this, "FilterCaption", "Filter :", 1001};
  TextBox FilterText{this, "FilterText"};

  Label Label1{this, "Label1", "Current Downloads :", 275};
  ListView ListView1{this,
                     "ListView1",
                     {{"", "Filename", 200},
                      {"", "Server", 204},
                      {"", "Size", 201},
                      {"", "Status", 205},
                      {"", "Download Date", 206},
                      {"", "Est. time", 207}}};
  Label Label3{this, "Label3", "Finished files :", 276};
  ListView ListView2{
      this, "ListView2", {{"", "Filename", 200}, {"", "Size", 201}, {"", "URL", 202}, {"", "Date", 203}}};

  // Legend of the row icons: a picture and its word.
  ControlArray<Picture> Legend{this, "Legend", 3};
  Label Label10{this, "Label10", "Downloading", 272};
  Label Label11{this, "Label11", "Paused", 273};
  Label Label12{this, "Label12", "Scheduled", 274};

  LinkLabel Label2{this, "Label2", "Visit Pellora website ", 271};  // a double click opens the project's site
  LinkLabel Label7{this, "Label7", "Auto update Pellora", 270};     // a double click checks for a newer version
  Picture Picture4{this, "Picture4"};                               // the background of Label7 and ListView2
  CommandButton Command5{this, "Command5", "Basket"};
  CommandButton Command4{this, "Command4", "<"};  // folds and unfolds the side pane

  // Side pane. Picture1 and Details take the same place.
  TabStrip TabStrip1{this, "TabStrip1", {{"Prev", "Preview", 250}, {"Info", "Infos", 251}}};
  Frame Picture1{this, "Picture1"};
  Label Label5{this, "Label5", "Preview not available."};
  Picture Image2{this, "Image2"};                     // stands for audio; above Label5
  MediaSurface Picture3{this, "Picture3"};            // above both
  CommandButton Command2{this, "Command2", ">"};      // play
  CommandButton Command3{this, "Command3", "|||||"};  // stop
  Label Label6{this, "Label6", "Vol :"};
  Slider Slider1{this, "Slider1"};  // volume, 0 to 100
  Frame Details{this, "Details"};
  static constexpr int kSpeedLine = 5;
  static constexpr const char* kSpeedCaption = "Average speed :";
  // Lines of the information pane: what each is, and its text for the chosen finished file.
  ControlArray<Label> InfoCaption{
      this,
      "InfoCaption",
      {{"Filename", 200}, {"Size", 201}, {"URL", 202}, {"Saved to :", 0}, {"Date", 203}, {kSpeedCaption, 0}}};
  ControlArray<Label> Info{this, "Info", 6};

  Words PaneSwitchWords{this, "PaneSwitchWords", "Show or hide the side pane", 958};
  Words PaneWords{this, "PaneWords", "Side pane", 960};
  Words PlayWords{this, "PlayWords", "Play", 961};
  Words StopWords{this, "StopWords", "Stop", 962};
  Words VolumeWords{this, "VolumeWords", "Volume", 963};
  Words AscendingWords{this, "AscendingWords", "ascending", 965};
  Words DescendingWords{this, "DescendingWords", "descending", 966};

  StatusBar StatusBar1{
      this, "StatusBar1", {"Pellora! Loaded.", "Speed : 0 kb/s", "Total Downloaded : 0kb", "CAPS", "NUM", "INS"}};

  Winsock GetNewVersion{platform_};  // of the version check

  const std::shared_ptr<Form1> form1;
  const std::shared_ptr<WantDown> wantDown;
  const std::shared_ptr<options> optionsWindow;
  const std::shared_ptr<AskLine> askLine;
  const std::shared_ptr<AddList> addList;

  // Only once the list was read.
  void StartTimers();
  void StopTimers();

  void RunAction(int number);
  void pauseall() { RunAction(kPauseAll); }
  void resumeall() { RunAction(kResumeAll); }
  // False if the record is not running.
  bool PauseRecord(std::int16_t index);
  // Removes a record without asking. A finished one keeps its file; the parts of any other are deleted.
  void RemoveRecord(std::int16_t index);
  // Ends a "resume all" in progress.
  void EndResumeAll() { ++resumeGeneration_; }
  // The program ends, and nobody sees the rows of what it pauses.
  void EndRefreshes() { deferRefreshes_ = true; }
  // Also checks or unchecks its menu entry.
  void ShowBasket(bool shown);
  void Resize();
  // What was dropped, here or on the basket: an address, or several addresses and files of addresses, which are shown
  // for a choice. False if there is none. `later`: they are not started at once. `caller` as in AddRequest.
  bool TakeDropped(const DataObject& data, bool later, const void* caller);
  bool TakeDrop(const DataObject& data) override;
  // The same for a text.
  bool TakeText(const std::string& text, bool later, const void* caller);
  // Renders a file into Picture3 in place of the previous one. An unsupported type leaves an empty graph.
  Task<> LoadMedia(std::string path);

  void RefreshRows(std::int16_t index, std::int16_t force) override;
  void RefreshDownList() override;
  void RefreshFinishedSoon() override;
  void Status(const std::string& text) override;
  Task<> Restart(std::int16_t index) override;

 protected:
  void OnLoad() override;
  void OnQueryUnload(bool& cancel, UnloadMode mode) override;
  void OnSized() override { Resize(); }
  void OnResize() override { Resize(); }
  void OnMouseMove() override;

 private:
  // A record and the serial that its slot had.
  struct Pick {
    std::int16_t index;
    std::uint32_t serial;
  };

  void ConnectEvents();
  void RunToolbarKey(std::string_view key);
  void ConnectHints();
  void ShowVersion();
  void FollowShowTransferWindow() { sdw.Checked = program_.ShowTransferWindow; }  // the options set it, too
  Task<> About();

  // Rows.
  bool RefreshIsDue() const;
  void FlushPendingRefresh();
  void RebuildRows();
  bool UpdateRow(std::int16_t index);
  bool HasRow(int index);
  void FillRow(ListRow& row, std::int16_t index, const std::string& separator);
  void SetWebStatus(ListRow& row, int index, const std::string& separator);
  std::int64_t SizeOf(int index);
  const std::string& DateText(std::int16_t index);
  void CheckFinishedFiles(std::size_t from, std::uint64_t generation);
  std::optional<Pick> PickOf(const ListRow& row) const;
  std::optional<Pick> Selected(const ListView& list) const;

  // Actions.
  Task<bool> Confirm(std::string text, std::string title);
  void ShowOptions();
  Task<> DeleteSelected();
  Task<> AskSpeedLimit();
  Task<> Quit();
  void PauseSelected();
  void PauseAll();
  bool PauseRunning();
  Task<> ResumeAll();
  Task<> ResetList();
  void PreparePopup();
  void PrepareFinishedPopup();
  void ToggleScheduled();
  bool MayChangeAddress(int index);
  Task<> ChangeAddress();
  bool MayLookInside(int index);
  void LookInside();
  std::string AddressRefusal(int index, const std::string& url);
  void MoveInQueue(QueueMove move);
  void OpenOrRestart(const ListView& list);
  bool HasFile(std::int16_t index) const;  // finished, and it is still there
  Task<> OpenFile(std::int16_t index);
  void ClearSelected();
  Task<> ClearAll();

  // Arranging.
  void ConnectArranging();
  double CurrentFigure(const ListRow& row, int column);
  double FinishedFigure(const ListRow& row, int column);
  void OpenFilter();
  void CloseFilter();
  void ApplyFilter();
  void PasteAddresses();
  void PauseOrRestartSelected();
  void ShowDetails(const ListView& list);
  std::string FileOf(const ListRow& row);

  // Starting a record.
  Task<> StartRecord(std::int16_t index, Start start);
  Task<> ResumeTransfer(std::int16_t index, bool shows);
  bool OpensWindow(int index) const;
  Task<> RestartRecord(std::int16_t index, bool shows);  // `shows`: its window, once it is resumed

  // The tick.
  void Tick();
  void WatchConnection();
  std::optional<std::string> ClipboardUrl();
  void ShowSpeed(int runningCount);
  std::optional<Queue::Turn> NextTurn();
  Task<> PumpQueue();
  void StartQueuedWeb();
  void LeaveQueue(std::int16_t index);
  void PumpSoon();
  void SaveTick();

  // Preview.
  struct FileInfo {
    std::string path;
    std::array<std::string, 6> lines;  // of the information pane
  };
  void ConnectPreview();
  void SelectFinished();
  Task<> PreviewFile(FileInfo file);
  bool BeginRendering(const std::string& path);
  void LeavePreviewEmpty();
  FileInfo InfoOf(std::int16_t index);
  void SelectCurrent();
  void EndPreview();
  void ShowInfo(const FileInfo& file);
  void SetVolume();
  void ShowTab();
  // At every tick, in case the surface's size has changed.
  void AttachPreview() {
    if (mediaControl_) mediaControl_->SetOwner(Picture3);
  }

  // Version check.
  void ConnectVersionCheck();
  void CheckVersion();
  Task<> SayWhoUpdates();
  void VersionArrived(const std::string& block);
  Task<> OfferVersion(float version, std::string notes);

  // Questions.
  Task<> AddAction();
  Task<std::string> FaultOf(FieldsReading asked);
  std::string FaultOfLook(const std::string& url) const;
  // `common` is what is asked for each of them, without address.
  Task<> Offer(std::vector<std::string> addresses, std::vector<std::string> files, AddRequest common, bool cut);
  bool OfferText(const std::string& text, const AddRequest& common);
  void OfferAddresses(const std::vector<std::string>& addresses, const AddRequest& common, bool cut);
  void OfferMetalink(std::vector<MetalinkFile> files, const AddRequest& common);
  std::string NoteOnSeveral(const AddRequest& common, bool dropsSecrets) const;
  Task<> AskClipboard(std::string url);

  Program& program_;
  Timer timerC_;
  Timer timer5_;
  Timer timer1_;   // has no handler
  Timer preview_;  // nor has this one

  // Rows.
  std::optional<std::uint32_t> lastRefresh_;  // tick count; none before the first
  bool missedAll_ = false;                    // postponed refreshes
  std::vector<std::int16_t> missedRows_;
  bool finishedMissed_ = false;                            // some have finished since the last tick
  bool deferRefreshes_ = false;                            // postpones even forced refreshes
  bool forcedRefreshDeferred_ = false;                     // one of those was forced
  std::vector<std::int32_t> rowOfRecord_;                  // by record; -1: no row in ListView1
  std::vector<std::pair<double, std::string>> dateTexts_;  // by record: DateAdded and its text
  std::vector<ListRow> spareRows_;                         // memory for the next rebuild of each list
  std::vector<ListRow> spareFinishedRows_;
  std::uint64_t finishedGeneration_ = 0;  // number of the last rebuild of ListView2

  bool pumpPosted_ = false;  // an event that starts queued records of the web engine
  StayAwake stayAwake_;
  DownloadNotices notices_;
  std::uint64_t resumeGeneration_ = 0;
  bool adding_ = false;           // the add dialog is open
  bool askingClipboard_ = false;  // the clipboard question is open
  std::string lastClipboard_;
  float overallSpeed_ = 0;  // bytes per second, smoothed
  std::uint64_t lastTotal_ = 0;
  std::uint32_t lastTickCount_ = 0;
  std::int32_t peakSpeed_ = 0;
  bool connectionUp_ = false;
  bool connectionLost_ = false;
  bool showSidePane_ = false;

  // The preview's graph; null until the first LoadMedia.
  std::unique_ptr<MediaGraph> mediaControl_;
  std::shared_ptr<std::optional<bool>> rendering_;  // its outcome, once there is one
  std::uint64_t previewGeneration_ = 0;             // number of the last click; older ones are superseded
  bool previewCancelled_ = false;                   // a double click opened the file

  int offers_ = 0;  // open questions about a new version
};

}  // namespace pellora
