// OrphanedParts: part files whose download is finished. The parts of a joined file are deleted only once the saved list
// says that it is finished; a kill in between leaves them, and the next start removes them. An interrupted download
// keeps its parts: it resumes from them.
#pragma once

namespace pellora {

class Program;

// Deletes the parts of finished records from the folder for temporary files. Keeps a part that another download names
// too or that bears the name of a listed download's file, all parts of a record if one of them is short or the finished
// file is incomplete, and everything while a damaged list or a copy of one exists.
void RemoveOrphanedParts(Program& program);

}  // namespace pellora
