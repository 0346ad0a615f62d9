// What a download does with several sources.
#include <algorithm>

#include "async/InBackground.h"
#include "core/Metalink.h"
#include "core/SpeedLimits.h"
#include "core/WebTexts.h"
#include "fetch/LinkHeader.h"
#include "fetch/WebEngine.h"
#include "ports/Background.h"
#include "ports/Failure.h"
#include "ports/Files.h"

namespace pellora {

namespace {

// Neighbouring pieces may be of different sources.
std::vector<Range> InPieces(const std::vector<Range>& ranges, std::int64_t length) {
  std::vector<Range> pieces;
  for (const Range& range : ranges) {
    const std::int64_t step = length > 0 ? length : range.Length();
    for (std::int64_t at = range.begin; at < range.end; at += step)
      pieces.push_back({at, std::min(at + step, range.end)});
  }
  return pieces;
}

}  // namespace

void WebEngine::BeginSources() {
  // Another address must show by itself that it has the same file.
  sources_.Begin(given_, NewAddress() == nullptr ? entry_.mirrors : std::vector<Mirror>());
  const auto from = static_cast<int>(std::min<std::uint64_t>(entry_.factsFrom, kMostMirrors));
  if (factsKnown_ && from < sources_.Count()) sources_.At(from).facts = facts_;
  for (int number = 1; number < sources_.Count(); ++number) {
    const Source& source = sources_.At(number);
    if (source.state == SourceState::InUse && !MayUse(source)) {
      sources_.LeaveOut(number, Say(WebText::MirrorUnsafe));
    }
  }
}

bool WebEngine::HasHashes() const { return entry_.checksum || entry_.foundChecksum || entry_.pieces; }

// Whoever sees or changes what an unencrypted mirror sends must not get into a file that was asked for by TLS.
bool WebEngine::MayUse(const Source& source) const {
  return !IsEncrypted(given_.scheme) || IsEncrypted(source.given.scheme) || (HasHashes() && entry_.hashesAreSafe);
}

FileFacts WebEngine::KnownOf(const WebLane& lane) const {
  FileFacts known = SourceOf(lane).facts.value_or(FileFacts());
  known.total = facts_.total;
  return known;
}

std::vector<int> WebEngine::OpenLanesOfSources() const {
  std::vector<int> open(static_cast<std::size_t>(sources_.Count()));
  for (const auto& lane : lanes_) {
    if (lane->Open()) ++open[static_cast<std::size_t>(lane->source)];
  }
  return open;
}

std::vector<int> WebEngine::RoomOfSources(const std::vector<int>& open) const {
  std::vector<int> rooms;
  for (int number = 0; number < sources_.Count(); ++number) {
    const std::string origin = OriginOf(sources_.At(number).current);
    const int room = services_->hosts.Room(origin, Now());
    const bool waits = services_->hosts.WaitFor(origin, Now()) > 0;
    rooms.push_back(waits ? 0 : open[static_cast<std::size_t>(number)] > 0 ? room : std::max(room, 1));
  }
  return rooms;
}

std::optional<int> WebEngine::SourceForLane() const {
  const std::vector<int> open = OpenLanesOfSources();
  return sources_.ForLane(open, RoomOfSources(open), HasHashes());
}

// A source's first answer has no validator to be compared with: where a checksum proves the file in the end, the length
// is enough.
ReplyReading WebEngine::ReadOfMirror(const WebLane& lane, ReplyReading reading) const {
  if (reading.verdict != ReplyVerdict::CompareSample || SourceOf(lane).facts || !HasHashes()) return reading;
  reading.verdict = ReplyVerdict::Body;
  reading.reason = ReplyReason::None;
  return reading;
}

void WebEngine::Proven(const WebLane& lane, const FileFacts& facts) {
  Source& source = SourceOf(lane);
  if (!source.facts) source.facts = facts;
  source.proven = true;
}

void WebEngine::TakeLinks(const WebLane& lane, const FetchAnswer& answer) {
  const bool areKnown = sources_.Count() == static_cast<int>(entry_.mirrors.size()) + 1;
  if (!IsHttp(lane.address.scheme) || !areKnown) return;
  for (const Mirror& mirror : MirrorsIn(answer, lane.address)) {
    const auto isKnown = [&](const Mirror& known) { return known.url == mirror.url; };
    if (entry_.mirrors.size() == kMostMirrors || mirror.url == WireUrl(given_)) continue;
    if (std::any_of(entry_.mirrors.begin(), entry_.mirrors.end(), isKnown)) continue;
    entry_.mirrors.push_back(mirror);
    sources_.Add(mirror);
    const int number = sources_.Count() - 1;
    if (!MayUse(sources_.At(number))) sources_.LeaveOut(number, Say(WebText::MirrorUnsafe));
  }
}

bool WebEngine::LeaveOut(int source, const std::string& fault, bool forGood) {
  if (!sources_.HasOthers(source)) return false;
  const int main = sources_.MainNumber();
  sources_.LeaveOut(source, fault);
  if (forGood && source > 0) {
    entry_.mirrors.at(static_cast<std::size_t>(source - 1)).fault = fault;
    WriteJournal(JournalStateNow());
  }
  if (main == source) ForgetMain();
  GoOnWithoutSource(source);
  return true;
}

bool WebEngine::RestSource(int source, const std::string& fault) {
  if (!sources_.HasOthers(source)) return false;
  const int main = sources_.MainNumber();
  sources_.Rest(source, fault);
  if (main == source) (void)MoveToOther();
  GoOnWithoutSource(source);
  return true;
}

bool WebEngine::MoveToOther() {
  const bool moved = sources_.MoveOn(lastReason_);
  ForgetMain();
  return moved;
}

void WebEngine::ForgetMain() { oneLane_ = unranged_ = unconditional_ = differs_ = false; }

void WebEngine::GoOnWithoutSource(int source) {
  ForgetUncompared();
  for (const auto& lane : lanes_) {
    if (lane->source == source) Release(*lane);
  }
  if (!Fetching() || state_ == FetchState::Holding) return;
  if (AnyIsOpen()) return OpenLanes();
  HoldFor(0, RoundCause::Failure);
}

bool WebEngine::MainHasFailed(RoundCause cause) const {
  constexpr int kDead = 2;  // tried again once
  if (cause == RoundCause::NoNetwork || !sources_.HasOthers(sources_.MainNumber())) return false;
  return cause == RoundCause::RetryAfter || HasHashes() || sources_.Main().failures >= kDead;
}

void WebEngine::HoldFor(std::int64_t wait, RoundCause cause) {
  Take(FetchEvent::LastLaneLost);
  holdCause_ = cause;
  holdUntil_ = Now() + wait;
  AnnounceRetry(wait);
}

bool WebEngine::FetchElsewhere(const std::vector<Range>& wrong) {
  const std::vector<int> suspects = sources_.Suspects(InPieces(wrong, entry_.pieces ? entry_.pieces->length : 0));
  if (suspects.empty() || state_ != FetchState::Finishing) return false;
  const std::vector<Range> ranges = wrong.empty() ? sources_.DeliveredBy(suspects) : wrong;
  for (const int number : suspects) (void)LeaveOut(number, Say(WebText::OtherBytes), true);
  sources_.ForgetDelivered(ranges);
  ForgetRanges(ranges);
  Start(Sense::Anew);
  return true;
}

// A Metalink is read, not kept: its files are added in its place. False if it is none, or names no file; it may have a
// note then. The run may be over.
Task<bool> WebEngine::TakeMetalink(Run run) {
  const auto hold = Hold();
  if (!services_->metalinkArrived || !(isMetalink_ || NamesMetalink(Record().URL))) co_return false;
  if (facts_.total > static_cast<std::int64_t>(kLongestMetalink)) co_return false;
  const auto read = std::make_shared<std::optional<std::vector<MetalinkFile>>>();
  try {
    Background::Work work = [read, files = &program_.platform.files, path = entry_.partPath, total = facts_.total] {
      std::string bytes(static_cast<std::size_t>(total), '\0');
      bytes.resize(files->OpenForReading(path)->ReadAt(0, bytes));
      *read = ReadMetalink(bytes);
    };
    co_await InBackground(&program_.platform, std::move(work));
  } catch (const Failure&) {
    read->reset();  // what cannot be read can still be kept
  }
  if (!StillCurrent() || run != run_) co_return false;
  std::vector<MetalinkAdd> adds;
  for (const MetalinkFile& file : read->value_or(std::vector<MetalinkFile>())) {
    WebAdd& add = adds.emplace_back(AddOf(file, IsEncrypted(given_.scheme))).add;
    add.folder = entry_.folder;
    add.speedLimit = program_.speed->LimitOf(slot_.Index());
    add.quiet = entry_.quiet;
  }
  if (adds.empty()) {
    note_ = Say(WebText::BadMetalink);
    co_return false;
  }
  part_.reset();
  services_->metalinkArrived(slot_.Index(), std::move(adds));
  co_return true;
}

// What is to be known of the file and of its sources.
std::string WebEngine::Notes() const {
  constexpr int kMost = 4;  // sources that are named
  std::string text = note_;
  int named = 0;
  for (int number = 0; number < sources_.Count() && named < kMost; ++number) {
    const Source& source = sources_.At(number);
    if (source.fault.empty()) continue;
    if (!text.empty()) text += ' ';
    text += Say(WebText::MirrorLeftOut, {source.given.host, source.fault});
    ++named;
  }
  return text;
}

}  // namespace pellora
