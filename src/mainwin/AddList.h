// AddList: the window for many addresses at once. Each has a row with a check mark, its name, its size where the server
// tells it, and what is to be known before: refused, listed already, under which other name it will be saved.
//
// Rows are read some in each event, and servers asked four at a time while the window is open, so that thousands of
// addresses freeze nothing. What is added here is quiet.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "async/Timer.h"
#include "core/Program.h"
#include "core/Prospects.h"
#include "mainwin/AddDownload.h"
#include "mainwin/FolderRoom.h"
#include "ui/Controls.h"
#include "ui/Window.h"

namespace pellora {

// An address, and what its source tells of the file.
struct ListedAdd {
  AddRequest request;
  std::int64_t size = -1;  // bytes; -1: not known
};

class AddList final : public Window {
 public:
  explicit AddList(Program& program);

  Label Label1{this, "Label1"};  // how many are checked, and their size
  ListView ListView1{this,
                     "ListView1",
                     {{"", "Filename", 200, "", 28},
                      {"", "Size", 201, "", 12},
                      {"", "URL", 202, "", 35},
                      {"", "Status", 205, "", 25}}};
  Label Label2{this, "Label2"};  // what concerns all of them
  CommandButton Command3{this, "Command3", "All", 940};
  CommandButton Command4{this, "Command4", "None", 941};
  CommandButton Command1{this, "Command1", "Download", 939};
  CommandButton Command2{this, "Command2", "Cancel", 698};

  // Shows the window with these after those that it has already. `cut`: there were more. `note` is shown too.
  void Offer(std::vector<ListedAdd> adds, bool cut, const std::string& note = std::string());

 protected:
  void OnLoad() override;
  void OnQueryUnload(bool& cancel, UnloadMode mode) override;

 private:
  enum class State : std::uint8_t {
    Unread,
    Refused,  // cannot be added
    Ready,
    Added,
  };
  struct Item {
    ListedAdd add;
    State state = State::Unread;
    bool asks = false;     // its server is to be asked
    bool classic = false;  // for the classic engine, which would write over a file of its name
    std::string name;
    bool named = false;   // by its source or its server
    std::string free;     // the name that it would be saved as; empty: not known
    std::string judged;   // the name in whose place it has that
    std::string problem;  // why it cannot be added, or could not be fetched now
    bool checked = true;
  };
  // One of the questions that are open.
  struct Slot {
    std::unique_ptr<Inquiry> inquiry;
    std::size_t item = 0;
    int seconds = 0;  // that it has taken
  };
  static constexpr std::size_t kInquiries = 4;

  Task<> ReadItems();
  void ReadItem(Item& item);
  std::string SaveFolderOf(const Item& item) const;
  void JudgeName(Item& item);
  std::string NoteOf(const Item& item) const;
  void ForgetAll();
  void ShowRow(std::size_t at);
  void ShowSum();
  void CheckEach(bool checked);
  void AskServers();
  void AskServer(Slot& slot, std::size_t item);
  void TakeProspect(std::size_t slot, const Prospect& prospect);
  void DropSilent();
  Task<> MeasureRooms();
  std::string RoomNote() const;
  Task<> AddChecked();

  Program& program_;
  Timer second_;
  std::vector<Item> items_;
  std::size_t read_ = 0;   // items that are
  std::size_t asked_ = 0;  // items whose turn to be asked about has come
  bool reading_ = false;
  bool adding_ = false;
  bool cut_ = false;
  std::string notes_;
  std::uint64_t generation_ = 0;  // of the window's opening: tasks of earlier ones end
  std::set<std::string> listed_;  // addresses in the program's list and in this
  std::set<std::string> taken_;   // paths
  // By the path that was wanted: the name that its last item got. No earlier one is free.
  std::map<std::string, std::string> lastGiven_;
  std::array<Slot, kInquiries> slots_;
  std::map<std::string, FolderRoom> rooms_;  // by the folders that adds go to
  bool measuring_ = false;
};

}  // namespace pellora
