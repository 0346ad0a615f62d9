// Origin: the servers of a life and their files. The files are the same in all sessions; the servers are new in each,
// with the plan's faults for it.
//
// Honest servers deliver the right bytes or none: slowly, cut off, silent, refusing. Only "wild.example" replies with
// text that a segment takes for the file's bytes: error pages, ignored ranges, old protocols. Files from there are not
// checked.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Counts.h"
#include "Plan.h"
#include "SimFtpServer.h"
#include "SimHttpServer.h"
#include "SimPlatform.h"

namespace pellora {

struct DownloadRecord;

enum class HostId { Honest, Moody, Wild, Ftp, FtpData, Version, Packages, Other };
constexpr int kHosts = 8;
HostId HostOf(std::string_view host);
bool IsHonest(HostId host);

class Origin {
 public:
  explicit Origin(const LifePlan& plan);

  // Starts the servers of a session, with a fault for each connection.
  void Serve(SimPlatform& sim, const LifePlan& plan, int session, const std::vector<const PlanItem*>& wires);
  // From now on nothing fails.
  void NoFaults();
  // Counts the faults that occurred, and removes the servers.
  void EndSession(Counts& counts);

  // The bytes of the file with that name; null if no honest server has one.
  const std::string_view* Find(std::string_view name) const;
  // The program does not put reply lines together from two arrivals, and the text after a cut may look like another
  // reply. So a size may be read as 0: the plan is then empty, and the download never ends.
  bool MayBeMisread(const DownloadRecord& record) const;
  // An address that a user may add.
  std::string RandomUrl(SimRandom& random) const;

 private:
  struct Served {
    std::string name;
    SimContent content;
    std::string_view bytes;
  };
  struct Fate {
    PlanServer server;
    int connection;
    const char* name;
  };
  void Add(const std::string& name, std::string_view bytes);
  void ServeHttp();
  HttpFault MoodyFault(SimRandom& random, const char*& name);
  HttpFault WildFault(SimRandom& random, const char*& name);
  FtpFault RandomFtpFault(SimRandom& random, const char*& name);

  std::vector<std::string> archives_;
  std::vector<Served> files_;
  std::vector<Fate> fates_;
  std::unique_ptr<SimHttpServer> honest_;
  std::unique_ptr<SimHttpServer> moody_;
  std::unique_ptr<SimHttpServer> wild_;
  std::unique_ptr<SimHttpServer> version_;
  std::unique_ptr<SimFtpServer> ftp_;
  bool cutsReplies_ = false;  // so far in this life
};

}  // namespace pellora
