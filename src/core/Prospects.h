// Prospects: what can be said of a download of the web engine before it is added.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>

#include "core/WebAdd.h"

namespace pellora {

struct Prospect {
  std::string name{};      // of the file, as the server tells it
  std::int64_t size = -1;  // bytes; -1: the server does not tell it
  std::string problem{};   // why it could not be fetched now, in one sentence; empty if it could
};

// A question to a server. Destroying it ends it, and no call follows.
class Inquiry {
 public:
  virtual ~Inquiry() = default;
};

class Prospects {
 public:
  virtual ~Prospects() = default;
  // Asks the server of an address that the web engine takes for one byte. `done` is called once, in a later
  // event.
  virtual std::unique_ptr<Inquiry> Ask(const std::string& url, const WebAdd& add,
                                       std::function<void(const Prospect& prospect)> done) = 0;
  // What the file will be called as far as its address shows it.
  virtual std::string NameOf(const std::string& url) const = 0;
  // The first of "NAME", "NAME (2)", ... that neither is in the folder nor makes a path of `taken`.
  virtual std::string FreeName(const std::string& folder, const std::string& name,
                               const std::set<std::string>& taken) const = 0;
  // The paths that unfinished downloads will have.
  virtual std::set<std::string> TakenPaths() const = 0;
};

}  // namespace pellora
