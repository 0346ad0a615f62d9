// In place of CurlFetcher, in builds without libcurl.
#include "desktop/NewFetcher.h"

namespace pellora {

std::unique_ptr<Fetcher> NewFetcher(EventGate& /*gate*/, EventLoop& /*events*/) { return nullptr; }

}  // namespace pellora
