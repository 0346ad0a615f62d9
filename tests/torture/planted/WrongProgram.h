// WrongProgram: small pieces of a program, each with one planted fault that shows only if a port call fails. The
// torture must find every one of them.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace pellora {

class Program;
struct Platform;

inline constexpr const char* kWrongFile = "/home/u/dl/notes";

// Ignores the failure to open a file, and uses it.
void UsesFileThatDidNotOpen(Platform& platform);
// Retries a write until it succeeds, within one event.
void RetriesForever(Platform& platform);
// The same with an event for each retry, all at the same time.
void PostsItselfForever(Platform* platform);
// Turns a failure into an exception that is not caught.
void ThrowsUncaughtException(Platform& platform);
// Leaks its buffer if the write fails.
void LeaksItsBuffer(Platform& platform);
// Marks a record as paused if its file cannot be opened, but leaves it active.
void PausesWithoutStopping(Program& program);
// Writes to the root of the disk if the folder cannot be written.
void WritesElsewhere(Platform& platform);
// Writes the list in two steps.
void SavesListInTwoSteps(Program& program);
// Has no fault.
void ReportsFailedSave(Program& program);

}  // namespace pellora
