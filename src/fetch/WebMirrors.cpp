// What a download does with several sources.
#include <algorithm>

#include "async/InBackground.h"
#include "core/HarmlessName.h"
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

bool WebEngine::Computes(ChecksumKind kind) const {
  Digests* const digests = program_.platform.digests;
  return digests != nullptr && digests->Computes(kind);
}

bool WebEngine::HasHashes() const {
  const auto counts = [this](const auto& hash) { return hash && Computes(hash->kind); };
  const bool fits = facts_.total < 0 || HasPieces();
  return counts(entry_.checksum) || counts(entry_.foundChecksum) || (counts(entry_.pieces) && fits);
}

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
  AddMirrors(MirrorsIn(answer, lane.address));
  SeekDescription(lane, answer);
}

void WebEngine::AddMirrors(const std::vector<Mirror>& mirrors) {
  for (const Mirror& mirror : mirrors) {
    const auto isKnown = [&](const Mirror& known) { return known.url == mirror.url; };
    if (entry_.mirrors.size() == kMostMirrors || mirror.url == WireUrl(given_)) continue;
    if (std::any_of(entry_.mirrors.begin(), entry_.mirrors.end(), isKnown)) continue;
    entry_.mirrors.push_back(mirror);
    sources_.Add(mirror);
    const int number = sources_.Count() - 1;
    if (!MayUse(sources_.At(number))) sources_.LeaveOut(number, Say(WebText::MirrorUnsafe));
  }
}

// Where nothing else proves the file. It is fetched while the file is, and nothing waits for it.
void WebEngine::SeekDescription(const WebLane& lane, const FetchAnswer& answer) {
  if (lane.source != 0 || facts_.total <= 0 || HasHashes()) return;
  const std::optional<WebAddress> at = DescriptionIn(answer, lane.address);
  if (!at || services_->hosts.WaitFor(OriginOf(*at), Now()) > 0) return;
  describing_ = std::make_unique<SmallFetch>(
      program_.platform, services_->hosts, [this](const WebAddress& address) { return MakeSmallRequest(address); },
      SmallFetch::Redirects::Followed,
      [this](const std::optional<std::string>& document) {
        describing_.reset();
        if (document && StillCurrent() && Fetching() && factsKnown_ && !HasHashes()) TakeDescription(*document);
      });
  if (!Skip([&] { describing_->Begin(*at); })) describing_.reset();
}

// Of its files the one that has this one's length and name.
void WebEngine::TakeDescription(const std::string& document) {
  const std::vector<MetalinkFile> files = ReadMetalink(document).value_or(std::vector<MetalinkFile>());
  const std::vector<std::string> names = NamesOfAddress();
  const auto describes = [&](const MetalinkFile& file) {
    const auto isName = [&](const std::string& name) { return HarmlessName(name) == file.name; };
    return file.size == facts_.total && std::any_of(names.begin(), names.end(), isName);
  };
  const auto file = std::find_if(files.begin(), files.end(), describes);
  if (file == files.end()) return;
  const auto computed = [this](const Checksum& checksum) { return Computes(checksum.kind); };
  const auto checksum = std::find_if(file->checksums.begin(), file->checksums.end(), computed);
  if (checksum != file->checksums.end()) entry_.foundChecksum = *checksum;
  if (file->pieces && !entry_.pieces && AreFewEnough(*file->pieces)) {
    entry_.pieces = file->pieces;
    entry_.piecesWereFound = true;
  }
  entry_.hashesAreSafe = IsEncrypted(given_.scheme);  // then so is the document
  AddMirrors(file->mirrors);
  if (part_) WriteJournal(JournalStateNow());
  SpreadLanes();
}

// Sources have come while all lanes are at one: it keeps its share of them.
void WebEngine::SpreadLanes() {
  const int sources = sources_.InUse();
  const int share = (OpenCount() + sources - 1) / std::max(sources, 1);
  int kept = 0;
  for (const auto& lane : lanes_) {
    const bool moves = lane->Open() && lane->source == sources_.MainNumber() && !lane->compares && !lane->sample;
    if (moves && part_ && ++kept > share) Release(*lane);
  }
  OpenLanes();
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
  if (!services_->metalinkArrived || entry_.ofMetalink) co_return false;
  if (!isMetalink_ && !NamesMetalink(Record().URL)) co_return false;
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
  MetalinkFiles files = AsMetalink(read->value_or(std::vector<MetalinkFile>()));
  if (files.files.empty()) {
    note_ = Say(WebText::BadMetalink);
    co_return false;
  }
  part_.reset();
  services_->metalinkArrived(slot_.Index(), std::move(files));
  co_return true;
}

// Its files get what this download was added with. The Metalink itself is not among them.
MetalinkFiles WebEngine::AsMetalink(std::vector<MetalinkFile> files) const {
  MetalinkFiles metalink{std::move(files), IsEncrypted(given_.scheme), WireUrl(given_), {}};
  for (MetalinkFile& file : metalink.files) {
    std::erase_if(file.mirrors, [&](const Mirror& mirror) { return mirror.url == metalink.url; });
  }
  std::erase_if(metalink.files, [](const MetalinkFile& file) { return file.mirrors.empty(); });
  WebAdd& add = metalink.add;
  add.folder = entry_.folder;
  add.speedLimit = program_.speed->LimitOf(slot_.Index());
  add.quiet = entry_.quiet;
  add.handOver = Handed();
  add.user = given_.user;
  add.password = given_.password;
  return metalink;
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
