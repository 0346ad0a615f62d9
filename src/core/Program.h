// Program: the process-wide state that everything reads and writes in place.
//
// Downloads, TransferWindows and ZipViewers are parallel: element i of each belongs to record i; element 0 stays blank.
// The latter two never shrink, so they may be longer than Downloads after a reset. Each slot has a serial, raised
// whenever the slot is filled, deleted, cleared or reset. Code that waits keeps (index, serial) and leaves the record
// alone if they no longer match.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "async/Boxes.h"
#include "core/Record.h"
#include "core/Settings.h"
#include "core/Transfer.h"
#include "core/WebAdd.h"
#include "core/WebFigures.h"
#include "ports/Platform.h"

namespace pellora {

class Basket;
class Catcher;
class Engine;
class Prospects;
class SpeedLimits;
class Window;
struct AddressReading;
struct ArchiveLook;

inline constexpr std::int16_t kMaxRecords = 32767;
inline constexpr const char* kProgramName = "Pellora !";

// All numbered texts; empty until a language file fills them.
inline constexpr int kLangStringCount = 1025;
using LangStringArray = std::array<std::string, kLangStringCount>;

class Program {
 public:
  explicit Program(Platform& thePlatform);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  Platform& platform;
  Boxes boxes;
  Settings settings;
  const std::unique_ptr<SpeedLimits> speed;
  LangStringArray LangStrings;
  bool languageRead = false;  // until then windows keep their designed captions

  std::int16_t DownloadCount = 0;
  bool ShowTransferWindow = false;
  bool headless = false;         // nobody sees a window or answers a question
  bool listLoaded = false;       // no save before the list was read
  bool keepDamagedList = false;  // to be copied aside before the next save
  bool listUnsaved = false;      // the list could not be saved, and listNotSaved was called
  bool savesListSoon = false;    // with the next tick: records were added or removed
  std::string listBytes;         // of the last save, kept for their memory
  // Listed URLs about whose second add the user is being asked. Shared with those adds, which may outlive this.
  const std::shared_ptr<std::set<std::string>> askedUrls = std::make_shared<std::set<std::string>>();

  // The bits of every DateAdded of this run's adds, also of those that have left the list: scripts name downloads by
  // them.
  std::unordered_set<std::uint64_t> datesGiven;

  // Held by the join that has its turn; expired while there is none.
  std::weak_ptr<int> joinTurn;

  // Set by the App: these three with the main window, during the start sequence and before any transfer; the others
  // before it.
  Lists* lists = nullptr;
  Catcher* catcher = nullptr;
  Basket* basket = nullptr;
  std::function<std::shared_ptr<Transfer>(std::int16_t index)> newTransferWindow;
  std::function<std::shared_ptr<Engine>(Program&)> newWebEngine;  // empty where there is no web engine
  std::function<std::shared_ptr<ZipViewer>()> newZipViewer;       // empty where there is no viewer
  // Unpacks a finished update package, starts the updater and ends the program; empty if nothing can unpack.
  std::function<void(std::int16_t index)> handOverUpdate;
  std::function<void()> saveAndQuit;
  std::function<void()> listSaved;                              // after each save of the list; may be empty
  std::function<void(const std::string& reason)> listNotSaved;  // once until a save succeeds; may be empty
  // The web engine's journal has an entry of this address and date, whether its record is listed or not; may be empty.
  std::function<bool(const std::string& url, double added)> hasJournalEntry;
  // A record is of chosen files of an archive, and not of what is at its address; may be empty.
  std::function<bool(int index)> isSelection;
  // The journal alone knows what a record is, and has no line of it on the disk yet: after a kill it would be another
  // download. Saves leave it out until then; may be empty.
  std::function<bool(int index)> isUnjournaled;
  // A record was added for the web engine; may be empty.
  std::function<void(std::int16_t index, const WebAdd& add)> webAdded;
  // A record is undecided no more. `kept` is called, maybe at once, when no power cut can undo that, or when nothing
  // more can be done about it; may be empty.
  std::function<void(std::int16_t index, std::function<void()> kept)> decided;
  // The limit of speed of a record was set; may be empty.
  std::function<void(std::int16_t index)> speedLimitSet;
  // True if the record had stopped for want of cookies and has these now; may be empty.
  std::function<bool(std::int16_t index, const HandOver& handOver)> takesHandOver;
  // A record of the web engine that is not running is to continue from this address at its next start; may be empty.
  std::function<void(std::int16_t index, const AddressReading& address)> takeAddress;
  // A record's place in the queue was set, and is to be kept over restarts; may be empty.
  std::function<void(std::int16_t index)> queuePlaceSet;
  Prospects* prospects = nullptr;  // null where there is no web engine
  // Shows what an archive of the web engine holds; empty where nobody could see it.
  std::function<void(const ArchiveLook& look)> lookInside;
  // The windows that a language is applied to, in that order; created if need be.
  std::function<std::vector<std::shared_ptr<Window>>()> languageWindows;

  // Record, transfer object or viewer `index`. Failure(OutOfRange) outside the array, so that an index kept across a
  // reset does no harm.
  DownloadRecord& Download(int index);
  std::shared_ptr<Transfer>& TransferWindowAt(int index);
  std::shared_ptr<ZipViewer>& ZipViewerAt(int index);

  // Figures of a record that the web engine has begun; null for any other. RaiseSerial drops them.
  WebFigures* Web(int index);
  WebFigures& AddWeb(int index);  // those it has, or new ones

  // Where the user has moved a record in the queue (core/QueueOrder). RaiseSerial drops it.
  std::optional<std::int64_t> QueuePlace(int index) const;
  void SetQueuePlace(int index, std::int64_t place) { queuePlaces_[index] = place; }
  bool HasQueuePlaces() const { return !queuePlaces_.empty(); }

  std::uint32_t Serial(int index) const;  // 0 for a slot that does not exist
  void RaiseSerial(int index);
  // True while the slot has that serial.
  bool Holds(int index, std::uint32_t serial) const { return serial != 0 && Serial(index) == serial; }

  // A record that was added among many: its transfer window opens only if the user asks for it. RaiseSerial ends that.
  bool IsQuiet(int index) const { return quiet_.contains(Serial(index)); }
  void SetQuiet(int index);
  void EndQuiet(int index) { quiet_.erase(Serial(index)); }

  // A browser has this download as well, and may keep it: the list is saved without it.
  bool IsUndecided(int index) const { return undecided_.contains(Serial(index)); }
  void SetUndecided(int index) { undecided_.insert(Serial(index)); }
  void EndUndecided(int index) { undecided_.erase(Serial(index)); }

  // Downloads of the classic engine that a box has stopped, until the box is answered.
  struct BoxedStop {
    std::string name;
    std::string text;  // of the box
  };
  std::map<std::uint64_t, BoxedStop> boxedStops;  // by numbers that never return
  std::uint64_t AddBoxedStop(BoxedStop stop);
  // By serial: why the classic engine has stopped a download last.
  std::map<std::uint32_t, std::string> classicStops;

  // Makes records 1 to `count`; the parallel arrays grow along and never shrink. New elements are blank.
  void ResizeDownloads(std::int16_t count);

  // Records that are transferring: InUse and Active, but for those that wait without a place.
  int ActiveCount() const;

  // Bytes received since the start, on sockets and by the web engine. Take differences from SessionTotal. In
  // SessionBytes, which is shown, those of the sockets stop at the largest signed 32-bit value.
  void CountReceived(std::size_t bytes) { socketTotal_ += bytes; }
  void CountWebReceived(std::size_t bytes) { webTotal_ += bytes; }
  std::uint64_t SessionTotal() const { return socketTotal_ + webTotal_; }
  std::int64_t SessionBytes() const;

  // Language text; empty for a number outside the table.
  const std::string& Text(int number) const;

  // Shows the reason, keeps the list as last saved, and ends the program with a non-zero code.
  void EndWithFailure(const std::string& reason);
  bool Ending() const { return ending_; }

 private:
  std::deque<DownloadRecord> downloads_{1};
  std::deque<std::shared_ptr<Transfer>> transferWindows_{1};
  std::deque<std::shared_ptr<ZipViewer>> zipViewers_{1};
  std::deque<std::uint32_t> serials_{1};
  std::deque<std::optional<WebFigures>> webFigures_;  // by index; short of those that follow the last
  std::map<int, std::int64_t> queuePlaces_;           // by index
  std::set<std::uint32_t> quiet_;                     // serials
  std::set<std::uint32_t> undecided_;                 // serials
  std::uint32_t nextSerial_ = 1;
  std::uint64_t nextBoxedStop_ = 1;
  std::uint64_t socketTotal_ = 0;
  std::uint64_t webTotal_ = 0;
  bool ending_ = false;
};

}  // namespace pellora
