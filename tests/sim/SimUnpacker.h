// SimUnpacker: decodes stored entries and those of PackDeflate, encrypted by EncryptZip or not, and misbehaves on
// request as a process of its own may.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ports/Unpacker.h"

namespace pellora {

struct SimUnpackFault {
  std::uint64_t at = UINT64_MAX;               // after this many unpacked bytes ...
  UnpackState becomes = UnpackState::Damaged;  // ... it ends like that
  std::string more = {};                       // bytes that it gives after the right ones
  std::uint64_t fewer = 0;                     // bytes at the end that it does not give, and still says Done
  int busy = 0;                                // calls in which it does nothing, before each that does something
  bool hangs = false;                          // from `at` on it does nothing and never ends
};

class SimUnpacker final : public Unpacker {
 public:
  std::unique_ptr<Unpacking> Begin(const PackedEntry& entry) override;

  // For the test.
  SimUnpackFault fault;                      // of those that begin from now on
  std::string refuses;                       // a reason why no process can be started; empty: it can
  std::size_t step = std::size_t{64} << 10;  // bytes that one call takes at most
  int begun = 0;
  int Running() const { return *running_; }  // not destroyed yet

 private:
  std::shared_ptr<int> running_ = std::make_shared<int>(0);
};

}  // namespace pellora
