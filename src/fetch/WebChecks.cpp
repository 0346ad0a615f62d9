// What is known for or against the bytes of a part file before it gets its name: checksums, and those of pieces.
//
// The bytes are read from the flushed part file: what was hashed on arrival may be rewritten later. A pause ends a
// check, and the resumed download begins it again.
#include <algorithm>

#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "core/FileNames.h"
#include "core/Percent.h"
#include "fetch/PieceCheck.h"
#include "fetch/WebEngine.h"
#include "fetch/WebWords.h"
#include "ports/Background.h"

namespace pellora {

namespace {

constexpr std::int64_t kMebibyte = std::int64_t{1} << 20;
constexpr std::int64_t kRefreshEvery = 200;  // ms

// Read in one work. Other downloads write in between, and a small file shows its progress too; each work costs a trip
// to its thread and back.
std::int64_t ChunkOf(std::int64_t total) { return std::clamp(total / 64, kMebibyte, 4 * kMebibyte); }

std::string ShownKind(ChecksumKind kind) { return ToUpper(NameOf(kind)); }

// All digits would fill the window.
std::string Shortened(const std::string& digits) {
  constexpr std::size_t kShown = 8;  // at each end
  return digits.substr(0, kShown) + "..." + digits.substr(digits.size() - kShown);
}

std::string Size(std::int64_t bytes) {
  constexpr std::int64_t kUnit = 1'000'000;
  return std::to_string((bytes + kUnit - 1) / kUnit) + " MB";
}

std::shared_ptr<PartFile::Sums> NewSums(Digests* digests, const std::vector<ChecksumKind>& kinds) {
  auto sums = std::make_shared<PartFile::Sums>();
  for (const ChecksumKind kind : kinds) sums->push_back(digests != nullptr ? digests->Begin(kind) : nullptr);
  return sums;
}

// Of one range, written when it has been read.
struct Hashed {
  std::optional<PartFile::Result> result;
  std::string reason;
};

}  // namespace

// True: nothing is known against the file. Else the download rests, or the run is over.
Task<bool> WebEngine::CheckFile(Run run) {
  const auto hold = Hold();
  describing_.reset();  // too late
  if (SeeksList()) {
    co_await SeekList(run);
    if (!StillCurrent() || run != run_) co_return false;
  }
  const std::vector<Checksum> wanted = WantedChecksums();
  if (wanted.empty() && !HasPieces()) co_return true;
  WriteJournal(JournalStateNow());  // a kill from now on costs no bytes
  if (wanted.empty()) {
    const bool right = co_await CheckPieces(run);
    if (!right) co_return false;
  } else {
    const bool right = co_await CheckSums(run, wanted);
    if (!right) co_return false;
  }
  check_.clear();
  Announce(program_.Text(kTextWebBuilding));
  // It may have been replaced meanwhile.
  const bool same = co_await FlushWhole(run);
  co_return same;
}

Task<bool> WebEngine::CheckSums(Run run, std::vector<Checksum> wanted) {
  const auto hold = Hold();
  std::vector<ChecksumKind> kinds;
  for (const Checksum& checksum : wanted) kinds.push_back(checksum.kind);
  std::vector<Range> whole = {{0, facts_.total}};
  const Digits digits = co_await HashRanges(run, std::move(whole), std::move(kinds));
  if (digits.empty()) co_return false;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    if (Judge(wanted[i], digits[i])) continue;
    if (state_ != FetchState::Finishing) co_return false;
    std::vector<Range> wrong;
    if (HasPieces()) {
      std::optional<std::vector<Range>> found = co_await WrongPieces(run);
      if (!found) co_return false;
      wrong = std::move(*found);
    }
    AskAboutWrong(
        Say(WebText::ChecksumWrong, {ShownKind(wanted[i].kind), Shortened(digits[i]), Shortened(wanted[i].hex)}),
        wrong);
    co_return false;
  }
  co_return true;
}

// False: it is wrong, or the download rests because it cannot be known. Of the user's own alone: another one is only
// left out then.
bool WebEngine::Judge(const Checksum& wanted, const std::string& digits) {
  if (digits == wanted.hex) {
    if (checked_.empty()) checked_ = Say(WebText::ChecksumRight, {ShownKind(wanted.kind)});
    return true;
  }
  if (!digits.empty()) return false;
  if (wanted != entry_.checksum) return true;
  Rest(FetchEvent::DiskFailed, Say(WebText::ChecksumNotComputed, {ShownKind(wanted.kind)}));
  return false;
}

// Where no checksum of the whole file is known.
Task<bool> WebEngine::CheckPieces(Run run) {
  const auto hold = Hold();
  const std::optional<std::vector<Range>> wrong = co_await WrongPieces(run);
  if (!wrong) co_return false;
  if (wrong->empty()) co_return true;
  const std::int64_t length = entry_.pieces->length;
  std::int64_t count = 0;
  for (const Range& range : *wrong) count += (range.Length() + length - 1) / length;
  AskAboutWrong(Say(WebText::PiecesWrong, {std::to_string(count), std::to_string(entry_.pieces->hex.size())}), *wrong);
  co_return false;
}

// Nothing: the download rests, or the run is over.
Task<std::optional<std::vector<Range>>> WebEngine::WrongPieces(Run run) {
  const auto hold = Hold();
  const PieceHashes pieces = *entry_.pieces;
  std::vector<Range> ranges;
  for (std::size_t i = 0; i < pieces.hex.size(); ++i) ranges.push_back(PieceAt(pieces, i, facts_.total));
  std::vector<ChecksumKind> kinds = {pieces.kind};
  const Digits digits = co_await HashRanges(run, std::move(ranges), std::move(kinds));
  if (digits.empty()) co_return std::nullopt;
  const bool computed = std::none_of(digits.begin(), digits.end(), [](const std::string& one) { return one.empty(); });
  std::vector<Range> wrong;
  if (computed) wrong = WrongRanges(pieces, facts_.total, digits);
  if (computed && wrong.empty() && checked_.empty()) {
    checked_ = Say(WebText::ChecksumRight, {ShownKind(pieces.kind)});
  }
  co_return wrong;
}

// The digits of each range by each kind, range by range, empty for a kind that the system does not compute. None at
// all: the download rests, or the run is over.
Task<WebEngine::Digits> WebEngine::HashRanges(Run run, std::vector<Range> ranges, std::vector<ChecksumKind> kinds) {
  const auto hold = Hold();
  Digits digits;
  const std::int64_t chunkLength = ChunkOf(facts_.total);
  for (const Range range : ranges) {
    const std::shared_ptr<PartFile::Sums> sums = NewSums(program_.platform.digests, kinds);
    for (std::int64_t at = range.begin; at < range.end; at += chunkLength) {
      const std::int64_t percent = at * 100 / facts_.total;
      ShowCheck(Say(WebText::Checking, {std::to_string(percent)}));
      const auto hashed = std::make_shared<Hashed>();
      const Range chunk{at, std::min(at + chunkLength, range.end)};
      part_->Hash(chunk, sums, [hashed](PartFile::Result result, const std::string& reason) {
        hashed->result = result;
        hashed->reason = reason;
      });
      std::function<bool()> over = [hashed] { return hashed->result.has_value(); };
      co_await program_.platform.tasks.UntilEvent(std::move(over));
      if (!StillCurrent() || run != run_) co_return Digits();
      if (hashed->result == PartFile::Result::Good) continue;
      if (hashed->result == PartFile::Result::Replaced) PartReplaced();
      if (hashed->result == PartFile::Result::Failed) LosePart(Say(WebText::NotRead, {hashed->reason}));
      co_return Digits();
    }
    for (const auto& sum : *sums) digits.push_back(sum ? sum->Finish() : std::string());
  }
  co_return digits;
}

void WebEngine::ShowCheck(std::string state) {
  const bool first = check_.empty();
  check_ = std::move(state);
  Announce(check_);
  if (first || Now() - lastDraw_ >= kRefreshEvery) Draw();
}

// The user's own in any case; of what was found it is already the strongest, and counts if the user's is weaker.
std::vector<Checksum> WebEngine::WantedChecksums() const {
  std::vector<Checksum> wanted;
  const std::optional<Checksum>& own = entry_.checksum;
  const std::optional<Checksum>& found = entry_.foundChecksum;
  if (found && Computes(found->kind) && (!own || own->kind < found->kind)) wanted.push_back(*found);
  if (own) wanted.push_back(*own);
  return wanted;
}

bool WebEngine::HasPieces() const { return entry_.pieces && AreOfFile(*entry_.pieces, facts_.total); }

// Where nothing as good is known.
bool WebEngine::SeeksList() const {
  const bool known = entry_.checksum || (entry_.foundChecksum && entry_.foundChecksum->kind >= ChecksumKind::Sha256);
  const WebAddress& current = sources_.At(0).current;
  return program_.settings.SeekChecksums && !known && !ListPlaces(current).empty() &&
         services_->hosts.WaitFor(OriginOf(current), Now()) == 0;
}

// A name on this disk could be that of another file there.
std::vector<std::string> WebEngine::NamesOfAddress() const {
  std::vector<std::string> names;
  for (const WebAddress& address : {sources_.At(0).current, given_}) {
    std::string name = PercentDecoded(LastPathPart(address));
    if (!name.empty()) names.push_back(std::move(name));
  }
  return names;
}

Task<> WebEngine::SeekList(Run run) {
  const auto hold = Hold();
  ShowCheck(Say(WebText::SeekingChecksums));
  const WebAddress& current = sources_.At(0).current;
  seek_ = std::make_unique<ListSeek>(program_.platform, services_->hosts, ListPlaces(current), NamesOfAddress(),
                                     [this](const WebAddress& address) { return MakeSmallRequest(address); });
  std::function<bool()> over = [this, run] { return run != run_ || !seek_ || seek_->Over(); };
  co_await program_.platform.tasks.UntilEvent(std::move(over));
  if (run != run_ || !seek_) co_return;
  if (seek_->Found()) entry_.foundChecksum = seek_->Found();
  seek_.reset();
  check_.clear();
}

void WebEngine::AskAboutWrong(const std::string& reason, const std::vector<Range>& wrong) {
  if (FetchElsewhere(wrong)) return;
  const std::int64_t bytes = IntervalSet(wrong).Bytes();
  const bool pieces = !wrong.empty();
  const std::string question = pieces ? Say(WebText::AskFetchPieces, {Size(bytes)}) : Say(WebText::AskFetchAgain);
  Ask(reason, question, Say(pieces ? WebText::FetchPieces : WebText::FetchAgain), Say(WebText::KeepPart),
      [this, reason, wrong](bool yes) {
        if (yes) return FetchAgain(wrong);
        Rest(FetchEvent::AnswerNo, reason);
      });
}

void WebEngine::FetchAgain(const std::vector<Range>& wrong) {
  if (wrong.empty()) return BeginAnew();
  ForgetRanges(wrong);
  StartOrQueue();
}

// They are missing again. Where nothing is left, the length that came with them may be wrong as well.
void WebEngine::ForgetRanges(const std::vector<Range>& wrong) {
  for (const Range& range : wrong) written_.Remove(range);
  if (written_.Ranges().empty()) return LeavePart();
  Take(FetchEvent::Pause);
  entry_.held = written_;
  WriteJournal(JournalStateNow());
}

}  // namespace pellora
