// OrphanedParts: part files whose download is finished. The parts of a joined file go only once the saved list says
// that it is finished; a kill in between leaves them behind, and the next start takes them away.
#pragma once

namespace pellora {

class Program;

// Deletes, in the folder for temporary files, what a finished record names as its parts, unless another download names
// it too, one of them is short, or the finished file does not stand there whole. Spares a listed download's own file of
// that name, and everything while a damaged list or a copy of one lies there.
void RemoveOrphanedParts(Program& program);

}  // namespace pellora
