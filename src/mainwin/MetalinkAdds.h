// ListedAddsOf: the files of a Metalink as the window for many addresses takes them.
#pragma once

#include <vector>

#include "core/Metalink.h"
#include "mainwin/AddList.h"

namespace pellora {

std::vector<ListedAdd> ListedAddsOf(std::vector<MetalinkAdd> files, bool later);

}  // namespace pellora
