// A download's part file, from the first block to the last.
#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "async/InBackground.h"
#include "async/TaskLoop.h"
#include "core/FileNames.h"
#include "core/ListFile.h"
#include "core/RoomTexts.h"
#include "core/SpeedLimits.h"
#include "fetch/FileNameFromReply.h"
#include "fetch/NewPart.h"
#include "fetch/WebEngine.h"
#include "fetch/WebRecords.h"
#include "fetch/WebWords.h"
#include "ports/Background.h"
#include "ports/Files.h"

namespace pellora {

namespace {

struct Adopted {
  std::shared_ptr<DownloadFile> file;
  FileIdentity identity;
  bool fillsGaps = false;
  bool locked = false;   // it is there, and another program or an earlier run has it
  bool hasName = false;  // it is complete, and was renamed
};

Adopted Adopt(DownloadFiles& files, const JournalEntry& entry) {
  Adopted adopted;
  adopted.hasName = HasItsName(files, entry);
  if (adopted.hasName) {
    files.FlushFolder(FolderOf(entry.path));  // that has failed before
    return adopted;
  }
  adopted.file = files.Adopt(entry.partPath, entry.part);
  adopted.fillsGaps = files.FillsGaps(FolderOf(entry.partPath));
  const std::optional<FileState> there = files.StateOf(entry.partPath);
  adopted.locked = !adopted.file && there && there->identity.inode == entry.part.inode;
  if (!adopted.file) return adopted;
  const FileState opened = adopted.file->State();
  adopted.identity = opened.identity;
  const std::vector<Range>& held = entry.held.Ranges();
  if (!held.empty() && opened.length < static_cast<std::uint64_t>(held.back().end)) adopted.file.reset();
  return adopted;
}

}  // namespace

// The first answer of all decides.
void WebEngine::ChooseName(const WebLane& lane, const FetchAnswer& answer) {
  DownloadRecord& record = Record();
  if (entry_.path.empty()) {
    const std::string& folder = entry_.folder.empty() ? program_.settings.DownloadFolder : entry_.folder;
    entry_.path =
        record.HasSavePath ? record.SavePath : JoinFolder(folder, FileNameFromReply(answer, SourceOf(lane).current));
  }
  record.FileName = NameOf(entry_.path);
}

// The settings may name another folder at the next try.
void WebEngine::ForgetPath() {
  const DownloadRecord& record = Record();
  entry_.path = record.HasSavePath ? record.SavePath : std::string();
}

// The file gets another name than the one that the user has let it take.
void WebEngine::ForgetReplacing() {
  if (!entry_.replaces) return;
  entry_.replaces.reset();
  note_ = Say(WebText::ReplacedChanged);
}

std::string WebEngine::NoRoomFor(const NewPart& part) const {
  const auto total = static_cast<std::uint64_t>(facts_.total);
  if (total > part.longest) return Say(WebText::TooLong, {FreeRoom(part.longest)});
  const WebText text = part.reserved > 0 ? WebText::NoRoomBeside : WebText::NoRoom;
  return Say(text, {NeededRoom(part.needed), FreeRoom(part.room)});
}

Task<> WebEngine::CreatePart() {
  const auto hold = Hold();
  if (!entry_.path.starts_with("/")) {
    Rest(FetchEvent::GivenUp, Say(WebText::NotWritten, {program_.settings.DownloadFolder}));
    co_return;
  }
  const std::uint32_t generation = partGeneration_;
  // A part file that a change on the server has made useless gives its name back first.
  std::function<bool()> alone = [this] { return !creating_; };
  co_await program_.platform.tasks.UntilEvent(std::move(alone));
  if (!StillCurrent() || generation != partGeneration_) co_return;
  creating_ = true;
  const auto made = std::make_shared<NewPart>();
  std::string failed;
  try {
    std::set<std::string> claimed = ClaimedPaths(program_, services_->journal, entry_.key);
    const bool givenBack = claimed.contains(entry_.path) &&
                           IsClaimedByRemoved(program_, services_->journal, entry_.path) &&
                           SaveListBeforeTouchingParts(program_);
    if (givenBack) claimed = ClaimedPaths(program_, services_->journal, entry_.key);
    // The former part of a download that begins anew keeps its name.
    WantedPart wanted{entry_.path,     !entry_.oldPartPath.empty(), std::move(claimed),
                      entry_.replaces, NeedsOfClassic(program_),    facts_.total};
    if (IsSelection()) TakeRoomOfSelection(wanted);
    Background::Work work = [made, files = program_.platform.downloadFiles, all = &program_.platform.files, wanted] {
      *made = CreateNewPart(*files, *all, wanted);
    };
    co_await InBackground(&program_.platform, std::move(work));
    if (!made->file) failed = NoRoomFor(*made);
  } catch (const Failure& failure) {
    failed = Say(WebText::NotWritten, {failure.what()});
  }
  // Meanwhile the download may have begun anew, with another part file.
  if (!StillCurrent() || generation != partGeneration_) {
    creating_ = false;
    if (made->file) {
      program_.platform.background.Run([made, files = &program_.platform.files] { files->Delete(made->partPath); },
                                       [](const std::exception_ptr&) {});
    }
    co_return;
  }
  if (!failed.empty()) {
    creating_ = false;
    factsKnown_ = false;
    ForgetPath();
    if (Fetching()) Rest(FetchEvent::DiskFailed, failed);
    co_return;
  }
  if (made->path != entry_.path) ForgetReplacing();
  entry_.path = made->path;
  entry_.partPath = made->partPath;
  entry_.part = made->identity;
  inOrder_ = made->fillsGaps;
  if (entry_.title.empty()) Record().FileName = NameOf(entry_.path);
  entry_.held = {};
  WriteJournal(JournalStateNow());
  // After the journal's line: what a kill leaves without an owner takes no room.
  try {
    Background::Work reserve = [made, total = IsSelection() ? 0 : facts_.total] {
      if (total > 0) made->file->Reserve(static_cast<std::uint64_t>(total));
    };
    co_await InBackground(&program_.platform, std::move(reserve));
  } catch (const Failure& failure) {
    failed = Say(WebText::NotWritten, {failure.what()});
  }
  creating_ = false;
  if (!StillCurrent() || generation != partGeneration_) co_return;
  if (!failed.empty()) {
    services_->journal.Discard(entry_.partPath, entry_.part);
    DropPart();
    ForgetPath();
    if (Fetching()) Rest(FetchEvent::DiskFailed, failed);
    co_return;
  }
  part_ = NewPartFile(made->partPath, made->file, made->identity);
  if (Fetching()) PartIsReady();
}

std::shared_ptr<PartFile> WebEngine::NewPartFile(const std::string& path, std::shared_ptr<DownloadFile> file,
                                                 const FileIdentity& identity) {
  return std::make_shared<PartFile>(program_.platform, services_->turns, path, std::move(file), identity);
}

// A part file that is not there any more, or another one, is left alone. Its disk may come back: the user decides.
Task<> WebEngine::AdoptPart(Run run) {
  const auto hold = Hold();
  const auto made = std::make_shared<Adopted>();
  std::string failed;
  try {
    Background::Work work = [made, files = program_.platform.downloadFiles, entry = entry_] {
      *made = Adopt(*files, entry);
    };
    co_await InBackground(&program_.platform, std::move(work));
  } catch (const Failure& failure) {
    failed = failure.what();
  }
  if (!StillCurrent() || run != run_ || state_ != FetchState::Opening) co_return;
  if (made->locked) failed = entry_.partPath;
  if (!failed.empty()) {
    Rest(FetchEvent::DiskFailed, Say(WebText::NotWritten, {failed}));
    co_return;
  }
  if (made->hasName) {
    Take(FetchEvent::AllBytesHeld);
    Finished();
    co_return;
  }
  inOrder_ = made->fillsGaps;
  if (made->file) {
    entry_.part = made->identity;
    part_ = NewPartFile(entry_.partPath, made->file, made->identity);
  } else if (!entry_.held.Ranges().empty()) {
    AskAboutPart();
    co_return;
  } else {
    DropPart();
  }
  IsSelection() ? OpenSelectionsPart() : Open();
}

void WebEngine::AskAboutPart() {
  Ask(Say(WebText::PartReplaced), Say(WebText::AskBeginAnewWithoutPart), Say(WebText::BeginAnew),
      Say(WebText::KeepPart), [this](bool yes) {
        if (yes) return BeginAnew();
        Rest(FetchEvent::AnswerNo, Say(WebText::PartReplaced));
      });
}

void WebEngine::DropPart() {
  ++partGeneration_;
  differs_ = false;
  heldBefore_ = {};
  for (const auto& lane : lanes_) lane->received = 0;
  part_.reset();
  entry_.partPath.clear();
  entry_.part = {};
  entry_.held = {};
  written_ = {};
  facts_ = {};
  sources_.ForgetFile();
  entry_.factsFrom = 0;
  entry_.foundChecksum.reset();
  if (std::exchange(entry_.piecesWereFound, false)) entry_.pieces.reset();
  factsKnown_ = false;
}

void WebEngine::PartIsReady() {
  services_->handOvers.ExpectationMet(entry_.key);
  TheFigures().answered = true;
  if (!plan_ || state_ == FetchState::Holding) return;
  if (IsSelection() && state_ == FetchState::Opening && !AnyIsOpen() && !earlyEnd_) return Open();
  const Run run = run_;
  for (auto& [number, block] : std::exchange(early_, {})) {
    if (run == run_ && plan_) PutBlock(LaneOf(number), std::move(block));
  }
  if (run != run_ || !plan_) return;
  for (const auto& lane : lanes_) lane->SetReading(true, Now());
  if (plan_->Complete()) return AllHeld();
  if (const std::optional<EarlyEnd> ended = std::exchange(earlyEnd_, {})) {
    return EndedFlow(LaneOf(ended->lane), ended->end, ended->reason);
  }
  OpenLanes();
}

void WebEngine::LaneReceived(WebLane& lane, std::unique_ptr<FetchBlock> block) {
  if (!StillCurrent()) return;
  const std::int64_t now = Now();
  const auto length = static_cast<std::int64_t>(block->Bytes().size());
  program_.CountWebReceived(block->Bytes().size());
  lastByte_ = now;
  lane.Sign(now);
  lane.received += length;
  lane.meter.Received(now, length);
  meter_.Received(now, length);
  if (lane.sample) return PutSample(lane, std::move(block));
  if (!part_) {
    early_.emplace_back(lane.Number(), std::move(block));
    return;
  }
  PutBlock(lane, std::move(block));
}

void WebEngine::PutBlock(WebLane& lane, std::unique_ptr<FetchBlock> block) {
  const auto length = static_cast<std::int64_t>(block->Bytes().size());
  const std::int64_t offset = plan_->Offset(lane.Number());
  RangePlan::Arrival arrival = plan_->Received(lane.Number(), length);
  std::vector<Range> held;
  if (lane.compares) {
    const std::int64_t end = facts_.total < 0 ? offset + length : std::min(offset + length, facts_.total);
    held = IntervalSet(arrival.needed).Missing({offset, std::max(offset, end)});
  }
  // What is only compared ends no row of failures.
  if (!arrival.needed.empty()) {
    rounds_.Received();
    SourceOf(lane).failures = 0;
    for (const Range& range : arrival.needed) SourceOf(lane).delivered.Add(range);
    backOff_.Received(length);
    lane.backOff.Received(length);
  }
  if (!held.empty() || !arrival.needed.empty()) {
    std::vector<Range> needed = arrival.needed;
    const std::int64_t comparedTo = lane.compares ? offset + length : 0;
    PartFile::Done done = [weak = weak_from_this(), generation = partGeneration_, written = arrival.needed, comparedTo](
                              PartFile::Result result, const std::string& reason) {
      const std::shared_ptr<WebEngine> self = weak.lock();
      if (!self) return;
      --self->puts_;
      if (!self->StillCurrent()) return;
      if (generation == self->partGeneration_) self->comparedTo_ = std::max(self->comparedTo_, comparedTo);
      self->PutDone(generation, written, result, reason);
    };
    ++puts_;
    part_->Put(std::move(block), offset, std::move(held), std::move(needed), std::move(done));
  }
  AfterArrival(lane, arrival.surplus);
}

void WebEngine::PutDone(std::uint32_t generation, const std::vector<Range>& written, PartFile::Result result,
                        const std::string& reason) {
  if (generation != partGeneration_) return;
  if (result == PartFile::Result::Failed) return DiskFailed(reason);
  if (result == PartFile::Result::Differs) return ComparedOther();
  for (const Range& range : written) written_.Add(range);
  unclaimed_ = true;
  if (extraction_) EntriesArrived(written);
  TakeNewAddress();
  if (Fetching() || state_ == FetchState::Finishing) return;
  Claim();  // no pulse does
  ClosePartAtRest();
  Draw();
}

// What was held before is still the old version's; what this run has written is not.
void WebEngine::ComparedOther() {
  ++partGeneration_;
  written_ = heldBefore_;
  unclaimed_ = true;
  differs_ = true;
  if (!Fetching() || LeaveOut(sources_.MainNumber(), Say(WebText::OtherBytes), true)) return;
  HasChanged();
}

// Its disk may be removed then.
void WebEngine::ClosePartAtRest() {
  const bool rests = !Fetching() && state_ != FetchState::Finishing && state_ != FetchState::Done;
  if (!rests || puts_ != 0 || claiming_ || unclaimed_) return;
  part_.reset();
  outputs_.reset();
}

bool WebEngine::Compares() const {
  const std::int64_t end = heldBefore_.Ranges().empty() ? 0 : heldBefore_.Ranges().back().end;
  return std::any_of(lanes_.begin(), lanes_.end(),
                     [&](const auto& lane) { return lane->compares && (lane->endProves || comparedTo_ < end); });
}

void WebEngine::ForgetUncompared() {
  if (!Compares()) return;
  ++partGeneration_;
  written_ = heldBefore_;
  unclaimed_ = true;
}

// All of the sample comes in one block or several; each is compared as it comes.
void WebEngine::PutSample(WebLane& lane, std::unique_ptr<FetchBlock> block) {
  const auto length = static_cast<std::int64_t>(block->Bytes().size());
  const std::int64_t offset = lane.Asked().from + lane.sampleAt;
  lane.sampleAt += length;
  if (offset > lane.Asked().to) return;  // a server of ftp or sftp sends on until the lane is closed
  const bool last = lane.Asked().from + lane.sampleAt > lane.Asked().to;
  const Range compared{offset, std::min(offset + length, lane.Asked().to + 1)};
  PartFile::Done done = [weak = weak_from_this(), run = run_, number = lane.Number(), last](PartFile::Result result,
                                                                                            const std::string& reason) {
    const std::shared_ptr<WebEngine> self = weak.lock();
    if (self && self->StillCurrent() && run == self->run_) self->SampleCompared(number, last, result, reason);
  };
  part_->Put(std::move(block), offset, {compared}, {}, std::move(done));
}

void WebEngine::SampleCompared(int number, bool last, PartFile::Result result, const std::string& reason) {
  WebLane& lane = LaneOf(number);
  if (result == PartFile::Result::Failed) return DiskFailed(reason);
  if (result == PartFile::Result::Differs) return IsOther(lane, Say(WebText::OtherBytes));
  if (!last) return;
  SourceOf(lane).twins.push_back(lane.sampled);
  Proven(lane, lane.sampled);
  TakeNewAddress();
  Release(lane);
  if (state_ == FetchState::Opening) {
    Open();
  } else {
    OpenLanes();
  }
}

void WebEngine::AfterArrival(WebLane& lane, bool surplus) {
  if (surplus && lane.endProves) return ComparedOther();
  if (plan_ && facts_.total >= 0 && plan_->Complete() && !lane.endProves) return AllHeld();
  if (surplus) return LaneLost(lane, Say(WebText::WrongAnswers), RoundCause::Failure);
  if (!plan_) return;
  bool freed = false;
  for (const auto& other : lanes_) {
    if (!other->Open() || !other->Flows() || other->endProves) continue;
    if (plan_->Next(other->Number()) != LaneNext::Close) continue;
    Release(*other);
    freed = true;
  }
  if (facts_.total >= 0 && plan_->Complete() && !lane.endProves) return AllHeld();
  if (freed) OpenLanes();
}

void WebEngine::AllHeld() {
  if (!part_) return;  // once it is there
  if (state_ == FetchState::Holding) Take(FetchEvent::NetworkOrTimeBack);
  Take(FetchEvent::AllBytesHeld);
  TheFigures().yields = false;
  EndRun();
  program_.platform.tasks.Spawn(IsSelection() ? FinishSelection(run_) : Finish(run_));
}

void WebEngine::DiskFailed(const std::string& reason) { LosePart(Say(WebText::NotWritten, {reason})); }

void WebEngine::PartReplaced() { LosePart(Say(WebText::PartReplaced)); }

void WebEngine::LosePart(const std::string& reason) {
  ++partGeneration_;
  written_ = entry_.held;
  part_.reset();
  if (Fetching() || state_ == FetchState::Finishing) Rest(FetchEvent::DiskFailed, reason);
}

void WebEngine::Claim() {
  lastClaim_ = Now();
  if (claiming_ || !unclaimed_ || !part_) return;
  claiming_ = true;
  unclaimed_ = false;
  // Until a comparison is over, what it has let in may be another version's.
  const IntervalSet& sure = Compares() ? heldBefore_ : written_;
  const std::int64_t length = sure.Ranges().empty() ? 0 : sure.Ranges().back().end;
  part_->Flush(length, false,
               [weak = weak_from_this(), generation = partGeneration_, claim = sure](PartFile::Result result,
                                                                                     const std::string& reason) {
                 const std::shared_ptr<WebEngine> self = weak.lock();
                 if (!self) return;
                 self->claiming_ = false;
                 if (!self->Current() || generation != self->partGeneration_) return;
                 if (result == PartFile::Result::Replaced) return self->PartReplaced();
                 if (result != PartFile::Result::Good) return self->DiskFailed(reason);
                 self->entry_.held = claim;
                 self->WriteJournal(self->JournalStateNow());
                 if (self->pulse_.Enabled()) return;
                 self->Claim();  // what was written meanwhile
                 self->ClosePartAtRest();
               });
}

JournalState WebEngine::JournalStateNow() const {
  switch (state_) {
    case FetchState::Paused:
      return JournalState::Paused;
    case FetchState::Waiting:
      return JournalState::Waiting;
    case FetchState::Stopped:
    case FetchState::Asking:
      return JournalState::Stopped;
    case FetchState::Done:
      return JournalState::Finished;
    default:
      return JournalState::Active;
  }
}

void WebEngine::WriteJournal(JournalState state, Journal::Done done) {
  entry_.state = state;
  entry_.facts = facts_;
  if (Current()) {
    entry_.speedLimit = program_.speed->LimitOf(slot_.Index());
    entry_.undecided = program_.IsUndecided(slot_.Index());
  }
  entry_.queuePlace = program_.QueuePlace(slot_.Index());
  services_->listed.insert(entry_.key);
  services_->journal.Put(entry_, std::move(done));
}

}  // namespace pellora
