// WebServices: what the web engine's downloads share while the program runs.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "core/EngineChoice.h"
#include "core/Metalink.h"
#include "core/Selection.h"
#include "fetch/DiskTurns.h"
#include "fetch/HandOvers.h"
#include "fetch/HostKeys.h"
#include "fetch/HostMemory.h"
#include "fetch/Journal.h"
#include "fetch/Logins.h"
#include "ports/Clock.h"
#include "ports/Platform.h"

namespace pellora {

struct WebServices {
  WebServices(const Platform& thePlatform, std::string journalPath, std::uint64_t theSeed)
      : platform(thePlatform),
        turns(thePlatform),
        journal(thePlatform, turns, std::move(journalPath)),
        logins(thePlatform),
        seed(theSeed) {}

  // Milliseconds of a clock that never goes back and does not wrap.
  std::int64_t Now() {
    const std::uint32_t tick = platform.clock.TickCount();
    now_ += static_cast<std::uint32_t>(tick - lastTick_);
    lastTick_ = tick;
    return now_;
  }
  std::uint64_t NextSeed() { return seed += 0x9E3779B97F4A7C15; }

  const Platform& platform;
  DiskTurns turns;
  Journal journal;
  HostMemory hosts;
  HostKeys keys;
  Logins logins;
  HandOvers handOvers;
  std::set<JournalKey> listed;  // journal entries with a record: without it at a save of the list, they go
  std::map<JournalKey, std::shared_ptr<const Selection>> selections;  // that came with an add
  std::map<JournalKey, Login> addedLogins;                            // that came with an add
  // Of records whose address the user is changing: tried at the next start, and kept if it has the same file.
  std::map<JournalKey, AddressReading> newAddresses;
  std::set<JournalKey> superseded;  // former addresses, in the journal until the list is saved with the new ones
  std::uint64_t seed;               // of the chances of waits
  // A download was a Metalink: its record is to go, and these files are to be added in its place. Empty: it is a file
  // like any other.
  std::function<void(std::int16_t index, MetalinkFiles files)> metalinkArrived;

 private:
  std::int64_t now_ = 0;
  std::uint32_t lastTick_ = 0;
};

}  // namespace pellora
