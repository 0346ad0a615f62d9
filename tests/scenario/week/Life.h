// Life: a simulated history of the whole program in virtual time, with several kinds of servers and a user who acts at
// random. Its sessions end by quitting or by a kill, and each finds the disk as the last one left it. In the last
// session nothing fails, and downloads from honest servers must finish.
//
// Every file has a unique name, so that finished files can be compared with the origin's. Invariants checks after every
// event, Check at the end of each session.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Counts.h"
#include "Invariants.h"
#include "Origin.h"
#include "Plan.h"
#include "SimArchive.h"
#include "SimPlatform.h"
#include "User.h"
#include "WatchedDownloadFiles.h"
#include "WatchedFetcher.h"
#include "WatchedFiles.h"
#include "WatchedNetwork.h"
#include "WebOrigin.h"
#include "app/App.h"

namespace pellora {

struct LifeOptions {
  std::set<int> dropped = {};  // items left out of the plan
  Planted planted = Planted::None;
  bool invariants = true;    // else only the sessions' ends are checked
  bool printsTrace = false;  // at each session's end
  bool web = false;          // with the web engine
};

class Life {
 public:
  explicit Life(std::uint64_t seed, LifeOptions options = {});
  ~Life();

  // Runs the plan. Returns one line for each thing wrong.
  std::vector<std::string> Run();
  const Counts& Counted() const { return counts_; }
  // Of all that happened, so that equal lives have equal hashes.
  std::uint64_t TraceHash() const { return hash_; }
  const LifePlan& Plan() const { return plan_; }
  // The command that runs it again.
  std::string Replay() const;

  // Without a plan: starts the program on what the last session left.
  void Begin() { BeginSession(plan_.sessions, {}); }
  // Runs the program that long while the user acts every few seconds.
  void LiveFor(std::uint64_t milliseconds);
  void Quit();
  std::vector<std::string> Check();
  const std::vector<std::string>& Wrong() const { return invariants_.Wrong(); }
  bool Running() const { return app_ != nullptr; }
  int Started() const { return added_; }
  SimPlatform& sim() { return *sim_; }

 private:
  void BeginSession(int session, const std::vector<const PlanItem*>& wires);
  void EndSession();
  void RunSession(int session);
  void BeginWeb(int session);
  void Apply(const PlanItem& item);
  void ApplyOfWeb(const PlanItem& item);
  void ActByScript(std::uint64_t salt);
  void CutPower(const PlanItem& session);
  bool MustFinish(int index);
  std::string UrlToAdd(SimRandom& random) const;
  void EndAsPlanned(const PlanItem& session);
  void Do(const std::function<void()>& event);
  bool Settle(std::uint64_t limit);
  bool SettleRound();
  void AnswerInWindows();
  bool Unfinished();  // True if something that must finish has not
  void CheckRecord(int index, std::vector<std::string>& wrong);
  std::string Listed();

  LifeOptions options_;
  LifePlan plan_;
  SimRandom random_;
  Counts counts_;
  Origin origin_;
  Invariants invariants_;
  SimDiskState disk_;
  SimSettings settings_;
  SimUnzip unzip_;
  SimFolders folders_;
  double serial_ = 46000.4;
  std::uint32_t tick_;
  std::uint64_t hash_ = 0;
  int added_ = 0;
  std::unique_ptr<SimPlatform> sim_;
  std::unique_ptr<WatchedFiles> files_;
  std::unique_ptr<WatchedNetwork> network_;
  // Of a life with the web engine; else null.
  std::unique_ptr<WebOrigin> web_;
  std::unique_ptr<WatchedDownloadFiles> downloads_;
  std::unique_ptr<WatchedFetcher> fetcher_;
  bool powerCut_ = false;  // so far
  std::unique_ptr<Platform> platform_;
  std::unique_ptr<App> app_;
  std::unique_ptr<User> user_;
};

}  // namespace pellora
