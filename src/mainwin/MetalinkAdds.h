// ListedAddsOf: the files of a Metalink as the window for many addresses takes them.
#pragma once

#include <vector>

#include "core/Metalink.h"
#include "mainwin/AddList.h"

namespace pellora {

// Of each file's addresses one that goes to the web engine comes first, if there is any: the other engine knows neither
// mirrors nor checksums. Login and cookies go with a file whose address may have those of the Metalink's
// (SharesSecrets); those of a local Metalink with all of them, if they are on one server.
std::vector<ListedAdd> ListedAddsOf(const Program& program, const MetalinkFiles& metalink);

// All addresses are of one origin.
bool AreOfOneServer(const std::vector<ListedAdd>& adds);
// Of the requests, which are for several servers.
void DropSecrets(std::vector<ListedAdd>& adds);

// Adds it without asking, unless it would lose its checksum.
AddOutcome AddFileUnasked(Program& program, const AddRequest& request);

// The checksum in the request would be ignored, since its address goes to the classic engine.
bool LosesChecksum(const Program& program, const AddRequest& request);

}  // namespace pellora
