// WatchedFetcher: the simulated fetcher as the program of a life sees it. It knows every request that is open.
#pragma once

#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Planted.h"
#include "SimPlatform.h"
#include "ports/Fetcher.h"

namespace pellora {

class WatchedFetcher final : public Fetcher {
 public:
  WatchedFetcher(SimPlatform& sim, Planted planted) : sim_(sim), planted_(planted), random_(sim.Seed() + 3) {}

  // The port.
  std::unique_ptr<Fetch> Begin(FetchRequest request, FetchEvents& events) override;
  bool Supports(std::string_view scheme) const override { return sim_.fetcher().Supports(scheme); }
  bool Starved() const override { return sim_.fetcher().Starved(); }

  struct OpenFetch {
    std::string url;
    SimLoop::Micros strangeSince = -1;  // when it was first seen that no record explains it; -1: one does
  };
  std::list<OpenFetch>& Open() { return open_; }

 private:
  friend class WatchedFetch;
  SimPlatform& sim_;
  Planted planted_;
  SimRandom random_;
  std::list<OpenFetch> open_;
  std::vector<std::unique_ptr<Fetch>> left_;  // closed only by the program, for Planted::FetchLeftOpen
};

}  // namespace pellora
