// Origin: the servers of a life and what they have. The files stay the same over the sessions of a life;
// the servers are new in each, with the faults that the plan has for it.
//
// Honest servers deliver the right bytes or none: slowly, cut off, silent, refusing. Only "wild.example"
// answers what a segment takes for the file's bytes: error pages, ignored ranges, old protocols. What is
// fetched there is held against nothing.
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
// Delivers the right bytes or none.
bool IsHonest(HostId host);

class Origin {
 public:
  explicit Origin(const LifePlan& plan);

  // The servers of a session, each connection with its fate.
  void Serve(SimPlatform& sim, const LifePlan& plan, int session, const std::vector<const PlanItem*>& wires);
  // Nothing fails any more.
  void NoFaults();
  // Counts the fates that were met; then the servers go.
  void EndSession(Counts& counts);

  // The bytes of the file with that name; null if no honest server has one.
  const std::string_view* Find(std::string_view name) const;
  // No line of a reply is put together from two arrivals, and what follows a cut may look like another reply. A
  // size may so be read as none: the plan is then for nothing, and such a download never ends.
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
