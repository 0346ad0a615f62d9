#include "mainwin/AddDownload.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "async/Boxes.h"
#include "async/InBackground.h"
#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "core/EngineChoice.h"
#include "core/FileNames.h"
#include "core/Program.h"
#include "core/Queue.h"
#include "core/RecordLife.h"
#include "core/Scheme.h"
#include "core/SpeedLimits.h"
#include "ports/Dialogs.h"
#include "ports/DownloadFiles.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Machine.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

constexpr int kBadUrl = 400;
constexpr int kSaveTitle = 401;
constexpr int kAllFiles = 402;
constexpr int kAskDuplicate = 403;

// The right to ask about a listed URL, which only one at a time can have.
class Claim {
 public:
  Claim(std::shared_ptr<std::set<std::string>> urls, std::string url)
      : urls_(std::move(urls)), url_(std::move(url)), has_(urls_->insert(url_).second) {}
  ~Claim() {
    if (has_) urls_->erase(url_);
  }
  Claim(const Claim&) = delete;
  Claim& operator=(const Claim&) = delete;
  bool Has() const { return has_; }

 private:
  const std::shared_ptr<std::set<std::string>> urls_;
  const std::string url_;
  const bool has_;
};

// The program's own update is unpacked from here.
std::string UpdatePath(Program& program, const std::string& fileName) {
  const std::string folder = program.platform.machine.DataFolder();
  for (const char* name : {"/downloads", "/temp"}) {
    Skip([&] { program.platform.files.CreateFolder(folder + name); });
  }
  return folder + "/downloads/" + fileName;
}

// Names the schemes that are taken now.
std::string Refusal(const Program& program) {
  std::string schemes(kHttpScheme);
  for (const std::string_view scheme : kNewSchemes) {
    if (TakesScheme(program, scheme)) schemes.append(", ").append(scheme);
  }
  return "It is no address that Pellora takes: " + schemes.append(" or ").append(kFtpScheme) +
         ", a host, and a path, as in http://host/file.";
}

std::string ListIsFull() { return "The list is full: it holds " + std::to_string(kMaxRecords) + " downloads."; }

bool IsDateTaken(Program& program, const DownloadRecord& added) {
  if (program.hasJournalEntry && program.hasJournalEntry(added.URL, added.DateAdded)) return true;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const double listed = program.Download(i).DateAdded;
    if (std::bit_cast<std::uint64_t>(listed) == std::bit_cast<std::uint64_t>(added.DateAdded)) return true;
  }
  return false;
}

// Scripts name a download by this date, and the web engine's journal by its address and this date: another add within
// the same millisecond must take over neither.
void MakeDateUnique(Program& program, DownloadRecord& added) {
  while (!program.datesGiven.insert(std::bit_cast<std::uint64_t>(added.DateAdded)).second ||
         IsDateTaken(program, added)) {
    added.DateAdded = std::nextafter(added.DateAdded, std::numeric_limits<double>::max());
  }
}

// The record whose place a request takes; 0: none. Files out of an archive come beside everything else from there.
std::int16_t FormerOf(Program& program, const AddRequest& request, const AddressReading& address) {
  return request.web.selection ? std::int16_t{0} : FindListed(program, address.listed, address.engine);
}

// Puts the record into the slot of the former one, or into a free one; 0 if the list is full. Nothing else
// may run before the record's transfer is in its place, or two adds would take one slot.
std::int16_t PlaceRecord(Program& program, DownloadRecord record, std::int16_t former, const AddRequest& request) {
  if (request.added) {
    record.DateAdded = *request.added;
  } else {
    MakeDateUnique(program, record);
  }
  std::int16_t index = former;
  const bool overwrite = index != 0;
  if (!overwrite) index = FreeSlot(program);
  if (index == 0) return 0;
  // Two downloads of the web engine would write one file.
  const bool hidden = overwrite && !IsWebRecord(program, index);
  program.RaiseSerial(index);
  EmptyPlace(program, index, hidden ? Evicted::Hidden : Evicted::Unloaded);
  program.Download(index) = std::move(record);
  program.savesListSoon = true;
  return index;
}

// Queues the record if as many downloads are running as may.
bool QueueIfBusy(Program& program, std::int16_t index) {
  if (!Queue(program).IsFull(program.settings.MaxSimulDownlads)) return false;
  program.Download(index).Queued = 1;
  return true;
}

// The file at a path that the save dialog has returned: the dialog has asked whether it may be replaced. A file that
// cannot be examined counts as not confirmed, and is not replaced.
Task<std::optional<FileState>> ConfirmedReplacing(Program* program, std::string path) {
  const auto found = std::make_shared<std::optional<FileState>>();
  DownloadFiles* const files = program->platform.downloadFiles;
  if (files == nullptr) co_return std::nullopt;
  try {
    Background::Work look = [found, files, path] { *found = files->StateOf(path); };
    co_await InBackground(&program->platform, std::move(look));
  } catch (const Failure&) {
    found->reset();
  }
  co_return *found;
}

// Where the request wants the file; nothing leaves it to the settings, or its name to the server's answer.
std::optional<std::string> WantedPath(const Program& program, const AddRequest& request,
                                      const AddressReading& address) {
  const bool named = !request.name.empty();
  const bool needsName = address.engine == EngineName::Classic && !request.folder.empty();
  if (!named && !needsName) return std::nullopt;
  return JoinFolder(request.folder.empty() ? program.settings.DownloadFolder : request.folder,
                    named ? request.name : address.suggestedName);
}

DownloadRecord RecordFor(const Program& program, const AddRequest& request, const AddressReading& address,
                         const std::optional<std::string>& path) {
  DownloadRecord record = NewRecord(program, address.listed, address.parsed, request.kind);
  if (path) {
    record.SavePath = *path;
    record.HasSavePath = true;
  }
  const bool web = address.engine == EngineName::Web;
  if (web && path) record.FileName = NameOf(*path);
  // The classic engine logs in to FTP servers alone.
  if ((web || record.Protocol == kFtp) && !request.web.user.empty()) {
    record.UserName = request.web.user;
    record.Password = request.web.password;
  }
  return record;
}

// Once it is known whether the record is queued.
void TellEngines(Program& program, std::int16_t index, const AddRequest& request, const AddressReading& address) {
  program.speed->SetLimitOf(index, request.web.speedLimit);
  if (request.web.handOver.expected) program.SetUndecided(index);
  if (address.engine == EngineName::Web && program.webAdded) {
    WebAdd add = request.web;
    add.folder = request.folder;
    program.webAdded(index, add);
  }
  if (!request.queuePlace) return;
  program.SetQueuePlace(index, *request.queuePlace);
  if (program.queuePlaceSet) program.queuePlaceSet(index);
}

// What queue and windows must know before it begins. True if it does not begin at once.
bool IsPutOff(Program& program, std::int16_t index, const AddRequest& request, EngineName engine) {
  if (request.web.quiet) program.SetQuiet(index);
  const bool timed = engine == EngineName::Web && request.web.startAt.has_value();
  if (timed) QueueUntil(program, index, *request.web.startAt);
  return timed || QueueIfBusy(program, index) || request.later;
}

Task<> StartPlaced(Program* program, std::int16_t index) {
  co_await StartTransfer(program, index, Start::Added);
  program->lists->RefreshRows(kAllRows, kUnforced);
}

}  // namespace

Task<> AddDownload(Program* program, AddRequest request) {
  Boxes& boxes = program->boxes;
  const AddressReading address = ReadAddress(*program, request.url, request.kind);
  if (address.engine == EngineName::None) {
    const std::string& text = address.refusedByWeb ? TextOf(*program, WebText::BadAddress) : program->Text(kBadUrl);
    if (boxes.IsOpen(request.caller, text)) co_return;
    BoxRequest box{text, kProgramName, kCritical};
    (void)co_await boxes.Ask(request.caller, std::move(box));
    co_return;
  }

  // A listed URL that is added many times raises one question at a time.
  std::optional<Claim> claim;
  const auto listed = [&] { return FormerOf(*program, request, address); };
  const bool continues =
      listed() != 0 && program->takesHandOver && program->takesHandOver(listed(), request.web.handOver);
  if (continues) {
    co_await program->lists->Restart(listed());
    co_return;
  }
  if (listed() != 0 && !claim.emplace(program->askedUrls, address.listed).Has()) co_return;

  std::optional<std::string> path = WantedPath(*program, request, address);
  const bool asksPath =
      program->settings.SaveAs && !program->headless && request.folder.empty() && request.name.empty();
  if (request.kind != 0) {
    path = UpdatePath(*program, address.parsed.fileName);
  } else if (asksPath) {
    SaveRequest save{program->Text(kSaveTitle) + address.suggestedName, address.suggestedName,
                     program->Text(kAllFiles) + " (*.*)|*.*"};
    path = co_await boxes.AskSavePath(std::move(save));
    if (!path) co_return;
    if (address.engine == EngineName::Web) request.web.replaced = co_await ConfirmedReplacing(program, *path);
  }

  if (listed() != 0) {
    if (!claim && !claim.emplace(program->askedUrls, address.listed).Has()) co_return;
    BoxRequest box{program->Text(kAskDuplicate), kProgramName, kYesNo | kQuestion};
    const int answer = co_await boxes.Ask(request.caller, std::move(box));
    if (answer == kAnswerNo) co_return;
  }
  claim.reset();

  // The list may have changed since the question.
  const std::int16_t former = listed();
  const bool wasFinished = former != 0 && program->Download(former).Finished;
  const std::int16_t index = PlaceRecord(*program, RecordFor(*program, request, address, path), former, request);
  if (index == 0) {
    program->lists->Status(ListIsFull());
    co_return;
  }
  const bool putOff = IsPutOff(*program, index, request, address.engine);
  TellEngines(*program, index, request, address);
  // It moves from the finished files to the current downloads.
  if (wasFinished) {
    program->lists->RefreshDownList();
    program->lists->RefreshRows(kAllRows, kForced);
  }
  if (!putOff) {
    co_await StartPlaced(program, index);
  } else {
    program->lists->RefreshRows(kAllRows, kUnforced);
  }
}

std::optional<std::string> PathAskedFor(const Program& program, const AddRequest& request) {
  return WantedPath(program, request, ReadAddress(program, request.url, request.kind));
}

std::string FaultOfPlace(const std::string& folder, const std::string& name) {
  if (!folder.empty() && !folder.starts_with('/')) return "The folder must be given in full, from \"/\" on.";
  if (folder.find('\0') != std::string::npos) return "The folder's name is malformed.";
  const bool isFileName = IsStorableName(name) && name.find('/') == std::string::npos && name != "." && name != "..";
  return isFileName ? std::string() : "This cannot be the name of a file: " + name;
}

AddOutcome AddWithoutAsking(Program& program, const AddRequest& request) {
  const std::string fault = FaultOfPlace(request.folder, request.name);
  if (!fault.empty()) return {0, fault};
  const WebAdd& web = request.web;
  const HandOver& handOver = web.handOver;
  for (const std::string& text : {web.user, web.password, handOver.cookies, handOver.referrer, handOver.userAgent}) {
    if (HasControls(text)) return {0, "Logins, cookies and pages cannot have control characters."};
  }
  const AddressReading address = ReadAddress(program, request.url, request.kind);
  if (address.engine == EngineName::None) return {0, Refusal(program)};
  const std::int16_t former = FormerOf(program, request, address);
  if (former != 0 && program.takesHandOver && program.takesHandOver(former, request.web.handOver)) {
    program.platform.tasks.Spawn(program.lists->Restart(former));
    return {former, {}};
  }
  if (former != 0 && !request.duplicate) return {0, "It is in the list already."};
  const bool wasFinished = former != 0 && program.Download(former).Finished;
  const std::optional<std::string> path = WantedPath(program, request, address);
  const std::int16_t index = PlaceRecord(program, RecordFor(program, request, address, path), former, request);
  if (index == 0) return {0, ListIsFull()};
  const bool putOff = IsPutOff(program, index, request, address.engine);
  if (request.later && !request.web.startAt) program.Download(index).Queued = 0;
  TellEngines(program, index, request, address);
  if (wasFinished) program.lists->RefreshDownList();
  if (putOff) {
    program.lists->RefreshRows(kAllRows, kUnforced);
  } else {
    program.platform.tasks.Spawn(StartPlaced(&program, index));
  }
  return {index, {}};
}

}  // namespace pellora
