// WebProspects: asks servers for names and sizes of files that the web engine may be given.
#pragma once

#include <memory>

#include "core/Prospects.h"

namespace pellora {

class Program;
struct WebServices;

// Both outlive it and its inquiries.
std::unique_ptr<Prospects> NewWebProspects(Program& program, WebServices& services);

}  // namespace pellora
