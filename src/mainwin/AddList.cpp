#include "mainwin/AddList.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "async/TaskLoop.h"
#include "core/EngineChoice.h"
#include "core/FileNames.h"
#include "core/Numbers.h"
#include "core/RoomTexts.h"
#include "core/UrlList.h"
#include "core/WebAddress.h"
#include "core/WebTexts.h"
#include "lang/Format.h"
#include "lang/Language.h"
#include "mainwin/AddFields.h"
#include "mainwin/MetalinkAdds.h"
#include "ports/Failure.h"
#include "ports/Locale.h"

namespace pellora {

namespace {

constexpr int kBadUrl = 400;
constexpr std::size_t kRowsInOneGo = 128;  // looking for a name may mean a disk
constexpr std::size_t kAddsInOneGo = 16;
constexpr int kPatience = 30;  // seconds that a server may take

enum SubItem : std::size_t { kSize, kUrl, kNote, kSubItems };

// Of sizes; one that is not known counts for nothing.
std::int64_t SumOf(std::int64_t a, std::int64_t b) { return ClampedSum(a, std::max<std::int64_t>(b, 0)); }

std::string Joined(const std::string& a, const std::string& b) { return a.empty() || b.empty() ? a + b : a + " " + b; }

}  // namespace

AddList::AddList(Program& program)
    : Window(program.platform, "AddList", "Add several addresses"), program_(program), second_(program.platform, 1000) {
  Tag = TagText(static_cast<int>(WebText::AddListCaption));
  Width = 760;
  Height = 460;
  Command1.OnClick = [this] { platform_.tasks.Spawn(AddChecked()); };
  Command2.OnClick = [this] { Unload(); };
  Command3.OnClick = [this] { CheckEach(true); };
  Command4.OnClick = [this] { CheckEach(false); };
  ListView1.OnCheck = [this](std::size_t row) {
    items_.at(row).checked = ListView1.Rows()[row].checked.value_or(false);
    ShowSum();
  };
  second_.OnTimer = [this] { DropSilent(); };
}

void AddList::OnLoad() { ApplyLanguage(*this, program_); }

void AddList::OnQueryUnload(bool&, UnloadMode) { ForgetAll(); }

void AddList::ForgetAll() {
  ++generation_;
  for (Slot& slot : slots_) slot = {};
  second_.SetEnabled(false);
  items_.clear();
  read_ = asked_ = 0;
  listed_.clear();
  taken_.clear();
  lastGiven_.clear();
  reading_ = adding_ = cut_ = measuring_ = false;
  rooms_.clear();
  notes_.clear();
  ListView1.SetRows({});
}

void AddList::Offer(std::vector<ListedAdd> adds, bool cut, const std::string& note) {
  if (items_.empty()) {
    for (int i = 1; i <= program_.DownloadCount; ++i) {
      const DownloadRecord& record = program_.Download(i);
      if (!record.InUse) continue;
      listed_.insert(record.URL);
      listed_.insert(WithoutPassword(record.URL));
    }
    if (program_.prospects != nullptr) taken_ = program_.prospects->TakenPaths();
  }
  if (notes_.find(note) == std::string::npos) notes_ = Joined(notes_, note);
  const std::size_t room = kMostAddresses - std::min(items_.size(), kMostAddresses);
  cut_ = cut_ || cut || adds.size() > room;
  adds.resize(std::min(adds.size(), room));
  std::vector<ListRow> rows = ListView1.Rows();
  for (ListedAdd& add : adds) {
    rows.push_back({.key = {}, .text = {}, .icon = {}, .subItems = std::vector<std::string>(kSubItems)});
    rows.back().subItems[kUrl] = WithoutPassword(add.request.url);
    items_.emplace_back().add = std::move(add);
  }
  ListView1.SetRows(std::move(rows));
  Show();
  Raise();
  ShowSum();
  second_.SetEnabled(true);
  if (!reading_) platform_.tasks.Spawn(ReadItems());
}

Task<> AddList::ReadItems() {
  const auto hold = Hold();
  const std::uint64_t generation = generation_;
  reading_ = true;
  while (read_ < items_.size()) {
    for (std::size_t left = kRowsInOneGo; left > 0 && read_ < items_.size(); --left, ++read_) {
      ReadItem(items_[read_]);
      ShowRow(read_);
    }
    AskServers();
    ShowSum();
    co_await platform_.tasks.Yield();
    if (generation != generation_) co_return;
  }
  reading_ = false;
  ShowSum();
  if (!measuring_) platform_.tasks.Spawn(MeasureRooms());
}

void AddList::ReadItem(Item& item) {
  const AddRequest& request = item.add.request;
  const AddressReading address = ReadAddress(program_, request.url);
  const bool web = address.engine == EngineName::Web && program_.prospects != nullptr;
  item.checked = false;
  item.state = State::Refused;
  if (address.engine == EngineName::None) {
    item.problem = address.refusedByWeb ? TextOf(program_, WebText::BadAddress) : program_.Text(kBadUrl);
    return;
  }
  item.named = !request.name.empty();
  item.name = item.named ? request.name : web ? program_.prospects->NameOf(request.url) : address.suggestedName;
  if (!listed_.insert(address.listed).second) {
    item.problem = TextOf(program_, WebText::ListedTwice);
    return;
  }
  if (LosesChecksum(program_, request)) {
    item.problem = TextOf(program_, WebText::ChecksumLost);
    return;
  }
  if (AsksTooMuchOfClassic(address, request)) {
    item.problem = TextOf(program_, WebText::OnlyWebEngine);
    return;
  }
  item.classic = address.engine == EngineName::Classic;
  item.state = State::Ready;
  item.checked = true;
  item.asks = web && item.add.size < 0;
  rooms_.try_emplace(SaveFolderOf(item));
  if (program_.prospects != nullptr && !item.name.empty()) JudgeName(item);
}

std::string AddList::SaveFolderOf(const Item& item) const {
  const std::string& asked = item.add.request.folder;
  return asked.empty() ? program_.settings.DownloadFolder : asked;
}

// In the order of the rows, so that the first of several of one name keeps it.
void AddList::JudgeName(Item& item) {
  const std::string folder = SaveFolderOf(item);
  if (!item.free.empty()) {
    taken_.erase(JoinFolder(folder, item.free));
    lastGiven_.erase(JoinFolder(folder, item.judged));
  }
  item.judged = item.free = item.name;
  std::string& last = lastGiven_.try_emplace(JoinFolder(folder, item.name), item.name).first->second;
  Skip([&] { item.free = program_.prospects->FreeName(folder, last, taken_); });
  taken_.insert(JoinFolder(folder, item.free));
  last = item.free;
}

std::string AddList::NoteOf(const Item& item) const {
  if (!item.problem.empty() || item.free.empty() || item.free == item.name) return item.problem;
  return FillText(TextOf(program_, WebText::NameTaken), {item.name, item.free});
}

void AddList::ShowRow(std::size_t at) {
  const Item& item = items_[at];
  ListRow row = ListView1.Rows()[at];
  row.text = item.name;
  row.subItems[kSize] = item.add.size < 0
                            ? std::string()
                            : FormatSize(item.add.size, program_.LangStrings, platform_.locale.DecimalSeparator());
  row.subItems[kNote] = NoteOf(item);
  row.toolTip = row.subItems[kNote];
  row.checked.reset();
  if (item.state == State::Ready) row.checked = item.checked;
  ListView1.SetRow(at, std::move(row));
}

void AddList::ShowSum() {
  std::size_t count = 0;
  std::int64_t bytes = 0;
  for (const Item& item : items_) {
    if (item.state != State::Ready || !item.checked) continue;
    ++count;
    bytes = SumOf(bytes, item.add.size);
  }
  const std::string size = FormatSize(bytes, program_.LangStrings, platform_.locale.DecimalSeparator());
  Label1.Caption = FillText(TextOf(program_, WebText::CheckedInAll), {std::to_string(count), size});
  std::string note = RoomNote();
  if (note.empty() && cut_) {
    note = FillText(TextOf(program_, WebText::TooManyAddresses), {std::to_string(items_.size())});
  }
  Label2.Caption = Joined(note, notes_);
  Command1.Enabled = count > 0 && !reading_ && !adding_;
}

void AddList::CheckEach(bool checked) {
  for (std::size_t at = 0; at < items_.size(); ++at) {
    Item& item = items_[at];
    if (item.state != State::Ready || item.checked == checked) continue;
    item.checked = checked;
    ShowRow(at);
  }
  ShowSum();
}

void AddList::AskServers() {
  for (Slot& slot : slots_) {
    while (!slot.inquiry && asked_ < read_) {
      const std::size_t item = asked_++;
      if (items_[item].asks) AskServer(slot, item);
    }
  }
}

void AddList::AskServer(Slot& slot, std::size_t item) {
  const auto number = static_cast<std::size_t>(&slot - slots_.data());
  const AddRequest& request = items_[item].add.request;
  slot.item = item;
  slot.seconds = 0;
  slot.inquiry = program_.prospects->Ask(request.url, request.web,
                                         [this, number](const Prospect& prospect) { TakeProspect(number, prospect); });
}

void AddList::TakeProspect(std::size_t slot, const Prospect& prospect) {
  const auto hold = Hold();
  Item& item = items_.at(slots_.at(slot).item);
  slots_[slot].inquiry.reset();
  item.add.size = prospect.size;
  item.problem = prospect.problem;
  if (!prospect.problem.empty()) item.checked = false;
  if (!prospect.name.empty() && item.add.request.name.empty()) {
    item.named = true;
    const bool other = item.name != prospect.name;
    item.name = prospect.name;
    if (other) JudgeName(item);
  }
  ShowRow(slots_[slot].item);
  ShowSum();
  AskServers();
}

void AddList::DropSilent() {
  bool any = false;
  for (Slot& slot : slots_) {
    if (!slot.inquiry || ++slot.seconds < kPatience) continue;
    slot.inquiry.reset();
    any = true;
  }
  if (any) AskServers();
}

Task<> AddList::MeasureRooms() {
  const auto hold = Hold();
  const std::uint64_t generation = generation_;
  measuring_ = true;
  std::set<std::string> measured;
  for (auto next = rooms_.begin(); next != rooms_.end();) {
    const std::string folder = next->first;
    measured.insert(folder);
    const FolderRoom room = co_await RoomOf(&platform_, folder);
    if (generation != generation_) co_return;
    rooms_[folder] = room;
    ShowSum();
    next = std::find_if(rooms_.begin(), rooms_.end(), [&](const auto& one) { return !measured.contains(one.first); });
  }
  measuring_ = false;
}

// Names the first disk that is too small for what is checked.
std::string AddList::RoomNote() const {
  std::map<std::uint64_t, std::int64_t> wanted;  // bytes by disk
  for (const Item& item : items_) {
    if (item.state != State::Ready || !item.checked) continue;
    const auto room = rooms_.find(SaveFolderOf(item));  // none for a folder of the settings that has changed since
    if (room == rooms_.end()) continue;
    std::int64_t& bytes = wanted[room->second.disk];
    bytes = SumOf(bytes, item.add.size);
  }
  for (const auto& [folder, room] : rooms_) {
    const auto bytes = wanted.find(room.disk);
    if (bytes == wanted.end() || room.bytes < 0 || bytes->second <= room.bytes) continue;
    const std::string needed = NeededRoom(static_cast<std::uint64_t>(bytes->second));
    const std::string found = FreeRoom(static_cast<std::uint64_t>(room.bytes));
    if (wanted.size() == 1) return FillText(TextOf(program_, WebText::NoRoom), {needed, found});
    return FillText(TextOf(program_, WebText::NoRoomIn), {folder, needed, found});
  }
  return {};
}

// What cannot be added stays, with the reason, and so does the window.
Task<> AddList::AddChecked() {
  const auto hold = Hold();
  if (adding_) co_return;
  const std::uint64_t generation = generation_;
  adding_ = true;
  ShowSum();
  bool all = true;
  for (std::size_t at = 0, done = 0; at < items_.size(); ++at) {
    Item& item = items_[at];
    if (item.state != State::Ready || !item.checked) continue;
    AddRequest request = item.add.request;
    request.web.quiet = true;
    const bool renamed = item.classic && item.free != item.name;
    if ((item.named || renamed) && !item.free.empty()) request.name = item.free;  // as the row says
    item.problem = AddWithoutAsking(program_, request).reason;
    item.state = item.problem.empty() ? State::Added : State::Refused;
    all = all && item.problem.empty();
    ShowRow(at);
    if (++done % kAddsInOneGo != 0) continue;
    co_await platform_.tasks.Yield();
    if (generation != generation_) co_return;
  }
  adding_ = false;
  if (all) {
    Unload();
  } else {
    ShowSum();
  }
}

}  // namespace pellora
