// NewFetcher: the Fetcher of this build; null if it was built without libcurl.
#pragma once

#include <memory>

#include "ports/Fetcher.h"

namespace pellora {

class EventGate;
class EventLoop;

std::unique_ptr<Fetcher> NewFetcher(EventGate& gate, EventLoop& events);

}  // namespace pellora
