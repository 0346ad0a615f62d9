// SimSchemes: a fetcher that only says which schemes it supports, for tests whose engine requests nothing.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

#include "SimPlatform.h"
#include "core/Engine.h"
#include "core/Program.h"
#include "ports/Fetcher.h"

namespace pellora {

class SimSchemes final : public Fetcher {
 public:
  std::unique_ptr<Fetch> Begin(FetchRequest request, FetchEvents&) override {
    throw std::logic_error("a request for " + request.url);
  }
  bool Supports(std::string_view scheme) const override { return schemes.contains(scheme); }
  bool Starved() const override { return false; }

  std::set<std::string, std::less<>> schemes = {"https", "http", "ftps", "ftp", "sftp"};
};

// Gives a program a fetcher of all schemes, and an engine that none of its tests may start.
class SimWeb {
 public:
  SimWeb(SimPlatform& sim, Program& program) : sim_(sim) {
    sim_.platform().fetcher = &fetcher;
    program.newWebEngine = [](Program&) -> std::shared_ptr<Engine> { throw std::logic_error("an engine"); };
  }
  ~SimWeb() { sim_.platform().fetcher = nullptr; }
  SimWeb(const SimWeb&) = delete;
  SimWeb& operator=(const SimWeb&) = delete;

  SimSchemes fetcher;

 private:
  SimPlatform& sim_;
};

}  // namespace pellora
