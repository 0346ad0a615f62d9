// WebOrigin: what a life's web engine fetches from: servers of https, ftps and sftp, their files, which may change, and
// what the servers do wrong. Files and versions belong to the life; the servers are new in each session.
//
// A file with another version has other validators, and a file without any never changes. So a finished file must be
// one whole version, whatever the servers did. Only after a server's replies ended with their connection, which no
// client can tell from a cut, may a file be the beginning of one.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Counts.h"
#include "Plan.h"
#include "SimFileServer.h"
#include "SimHttpServer.h"
#include "SimPlatform.h"
#include "core/IntervalSet.h"

namespace pellora {

class PacedServer;

class WebOrigin {
 public:
  explicit WebOrigin(const LifePlan& plan);
  ~WebOrigin();

  void Serve(SimPlatform& sim, std::uint64_t salt, Counts& counts);
  // One of the plan's kinds Mood, Change, Restart and Outage.
  void Apply(const PlanItem& item);
  // From now on nothing fails and nothing changes.
  void NoFaults();
  void EndSession();

  // An address that a user may add.
  static std::string RandomUrl(SimRandom& random);
  // The number of the file that this address or path leads to, its number in brackets and ".part" left out; -1: none.
  static int FileOf(std::string_view path);
  static bool NeedsLogin(int file);
  // One whole version that the file has or had.
  bool IsWhole(int file, const SimDisk& disk, const std::string& path) const;
  // These ranges are those of one version.
  bool Holds(int file, const IntervalSet& held, const SimDisk& disk, const std::string& path) const;

 private:
  struct Version {
    SimContent content;
    std::vector<HttpValidators> validators;
  };
  struct Served {
    std::vector<Version> versions;
    std::size_t current = 0;
    bool mayBeCut = false;  // a server's replies may have ended early unseen
  };
  struct Site;
  void Offer(int file);
  void Misbehave(SimRandom& random);

  std::vector<Served> files_;
  SimPlatform* sim_ = nullptr;
  Counts* counts_ = nullptr;
  std::vector<std::unique_ptr<Site>> sites_;
  std::unique_ptr<SimFileServer> fileServer_;
  std::unique_ptr<PacedServer> fileWire_;
};

}  // namespace pellora
