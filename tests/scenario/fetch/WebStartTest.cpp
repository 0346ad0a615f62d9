// A start after a kill, which is killed too. It rewrites the journal, deletes what is left of deleted downloads, and
// completes what was between two steps.
#include <algorithm>
#include <set>
#include <string>

#include "WebApp.h"
#include "core/ListFile.h"
#include "fetch/JournalCodec.h"
#include "mainwin/ScriptedAdd.h"

namespace pellora {
namespace {

constexpr const char* kListFile = "/prog/Pellora.dat";
constexpr const char* kJournal = "/prog/Pellora.fetch";

std::string UrlOf(const std::string& name) { return "https://o.example/" + name; }

SimContent ContentOf(const std::string& name) {
  const bool isShort = name == "named.bin";
  return SimContent::Generated(isShort ? 300'000 : 5'000'000, 1 + name.size());
}

struct Session : WebApp {
  explicit Session(SimDiskState disk = {}, std::uint64_t bytesPerSecond = 0)
      : WebApp({.disk = std::move(disk)}), origin(sim.network(), "o.example", 443) {
    for (const char* const name : {"active.bin", "paused.bin", "deleted.bin", "named.bin", "undecided.bin"}) {
      origin.File(std::string("/") + name, ContentOf(name));
      origin.Traits(std::string("/") + name).validators = {{.etag = "\"1\""}};
    }
    origin.File("/moved.bin", ContentOf("paused.bin"));
    if (bytesPerSecond != 0) origin.Always({.wire = {.bytesPerSecond = bytesPerSecond}});
    sim.settings().values[{"Pellora", "MaxSimulDownlads"}] = "10";
  }
  // Until something of it is on the disk.
  std::string Begin(const std::string& name) {
    int index = 0;
    sim.Do([&] { index = AddForScript(program(), {.url = UrlOf(name), .quiet = true}).front().index; });
    EXPECT_TRUE(RunUntilReceived(100'000, index));
    sim.RunFor(3000);
    return app.List().at(static_cast<std::size_t>(index) - 1).id;
  }
  void FailAlways(DiskCall failing, const std::string& path) {
    sim.disk().FailWhere(
        [failing, path](DiskCall call, const std::string& of) { return call == failing && of.ends_with(path); }, 1,
        true);
  }

  SimHttpServer origin;
};

// As a kill in the middle of each would leave it.
std::string BetweenSteps(const std::string& journal) {
  std::string lines;
  for (std::size_t at = 0; at < journal.size(); at = journal.find('\n', at) + 1) {
    const std::string line = journal.substr(at, journal.find('\n', at) + 1 - at);
    const bool saysThatItIsNamed = line.find("named.bin") != std::string::npos && line.find("finished") != line.npos;
    if (!saysThatItIsNamed) lines += line;
  }
  for (JournalEntry entry : ReadJournal(journal).entries) {
    entry.undecided = entry.key.url == UrlOf("undecided.bin");
    const bool moves = entry.key.url == UrlOf("paused.bin");
    if (moves) entry.key.url = UrlOf("moved.bin");
    if (moves || entry.undecided) lines += JournalLine(entry);
  }
  return lines;
}

// The list is older than the journal.
SimDiskState AfterAKill() {
  Session run({}, 100'000);
  run.Start();
  const std::string paused = run.Begin("paused.bin");
  const std::string deleted = run.Begin("deleted.bin");
  run.sim.Do([&] { EXPECT_EQ(run.app.Pause(paused), ""); });
  run.FailAlways(DiskCall::Delete, "deleted.bin.part");
  run.sim.Do([&] { EXPECT_EQ(run.app.Remove(deleted), ""); });
  run.sim.RunFor(2000);
  run.FailAlways(DiskCall::Write, kListFile);
  for (const char* const name : {"named.bin", "active.bin", "undecided.bin"}) run.Begin(name);
  run.sim.disk().CutNow();
  run.sim.RunFor(1000);
  SimPlatform editor({.disk = run.sim.disk().TakeState()});
  editor.disk().Put(kJournal, SimContent(BetweenSteps(editor.disk().Get(kJournal))));
  return editor.disk().TakeState();
}

SimDiskState Copy(const SimDiskState& disk) {
  SimDiskState copy = disk;
  copy.unflushedNames.clear();
  for (auto& [path, data] : copy.files) data = std::make_shared<SimFileData>(*data);
  return copy;
}

// Without the list it is not known which address the download had.
std::string FormerAddress(const std::string& url) { return url == UrlOf("moved.bin") ? UrlOf("paused.bin") : url; }

void ExpectEachOnceAndNothingLeft(Session& run) {
  run.Start();
  run.sim.Do([&] { run.app.ResumeAll(); });
  const auto finished = [](const DownloadInfo& info) { return info.state == "finished"; };
  run.sim.RunUntil([&] { return std::ranges::all_of(run.app.List(), finished); }, 60'000);
  run.sim.RunFor(1000);
  std::multiset<std::string> listed;
  for (const DownloadInfo& info : run.app.List()) {
    listed.insert(FormerAddress(info.url) + " " + info.state);
    const std::string path = info.savedPath;
    EXPECT_TRUE(run.sim.disk().Holds(path, ContentOf(path.substr(path.rfind('/') + 1)))) << info.url;
  }
  const std::multiset<std::string> expected{UrlOf("active.bin") + " finished", UrlOf("named.bin") + " finished",
                                            UrlOf("paused.bin") + " finished"};
  EXPECT_EQ(listed, expected);
  EXPECT_EQ(run.sim.disk().FilesIn(run.Folder()), (std::vector<std::string>{"active.bin", "named.bin", "paused.bin"}));
}

class WebStart : public testing::TestWithParam<std::string> {};

TEST_P(WebStart, KilledAtAnyCallLosesLeavesAndDoublesNothing) {
  const SimDiskState disk = AfterAKill();
  std::uint64_t calls = 0;
  while (true) {
    Session first(Copy(disk));
    first.sim.disk().CutAt(++calls, GetParam() == "torn");
    first.Start();
    if (!first.sim.Killed()) break;
    if (GetParam() == "power") first.sim.disk().PowerCut(calls);
    Session next(first.sim.disk().TakeState());
    ExpectEachOnceAndNothingLeft(next);
    if (HasFailure()) FAIL() << calls;
  }
  EXPECT_GT(calls, 20U);
}

INSTANTIATE_TEST_SUITE_P(Each, WebStart, testing::Values("whole", "torn", "power"));

}  // namespace
}  // namespace pellora
