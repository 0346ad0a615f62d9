// The end of a download: the part file is checked and gets the name of the complete file.
#include <set>

#include "async/InBackground.h"
#include "async/TaskLoop.h"
#include "core/FileNames.h"
#include "core/ListFile.h"
#include "fetch/FileNameFromReply.h"
#include "fetch/NewPart.h"
#include "fetch/SelectionFiles.h"
#include "fetch/WebEngine.h"
#include "fetch/WebWords.h"
#include "ports/Background.h"

namespace pellora {

// Says that all bytes are there, and waits for the comparisons. False: one of them has failed, or the run is over.
Task<bool> WebEngine::BeginFinish(Run run) {
  const auto hold = Hold();
  Announce(program_.Text(kTextWebBuilding));
  Draw();
  std::function<bool()> written = [this] { return puts_ == 0; };
  co_await program_.platform.tasks.UntilEvent(std::move(written));
  if (!StillCurrent() || run != run_) co_return false;
  if (differs_) HasChanged();  // a comparison came after the last byte
  co_return !differs_;
}

Task<> WebEngine::Finish(Run run) {
  const auto hold = Hold();
  const bool begun = co_await BeginFinish(run);
  if (!begun) co_return;
  if (!part_) co_return;  // a write has failed, and has stopped the download
  for (const auto& lane : lanes_) lane->compares = lane->endProves = false;
  TakeNewAddress();
  if (WantedChecksums().empty() && !HasPieces() && !SeeksList()) YieldPlace();
  const bool flushed = co_await FlushWhole(run);
  if (!flushed) co_return;
  entry_.held = IntervalSet({{0, facts_.total}});
  const bool right = co_await CheckFile(run);
  if (!right) co_return;
  const bool taken = co_await TakeMetalink(run);
  if (taken || !StillCurrent() || run != run_) co_return;
  const std::string folder = FolderOf(entry_.path);
  std::string name = NameOf(entry_.path);
  for (int tried = 0; tried < kMostNumbers; ++tried) {
    const bool published = co_await PublishAs(run, JoinFolder(folder, name));
    if (!StillCurrent()) co_return;
    if (published) {
      Finished();
      co_return;
    }
    if (state_ != FetchState::Finishing) co_return;
    ForgetReplacing();
    const std::set<std::string> claimed = ClaimedPaths(program_, services_->journal, entry_.key);
    do name = FollowingName(name);
    while (claimed.contains(JoinFolder(folder, name)));
  }
  DiskFailed(entry_.path);
}

// It waits for nothing but the disk, which serves many at once: another download begins meanwhile.
void WebEngine::YieldPlace() {
  constexpr int kMostAtOnce = 24;  // open files, besides those of downloads that have a place
  int active = 0;
  for (int i = 1; i <= program_.DownloadCount; ++i) active += program_.Download(i).Active ? 1 : 0;
  if (active >= program_.settings.MaxSimulDownlads + kMostAtOnce) return;
  TheFigures().yields = true;
  program_.lists->RefreshRows(slot_.Index(), kUnforced);
}

// False: it has failed, or the run is over.
Task<bool> WebEngine::FlushWhole(Run run) {
  const auto hold = Hold();
  struct Flushed {
    std::optional<PartFile::Result> result;
    std::string reason;
  };
  const auto flushed = std::make_shared<Flushed>();
  part_->Flush(facts_.total, true, [flushed](PartFile::Result result, const std::string& reason) {
    *flushed = {result, reason};
  });
  std::function<bool()> over = [flushed] { return flushed->result.has_value(); };
  co_await program_.platform.tasks.UntilEvent(std::move(over));
  if (!StillCurrent() || run != run_) co_return false;
  if (flushed->result == PartFile::Result::Replaced) PartReplaced();
  if (flushed->result == PartFile::Result::Failed) DiskFailed(flushed->reason);
  co_return flushed->result == PartFile::Result::Good;
}

// The journal names the new name before the file gets it, so that a start after a kill finds the file there.
Task<bool> WebEngine::PublishAs(Run run, std::string path) {
  const auto hold = Hold();
  struct Step {
    std::optional<FileState> there, part;
    std::optional<bool> journaled;
  };
  const auto step = std::make_shared<Step>();
  bool hasName = false;
  std::string failed;
  DownloadFiles* const files = program_.platform.downloadFiles;
  try {
    Background::Work look = [step, files, path, part = entry_.partPath] {
      step->there = files->StateOf(path);
      step->part = files->StateOf(part);
    };
    co_await InBackground(&program_.platform, std::move(look));
    if (!StillCurrent() || run != run_) co_return false;
    const bool replaces = step->there && entry_.replaces && *step->there == *entry_.replaces;
    if (!step->part) {
      PartReplaced();
      co_return false;
    }
    if (step->there && !replaces) co_return false;
    entry_.path = path;
    entry_.renamed = step->part;
    renaming_ = true;
    WriteJournal(JournalState::Renaming, [step](bool written) { step->journaled = written; });
    std::function<bool()> journaled = [step] { return step->journaled.has_value(); };
    co_await program_.platform.tasks.UntilEvent(std::move(journaled));
    if (!StillCurrent() || run != run_) co_return false;
    renameIsJournaled_ = *step->journaled;
    std::optional<FileState> replaced = replaces ? entry_.replaces : std::nullopt;
    hasName = co_await GiveName(path, std::move(replaced));
  } catch (const Failure& failure) {
    failed = failure.what();
  }
  renaming_ = false;
  if (!failed.empty() && StillCurrent() && run == run_) DiskFailed(failed);
  co_return hasName;
}

// False if something else has the name. Failure(File) if it is not known to be on the disk.
Task<bool> WebEngine::GiveName(std::string path, std::optional<FileState> replaced) {
  const auto hold = Hold();
  struct Outcome {
    bool over = false;
    std::exception_ptr failure;
  };
  const auto outcome = std::make_shared<Outcome>();
  const auto step = std::make_shared<NameStep>(entry_.partPath, std::move(path), std::move(replaced));
  Background::Done done = [outcome](const std::exception_ptr& failure) { *outcome = {true, failure}; };
  services_->turns.Give(step, std::move(done));
  std::function<bool()> over = [outcome] { return outcome->over; };
  co_await program_.platform.tasks.UntilEvent(std::move(over));
  if (outcome->failure) std::rethrow_exception(outcome->failure);
  co_return step->HasName();
}

void WebEngine::Finished() {
  DownloadRecord& record = Record();
  Take(FetchEvent::Renamed);
  EndRun();
  services_->handOvers.Forget(entry_.key);
  services_->newAddresses.erase(entry_.key);
  part_.reset();
  record.SavePath = entry_.path;
  record.HasSavePath = true;
  record.FileName = entry_.title.empty() ? NameOf(entry_.path) : entry_.title;
  record.Valid = false;
  record.Finished = true;
  record.Active = false;
  record.Paused = false;
  record.Percent = 100.0F;
  WebFigures& figures = TheFigures();
  figures.standing = WebStanding::Finished;
  figures.yields = false;
  figures.inFolder = !entry_.title.empty();
  entry_.partPath.clear();
  written_ = entry_.held;
  if (unconfirmed_ && checked_.empty()) note_ = Say(WebText::LengthNotConfirmed);
  std::string done = note_.empty() ? program_.Text(kTextWebComplete) : note_;
  if (!checked_.empty()) {
    done += " " + checked_;
    note_ += (note_.empty() ? "" : " ") + checked_;
  }
  entry_.reason = Notes();
  services_->journal.Discard(entry_.oldPartPath, entry_.oldPart);
  entry_.oldPartPath.clear();
  const std::string selection = std::exchange(entry_.selection, {});
  WriteJournal(JournalState::Finished);
  DeleteSelection(program_.platform, services_->journal, selection);
  // Else a start after a kill finds the file by its line, and the list is saved soon enough.
  if (!renameIsJournaled_) (void)SaveListBeforeTouchingParts(program_);
  Announce(std::move(done));
  if (view_ != nullptr) view_->SetFinished();
  Draw();
  program_.lists->RefreshFinishedSoon();
  if (view_ != nullptr) view_->OfferFile();
}

}  // namespace pellora
