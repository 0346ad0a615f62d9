// A download of chosen entries of an archive: only their bytes are fetched, into a part file with gaps, and each entry
// is unpacked as soon as its bytes are there.
//
// Before an entry may get its name, the journal says that it may have it; that it has it is written later, with what is
// claimed anyway. After a kill in between the file is found by its name, its length and its CRC-32, or its time. Packed
// bytes are kept until all is unpacked.
#include <algorithm>
#include <exception>
#include <utility>

#include "archive/EntryUnpacking.h"
#include "archive/RemoteArchives.h"
#include "archive/SelectionUpdate.h"
#include "async/InBackground.h"
#include "async/TaskLoop.h"
#include "core/FileNames.h"
#include "core/HarmlessName.h"
#include "fetch/CopySearch.h"
#include "fetch/NewPart.h"
#include "fetch/SelectionFiles.h"
#include "fetch/WebEngine.h"
#include "fetch/WebWords.h"
#include "ports/Background.h"
#include "ports/Files.h"
#include "ports/OutputFolders.h"
#include "ports/RefusedName.h"

namespace pellora {

namespace {

constexpr std::int64_t kRefreshEvery = 200;    // ms
constexpr std::int64_t kJournalEvery = 2'000;  // ms
constexpr std::int64_t kBegunTogether = 64;    // entries, in one line of the journal
constexpr std::int64_t kMostBegins = 64;       // such lines, which are the longer the more entries there are
constexpr std::size_t kFlushedTogether = 32;   // files
constexpr std::int64_t kMostUnnamed = std::int64_t{8} << 20;  // bytes in complete files, before they get their names
constexpr std::int64_t kLongestUnnamed = 1'000;               // ms
constexpr std::size_t kInOneWork = 256;                       // folders or files that are looked at

// Folders of the archive, and those that cannot be, with the reasons.
struct FoldersToMake {
  std::vector<SelectedEntry> entries;
  std::vector<std::string> refused;

  void MakeOne(OutputFolder& output, std::size_t at, bool traits) {
    const SelectedEntry& entry = entries[at];
    if (!refused[at].empty()) return;
    try {
      traits ? output.SetTraits(entry.path, TraitsOf(entry)) : output.MakeFolder(entry.path);
    } catch (const RefusedName& failure) {
      refused[at] = failure.what();
    }
  }
};

}  // namespace

// The start of a run.
Task<> WebEngine::OpenSelection(Run run, bool asWished) {
  const auto hold = Hold();
  const bool loaded = co_await LoadSelection(run);
  if (!loaded) co_return;
  const bool looked = co_await FindCopies(run);
  if (!looked) co_return;
  if (asWished) extraction_->BeginAgain();
  if (readsAgain_ && !update_) {
    const bool found = co_await SeekInNewVersion(run);
    if (!found) co_return;
  }
  if (update_) {
    const bool taken = co_await TakeUpdate(run);
    if (!taken) co_return;
  }
  readsAgain_ = false;
  extraction_->SetHeld(written_);
  UseFactsOfSelection();
  const Selection& chosen = extraction_->Chosen();
  const std::string name = HarmlessName(chosen.archive);
  if (entry_.path.empty()) entry_.path = JoinFolder(chosen.folder, name.empty() ? "archive.zip" : name);
  if (extraction_->AllAreUnpacked()) {
    Take(FetchEvent::AllBytesHeld);
    EndRun();
    program_.platform.tasks.Spawn(FinishSelection(run_));
  } else if (part_ || creating_) {
    Open();
  } else if (entry_.partPath.empty()) {
    OpenSelectionsPart();
  } else {
    program_.platform.tasks.Spawn(AdoptPart(run));
  }
}

// False: the download rests, or the run is over.
Task<bool> WebEngine::LoadSelection(Run run) {
  const auto hold = Hold();
  const Platform& platform = program_.platform;
  if (platform.unpacker == nullptr || platform.outputs == nullptr) {
    Rest(FetchEvent::GivenUp, Say(WebText::NoUnpacker, {"pellora-unpack"}));
    co_return false;
  }
  struct Loaded {
    std::shared_ptr<const Selection> selection;
    std::shared_ptr<OutputFolder> folder;
    bool isRead = false;
  };
  const auto loaded = std::make_shared<Loaded>();
  const auto known = services_->selections.find(entry_.key);
  if (known != services_->selections.end()) loaded->selection = known->second;
  const std::string path = SelectionPath(services_->journal, entry_.selection);
  std::string failed;
  try {
    Background::Work load = [loaded, path, downloads = platform.downloadFiles, files = &platform.files,
                             outputs = platform.outputs] {
      if (!loaded->selection) {
        loaded->selection = std::make_shared<const Selection>(pellora::LoadSelection(*files, path));
      } else if (!files->Exists(path)) {
        WriteSelection(*downloads, path, *loaded->selection);
      }
      loaded->isRead = true;
      loaded->folder = outputs->Open(loaded->selection->folder);
    };
    co_await InBackground(&program_.platform, std::move(load));
  } catch (const Failure& failure) {
    failed = failure.what();
  }
  if (!StillCurrent() || run != run_ || state_ != FetchState::Opening) co_return false;
  if (!failed.empty()) {
    const bool lost = !loaded->selection;
    Rest(FetchEvent::DiskFailed, lost ? Say(WebText::SelectionLost) : Say(WebText::NotWritten, {failed}));
    co_return false;
  }
  services_->selections[entry_.key] = loaded->selection;
  outputs_ = loaded->folder;
  if (!extraction_) extraction_ = std::make_unique<Extraction>(loaded->selection, entry_.unpacked);
  co_return true;
}

// At the first start in this run of the program: entries that the journal does not know to have got their names. False:
// the run is over.
Task<bool> WebEngine::FindCopies(Run run) {
  const auto hold = Hold();
  if (outputFiles_) co_return true;
  const Selection& chosen = extraction_->Chosen();
  const auto count = static_cast<std::int64_t>(chosen.entries.size());
  IntervalSet begun = entry_.begun;
  begun.CutTo(count);
  for (const Range& unpacked : entry_.unpacked.Ranges()) begun.Remove(unpacked);
  for (const Range& range : begun.Ranges()) {
    for (std::int64_t number = range.begin; number < range.end; ++number) {
      const SelectedEntry& entry = chosen.entries[static_cast<std::size_t>(number)];
      if (entry.isFolder) continue;
      const bool there = co_await HasCopy(entry);
      if (!StillCurrent() || run != run_) co_return false;
      if (!there) continue;
      extraction_->IsUnpacked(static_cast<std::size_t>(number));
      entry_.unpacked = extraction_->Unpacked();
    }
  }
  outputFiles_ = std::make_shared<UnpackedFiles>();
  for (const auto& [key, other] : services_->journal.All()) {
    if (!other.partPath.empty()) outputFiles_->Add(other.part);
  }
  if (chosen.existing == Existing::Number) co_return true;
  // What has been made already is not replaced by another entry of the same name.
  const auto paths = std::make_shared<std::vector<OutputPath>>();
  for (std::size_t i = 0; i < chosen.entries.size(); ++i) {
    if (entry_.unpacked.Holds(static_cast<std::int64_t>(i))) paths->push_back(chosen.entries[i].path);
  }
  for (std::size_t from = 0; from < paths->size(); from += kInOneWork) {
    Background::Work look = [paths, from, folder = outputs_, made = outputFiles_] {
      for (std::size_t i = from; i < std::min(from + kInOneWork, paths->size()); ++i) {
        Skip([&] {
          const OutputFound found = folder->LookAt((*paths)[i]);
          if (found.what == OutputName::File) made->Add(found.identity);
        });
      }
    };
    co_await InBackground(&program_.platform, std::move(look));
    if (!StillCurrent() || run != run_) co_return false;
  }
  co_return true;
}

// A file that cannot be read is none.
Task<bool> WebEngine::HasCopy(SelectedEntry entry) {
  const auto hold = Hold();
  const auto search = std::make_shared<CopySearch>(outputs_, std::move(entry));
  const auto over = std::make_shared<bool>(false);
  try {
    while (!*over) {
      Background::Work step = [search, over] { *over = search->Step(); };
      co_await InBackground(&program_.platform, std::move(step));
    }
  } catch (const Failure&) {
    co_return false;
  }
  co_return search->Found();
}

void WebEngine::UseFactsOfSelection() {
  facts_ = extraction_->Chosen().facts;
  factsKnown_ = true;
  if (!sources_.At(0).facts && NewAddress() == nullptr) sources_.At(0).facts = facts_;
}

// A new one, unless it is there.
void WebEngine::OpenSelectionsPart() {
  UseFactsOfSelection();
  if (part_) return Open();
  plan_.emplace(NewPlan());
  program_.platform.tasks.Spawn(CreatePart());
}

void WebEngine::TakeRoomOfSelection(WantedPart& wanted) const {
  wanted.keepsPath = true;  // nothing gets this name
  wanted.filled = extraction_->Size();
  wanted.besides = BytesUnpacked(extraction_->Chosen());
}

// What shows no version is taken: each entry has its CRC-32.
ReplyReading WebEngine::ReadOfSelection(ReplyReading reading) {
  const bool unproven = reading.verdict == ReplyVerdict::CompareSample && reading.reason == ReplyReason::Unproven;
  if (unproven) reading.verdict = ReplyVerdict::Body;
  return reading;
}

// Reading all of the archive is no way to get some of it.
bool WebEngine::TakesNoParts(WebLane& lane, const ReplyReading& reading) {
  AskedFor asked = lane.Asked();
  switch (reading.verdict) {
    case ReplyVerdict::CompareWhole:
      if (!asked.conditional) break;
      unconditional_ = true;  // another version shows itself in the answer
      asked.conditional = false;
      AskAgain(lane, asked);
      return true;
    case ReplyVerdict::OneLane:
      if (OthersAreOpen(lane)) return false;
      break;
    case ReplyVerdict::AskWhole:
    case ReplyVerdict::Held:
      break;
    case ReplyVerdict::CompareSample:
      if (NewAddress() != nullptr) return false;
      IsOther(lane, Say(WebText::Changed));
      return true;
    default:
      return false;
  }
  Refused(lane, Say(WebText::NoParts));
  return true;
}

void WebEngine::WriteFiguresOfSelection(WebFigures& figures) const {
  figures.size = extraction_ ? extraction_->Size() : entry_.toFetch;
  std::int64_t missing = figures.size - written_.Bytes();
  if (plan_) {
    missing = facts_.total - plan_->Held().Bytes();
  } else if (extraction_) {
    missing = extraction_->Chosen().facts.total - extraction_->HeldOrUnwanted(written_).Bytes();
  }
  figures.received =
      figures.inFolder ? figures.size : std::clamp<std::int64_t>(figures.size - missing, 0, figures.size);
}

// Unpacking

void WebEngine::EntriesArrived(const std::vector<Range>& written) {
  for (const Range& range : written) extraction_->Arrived(written_, range);
  UnpackSoon();
}

void WebEngine::UnpackSoon() {
  const bool works = Fetching() || state_ == FetchState::Finishing;
  if (!extraction_ || !part_ || !works || unpacking_ || update_ || !extraction_->Next()) return;
  unpacking_ = true;
  program_.platform.tasks.Spawn(UnpackEntries(run_));
}

Task<> WebEngine::UnpackEntries(Run run) {
  const auto hold = Hold();
  auto complete = std::make_shared<CompleteEntries>();
  while (part_ && run == run_) {
    const std::optional<std::size_t> next = extraction_->Next();
    const bool late = Now() - complete->since >= kLongestUnnamed;
    if (!complete->entries.empty() && (!next || complete->isFull || late)) {
      co_await GiveNames(run, complete);
    } else if (next) {
      co_await UnpackEntry(run, *next, complete);
    } else {
      break;
    }
    if (!StillCurrent()) break;
  }
  const bool isCurrent = StillCurrent();
  for (const auto& each : complete->entries) {
    if (isCurrent) extraction_->IsGone(each.number);
  }
  Discard(std::move(complete));
  if (!isCurrent) co_return;
  unpacking_ = false;
  UnpackSoon();  // of a later run
}

Task<> WebEngine::UnpackEntry(Run run, std::size_t number, std::shared_ptr<CompleteEntries> complete) {
  const auto hold = Hold();
  MarkBegun(number);
  outputFiles_->Add(part_->Identity());  // an entry of its name does not replace it
  const SelectedEntry entry = extraction_->Entry(number);
  const Login login = services_->logins.GivenFor({PlaceOfPassword(), {}});
  auto work = std::make_shared<EntryUnpacking>(*program_.platform.unpacker, outputs_, part_->Opened(), entry,
                                               login.password, extraction_->Chosen().existing, outputFiles_);
  const auto end = std::make_shared<EntryEnd>(EntryEnd::None);
  std::string failed;
  while (*end == EntryEnd::None && !work->IsComplete() && failed.empty()) {
    if (state_ == FetchState::Finishing) ShowUnpacking(entry, work->Plain());
    try {
      Background::Work step = [work, end] { *end = work->Step(); };
      co_await InBackground(&program_.platform, std::move(step));
    } catch (const Failure& failure) {
      failed = failure.what();  // the work has not been started
    }
    if (!StillCurrent() || run != run_) break;
  }
  const bool goesOn = StillCurrent() && run == run_;
  const bool lacksRoom = *end == EntryEnd::DiskFailed || *end == EntryEnd::NoUnpacker;
  if (goesOn && work->IsComplete()) {
    if (complete->entries.empty()) complete->since = Now();
    extraction_->IsComplete(number);
    complete->entries.push_back({number, work});
    complete->bytes += work->Plain();
    complete->isFull = complete->entries.size() == kFlushedTogether || complete->bytes >= kMostUnnamed;
    co_return;
  }
  if (goesOn && lacksRoom && !complete->entries.empty()) {
    complete->isFull = true;  // it is tried again without others, which may be in its way
  } else if (StillCurrent() && *end == EntryEnd::LeftOut) {
    EntriesAreUnpacked(run, {number});  // in any case: it is there
  } else if (goesOn) {
    failed.empty() ? EntryFailed(number, *end, *work)
                   : Rest(FetchEvent::DiskFailed, Say(WebText::NotWritten, {failed}));
  }
  Discard(std::move(work));
}

Task<> WebEngine::GiveNames(Run run, std::shared_ptr<CompleteEntries> complete) {
  const auto hold = Hold();
  auto group = std::make_shared<CompleteEntries>(std::exchange(*complete, {}));
  const std::shared_ptr<OutputFolder> folder = outputs_;
  std::string failed;
  try {
    Background::Work flush = [group, folder] {
      std::vector<CompleteFile> files;
      for (const auto& each : group->entries) files.push_back(each.work->File());
      folder->FlushTogether(files);
    };
    co_await InBackground(&program_.platform, std::move(flush));
    Background::Work name = [group, folder] {
      for (auto& each : group->entries) {
        while (each.end == EntryEnd::None) each.end = each.work->Step();
      }
      folder->FlushNames();
    };
    co_await InBackground(&program_.platform, std::move(name));
  } catch (const Failure& failure) {
    failed = failure.what();
  }
  if (StillCurrent() && failed.empty()) {
    std::vector<std::size_t> unpacked;
    for (const auto& each : group->entries) {
      if (each.end == EntryEnd::Unpacked || each.end == EntryEnd::LeftOut) unpacked.push_back(each.number);
    }
    EntriesAreUnpacked(run, unpacked);  // in any case: they are there
    for (const auto& each : group->entries) {
      if (each.end == EntryEnd::Unpacked || each.end == EntryEnd::LeftOut) continue;
      run == run_ ? EntryFailed(each.number, each.end, *each.work) : extraction_->IsGone(each.number);
    }
  } else if (StillCurrent()) {
    for (const auto& each : group->entries) extraction_->IsGone(each.number);
    if (run == run_) Rest(FetchEvent::DiskFailed, Say(WebText::NotWritten, {failed}));
  }
  Discard(std::move(group));
}

// In the background: that ends processes, and deletes what has no name.
void WebEngine::Discard(std::shared_ptr<void> works) {
  program_.platform.background.Run([works = std::move(works)] {}, [](const std::exception_ptr&) {});
}

void WebEngine::ShowUnpacking(const SelectedEntry& entry, std::int64_t plain) {
  const auto size = static_cast<std::int64_t>(std::max<std::uint64_t>(1, entry.packed.size));
  const std::int64_t percent = std::min<std::int64_t>(
      100, static_cast<std::int64_t>(100.0 * static_cast<double>(plain) / static_cast<double>(size)));
  check_ = Say(WebText::Unpacking, {entry.path.back(), std::to_string(percent)});
  Announce(check_);
  if (Now() - lastDraw_ >= kRefreshEvery) Draw();
}

// In the journal before it has its name.
void WebEngine::MarkBegun(std::size_t number) {
  const auto first = static_cast<std::int64_t>(number);
  if (entry_.begun.Holds(first)) return;
  const auto count = static_cast<std::int64_t>(extraction_->Chosen().entries.size());
  entry_.begun.Add({first, std::min(first + std::max(kBegunTogether, count / kMostBegins), count)});
  WriteJournal(JournalStateNow());
}

void WebEngine::EntriesAreUnpacked(Run run, const std::vector<std::size_t>& numbers) {
  if (numbers.empty()) return;
  for (const std::size_t number : numbers) extraction_->IsUnpacked(number);
  entry_.unpacked = extraction_->Unpacked();
  if (run == run_ && Now() - lastUnpacked_ < kJournalEvery) return;
  lastUnpacked_ = Now();
  WriteJournal(JournalStateNow());
}

void WebEngine::EntryFailed(std::size_t number, EntryEnd end, const EntryUnpacking& work) {
  switch (end) {
    case EntryEnd::NeedsMore:
      if (!extraction_->NeedsMore(number, work.Needs())) return extraction_->IsDamaged(number, false);
      entry_.toFetch = extraction_->Size();
      extraction_->Arrived(written_, work.Needs());  // it may be there
      return;
    case EntryEnd::WrongPassword:
      return extraction_->LacksPassword(number, work.HasPassword(), work.Plain() > 0);
    case EntryEnd::Damaged:
    case EntryEnd::Other:
      return extraction_->IsDamaged(number, end == EntryEnd::Other);
    case EntryEnd::NameRefused:
      return extraction_->CannotBeNamed(number, work.Reason());
    case EntryEnd::NoUnpacker:
      return Rest(FetchEvent::GivenUp, Say(WebText::NoUnpacker, {work.Reason()}));
    default:
      return Rest(FetchEvent::DiskFailed, Say(WebText::NotWritten, {work.Reason()}));
  }
}

// The end

// All that was to be fetched is on its way to the part file.
Task<> WebEngine::FinishSelection(Run run) {
  const auto hold = Hold();
  const bool begun = co_await BeginFinish(run);
  if (!begun) co_return;
  TakeNewAddress();
  UnpackSoon();
  std::function<bool()> over = [this, run] { return run != run_ || !unpacking_; };
  co_await program_.platform.tasks.UntilEvent(std::move(over));
  if (!StillCurrent() || run != run_ || FetchEntriesAgain()) co_return;
  check_.clear();
  if (extraction_->WantsPassword()) {
    AskForArchivePassword();
  } else if (!extraction_->HasFaults() && !extraction_->HasAllFiles()) {
    Rest(FetchEvent::GivenUp, Say(WebText::SelectionLost));  // it makes no sense: better said than called finished
  } else {
    const bool made = co_await MakeFolders(run);
    if (!made) co_return;
    if (extraction_->HasFaults()) {
      StopForFaults();
    } else {
      co_await SelectionIsUnpacked(run);
    }
  }
}

// Damaged ones, once, and what local headers have shown to be missing. False if there is none.
bool WebEngine::FetchEntriesAgain() {
  if (!extraction_->IsIncomplete()) return false;
  const Extraction::Again again = extraction_->TakeAgain();
  for (const Range& range : again.locked) written_.Remove(range);
  if (!again.damaged.empty() && FetchElsewhere(again.damaged)) return true;
  ForgetRanges(again.damaged);
  Start(Sense::Anew);
  return true;
}

// Damaged ones are fetched again at the next start.
void WebEngine::StopForFaults() {
  for (const std::size_t number : extraction_->Damaged()) written_.Remove(extraction_->Entry(number).range);
  entry_.held = written_;
  const LoginPlace place = PlaceOfPassword();
  if (!extraction_->Undecrypted().empty()) services_->logins.Refused(place, services_->logins.GivenFor({place, {}}));
  if (extraction_->HasChanged()) return ArchiveHasChanged();
  const std::string others = entry_.unpacked.Ranges().empty() ? std::string() : Say(WebText::OthersUnpacked);
  std::string reason;
  for (const std::string& sentence : {SentenceOnDamaged(), SentenceOnUndecrypted(), SentenceOnNameless(), others}) {
    if (!reason.empty() && !sentence.empty()) reason += ' ';
    reason += sentence;
  }
  Rest(FetchEvent::GivenUp, reason);
}

std::string WebEngine::SentenceOnDamaged() const {
  const std::set<std::size_t>& damaged = extraction_->Damaged();
  if (damaged.empty()) return {};
  const std::string name = extraction_->Entry(*damaged.begin()).path.back();
  if (damaged.size() == 1) return Say(WebText::EntryDamaged, {name});
  return Say(WebText::EntriesDamaged, {name, std::to_string(damaged.size())});
}

std::string WebEngine::SentenceOnUndecrypted() const {
  const std::set<std::size_t>& undecrypted = extraction_->Undecrypted();
  if (undecrypted.empty()) return {};
  const std::string name = extraction_->Entry(*undecrypted.begin()).path.back();
  if (undecrypted.size() == 1) return Say(WebText::EntryUndecrypted, {name});
  return Say(WebText::EntriesUndecrypted, {name, std::to_string(undecrypted.size())});
}

std::string WebEngine::SentenceOnNameless() const {
  const std::map<std::size_t, std::string>& nameless = extraction_->Nameless();
  if (nameless.empty()) return {};
  const auto& [number, reason] = *nameless.begin();
  const std::string name = extraction_->Entry(number).path.back();
  if (nameless.size() == 1) return Say(WebText::EntryNameless, {name, reason});
  return Say(WebText::EntriesNameless, {name, std::to_string(nameless.size()), reason});
}

// Their times last: what is made in a folder changes them. While files are missing the folders are to be seen to again.
// False: the download rests, or the run is over.
Task<bool> WebEngine::MakeFolders(Run run) {
  const auto hold = Hold();
  const auto folders = std::make_shared<FoldersToMake>();
  const std::vector<std::size_t> numbers = extraction_->Folders();
  for (const std::size_t number : numbers) folders->entries.push_back(extraction_->Entry(number));
  folders->refused.resize(numbers.size());
  std::string failed;
  for (const bool traits : {false, true}) {
    for (std::size_t from = 0; from < numbers.size() && failed.empty(); from += kInOneWork) {
      try {
        Background::Work make = [folders, from, traits, output = outputs_] {
          for (std::size_t i = from; i < std::min(from + kInOneWork, folders->entries.size()); ++i) {
            folders->MakeOne(*output, i, traits);
          }
        };
        co_await InBackground(&program_.platform, std::move(make));
      } catch (const Failure& failure) {
        failed = failure.what();
      }
      if (!StillCurrent() || run != run_) co_return false;
    }
  }
  if (!failed.empty()) {
    Rest(FetchEvent::DiskFailed, Say(WebText::NotWritten, {failed}));
    co_return false;
  }
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (!folders->refused[i].empty()) extraction_->CannotBeNamed(numbers[i], folders->refused[i]);
  }
  if (extraction_->HasFaults()) co_return true;
  for (const std::size_t number : numbers) extraction_->IsUnpacked(number);
  entry_.unpacked = extraction_->Unpacked();
  co_return true;
}

// A kill after the journal's line costs no bytes. Who waits for the end finds no part file in the folder.
Task<> WebEngine::SelectionIsUnpacked(Run run) {
  const auto hold = Hold();
  const auto journaled = std::make_shared<bool>(false);
  WriteJournal(JournalStateNow(), [journaled](bool) { *journaled = true; });
  std::function<bool()> over = [journaled] { return *journaled; };
  co_await program_.platform.tasks.UntilEvent(std::move(over));
  if (!StillCurrent() || run != run_) co_return;
  part_.reset();
  services_->journal.Discard(entry_.partPath, entry_.part);
  Background::Work afterDeletion = [] {};  // done in the order given
  co_await InBackground(&program_.platform, std::move(afterDeletion));
  if (!StillCurrent() || run != run_) co_return;
  entry_.path = extraction_->Chosen().folder;
  outputs_.reset();
  Finished();
}

// Passwords

LoginPlace WebEngine::PlaceOfPassword() const { return PasswordPlace(extraction_->Chosen(), entry_.id); }

void WebEngine::AskForArchivePassword() {
  const LoginPlace place = PlaceOfPassword();
  services_->logins.Refused(place, services_->logins.GivenFor({place, {}}));
  AskForLogin({{place, {}}, {}, Say(WebText::ArchivePassword)});
}

}  // namespace pellora
