// ListedAddsOf: the files of a Metalink as the window for many addresses takes them.
#pragma once

#include <vector>

#include "core/Metalink.h"
#include "mainwin/AddList.h"

namespace pellora {

// Of each file's addresses one that goes to the web engine comes first, if there is any: the other engine knows neither
// mirrors nor checksums.
std::vector<ListedAdd> ListedAddsOf(const Program& program, std::vector<MetalinkAdd> files, bool later);

// The checksum in the request would be ignored, since its address goes to the classic engine.
bool LosesChecksum(const Program& program, const AddRequest& request);

}  // namespace pellora
