// CurlFetcher: the Fetcher on libcurl.
//
// http and https run on the event loop (CurlLoop), ftp, ftps, sftp and HTTP/2 in threads (CurlThread). The certificates
// that a CurlLoop has read are kept with its connections, so a changed file of them means a new one.
#pragma once

#include <memory>

#include "desktop/curl/TrustedAuthorities.h"
#include "ports/EventLoop.h"
#include "ports/Fetcher.h"

namespace pellora {

class CurlLoop;
class CurlThread;
class EventGate;
class FetchDesk;
class FetchPool;
class ThreadCount;
struct CurlRequest;

class CurlFetcher final : public Fetcher {
 public:
  // Trusts the authorities of `system` besides those of a request.
  CurlFetcher(EventGate& gate, EventLoop& events, AuthorityPaths system = TrustedAuthorities::OfLibcurl());
  ~CurlFetcher() override;  // after its Fetches
  CurlFetcher(const CurlFetcher&) = delete;
  CurlFetcher& operator=(const CurlFetcher&) = delete;

  std::unique_ptr<Fetch> Begin(FetchRequest wanted, FetchEvents& events) override;
  bool Supports(std::string_view scheme) const override;
  bool Starved() const override;

 private:
  struct Authorities {
    AuthorityPaths paths;
    FileState file, folder;
    friend bool operator==(const Authorities&, const Authorities&) = default;
  };
  struct Shared {
    std::shared_ptr<CurlLoop> loop;
    Authorities authorities;  // that the loop has read
  };

  std::shared_ptr<CurlLoop> LoopFor(const CurlRequest& request);
  std::unique_ptr<Alarm> WatchOver(CurlThread& thread);
  void FreeMemoryIfIdle();

  TrustedAuthorities authorities_;
  EventGate& gate_;
  EventLoop& events_;
  std::shared_ptr<FetchPool> pool_;
  std::shared_ptr<FetchDesk> desk_;
  std::shared_ptr<ThreadCount> threads_;
  Shared shared_;
  struct InUse {};
  std::shared_ptr<InUse> inUse_ = std::make_shared<InUse>();  // every Fetch has a copy
  std::unique_ptr<Alarm> idle_;                               // runs from the first Fetch until the last one is gone
};

}  // namespace pellora
