// Shrink: leaves out of a failing life's plan whatever it fails without.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "../Life.h"

namespace pellora {

// The items that may all be left out while the life still fails; nothing at all if it does not fail.
// `lives` tells how many lives that took.
std::set<int> Shrink(std::uint64_t seed, const LifeOptions& options, int& lives);

}  // namespace pellora
