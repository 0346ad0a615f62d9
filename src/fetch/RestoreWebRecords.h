// RestoreWebRecords: at a start, after the list was loaded, gives the web engine's records what the journal knows of
// them.
//
// A list that was damaged is filled from the journal. A rename that a kill cut short is completed in the records. Part
// files whose records a sound list does not have any more are deleted.
#pragma once

namespace pellora {

class Program;
struct WebServices;

// Failure(File) for a journal that is there and cannot be read.
void RestoreWebRecords(Program& program, WebServices& services);

}  // namespace pellora
