// ListSeek: looks for a list of checksums beside a file, one place after the other.
//
// Redirects are not followed: a list counts only from the server and folder of the file. Servers that take longer than
// 10 s for all of them are given up; what cannot be had changes nothing.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "async/Timer.h"
#include "core/Checksum.h"
#include "core/WebAddress.h"
#include "fetch/HostMemory.h"
#include "fetch/SmallFetch.h"
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

class ListSeek final {
 public:
  // The first request begins at once. `names` are what the file may be called in a list.
  ListSeek(Platform& platform, HostMemory& hosts, std::vector<ListPlace> places, std::vector<std::string> names,
           SmallFetch::MakeRequest make);
  ListSeek(const ListSeek&) = delete;
  ListSeek& operator=(const ListSeek&) = delete;

  bool Over() const { return over_; }
  const std::optional<Checksum>& Found() const { return found_; }

 private:
  void BeginNext();
  void End();
  void Read(const ListPlace& place, std::string_view list);

  Platform& platform_;
  HostMemory& hosts_;
  const std::vector<ListPlace> places_;
  const std::vector<std::string> names_;
  const SmallFetch::MakeRequest make_;
  Timer limit_;
  std::size_t next_ = 0;
  std::unique_ptr<SmallFetch> fetch_;
  std::optional<Checksum> found_;
  bool over_ = false;
};

}  // namespace pellora
