// ListSeek: looks for a list of checksums beside a file, one place after the other.
//
// Redirects are not followed: a list counts only from the server and folder of the file. Lists above 1 MiB, and servers
// that take longer than 10 s for all of them, are given up; what cannot be had changes nothing.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "async/Timer.h"
#include "core/Checksum.h"
#include "core/WebAddress.h"
#include "fetch/HostMemory.h"
#include "ports/Fetcher.h"
#include "ports/Platform.h"

namespace pellora {

struct ListPlace {
  WebAddress address;
  bool ofOne = false;  // a list for this file alone

  bool operator==(const ListPlace&) const = default;
};

// "SHA256SUMS" and "NAME.sha256" in the folder of a file at an address of http or https; none for an address without
// name.
std::vector<ListPlace> ListPlaces(const WebAddress& file);

class ListSeek final : private FetchEvents {
 public:
  using MakeRequest = std::function<FetchRequest(const WebAddress& address)>;

  // The first request begins at once. `names` are what the file may be called in a list.
  ListSeek(Platform& platform, HostMemory& hosts, std::vector<ListPlace> places, std::vector<std::string> names,
           MakeRequest make);

  bool Over() const { return over_; }
  const std::optional<Checksum>& Found() const { return found_; }

 private:
  void BeginNext();
  void EndRequest();
  void End();
  void Answered(const FetchAnswer& answer) override;
  void DataArrived(std::unique_ptr<FetchBlock> block) override;
  void Ended(FetchEnd end, const std::string& reason) override;

  Platform& platform_;
  HostMemory& hosts_;
  const std::vector<ListPlace> places_;
  const std::vector<std::string> names_;
  const MakeRequest make_;
  Timer limit_;
  std::size_t next_ = 0;
  std::unique_ptr<HostMemory::Connection> connection_;
  std::unique_ptr<Fetch> fetch_;
  std::string list_;
  std::optional<Checksum> found_;
  bool over_ = false;
};

}  // namespace pellora
