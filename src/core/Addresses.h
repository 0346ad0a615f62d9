// The project's fixed addresses on the network.
#pragma once

namespace pellora {

inline constexpr const char* kHomePage = "http://www.pellora.example/";
inline constexpr const char* kUpdateServer = "update.pellora.example";

}  // namespace pellora
