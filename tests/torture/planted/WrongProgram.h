// WrongProgram: small pieces of a program, each wrong on purpose in one way that shows only where a port call
// fails. The torture must find every one of them.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace pellora {

class Program;
struct Platform;

inline constexpr const char* kWrongFile = "/home/u/dl/notes";

// Skips the failure of an open, and takes the file for open.
void DereferencesWhatDidNotOpen(Platform& platform);
// Tries a write again until it succeeds, in one event.
void TriesAgainForEver(Platform& platform);
// The same in one event after the other, none of them later than the one before.
void PostsItselfForEver(Platform* platform);
// Makes a failure into an exception that nobody expects.
void ThrowsWhatNobodyCatches(Platform& platform);
// Forgets what it allocated for the write that failed.
void LosesItsBuffer(Platform& platform);
// Marks a record as paused where its file cannot be opened, and leaves it active.
void PausesWithoutStopping(Program& program);
// Writes to the root of the disk where the folder cannot be written.
void WritesElsewhere(Platform& platform);
// Writes the list in two steps.
void SavesHalfAList(Program& program);
// Does all of it right.
void SavesOrSaysSo(Program& program);

}  // namespace pellora
