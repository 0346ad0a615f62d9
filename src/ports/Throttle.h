// Throttle: how fast the bytes of one request may be taken. May be called from any thread.
#pragma once

#include <cstddef>

namespace pellora {

class Throttle {
 public:
  virtual ~Throttle() = default;
  // True: so many bytes may be taken now, and count as taken. False: none may; they wait, nothing more is read, and the
  // caller calls again every 10 to 50 ms until it may.
  virtual bool Take(std::size_t bytes) = 0;
  // How many bytes are best taken at once: fewer for a slow request, so that they come evenly. At least 1 KiB. May be
  // called when the request begins, and then not again.
  virtual std::size_t Portion() const = 0;
};

}  // namespace pellora
