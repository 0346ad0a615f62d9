// WebRecords: how the list and the journal of the web engine are kept together.
#pragma once

#include <cstdint>

namespace pellora {

class Program;
struct FileState;
struct WebServices;

// At a start, after the list was loaded: gives the web engine's records what the journal knows of them. Records that
// the list lacks come back from the journal, and a rename that a kill cut short is completed in the records.
// Failure(File) for a journal that is there and cannot be read.
void RestoreWebRecords(Program& program, WebServices& services);

// The file `replaced` at the record's SavePath may be replaced. Remembered before its download begins.
void RememberReplacing(Program& program, WebServices& services, std::int16_t index, const FileState& replaced);

// After the list was saved: what was listed and is not any more leaves the journal, and then its part file is deleted,
// in the background.
void SweepJournal(Program& program, WebServices& services);

}  // namespace pellora
