// Shrink: reduces a failing life's plan to what the failure needs.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "../Life.h"

namespace pellora {

// The items that can all be dropped while the life still fails; empty if it does not fail. `lives` counts the lives
// run.
std::set<int> Shrink(std::uint64_t seed, const LifeOptions& options, int& lives);

}  // namespace pellora
