// The project's fixed addresses on the network.
#pragma once

namespace pellora {

inline constexpr const char* kHomePage = "http://www.pellora.example/";
inline constexpr const char* kUpdateServer = "update.pellora.example";
// The version file is on one host, the packages are on another. A package's URL is the site, the digits of its version
// and ".zip".
inline constexpr const char* kVersionHost = "version.pellora.example";
inline constexpr const char* kPackageSite = "http://packages.pellora.example/Pellora";

}  // namespace pellora
