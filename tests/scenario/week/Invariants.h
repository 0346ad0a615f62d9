// Invariants: what must hold after every event of the program, whatever its servers, its disk and its user do. Checked
// between events, from outside: the records, against what the simulated machine knows to be open, running, loaded and
// written.
//
// Exempt, and why:
// - Data of a wild server goes into the file as it comes, so that neither its bytes nor its sizes are checked;
// counters,
//   states and open things are.
// - An empty plan, made from an FTP server's replies that the wire may have cut (Origin::MayBeMisread).
// - A record dropped by a fatal reply is free. Its transfer, which continues after a server error, only has to vanish.
// - Failures of the disk exempt nothing but downloads added while the list could not be read or saved: the next session
//   does not know them. Otherwise no record loses bytes: a part file that cannot be written ends the program with the
//   list as last saved, a failed join keeps the parts, and a failed save or delete leaves older files.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Counts.h"
#include "Origin.h"
#include "Transitions.h"
#include "WatchedDownloadFiles.h"
#include "WatchedFetcher.h"
#include "WatchedFiles.h"
#include "WatchedNetwork.h"
#include "WebOrigin.h"
#include "app/App.h"
#include "core/Record.h"
#include "fetch/JournalCodec.h"

namespace pellora {

// A file of the user's, with a name that a download would have.
inline constexpr std::string_view kForeignFile = "/home/u/Documents/Pellora/downloads/web0.dat";
inline constexpr std::string_view kForeignBytes = "mine";

class ClassicEngine;
class Engine;
class TransferWindow;

class Invariants final : public DiskWatcher, public RenameWatcher {
 public:
  Invariants(const Origin& origin, Counts& counts) : origin_(origin), counts_(counts) {}

  // BeginSession comes before the program's first event, EndSession after its last.
  void BeginSession(App& app, SimPlatform& sim, WatchedFiles& files, WatchedNetwork& network);
  void EndSession();
  // In a life with the web engine, after BeginSession and before EndSession.
  void BeginWeb(WebOrigin& origin, WatchedDownloadFiles& downloads, WatchedFetcher& fetcher);
  // Once the program has started: the journal's downloads are listed.
  void CheckRestored();
  // All finished files are whole. At rest: and there is no part file without its download.
  void CheckWebFiles(bool atRest);

  // After one event. The first one found wrong ends the run.
  void AfterEvent(Cause cause);
  void AfterEvent(SimLane lane);
  // After time in which nothing could happen.
  void AfterStall();

  // DiskWatcher
  void Written(const std::string& path, std::uint64_t offset, std::string_view bytes) override;
  void Deleting(const std::string& path) override;
  // RenameWatcher
  void Publishing(const std::string& part, const std::string& path) override;
  void Published(const std::string& path) override;

  // One line for each violation.
  const std::vector<std::string>& Wrong() const { return wrong_; }
  void Note(std::string what);
  // Off: only finished files are checked, at the end.
  bool on = true;
  // Nothing flushes the list: its records may be any.
  bool listMayBeDamaged = false;

 private:
  struct SegmentShadow {
    std::int32_t start = 0, end = 0, now = 0, total = 0, size = 0;
    std::int16_t state = 0;
  };
  struct RecordShadow {
    std::uint32_t serial = 0;
    std::int16_t count = -1;
    std::int32_t received = -1;
    std::string host;
    HostId hostId = HostId::Other;
    bool honest = false;  // an honest server that has the file
    bool joining = false;
    std::array<SegmentShadow, 9> segments;
  };
  struct LiveWindow {
    std::weak_ptr<const Engine> alive;  // of `engine`, which may outlive its window
    const ClassicEngine* engine = nullptr;
    std::weak_ptr<TransferWindow> window;
    HostId host = HostId::Other;  // of its record, when last in its slot
    bool ftp = false;
    SimLoop::Micros orphanSince = -1;  // -1: it is in its slot
  };
  // The segment of a part file.
  struct PartOwner {
    int record = 0;
    int segment = 0;
    std::uint32_t serial = 0;
    const std::string_view* bytes = nullptr;  // the origin's file; null: unknown
    std::int64_t base = 0;                    // where in the file the part begins
  };

  struct WebShadow {
    bool listed = false;
    std::uint32_t serial = 0;
    bool active = false;
    std::string url;
  };
  struct WebWindow {
    std::weak_ptr<const Engine> alive;
    std::weak_ptr<TransferWindow> window;
    SimLoop::Micros strangeSince = -1;  // -1: it is in its slot
  };

  void EndWeb();
  void AfterStallOfWeb();
  void CheckClaim(const JournalEntry& entry);
  void CheckWebRecord(int index);
  void CheckFetches();
  bool IsLookedInto(const std::string& url) const;
  void CheckWebWindows();
  void DeletingPart(const std::string& path);
  void CheckWhole(const std::string& path);
  void CheckRecord(int index, Cause cause);
  void CountJoin(const DownloadRecord& record, RecordShadow& shadow);
  void CheckSegment(int index, int number, const DownloadRecord& record, SegmentShadow& shadow, bool fresh,
                    Cause cause);
  void CheckReceived(int index, const DownloadRecord& record);
  void CheckFlags(int index, const DownloadRecord& record);
  void CheckPlan(int index, const DownloadRecord& record);
  void CheckOpen();
  void CheckWindows();
  void CheckSockets();
  void CheckFiles();
  void CheckSaved(std::string_view bytes);
  void CheckPartBytes(const std::string& path, std::uint64_t offset, std::string_view bytes);
  void CheckOutputBytes(const std::string& path, std::uint64_t offset, std::string_view bytes);
  void ReadNeeded(std::string_view list);
  const PartOwner* OwnerOf(const std::string& path);
  bool Honest(const DownloadRecord& record) const;
  const LiveWindow* OwnerOfSocket(const ConnectionEvents* events) const;
  std::string Name(int index);

  const Origin& origin_;
  Counts& counts_;
  App* app_ = nullptr;
  SimPlatform* sim_ = nullptr;
  WatchedFiles* files_ = nullptr;
  WatchedNetwork* network_ = nullptr;
  std::vector<RecordShadow> records_;
  std::vector<LiveWindow> windows_;
  std::vector<std::weak_ptr<ZipViewer>> viewers_;
  std::map<std::string, PartOwner> owners_;
  std::set<std::string, std::less<>> needed_;  // part files that the list on the disk relies on
  std::array<int, kHosts> allowed_{};          // segments' sockets that the records explain
  std::vector<std::string> wrong_;
  // Of a life with the web engine; else null and empty.
  WebOrigin* web_ = nullptr;
  WatchedDownloadFiles* downloads_ = nullptr;
  WatchedFetcher* fetcher_ = nullptr;
  std::vector<WebShadow> webRecords_;
  std::vector<WebWindow> webWindows_;
  bool journalFailed_ = false;     // in the session before
  std::set<std::string> unnamed_;  // part files of earlier sessions that the journal had not named yet
};

}  // namespace pellora
