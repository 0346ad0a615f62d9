// ListFile: the list of downloads on disk, "Pellora.dat" in the program's data folder.
//
// The file is written whole from position 0 and never truncated, since the reader stops after the last record. A file
// that could not be read whole is copied to "Pellora.dat.damaged" (".damaged.2" and so on where one exists) before a
// save overwrites it. The list holds passwords: only the user may read it and its copies.
#pragma once

#include <string>

namespace pellora {

class Program;

std::string ListPath(const Program& program);
// The web engine's journal lies beside the list.
std::string JournalPath(const Program& program);
// The copy of the first damaged list.
std::string DamagedListPath(const Program& program);

// For a program that keeps its list in another folder than its own: copies a list beside the program there if there is
// none yet, or an empty one, and its journal with what that one names, unless there is a journal. Failure(File) if that
// fails; the list must not be loaded then, or the copy would never be made. To be called before LoadList.
void AdoptList(Program& program);

// Writes the list in one positioned write, after making sure that it fits: on a full disk the file keeps its contents.
// Records that Program::isUnjournaled, or IsUndecided, are left out. Failure(File) when it cannot be written; the first
// such failure calls program.listNotSaved, and so does the first one after a save that succeeded. Does nothing before
// the list is loaded.
void SaveList(Program& program);

// To be called before deleting part files or writing into those of an earlier plan; True if that is allowed. It is not
// while the list on the disk relies on them: when the save fails, or is left out because the program is ending with the
// list as last saved.
bool SaveListBeforeTouchingParts(Program& program);

// Reads the list. Calls program.listNotSaved if it could not be written. A missing file is created; a foreign one
// counts as an empty list, and so does one that seems missing and cannot be created, until the first save finds out
// whether there is one to copy aside. Active downloads come back paused. Failure(File) if there is a file that cannot
// be read: it is never overwritten then.
void LoadList(Program& program);

}  // namespace pellora
