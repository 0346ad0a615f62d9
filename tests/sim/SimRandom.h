// SimRandom: the only source of randomness in a simulated run. Equal seeds give equal numbers on every machine.
#pragma once

#include <cstdint>

namespace pellora {

class SimRandom {
 public:
  explicit SimRandom(std::uint64_t seed) : state_(seed) {}

  std::uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15ULL;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
  }
  // A number from 0 to n - 1; `n` is at least 1.
  std::uint64_t Below(std::uint64_t n) { return Next() % n; }
  // A number from `low` to `high`, inclusive.
  std::uint64_t Between(std::uint64_t low, std::uint64_t high) { return low + Below(high - low + 1); }
  bool Coin() { return (Next() & 1) != 0; }

 private:
  std::uint64_t state_;
};

}  // namespace pellora
