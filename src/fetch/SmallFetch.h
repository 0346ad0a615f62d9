// SmallFetch: fetches a small document beside a download, such as a list of checksums, whole or not at all.
//
// One that is longer than 1 MiB, takes longer than 10 s, or is not answered by 200 is given up.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "async/Timer.h"
#include "core/WebAddress.h"
#include "fetch/HostMemory.h"
#include "ports/Fetcher.h"
#include "ports/Platform.h"

namespace pellora {

class SmallFetch final : private FetchEvents {
 public:
  using MakeRequest = std::function<FetchRequest(const WebAddress& address)>;
  // Gets the document, or nothing, in a later event; it may destroy the SmallFetch.
  using Done = std::function<void(std::optional<std::string> document)>;
  enum class Redirects : std::uint8_t { Refused, Followed };  // those to an unencrypted server never from another one

  SmallFetch(Platform& platform, HostMemory& hosts, MakeRequest make, Redirects redirects, Done done);
  // Once.
  void Begin(const WebAddress& address);

 private:
  void Request(const WebAddress& address);
  bool Follows(const FetchAnswer& answer);
  void End(std::optional<std::string> document);
  void Answered(const FetchAnswer& answer) override;
  void DataArrived(std::unique_ptr<FetchBlock> block) override;
  void Ended(FetchEnd end, const std::string& reason) override;

  Platform& platform_;
  HostMemory& hosts_;
  const MakeRequest make_;
  const Redirects redirects_;
  const Done done_;
  Timer limit_;
  WebAddress address_;
  int redirected_ = 0;
  std::unique_ptr<HostMemory::Connection> connection_;
  std::unique_ptr<Fetch> fetch_;
  std::string document_;
};

}  // namespace pellora
