#include <gtest/gtest.h>

#include <functional>

#include "SimPacking.h"
#include "SimPlatform.h"
#include "TestArchive.h"
#include "archive/EntryUnpacking.h"
#include "core/Crc32.h"

namespace pellora {
namespace {

constexpr const char* kFolder = "/home/u/out";
constexpr const char* kPart = "/home/u/part";
constexpr std::int64_t kAt = 100;  // of the entry, in the archive

std::string Bytes(std::size_t count) { return SimContent::Generated(count).All(); }

// One entry of an archive, its part file and what the selection knows of it.
struct Entry {
  std::string plain = Bytes(200'000);
  std::string name = "docs/a.txt";
  std::uint16_t method = 8;
  std::uint16_t flags = 0;
  std::string password = {};  // that it is encrypted with
  std::string aes = {};
  std::string localExtra = {};
  // Of the local header, where it differs.
  std::string localName = name;
  std::string signature = "PK\3\4";
  std::optional<std::uint16_t> localMethod = {};

  std::string Packed() const {
    const std::string packed = method == 8 ? PackDeflate(plain) : plain;
    return password.empty() ? packed : EncryptZip(packed, password, crc.value_or(Crc32(plain)));
  }
  std::string Local() const {
    return signature + Little(20, 2) + Little(flags, 2) + Little(localMethod.value_or(method), 2) + Little(0, 4) +
           Little(0xBAD, 4) + Little(0xBAD, 4) + Little(0xBAD, 4) + Little(localName.size(), 2) +
           Little(localExtra.size(), 2) + localName + localExtra;
  }
  std::string Whole() const { return Local() + Packed(); }
  SelectedEntry Selected() const {
    SelectedEntry entry;
    for (std::size_t at = 0; at <= name.size();) {
      const std::size_t slash = std::min(name.find('/', at), name.size());
      entry.path.push_back(name.substr(at, slash - at));
      at = slash + 1;
    }
    entry.rawName = name;
    entry.range = {kAt, kAt + static_cast<std::int64_t>(Whole().size())};
    entry.reach = entry.range.end;
    entry.packed.method = method;
    entry.packed.flags = static_cast<std::uint16_t>(flags | (password.empty() ? 0 : 1));
    entry.packed.crc = crc.value_or(Crc32(plain));
    entry.packed.packed = Packed().size();
    entry.packed.size = plain.size();
    entry.packed.aes = aes;
    entry.mode = 0644;
    entry.modified = 1'700'000'000;
    return entry;
  }
  std::optional<std::uint32_t> crc = {};  // of the directory, where it differs
};

struct Rig {
  SimPlatform sim{{.web = true}};
  std::shared_ptr<OutputFolder> folder = sim.outputs().Open(kFolder);
  std::shared_ptr<UnpackedFiles> files = std::make_shared<UnpackedFiles>();
  Existing existing = Existing::Number;
  std::string password;
  std::string name;
  std::string reason;
  std::int64_t plain = 0;
  Range needs;
  int steps = 0;

  EntryUnpacking Begin(const Entry& entry, const SelectedEntry& selected) {
    if (sim.disk().Has(kPart)) sim.disk().Delete(kPart);
    std::shared_ptr<DownloadFile> part = sim.downloadFiles().Create(kPart);
    part->WriteAt(kAt, entry.Whole() + "what follows");
    return {sim.unpacker(), folder, part, selected, password, existing, files};
  }
  EntryEnd Run(const Entry& entry, const SelectedEntry& selected) {
    EntryUnpacking unpacking = Begin(entry, selected);
    return Finish(unpacking);
  }
  EntryEnd Run(const Entry& entry) { return Run(entry, entry.Selected()); }
  EntryEnd Finish(EntryUnpacking& unpacking) {
    EntryEnd end = EntryEnd::None;
    for (steps = 0; end == EntryEnd::None && steps < 20'000; ++steps) end = unpacking.Step();
    EXPECT_EQ(unpacking.Step(), end);
    EXPECT_EQ(sim.unpacker().Running(), 0);
    EXPECT_EQ(sim.outputs().Unnamed(), 0);
    name = unpacking.Name();
    reason = unpacking.Reason();
    plain = unpacking.Plain();
    needs = unpacking.Needs();
    return end;
  }
  std::string Get(const std::string& path) { return sim.disk().Get(kFolder + ("/" + path)); }
  // Below the folder.
  std::vector<std::string> Paths() {
    std::vector<std::string> paths;
    const std::string prefix = std::string(kFolder) + "/";
    for (const std::string& path : sim.disk().Paths()) {
      if (path.starts_with(prefix)) paths.push_back(path.substr(prefix.size()));
    }
    return paths;
  }
};

using Names = std::vector<std::string>;

TEST(EntryUnpacking, UnpacksWhatIsPackedAndWhatIsStored) {
  for (const std::uint16_t method : {0, 8}) {
    for (const std::size_t size : {0U, 1U, 65535U, 3'000'000U}) {
      Rig rig;
      const Entry entry{.plain = Bytes(size), .method = method};
      ASSERT_EQ(rig.Run(entry), EntryEnd::Unpacked) << method << " " << size;
      EXPECT_EQ(rig.Get("docs/a.txt"), entry.plain);
      EXPECT_EQ(rig.name, "docs/a.txt");
      EXPECT_EQ(rig.sim.unpacker().begun, method == 8 && size > 0 ? 1 : 0);
    }
  }
}

TEST(EntryUnpacking, StoredBytesThatLookLikeADescriptorAreKept) {
  Rig rig;
  const Entry entry{.plain = "PK\7\10" + std::string(12, '\0') + "more", .method = 0, .flags = 1U << 3U};
  ASSERT_EQ(rig.Run(entry), EntryEnd::Unpacked);
  EXPECT_EQ(rig.Get("docs/a.txt"), entry.plain);
}

TEST(EntryUnpacking, StepsAreShort) {
  Rig rig;
  ASSERT_EQ(rig.Run({.plain = Bytes(10 << 20), .method = 0}), EntryEnd::Unpacked);
  EXPECT_EQ(rig.steps, 13);  // the header, 10 times 1 MiB, the sum, the name
}

TEST(EntryUnpacking, NothingHasANameBeforeItIsRight) {
  Rig rig;
  const Entry entry;
  EntryUnpacking unpacking = rig.Begin(entry, entry.Selected());
  while (unpacking.Plain() < 200'000) ASSERT_EQ(unpacking.Step(), EntryEnd::None);
  EXPECT_EQ(rig.Paths(), Names());
  EXPECT_EQ(rig.Finish(unpacking), EntryEnd::Unpacked);
  EXPECT_EQ(rig.Paths(), Names{"docs/a.txt"});
}

TEST(EntryUnpacking, LeavesNothingBehindWhenItIsDestroyedEarly) {
  Rig rig;
  const Entry entry;
  const std::uint64_t used = rig.sim.disk().Used();
  {
    EntryUnpacking unpacking = rig.Begin(entry, entry.Selected());
    while (unpacking.Plain() == 0) ASSERT_EQ(unpacking.Step(), EntryEnd::None);
    EXPECT_EQ(rig.sim.unpacker().Running(), 1);
    EXPECT_EQ(rig.sim.outputs().Unnamed(), 1);
  }
  EXPECT_EQ(rig.sim.unpacker().Running(), 0);
  EXPECT_EQ(rig.sim.outputs().Unnamed(), 0);
  EXPECT_EQ(rig.Paths(), Names());
  EXPECT_EQ(rig.sim.disk().Used(), used + rig.sim.disk().Size(kPart));
}

TEST(EntryUnpacking, TraitsComeFromTheDirectory) {
  Rig rig;
  const Entry entry;
  SelectedEntry selected = entry.Selected();
  selected.mode = 0750;
  ASSERT_EQ(rig.Run(entry, selected), EntryEnd::Unpacked);
  EXPECT_EQ(rig.sim.outputs().TraitsOf(std::string(kFolder) + "/docs/a.txt").mode, 0750);
  EXPECT_EQ(rig.sim.outputs().TraitsOf(std::string(kFolder) + "/docs/a.txt").modified, 1'700'000'000);
}

TEST(EntryUnpacking, FoldersAreMade) {
  Rig rig;
  const Entry entry{.plain = "", .name = "empty/inner"};
  SelectedEntry selected = entry.Selected();
  selected.isFolder = true;
  EXPECT_EQ(rig.Run(entry, selected), EntryEnd::Unpacked);
  EXPECT_EQ(rig.name, "empty/inner");
  EXPECT_EQ(rig.folder->LookAt({"empty", "inner"}).what, OutputName::Folder);
}

TEST(EntryUnpacking, LongerLocalHeaderNeedsMore) {
  const Entry entry{.localExtra = ExtraField(0xD935, std::string(4000, '\0'))};
  SelectedEntry selected = entry.Selected();
  const std::int64_t end = selected.range.end;
  selected.reach = end + 500;
  selected.range.end -= 3000;
  Rig rig;
  ASSERT_EQ(rig.Run(entry, selected), EntryEnd::NeedsMore);
  EXPECT_EQ(rig.needs, (Range{end - 3000, end}));
  EXPECT_EQ(rig.sim.unpacker().begun, 0);
  selected.range.end = rig.needs.end;
  EXPECT_EQ(rig.Run(entry, selected), EntryEnd::Unpacked);
  EXPECT_EQ(rig.Get("docs/a.txt"), entry.plain);
}

TEST(EntryUnpacking, HeaderThatIsNotThereYetIsNeeded) {
  const Entry entry;
  SelectedEntry selected = entry.Selected();
  selected.range.end = kAt + 20;
  Rig rig;
  ASSERT_EQ(rig.Run(entry, selected), EntryEnd::NeedsMore);
  EXPECT_EQ(rig.needs, (Range{kAt + 20, kAt + 40}));
}

TEST(EntryUnpacking, NothingBeyondTheNextEntryIsNeeded) {
  const Entry entry{.localExtra = ExtraField(0xD935, std::string(4000, '\0'))};
  SelectedEntry selected = entry.Selected();
  --selected.reach;
  Rig rig;
  EXPECT_EQ(rig.Run(entry, selected), EntryEnd::Other);
  selected.range.end = selected.reach = kAt + 100;  // not even the extra fields
  EXPECT_EQ(rig.Run(entry, selected), EntryEnd::Other);
  selected.reach = kAt + 39;  // not even the name
  EXPECT_EQ(rig.Run(entry, selected), EntryEnd::Other);
  selected = entry.Selected();
  selected.packed.packed = UINT64_MAX;
  EXPECT_EQ(rig.Run(entry, selected), EntryEnd::Other);
}

TEST(EntryUnpacking, LocalHeaderOfAnotherEntryIsNotBelieved) {
  for (const Entry& entry : {Entry{.signature = "PK\1\2"}, Entry{.localName = "docs/b.txt"},
                             Entry{.localName = "docs/a.txt2"}, Entry{.localMethod = 0}}) {
    Rig rig;
    SelectedEntry selected = entry.Selected();
    selected.reach += 100;
    EXPECT_EQ(rig.Run(entry, selected), EntryEnd::Other);
    EXPECT_EQ(rig.sim.unpacker().begun, 0);
    EXPECT_EQ(rig.Paths(), Names());
  }
}

TEST(EntryUnpacking, OtherSizesAndSumsAreDamage) {
  struct Lie {
    const char* what;
    std::function<void(SelectedEntry& entry)> tell;
  };
  const std::vector<Lie> lies = {
      {"longer", [](SelectedEntry& entry) { --entry.packed.size; }},
      {"much longer", [](SelectedEntry& entry) { entry.packed.size = 10; }},
      {"nothing", [](SelectedEntry& entry) { entry.packed.size = 0; }},
      {"shorter", [](SelectedEntry& entry) { ++entry.packed.size; }},
      {"sum", [](SelectedEntry& entry) { ++entry.packed.crc; }},
      {"fewer packed", [](SelectedEntry& entry) { --entry.packed.packed; }},
  };
  for (const std::uint16_t method : {0, 8}) {
    for (const Lie& lie : lies) {
      Rig rig;
      const Entry entry{.method = method};
      SelectedEntry selected = entry.Selected();
      lie.tell(selected);
      EXPECT_EQ(rig.Run(entry, selected), EntryEnd::Damaged) << lie.what << " " << method;
      EXPECT_EQ(rig.Paths(), Names());
    }
  }
}

TEST(EntryUnpacking, UnpackerIsNotBelievedEither) {
  struct Lie {
    SimUnpackFault fault;
    EntryEnd end;
  };
  for (const Lie& lie : {Lie{{.more = "x"}, EntryEnd::Damaged}, Lie{{.fewer = 1}, EntryEnd::Damaged},
                         Lie{{.at = 100'000, .becomes = UnpackState::Done}, EntryEnd::Damaged},
                         Lie{{.at = 100'000, .becomes = UnpackState::Damaged}, EntryEnd::Damaged},
                         Lie{{.at = 100'000, .becomes = UnpackState::Failed}, EntryEnd::NoUnpacker}}) {
    Rig rig;
    rig.sim.unpacker().fault = lie.fault;
    EXPECT_EQ(rig.Run(Entry()), lie.end);
    EXPECT_EQ(rig.reason.empty(), lie.end != EntryEnd::NoUnpacker);
    EXPECT_EQ(rig.Paths(), Names());
  }
}

TEST(EntryUnpacking, NothingIsWrittenBeyondTheSize) {
  Rig rig;
  rig.sim.unpacker().fault.more = std::string(1'000'000, 'x');
  const Entry entry;
  EXPECT_EQ(rig.Run(entry), EntryEnd::Damaged);
  EXPECT_LE(rig.plain, 200'000);
}

TEST(EntryUnpacking, StoredEntryHasAsManyBytesAsItIsPacked) {
  Rig rig;
  const Entry entry{.plain = "content", .method = 0};
  SelectedEntry selected = entry.Selected();
  selected.packed.size = 0;
  selected.packed.crc = 0;
  EXPECT_EQ(rig.Run(entry, selected), EntryEnd::Damaged);
}

TEST(EntryUnpacking, UnpackerThatCannotStartIsReported) {
  Rig rig;
  rig.sim.unpacker().refuses = "cannot be confined";
  EXPECT_EQ(rig.Run(Entry()), EntryEnd::NoUnpacker);
  EXPECT_EQ(rig.reason, "cannot be confined");
}

TEST(EntryUnpacking, BusyUnpackerIsWaitedFor) {
  Rig rig;
  rig.sim.unpacker().fault.busy = 20;
  const Entry entry;
  ASSERT_EQ(rig.Run(entry), EntryEnd::Unpacked);
  EXPECT_GT(rig.steps, 60);
  EXPECT_EQ(rig.Get("docs/a.txt"), entry.plain);
}

TEST(EntryUnpacking, UnpackerThatHangsCanBeGivenUp) {
  Rig rig;
  rig.sim.unpacker().fault = {.at = 1000, .hangs = true};
  const Entry entry;
  {
    EntryUnpacking unpacking = rig.Begin(entry, entry.Selected());
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(unpacking.Step(), EntryEnd::None);
  }
  EXPECT_EQ(rig.sim.unpacker().Running(), 0);
  EXPECT_EQ(rig.Paths(), Names());
}

TEST(EntryUnpacking, EncryptedEntriesNeedTheirPassword) {
  for (const std::uint16_t method : {0, 8}) {
    const Entry entry{.method = method, .password = "secret"};
    Rig rig;
    EXPECT_EQ(rig.Run(entry), EntryEnd::WrongPassword);
    EXPECT_EQ(rig.sim.unpacker().begun, 0);
    for (const char* wrong : {"Secret", "a", "b", "c", "d"}) {
      rig.password = wrong;
      EXPECT_EQ(rig.Run(entry), EntryEnd::WrongPassword);
      EXPECT_EQ(rig.Paths(), Names());
    }
    rig.password = "secret";
    ASSERT_EQ(rig.Run(entry), EntryEnd::Unpacked);
    EXPECT_EQ(rig.Get("docs/a.txt"), entry.plain);
  }
}

TEST(EntryUnpacking, OnlyAe2HasNoSum) {
  for (const std::uint16_t version : {1, 2}) {
    Entry entry{.password = "secret", .aes = Little(version, 2) + "AE\3" + Little(8, 2), .localMethod = 99, .crc = 0};
    Rig rig;
    rig.password = "secret";
    EXPECT_EQ(rig.Run(entry), version == 2 ? EntryEnd::Unpacked : EntryEnd::WrongPassword);
    rig.sim.unpacker().fault.fewer = 1;
    EXPECT_EQ(rig.Run(entry), EntryEnd::WrongPassword);
    entry.localMethod = 8;
    EXPECT_EQ(rig.Run(entry), EntryEnd::Other);
  }
}

TEST(EntryUnpacking, ExistingFilesStayUnlessTheyAreToBeReplaced) {
  struct Case {
    Existing existing;
    EntryEnd end;
    Names paths;
  };
  for (const Case& known : {Case{Existing::Number, EntryEnd::Unpacked, {"docs/a (2).txt", "docs/a.txt"}},
                            Case{Existing::Replace, EntryEnd::Unpacked, {"docs/a.txt"}},
                            Case{Existing::Keep, EntryEnd::LeftOut, {"docs/a.txt"}}}) {
    Rig rig;
    rig.existing = known.existing;
    rig.sim.disk().Put(std::string(kFolder) + "/docs/a.txt", SimContent("the user's"));
    const Entry entry;
    EXPECT_EQ(rig.Run(entry), known.end);
    EXPECT_EQ(rig.Paths(), known.paths);
    EXPECT_EQ(rig.Get("docs/a.txt"), known.existing == Existing::Replace ? entry.plain : "the user's");
    if (known.end == EntryEnd::Unpacked) {
      EXPECT_EQ(rig.Get(rig.name), entry.plain);
    }
    EXPECT_EQ(rig.sim.unpacker().begun, known.end == EntryEnd::Unpacked ? 1 : 0);
  }
}

TEST(EntryUnpacking, LinksAndFoldersAreNeverReplaced) {
  Rig rig;
  rig.existing = Existing::Replace;
  rig.sim.disk().Put("/home/u/other", SimContent("the user's"));
  rig.sim.disk().PutLink(std::string(kFolder) + "/docs/a.txt", "/home/u/other");
  rig.sim.disk().MakeFolder(std::string(kFolder) + "/docs/a (2).txt");
  EXPECT_EQ(rig.Run(Entry()), EntryEnd::Unpacked);
  EXPECT_EQ(rig.name, "docs/a (3).txt");
  EXPECT_EQ(rig.sim.disk().Get("/home/u/other"), "the user's");
}

TEST(EntryUnpacking, ClashesOfOneArchiveAreNumberedByAnyRule) {
  for (const Existing existing : {Existing::Number, Existing::Replace, Existing::Keep}) {
    Rig rig;
    rig.existing = existing;
    rig.sim.outputs().ignoresCase = true;
    const Entry first{.plain = "first"};
    const Entry second{.plain = "second", .name = "DOCS/A.TXT"};
    const Entry third{.plain = "third"};
    EXPECT_EQ(rig.Run(first), EntryEnd::Unpacked);
    EXPECT_EQ(rig.Run(second), EntryEnd::Unpacked);
    EXPECT_EQ(rig.name, "DOCS/A (2).TXT");
    EXPECT_EQ(rig.Run(third), EntryEnd::Unpacked);
    EXPECT_EQ(rig.name, "docs/a (3).txt");
    EXPECT_EQ(rig.Get("docs/a.txt"), "first");
    EXPECT_EQ(rig.Get("docs/A (2).TXT"), "second");
    EXPECT_EQ(rig.Get("docs/a (3).txt"), "third");
  }
}

TEST(EntryUnpacking, ManyClashesTakeFewSteps) {
  Rig rig;
  for (int i = 0; i < 300; ++i) {
    ASSERT_EQ(rig.Run({.plain = "x"}), EntryEnd::Unpacked);
    ASSERT_LT(rig.steps, 7) << i;
  }
  EXPECT_EQ(rig.name, "docs/a (300).txt");
}

TEST(EntryUnpacking, NameThatIsTakenAtTheLastMomentIsKept) {
  for (const Existing existing : {Existing::Number, Existing::Replace, Existing::Keep}) {
    Rig rig;
    rig.existing = existing;
    const std::string path = std::string(kFolder) + "/docs/a.txt";
    if (existing == Existing::Replace) rig.sim.disk().Put(path, SimContent("to be replaced"));
    int calls = 0;
    rig.sim.outputs().beforePublish = [&](const std::string& /*path*/) {
      if (++calls > 1) return;
      if (existing == Existing::Replace) {
        rig.sim.disk().Lose(path);
        rig.sim.disk().PutLink(path, "/home/u/other");
      } else {
        rig.sim.disk().Put(path, SimContent("the user's"));
      }
    };
    EXPECT_EQ(rig.Run(Entry()), existing == Existing::Keep ? EntryEnd::LeftOut : EntryEnd::Unpacked);
    if (existing != Existing::Keep) {
      EXPECT_EQ(rig.name, "docs/a (2).txt");
    }
    if (existing == Existing::Replace) {
      EXPECT_TRUE(rig.sim.disk().HasLink(path));
    } else {
      EXPECT_EQ(rig.Get("docs/a.txt"), "the user's");
    }
  }
}

TEST(EntryUnpacking, NamesThatNeverGetFreeEndIt) {
  Rig rig;
  rig.existing = Existing::Replace;
  const std::string path = std::string(kFolder) + "/docs/a.txt";
  rig.sim.outputs().beforePublish = [&](const std::string& /*path*/) {
    rig.sim.disk().Put(path, SimContent("another one each time"));
  };
  EXPECT_EQ(rig.Run({.plain = "x"}), EntryEnd::DiskFailed);
  EXPECT_EQ(rig.reason, "docs/a.txt: no name was free");
}

TEST(EntryUnpacking, FolderThatBecomesALinkLeadsNowhere) {
  Rig rig;
  rig.sim.disk().MakeFolder("/home/u/other");
  rig.sim.disk().PutLink(std::string(kFolder) + "/docs", "/home/u/other");
  EXPECT_EQ(rig.Run(Entry()), EntryEnd::NameRefused);
  EXPECT_NE(rig.reason.find("docs: a link"), std::string::npos) << rig.reason;
  EXPECT_FALSE(rig.sim.disk().Has("/home/u/other/a.txt"));
}

TEST(EntryUnpacking, FullDiskLeavesNoFile) {
  Rig rig;
  const Entry entry;
  const std::uint64_t part = entry.Whole().size() + kAt + 100;
  rig.sim.disk().SetCapacity(rig.sim.disk().Used() + part + 100'000);
  EXPECT_EQ(rig.Run(entry), EntryEnd::DiskFailed);
  EXPECT_FALSE(rig.reason.empty());
  EXPECT_EQ(rig.Paths(), Names());
  rig.sim.disk().NoFaults();
  EXPECT_EQ(rig.Run(entry), EntryEnd::Unpacked);
}

TEST(EntryUnpacking, PartFileThatLostItsEndIsADiskFailure) {
  Rig rig;
  const Entry entry;
  EntryUnpacking unpacking = rig.Begin(entry, entry.Selected());
  ASSERT_EQ(unpacking.Step(), EntryEnd::None);
  const std::shared_ptr<DownloadFile> part = rig.sim.downloadFiles().OpenJournal(kPart);
  part->SetLength(1000);
  EXPECT_EQ(rig.Finish(unpacking), EntryEnd::DiskFailed);
}

// Whatever call of the disk fails: the entry is there and right, or not there.
TEST(EntryUnpacking, FailuresOfTheDiskLeaveNoWrongFile) {
  const Entry entry;
  int failed = 0;
  for (std::uint64_t call = 1;; ++call) {
    Rig rig;
    EntryUnpacking unpacking = rig.Begin(entry, entry.Selected());
    const std::uint64_t before = rig.sim.disk().Calls();
    rig.sim.disk().FailCall(before + call);
    const EntryEnd end = rig.Finish(unpacking);
    if (!rig.Paths().empty()) {
      EXPECT_EQ(rig.Get("docs/a.txt"), entry.plain);
    }
    if (end == EntryEnd::Unpacked) {
      EXPECT_EQ(rig.Paths(), Names{"docs/a.txt"});
    }
    if (end == EntryEnd::DiskFailed) ++failed;
    if (rig.sim.disk().Calls() < before + call) break;
  }
  EXPECT_GE(failed, 6);
}

// A power cut after it was unpacked leaves it, as it will not be fetched again.
TEST(EntryUnpacking, UnpackedFileSurvivesAPowerCut) {
  const Entry entry;
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    Rig rig;
    ASSERT_EQ(rig.Run(entry), EntryEnd::Unpacked);
    rig.folder->FlushNames();
    rig.sim.disk().PowerCut(seed);
    SimPlatform next({.disk = rig.sim.disk().TakeState(), .web = true});
    EXPECT_EQ(next.disk().Get(std::string(kFolder) + "/docs/a.txt"), entry.plain) << seed;
  }
}

// Of files that were flushed together, a power cut leaves only whole ones, however many have got their names.
TEST(EntryUnpacking, FilesFlushedTogetherAreWholeOnceTheyHaveNames) {
  int there = 0;
  int missing = 0;
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    Rig rig;
    const std::vector<Entry> entries{{.plain = Bytes(70'000), .name = "a"}, {.name = "b"}, {.name = "c", .method = 0}};
    std::vector<std::unique_ptr<EntryUnpacking>> works;
    std::vector<CompleteFile> files;
    for (const Entry& entry : entries) {
      works.push_back(std::make_unique<EntryUnpacking>(rig.Begin(entry, entry.Selected())));
      while (!works.back()->IsComplete()) ASSERT_EQ(works.back()->Step(), EntryEnd::None);
      files.push_back(works.back()->File());
    }
    EXPECT_EQ(rig.sim.outputs().Unnamed(), 3);
    rig.folder->FlushTogether(files);
    for (std::size_t i = 0; i < seed % 4; ++i) EXPECT_EQ(works[i]->Step(), EntryEnd::Unpacked);
    const bool flushed = seed % 8 > 3;
    if (flushed) rig.folder->FlushNames();
    rig.sim.disk().PowerCut(seed);
    SimPlatform next({.disk = rig.sim.disk().TakeState(), .web = true});
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const std::string path = std::string(kFolder) + "/" + entries[i].name;
      const bool named = i < seed % 4;
      EXPECT_TRUE(named || !next.disk().Has(path)) << seed;
      EXPECT_TRUE(!named || !flushed || next.disk().Has(path)) << seed;
      if (!named) continue;
      const bool isThere = next.disk().Has(path);
      isThere ? ++there : ++missing;
      if (isThere) {
        EXPECT_EQ(next.disk().Get(path), entries[i].plain) << seed;
      }
    }
  }
  EXPECT_GT(there, 20);
  EXPECT_GT(missing, 5);
}

}  // namespace
}  // namespace pellora
