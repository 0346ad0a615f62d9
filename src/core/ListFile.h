// ListFile: the list of downloads on disk, "Pellora.dat" in the program's folder.
//
// The file is written whole from position 0 and never truncated, since the reader stops behind the last
// record. A file that could not be read whole is copied to "Pellora.dat.damaged" (".damaged.2" and so on
// where one exists) before a save writes over it. The list holds passwords: only the user may read it and its copies.
#pragma once

#include <string>

namespace pellora {

class Program;

std::string ListPath(const Program& program);
// Where the first damaged list is kept.
std::string DamagedListPath(const Program& program);

// Writes the list in one positioned write, after making sure that it fits: on a full disk the file keeps
// what it holds. Failure(File) when it cannot be written. Does nothing before the list was loaded.
void SaveList(Program& program);

// Saves for somebody who is about to delete part files or to write into those of a former plan, and says whether
// that may be. It may not while the list on the disk counts on them: where the save fails, and where none takes
// place because the program is ending with the list as last saved.
bool SaveListBeforeTouchingParts(Program& program);

// Reads the list; an absent file is created, a foreign one is an empty list, and so is one that seems absent and
// cannot be created, until the first save finds out whether there is one to copy aside. What was transferring comes
// back paused. Failure(File) if there is a file and it cannot be read: nothing is saved over it then.
void LoadList(Program& program);

}  // namespace pellora
