// InBackground: work outside of the event loop that a task waits for.
#pragma once

#include "async/Task.h"
#include "ports/Background.h"

namespace pellora {

struct Platform;

// Runs `work` and waits for its end. Throws the Failure that it ended in.
Task<> InBackground(const Platform* platform, Background::Work work);

}  // namespace pellora
