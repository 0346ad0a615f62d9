#include "mainwin/AddDownload.h"

#include <cstdlib>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "core/Program.h"
#include "platform/Boxes.h"
#include "platform/Clock.h"
#include "platform/Desktop.h"
#include "platform/Failure.h"
#include "platform/Files.h"
#include "platform/Platform.h"
#include "transfer/ParseUrl.h"

namespace pellora {

namespace {

constexpr int kBadUrl = 400;
constexpr int kSaveTitle = 401;
constexpr int kAllFiles = 402;
constexpr int kAskDuplicate = 403;

// A string of the list file is at most this long.
constexpr std::size_t kLongestUrl = 65535;

// Claims the right to ask about a listed URL for as long as it lives. Only the first to claim it has it.
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

// The record in use with exactly this URL, or 0.
std::int16_t FindUrl(Program& program, const std::string& url) {
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (record.InUse && record.URL == url) return static_cast<std::int16_t>(i);
  }
  return 0;
}

// The first free slot, growing the list if need be; 0 if it is full.
std::int16_t FreeSlot(Program& program) {
  for (int i = 1; i <= program.DownloadCount; ++i) {
    if (!program.Download(i).InUse) return static_cast<std::int16_t>(i);
  }
  if (program.DownloadCount == kMaxRecords) return 0;
  program.ResizeDownloads(static_cast<std::int16_t>(program.DownloadCount + 1));
  return program.DownloadCount;
}

// What the slot still holds belongs to a former record. With `dropped` that record is overwritten: its
// transfer is not stopped here but only hidden; it finds its slot filled anew and ends by itself.
void EmptyForNewRecord(Program& program, std::int16_t index, bool dropped) {
  const std::shared_ptr<Transfer> transfer = std::exchange(program.TransferWindowAt(index), nullptr);
  const std::shared_ptr<ZipViewer> viewer = std::exchange(program.ZipViewerAt(index), nullptr);
  program.RaiseSerial(index);
  if (transfer) Skip([&] { dropped ? transfer->HideWindow() : transfer->UnloadWindow(); });
  if (viewer) Skip([&] { viewer->UnloadWindow(); });
}

DownloadRecord NewRecord(const Program& program, const std::string& url, const ParsedUrl& parsed, std::int16_t kind) {
  DownloadRecord record;
  record.Segments.resize(1);  // the blank element 0
  record.FileName = parsed.fileName;
  record.Path = parsed.path;
  record.Host = parsed.host;
  record.Port = parsed.port;
  record.UserName = parsed.user;
  record.Password = parsed.password;
  record.Protocol = parsed.protocol;
  record.URL = url;
  record.InUse = true;
  record.Valid = true;
  record.DateAdded = program.platform.clock.Now();
  record.DownloadKind = static_cast<std::int16_t>(std::abs(int{kind}));
  return record;
}

// The program's own update is unpacked from a fixed place.
std::string UpdatePath(Program& program, const std::string& fileName) {
  const std::string folder = program.platform.machine.ProgramFolder();
  for (const char* name : {"/downloads", "/temp"}) {
    Skip([&] { program.platform.files.CreateFolder(folder + name); });
  }
  return folder + "/downloads/" + fileName;
}

}  // namespace

Task<> AddDownload(Program* program, std::string url, bool later, std::int16_t kind, const void* caller) {
  Boxes& boxes = program->boxes;
  const ParsedUrl parsed = ParseUrl(url);
  if (parsed.result == kUrlRefused || url.size() > kLongestUrl) {
    const std::string& text = program->Text(kBadUrl);
    if (boxes.Stands(caller, text)) co_return;
    BoxRequest request{text, kProgramName, kCritical};
    (void)co_await boxes.Ask(caller, std::move(request));
    co_return;
  }

  // Whoever hands the same listed URL over again and again is asked once at a time, not once for each.
  std::optional<Claim> claim;
  if (FindUrl(*program, url) != 0 && !claim.emplace(program->askedUrls, url).Has()) co_return;

  std::optional<std::string> path;
  if (kind != 0) {
    path = UpdatePath(*program, parsed.fileName);
  } else if (program->settings.SaveAs) {
    SaveRequest request{program->Text(kSaveTitle) + parsed.fileName, parsed.fileName,
                        program->Text(kAllFiles) + " (*.*)|*.*"};
    path = co_await boxes.AskSavePath(std::move(request));
    if (!path) co_return;
  }

  bool overwrite = FindUrl(*program, url) != 0;
  if (overwrite) {
    if (!claim && !claim.emplace(program->askedUrls, url).Has()) co_return;
    BoxRequest request{program->Text(kAskDuplicate), kProgramName, kYesNo | kQuestion};
    const int answer = co_await boxes.Ask(caller, std::move(request));
    if (answer == kAnswerNo) co_return;
  }
  claim.reset();

  // From here to the new transfer in its slot nothing else may run, or two adds would take one slot. The
  // list may be another one since the question: the URL is looked for again.
  std::int16_t index = overwrite ? FindUrl(*program, url) : std::int16_t{0};
  overwrite = index != 0;
  if (index == 0) index = FreeSlot(*program);
  if (index == 0) {
    program->lists->Status("The list is full: it holds " + std::to_string(kMaxRecords) + " downloads.");
    co_return;
  }
  EmptyForNewRecord(*program, index, overwrite);
  DownloadRecord& record = program->Download(index);
  const bool wasFinished = overwrite && record.Finished;
  record = NewRecord(*program, url, parsed, kind);
  if (path) {
    record.SavePath = *path;
    record.HasSavePath = true;
  }
  if (program->ActiveCount() >= program->settings.MaxSimulDownlads) {
    record.Queued = 1;
    later = true;
  }
  // It moves from the list of finished files to that of current downloads.
  if (wasFinished) {
    program->lists->RefreshDownList();
    program->lists->RefreshRows(0, 1);
  }
  if (!later) {
    const std::shared_ptr<Transfer> transfer = program->newTransferWindow();
    const std::uint32_t serial = program->Serial(index);
    program->TransferWindowAt(index) = transfer;
    transfer->SetRecordIndex(index);
    co_await transfer->InitConnection();
    if (program->ShowTransferWindow && program->Holds(index, serial) && program->TransferWindowAt(index) == transfer) {
      transfer->ShowWindow();
    }
  }
  program->lists->RefreshRows(0, 0);
}

}  // namespace pellora
