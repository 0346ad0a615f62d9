// Random archives, choices, kills, power cuts, changes of the archive, damaged entries and wrong passwords, over
// several runs of the program. Whatever comes: what has an entry's name is an entry of that name, byte for byte; the
// user's own files are what they were unless they were to be replaced; nothing is written outside of the folder; no
// password is on the disk; and in the end the download is finished, or stopped with a reason.
//
// PELLORA_SEEDS sets how many are run, PELLORA_SEED=N runs one again.
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "SelectionRun.h"
#include "core/Ascii.h"
#include "core/FileNames.h"
#include "fetch/SelectionFiles.h"
#include "fetch/WebServices.h"

namespace pellora {
namespace {

constexpr const char* kPassword = "0pen-sesame";
constexpr const char* kOwn = "the user's own file";

struct Piece {
  std::string name;
  std::string plain;
  bool packed = false;
  bool encrypted = false;
  std::size_t extra = 0;
  std::size_t expected = SIZE_MAX;
  bool operator==(const Piece&) const = default;
};

// What is the same in all runs of the program.
class World {
 public:
  explicit World(std::uint64_t seed) : random(seed) {
    const std::uint64_t count = 1 + random.Below(9);
    for (std::uint64_t i = 0; i < count; ++i) pieces_.push_back(NewPiece());
    hasEtags = !Chance(4);
    ignoresCase = Chance(3);
    AddVersion();
    for (std::size_t i = 0; i < First().all.size(); ++i) {
      if (!Chance(3)) chosen.push_back(i);
    }
    if (chosen.empty()) chosen.push_back(0);
    existing = static_cast<Existing>(random.Below(3));
    for (const std::size_t number : chosen) {
      if (Chance(6) && !First().all[number].isFolder) own.insert(PathOf(First().all[number].path));
    }
  }

  bool Chance(std::uint64_t of) { return random.Below(of) == 0; }
  const SampleArchive& First() const { return versions.front(); }
  static std::string PathOf(const std::vector<std::string>& path) {
    std::string joined = kFolder;
    for (const std::string& part : path) joined += "/" + part;
    return joined;
  }

  // Entries go, come, move and change.
  void Change() {
    for (std::size_t i = 0; i < pieces_.size(); ++i) {
      if (Chance(8)) {
        pieces_.erase(pieces_.begin() + static_cast<std::ptrdiff_t>(i));
      } else if (Chance(6)) {
        pieces_[i].plain = SomeBytes();
      } else if (Chance(4)) {
        std::swap(pieces_[i], pieces_[random.Below(pieces_.size())]);
      }
    }
    if (pieces_.empty() || Chance(2)) pieces_.insert(pieces_.begin(), NewPiece());
    AddVersion();
  }
  std::string Etag() const { return '"' + std::to_string(versions.size()) + '"'; }

  // An entry of that name has had these bytes in some version.
  bool IsRight(const std::string& path, const SimDisk& disk) const {
    const std::string bare = WithoutNumber(path);
    for (const auto& [name, plain] : contents_) {
      const std::string place = std::string(kFolder) + "/" + name;
      if ((Same(place, path) || Same(place, bare)) && disk.Holds(path, plain)) return true;
    }
    return false;
  }
  bool IsInAllVersions(std::size_t number) const { return times_.at(KeyOf(first_.at(number))) == versions.size(); }
  const std::string& PlainOf(std::size_t number) const { return first_.at(number).plain; }

  SimRandom random;
  std::vector<SampleArchive> versions;
  std::vector<std::size_t> chosen;
  std::set<std::string> own;  // paths of the user's own files
  Existing existing = Existing::Number;
  bool hasEtags = true;
  bool ignoresCase = false;

 private:
  // What makes an entry the same one in another version: the way of packing shows in its packed size.
  using Key = std::tuple<std::string, std::string, bool, bool>;
  static Key KeyOf(const Piece& piece) { return {piece.name, piece.plain, piece.packed, piece.encrypted}; }

  bool Same(const std::string& a, const std::string& b) const { return ignoresCase ? EqualsNoCase(a, b) : a == b; }
  // "a (2).txt" is "a.txt" beside another one.
  static std::string WithoutNumber(const std::string& path) {
    const std::size_t open = path.rfind(" (");
    const std::size_t close = path.find(')', open == std::string::npos ? path.size() : open);
    if (open == std::string::npos || close == std::string::npos) return path;
    return path.substr(0, open) + path.substr(close + 1);
  }
  std::string SomeBytes() {
    constexpr std::uint64_t kLengths[] = {0, 1, 100, 5000, 40'000, 150'000};
    return SimContent::Generated(random.Below(kLengths[random.Below(6)] + 1), random.Next()).All();
  }
  Piece NewPiece() {
    static const std::vector<std::string> kNames = {"a.txt", "A.txt",  "docs/b.bin", "docs/a.txt", "docs/deep/c",
                                                    "d.bin", "empty/", "docs/",      "e.txt"};
    Piece piece;
    piece.name = kNames[random.Below(kNames.size())];
    if (piece.name.ends_with('/')) return piece;
    piece.plain = SomeBytes();
    piece.packed = Chance(2);
    piece.encrypted = Chance(5);
    if (Chance(4)) piece.extra = random.Below(3000);
    if (Chance(2)) piece.expected = random.Below(piece.extra + 1);
    return piece;
  }
  void AddVersion() {
    SampleArchive archive;
    std::set<Key> here;
    for (const Piece& piece : pieces_) {
      archive.Add(
          {piece.name, piece.plain, piece.packed, piece.encrypted ? kPassword : "", piece.extra, piece.expected});
      if (piece.name.ends_with('/')) continue;
      contents_.insert({piece.name, piece.plain});
      here.insert(KeyOf(piece));
    }
    for (const Key& key : here) ++times_[key];
    archive.EndWithDirectory();
    if (versions.empty()) first_ = pieces_;
    versions.push_back(std::move(archive));
  }

  std::vector<Piece> pieces_;
  std::vector<Piece> first_;
  std::set<std::pair<std::string, std::string>> contents_;  // names and bytes of all versions
  std::map<Key, std::size_t> times_;                        // versions that have it
};

class ArchiveLife {
 public:
  ArchiveLife(World& world, SimDiskState disk, std::uint64_t seed)
      : run(world.First(), std::move(disk), seed), world_(world) {
    run.rig.sim.outputs().ignoresCase = world.ignoresCase;
    run.rig.services->logins.ask = [](const LoginQuestion&) {};
    run.rig.program.settings.MaxSegments = static_cast<int>(1 + world.random.Below(4));
    run.SlowDown(50'000 + world.random.Below(200'000));
    Serve(world.versions.back().bytes);
  }

  void Begin(bool first) {
    if (first) {
      for (const std::string& path : world_.own) {
        run.rig.sim.disk().MakeFolder(FolderOf(path));
        run.rig.sim.disk().Put(path, std::string(kOwn));
      }
    } else {
      run.rig.Load();
    }
    if (!Alive()) return;
    const std::int16_t index = Index();
    if (index == 0) {
      std::shared_ptr<Selection> chosen = world_.First().Choose(world_.chosen, kFolder);
      if (world_.hasEtags) chosen->facts.validator.etag = "\"1\"";
      chosen->existing = world_.existing;
      run.Add(std::move(chosen), world_.Chance(2) ? kPassword : "");
    } else {
      Resume(index);
    }
  }
  bool Alive() { return !run.rig.sim.Killed(); }

  void Step() {
    const std::int16_t index = Index();
    if (index == 0 || run.rig.Record(index).Finished) return;
    switch (world_.random.Below(12)) {
      case 0:
        if (run.rig.program.TransferWindowAt(index)) run.rig.Pause(index);
        break;
      case 1:
      case 2:
      case 3:
        Resume(index);
        break;
      case 4:
      case 5:
        if (run.rig.Asks(index)) run.rig.Answer(world_.Chance(2), index);
        break;
      case 6:
        run.origin.Restart(static_cast<std::uint32_t>(world_.random.Below(20'000)));
        break;
      case 7:
        GivePassword(world_.Chance(2) ? kPassword : "wrong");
        break;
      case 8:
        world_.Change();
        Serve(world_.versions.back().bytes);
        break;
      case 9:
        Serve(Damaged());
        break;
      case 10:
        run.SaveTheList();
        break;
      default:
        Serve(world_.versions.back().bytes);
    }
    if (Alive()) run.rig.sim.RunFor(world_.random.Below(4'000));
  }

  // No more faults: questions are answered, passwords given.
  void Settle() {
    run.origin.NoFaults();
    Serve(world_.versions.back().bytes);
    for (int round = 0; round < 12; ++round) {
      const std::int16_t index = Index();
      if (index == 0 || run.rig.Record(index).Finished) return;
      GivePassword(kPassword);
      run.rig.sim.RunFor(1000);
      if (run.rig.Asks(index)) {
        run.rig.Answer(true, index);
      } else if (!run.rig.Record(index).Active) {
        Resume(index);
      }
      run.rig.RunUntilFinished(index, 60'000);
    }
  }

  std::string Wrong() {
    const SimDisk& disk = run.rig.sim.disk();
    for (const std::string& path : disk.Paths()) {
      if (path.starts_with("/prog/")) {
        if (disk.Get(path).find(kPassword) != std::string::npos) return "a password in " + path;
      } else if (!path.starts_with(std::string(kFolder) + "/")) {
        return "a file outside of the folder: " + path;
      } else if (NameOf(path).find(".part") == std::string::npos && !IsOwn(path) && !world_.IsRight(path, disk)) {
        return "no entry: " + path + " of " + std::to_string(disk.Size(path)) + " bytes";
      }
    }
    if (world_.existing == Existing::Replace) return "";
    for (const std::string& path : world_.own) {
      if (!IsOwn(path)) return "the user's own file is gone: " + path;
    }
    return "";
  }
  std::string Outcome() {
    const std::int16_t index = Index();
    if (index == 0) return "off the list";
    if (!run.rig.Record(index).Finished) {
      if (run.rig.program.Web(index) == nullptr) return "no figures";
      const WebFigures& web = run.rig.Web(index);
      const bool stopped = web.standing == WebStanding::Stopped && !web.reason.empty() && !run.rig.Asks(index);
      const bool changed = web.reason == run.Text(WebText::ArchiveChanged) && world_.versions.size() > 1;
      return stopped && changed ? ""
                                : "not finished: " + std::to_string(static_cast<int>(web.standing)) + " " + web.reason;
    }
    if (run.rig.sim.outputs().Unnamed() != 0) return "an open file without a name";
    for (const std::string& path : run.rig.sim.disk().Paths()) {
      if (path.starts_with(kSelectionStart)) return "left: " + path;
    }
    return Missing();
  }

  SelectionRun run;

 private:
  static constexpr const char* kSelectionStart = "/prog/Pellora.fetch.";

  // Of the chosen files, unless they were to be left out: the archive has lost them, or their names were taken.
  std::string Missing() {
    if (world_.existing == Existing::Keep) return "";
    for (const std::size_t number : world_.chosen) {
      const SelectedEntry& entry = world_.First().all[number];
      const std::string& plain = world_.PlainOf(number);
      if (entry.isFolder || !world_.IsInAllVersions(number)) continue;
      bool found = false;
      for (const std::string& path : run.rig.sim.disk().Paths()) {
        found |= path.starts_with(kFolder) && run.rig.sim.disk().Holds(path, plain);
      }
      if (!found) return "missing: " + entry.rawName;
    }
    return "";
  }
  bool IsOwn(const std::string& path) {
    return world_.own.contains(path) && run.rig.sim.disk().Has(path) && run.rig.sim.disk().Get(path) == kOwn;
  }
  // After a power cut the list may have a torn record besides, which is no download of chosen entries.
  std::int16_t Index() {
    for (std::int16_t i = 1; i <= run.rig.program.DownloadCount; ++i) {
      const DownloadRecord& record = run.rig.Record(i);
      const JournalEntry* const entry = run.rig.services->journal.Find(JournalKeyOf(record.URL, record.DateAdded));
      if (record.InUse && entry != nullptr && !entry->title.empty()) return i;
    }
    return 0;
  }
  void Resume(std::int16_t index) {
    if (!run.rig.Record(index).Finished) run.rig.Resume(index);
  }
  void GivePassword(const std::string& password) {
    const JournalKey key = JournalKeyOf(kUrl, run.rig.Record(Index()).DateAdded);
    const JournalEntry* const entry = run.rig.services->journal.Find(key);
    if (entry == nullptr) return;
    const LoginPlace place = PasswordPlace(*world_.First().Choose({0}, kFolder), entry->id);
    run.rig.sim.Do([&] { run.rig.services->logins.Give({place, {}}, {{}, password}, false); });
  }
  // An entry is wrong in one place.
  std::string Damaged() {
    const SampleArchive& archive = world_.versions.back();
    std::string bytes = archive.bytes;
    bytes[world_.random.Below(static_cast<std::uint64_t>(archive.all.back().reach))] ^= '\x55';
    return bytes;
  }
  void Serve(const std::string& bytes) {
    run.Serve(bytes, world_.Etag());
    if (!world_.hasEtags) run.origin.Traits("/big.zip").validators.clear();
  }

  World& world_;
};

void Live(std::uint64_t seed) {
  constexpr int kRuns = 6;
  World world(seed);
  SimDiskState disk;
  for (int number = 0; number < kRuns; ++number) {
    const bool last = number == kRuns - 1;
    ArchiveLife life(world, std::move(disk), seed * 100 + static_cast<std::uint64_t>(number));
    SimDisk& files = life.run.rig.sim.disk();
    life.Begin(number == 0);
    if (!last && world.Chance(2)) files.CutAt(files.Calls() + 1 + world.random.Below(150), world.Chance(2));
    for (int step = 0; !last && life.Alive() && step < 8; ++step) life.Step();
    if (last) life.Settle();
    if (last) life.run.rig.sim.RunFor(5000);
    ASSERT_EQ(life.Wrong(), "") << "seed " << seed << ", run " << number;
    if (last) {
      EXPECT_EQ(life.Outcome(), "") << "seed " << seed;
      return;
    }
    if (world.Chance(2)) files.PowerCut(seed + static_cast<std::uint64_t>(number));
    disk = files.TakeState();
  }
}

std::uint64_t NumberIn(const char* variable, std::uint64_t otherwise) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

TEST(WebArchiveLives, UnpackRightFilesAlone) {
  const std::uint64_t only = NumberIn("PELLORA_SEED", 0);
  if (only != 0) return Live(only);
  const std::uint64_t first = NumberIn("PELLORA_FIRST_SEED", 1);
  const std::uint64_t seeds = NumberIn("PELLORA_SEEDS", 60);
  for (std::uint64_t seed = first; seed < first + seeds && !HasFatalFailure(); ++seed) Live(seed);
}

}  // namespace
}  // namespace pellora
