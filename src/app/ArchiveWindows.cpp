#include "app/ArchiveWindows.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "archive/ArchiveIndex.h"
#include "async/TaskLoop.h"
#include "core/EngineChoice.h"
#include "core/Program.h"
#include "core/RecordLife.h"
#include "core/SpeedLimits.h"
#include "mainwin/AddDownload.h"
#include "ports/EventLoop.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "zipview/LookInside.h"

namespace pellora {

namespace {

// In one answer to a script: the bus takes lists of up to 64 MiB.
constexpr std::size_t kMostListed = 300'000;  // entries
constexpr std::size_t kMostNameBytes = std::size_t{24} << 20;

const char* FaultWords(EntryFault fault) {
  switch (fault) {
    case EntryFault::Password:
      return "encrypted";
    case EntryFault::Encryption:
      return "encrypted in a way that Pellora does not support";
    case EntryFault::Method:
      return "packed in a way that Pellora does not support";
    case EntryFault::Kind:
      return "a link or a device";
    case EntryFault::Name:
      return "its name leads out of the folder";
    case EntryFault::BadName:
      return "its name is too long or has control characters";
    case EntryFault::Place:
      return "its data lies outside of its place in the archive";
    default:
      return "";
  }
}

// Days from 1899-12-30 to a day of the Gregorian calendar (the algorithm of days from civil dates).
std::int64_t DayOf(std::int64_t year, std::int64_t month, std::int64_t day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = year / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146'097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 693'899;
}

// Of the DOS fields, which have local time and steps of two seconds.
double ModifiedOf(const ArchiveEntry& entry) {
  const std::int64_t month = entry.dosDate >> 5U & 15U;
  const std::int64_t day = entry.dosDate & 31U;
  if (month < 1 || month > 12 || day < 1) return 0;
  const std::int64_t hours = entry.dosTime / 2048;
  const std::int64_t minutes = entry.dosTime / 32 % 64;
  const std::int64_t seconds = hours * 3600 + minutes * 60 + entry.dosTime % 32 * 2;
  constexpr double kSecondsOfADay = 86'400;
  return static_cast<double>(DayOf(1980 + (entry.dosDate >> 9U), month, day)) +
         static_cast<double>(seconds) / kSecondsOfADay;
}

// The bus has U+FFFD, three bytes, in place of each NUL.
std::size_t BytesOnBus(const std::string& name) {
  return name.size() + 2 * static_cast<std::size_t>(std::count(name.begin(), name.end(), '\0'));
}

ListedArchive ListingOf(const ArchiveIndex& index) {
  ListedArchive listed;
  const auto tooLarge = [&](const std::string& what) {
    return ListedArchive{{}, "The archive has " + what + ": that is too much for a list."};
  };
  if (index.Count() > kMostListed) return tooLarge(std::to_string(index.Count()) + " entries");
  listed.entries.reserve(index.Count());
  std::size_t bytes = 0;
  for (std::size_t at = 0; at < index.Count(); ++at) {
    const ArchiveEntry entry = index.Entry(at);
    std::string name = index.NameOf(entry) + (entry.kind == EntryKind::Folder ? "/" : "");
    bytes += BytesOnBus(name);
    if (bytes > kMostNameBytes) return tooLarge("names of more than 24 MiB");
    listed.entries.push_back(
        {std::move(name), entry.size, entry.packed, ModifiedOf(entry), FaultWords(index.FaultOf(at)), entry.modified});
  }
  return listed;
}

std::optional<Existing> ReadExisting(const std::string& text) {
  if (text.empty() || text == "number") return Existing::Number;
  if (text == "replace") return Existing::Replace;
  if (text == "keep") return Existing::Keep;
  return std::nullopt;
}

// Why these cannot be unpacked all; empty if they can be. A folder that cannot be made is missed by nobody.
std::string FaultOfChoice(const ArchiveIndex& index, const std::vector<std::size_t>& chosen,
                          const ArchiveOrder& order) {
  for (const std::size_t at : chosen) {
    if (index.Entry(at).kind == EntryKind::Folder) continue;
    const EntryFault fault = index.FaultOf(at);
    if (fault == EntryFault::None || (fault == EntryFault::Password && !order.archivePassword.empty())) continue;
    const std::string name = index.NameOf(index.Entry(at));
    if (fault == EntryFault::Password) return name + " is encrypted: its password is needed.";
    return name + " cannot be unpacked: " + FaultWords(fault) + ".";
  }
  return {};
}

}  // namespace

void ArchiveWindows::Open(const ArchiveLook& look) {
  std::erase_if(windows_, [](const std::weak_ptr<LookInside>& window) { return window.expired(); });
  LookActions actions;
  actions.extract = [this, look](Selection selection, std::string password) {
    Extract(look, std::move(selection), std::move(password));
  };
  actions.download = [this, look] { Download(look); };
  const auto window = std::make_shared<LookInside>(program_, archives_, look, std::move(actions));
  windows_.push_back(window);
  window->Start();
}

void ArchiveWindows::UnloadAll() {
  for (const std::weak_ptr<LookInside>& weak : std::exchange(windows_, {})) {
    const std::shared_ptr<LookInside> window = weak.lock();
    if (window && window->Loaded()) Skip([&] { window->Unload(); });
  }
  inquiries_.clear();
}

// The record that has waited for this choice is not wanted any more.
void ArchiveWindows::Extract(const ArchiveLook& look, Selection selection, std::string password) {
  std::int64_t speedLimit = look.add.speedLimit;
  if (look.waits && program_.Holds(look.record, look.serial) && !program_.Download(look.record).Active) {
    speedLimit = program_.speed->LimitOf(look.record);
    EmptyPlace(program_, look.record);
    Release(program_, look.record, kDeleted);
  }
  AddRequest request{.url = look.url, .caller = this};
  request.folder = selection.folder;
  // What is known of the archive as a whole says nothing of its files.
  request.web.handOver = look.add.handOver;
  request.web.user = look.add.user;
  request.web.password = look.add.password;
  request.web.speedLimit = speedLimit;
  request.web.startAt = look.add.startAt;
  request.web.selection = std::make_shared<const Selection>(std::move(selection));
  request.web.archivePassword = std::move(password);
  program_.platform.tasks.Spawn(AddDownload(&program_, std::move(request)));
}

void ArchiveWindows::Download(const ArchiveLook& look) {
  if (program_.Holds(look.record, look.serial) && !IsSelection(program_, look.record)) {
    program_.platform.tasks.Spawn(program_.lists->Restart(look.record));
    return;
  }
  AddRequest request{.url = look.url, .caller = this};
  request.folder = look.add.folder;
  request.name = look.name;
  request.web = look.add;
  program_.platform.tasks.Spawn(AddDownload(&program_, std::move(request)));
}

std::string ArchiveWindows::Read(const ArchiveOrder& order, std::function<void(const ArchiveReading&)> done) {
  const AddressReading address = ReadAddress(program_, order.url);
  if (address.engine == EngineName::None) return "It is no address that Pellora takes.";
  if (address.engine != EngineName::Web) {
    return "The engine that fetches this address does not look inside archives; with the option \"All downloads\" the "
           "other one fetches it.";
  }
  WebAdd add;
  add.user = order.user;
  add.password = order.password;
  const int number = ++lastInquiry_;
  auto inquiry =
      archives_.Read(order.url, add, {}, [this, number, done = std::move(done)](const ArchiveReading& reading) {
        // It calls this: it ends after the call.
        const std::shared_ptr<ArchiveInquiry> ended = std::move(inquiries_[number].reading);
        inquiries_.erase(number);
        done(reading);
        program_.platform.events.Post([ended] {});
      });
  if (!inquiry) return "It is no address that Pellora takes.";
  inquiries_[number] = {order.caller, std::move(inquiry)};
  return {};
}

void ArchiveWindows::CallerGone(const std::string& caller) {
  std::erase_if(inquiries_, [&](const auto& one) { return one.second.caller == caller; });
}

void ArchiveWindows::List(const ArchiveOrder& order, std::function<void(ListedArchive archive)> answered) {
  const CodePage page = CodePageOf(program_.settings.Language);
  std::string reason = Read(order, [answered, page](const ArchiveReading& reading) {
    if (!reading.contents) return answered({{}, reading.problem});
    answered(ListingOf(ArchiveIndex(reading.contents, page)));
  });
  if (!reason.empty()) answered({{}, std::move(reason)});
}

void ArchiveWindows::Get(const ArchiveOrder& order, std::function<void(AddOutcome outcome)> answered) {
  const auto refusal = [&]() -> std::string {
    if (order.patterns.empty()) return "No files are named.";
    if (!ReadExisting(order.existing)) return "Existing files are kept, replaced or numbered: " + order.existing;
    std::string fault = FaultOfPlace(order.folder, "x");
    if (order.folder.empty()) fault = "No folder is named.";
    if (fault.empty() && !program_.platform.files.FolderExists(order.folder))
      fault = "There is no folder " + order.folder + ".";
    return fault;
  };
  std::string reason = refusal();
  if (reason.empty()) {
    reason = Read(order, [this, order, answered](const ArchiveReading& reading) { answered(Add(order, reading)); });
  }
  if (!reason.empty()) answered({0, std::move(reason)});
}

AddOutcome ArchiveWindows::Add(const ArchiveOrder& order, const ArchiveReading& reading) {
  if (!reading.contents) return {0, reading.problem};
  const ArchiveIndex index(reading.contents, CodePageOf(program_.settings.Language));
  const std::vector<std::size_t> chosen = index.Matching(order.patterns);
  std::string fault = FaultOfChoice(index, chosen, order);
  if (!fault.empty()) return {0, std::move(fault)};
  Selection selection = index.Select(chosen, true);
  if (selection.entries.empty()) return {0, "No file in the archive has such a name."};
  selection.folder = order.folder;
  selection.existing = ReadExisting(order.existing).value_or(Existing::Number);
  AddRequest request{.url = order.url};
  request.folder = order.folder;
  request.web.user = order.user;
  request.web.password = order.password;
  request.web.quiet = order.quiet;
  request.web.selection = std::make_shared<const Selection>(std::move(selection));
  request.web.archivePassword = order.archivePassword;
  try {
    return AddWithoutAsking(program_, request);
  } catch (const Failure& failure) {
    return {0, failure.what()};
  }
}

}  // namespace pellora
