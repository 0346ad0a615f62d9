// WebArchives: reads the directories of archives by the web engine's ways of asking.
#pragma once

#include <memory>

#include "archive/RemoteArchives.h"

namespace pellora {

class Program;
struct WebServices;

// Both outlive it and its inquiries.
std::unique_ptr<RemoteArchives> NewWebArchives(Program& program, WebServices& services);

}  // namespace pellora
