// InBackground: lets a task wait for work outside the event loop.
#pragma once

#include "async/Task.h"
#include "ports/Background.h"

namespace pellora {

struct Platform;

// Runs `work` and waits for its end. Rethrows its Failure.
Task<> InBackground(const Platform* platform, Background::Work work);

}  // namespace pellora
