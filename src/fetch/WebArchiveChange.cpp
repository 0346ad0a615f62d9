// Another version of the archive than the one of which the user chose entries.
//
// Its directory is read again. Entries that are in it unchanged continue from their new places; what is unpacked stays
// unpacked, and the packed bytes that are here are dropped. The user decides about those that are not there any more.
//
// The new selection gets another file. One line of the journal changes to it, with the numbers of what is unpacked
// and without any bytes held: after a kill everything is as before that line or as after it. Before that line nothing
// is deleted.
#include <utility>

#include "archive/ArchiveIndex.h"
#include "archive/SelectionUpdate.h"
#include "async/InBackground.h"
#include "async/TaskLoop.h"
#include "fetch/SelectionFiles.h"
#include "fetch/WebArchives.h"
#include "fetch/WebEngine.h"
#include "fetch/WebRecords.h"
#include "ports/Background.h"
#include "ports/DownloadFiles.h"

namespace pellora {

namespace {

constexpr int kMostReadings = 3;  // servers may have several versions at a time, and send one or the other

}  // namespace

void WebEngine::ArchiveHasChanged() {
  if (++readings_ > kMostReadings) return Rest(FetchEvent::GivenUp, Say(WebText::ArchiveChanged));
  EndRun();
  Take(FetchEvent::Pause);
  readsAgain_ = true;
  Start(Sense::Anew);
}

// True: the download continues as its selection is, or is to be updated. False: it rests or asks, or the run is over.
Task<bool> WebEngine::SeekInNewVersion(Run run) {
  const auto hold = Hold();
  const auto reading = std::make_shared<ArchiveReading>();
  const bool read = co_await ReadDirectory(run, reading);
  if (!read) co_return false;
  if (!reading->contents) {
    Rest(FetchEvent::GivenUp, Say(WebText::ArchiveChanged));
    co_return false;
  }
  // Entries that are here whole are unpacked first, as they were in the former version.
  UnpackSoon();
  std::function<bool()> over = [this, run] { return run != run_ || !unpacking_; };
  co_await program_.platform.tasks.UntilEvent(std::move(over));
  if (!StillCurrent() || run != run_ || state_ != FetchState::Opening) co_return false;
  const ArchiveIndex archive(reading->contents, CodePageOf(program_.settings.Language));
  auto update = std::make_shared<const SelectionUpdate>(
      UpdateSelection(extraction_->Chosen(), extraction_->Unpacked(), entry_.begun, archive));
  if (update->missing == 0 && update->lost == 0) {
    extraction_->BeginAgain();
    co_return true;
  }
  if (update->missing == 0 || update->selection == extraction_->Chosen()) {
    Rest(FetchEvent::GivenUp, Say(WebText::ArchiveChanged));
    co_return false;
  }
  update_ = std::move(update);
  if (update_->lost == 0) co_return true;
  AskAboutLost();
  co_return false;
}

// False: the run is over.
Task<bool> WebEngine::ReadDirectory(Run run, std::shared_ptr<ArchiveReading> reading) {
  const auto hold = Hold();
  const auto done = std::make_shared<bool>(false);
  WebAdd add;
  add.handOver = Handed();
  add.user = given_.user;
  add.password = given_.password;
  const std::unique_ptr<RemoteArchives> archives = NewWebArchives(program_, *services_);
  inquiry_ = archives->Read(
      Record().URL, add,
      [this](const std::string& state) {
        Announce(state);
        Draw();
      },
      [reading, done](const ArchiveReading& read) {
        *reading = read;
        *done = true;
      });
  std::function<bool()> over = [this, run, done] { return run != run_ || *done || !inquiry_; };
  co_await program_.platform.tasks.UntilEvent(std::move(over));
  if (!StillCurrent() || run != run_) co_return false;
  inquiry_.reset();
  co_return state_ == FetchState::Opening;
}

void WebEngine::AskAboutLost() {
  const auto update = std::exchange(update_, {});
  Ask(Say(WebText::ChosenMissing, {std::to_string(update->lost)}), Say(WebText::AskLeaveOut), Say(WebText::LeaveOut),
      Say(WebText::StopUnpacking), [this, update](bool yes) {
        if (!yes) return Rest(FetchEvent::AnswerNo, Say(WebText::ArchiveChanged));
        update_ = update;
        Take(FetchEvent::Pause);
        StartOrQueue();
      });
}

// False: the download rests, or the run is over; then the next one takes it.
Task<bool> WebEngine::TakeUpdate(Run run) {
  const auto hold = Hold();
  const auto selection = std::make_shared<const Selection>(update_->selection);
  const std::string file = FollowingSelectionName(entry_.selection, entry_.id);
  std::string failed;
  try {
    Background::Work write = [selection, files = program_.platform.downloadFiles,
                              path = SelectionPath(services_->journal, file)] {
      WriteSelection(*files, path, *selection);
    };
    co_await InBackground(&program_.platform, std::move(write));
  } catch (const Failure& failure) {
    failed = failure.what();
  }
  if (!StillCurrent()) {
    DeleteSelection(program_.platform, services_->journal, file);
    co_return false;
  }
  if (run != run_ || state_ != FetchState::Opening) co_return false;
  if (!failed.empty()) {
    Rest(FetchEvent::DiskFailed, Say(WebText::NotWritten, {failed}));
    co_return false;
  }
  SwitchTo(selection, file);
  co_return true;
}

void WebEngine::SwitchTo(const std::shared_ptr<const Selection>& selection, const std::string& file) {
  const auto update = std::exchange(update_, {});
  services_->selections[entry_.key] = selection;
  extraction_ = std::make_unique<Extraction>(selection, update->unpacked);
  const std::string former = std::exchange(entry_.selection, file);
  const std::string part = entry_.partPath;
  const FileIdentity identity = entry_.part;
  entry_.unpacked = extraction_->Unpacked();
  entry_.begun = update->begun;
  entry_.toFetch = extraction_->Size();
  entry_.held = {};
  entry_.title = TitleOfSelection(program_, *selection);
  Record().FileName = entry_.title;
  facts_ = selection->facts;
  // It still names the part file: after a kill that is taken on, empty, or missed by nobody.
  WriteJournal(JournalStateNow(), [services = services_, former](bool written) {
    if (written) DeleteSelection(services->platform, services->journal, former);
  });
  services_->journal.Discard(part, identity);
  DropPart();
  UseFactsOfSelection();
}

}  // namespace pellora
