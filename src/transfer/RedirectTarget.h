// TargetOfRedirect: where the location of a redirect leads.
//
// Relative locations are not resolved: without a "//" only the first character is dropped, so "/a/b.zip"
// means host "a" and path "/b.zip". Scheme and port are not looked at; a port stays in the host's text.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

struct RedirectTarget {
  std::string host;      // empty for an empty location
  std::string path;      // "/" where the location names none
  std::string fileName;  // after the last "/" of path
};

RedirectTarget TargetOfRedirect(std::string_view location);

}  // namespace pellora
