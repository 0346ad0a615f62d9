// ProgramPlaces: where the program, its texts and its own files lie.
//
// A copy in a folder that the user can write is complete there. One that packages have installed, and any in a folder
// that the user cannot write, keeps its list and whatever else it writes in $XDG_DATA_HOME/pellora. A copy that has
// done so keeps to it, although the user can write its folder later: its older list may still lie there.
#pragma once

#include <string>

namespace pellora {

// No trailing slashes.
struct ProgramPlaces {
  std::string program;    // of the executables
  std::string languages;  // of the language files
  std::string data;       // of the list, the lock and the journal; created if need be
  bool packaged = false;  // installed by a package, or like one
  bool writable = false;  // the user can write the program's folder, and it is not packaged
};

// What the disk says about a program's folder.
struct FoundPlaces {
  std::string program;
  std::string installedData;  // $PREFIX/share/pellora of a program in $PREFIX/lib/pellora; empty for any other
  std::string dataHome;       // $XDG_DATA_HOME
  bool writable = false;
  bool listBeside = false;  // a list lies beside the program
  bool listAtHome = false;  // one lies in $XDG_DATA_HOME/pellora
  bool usesHome = false;    // this copy has used that one before
};

// The rules, without the disk.
ProgramPlaces PlacesFor(const FoundPlaces& found);

// Looks at the disk, creates the folder of the data, and remembers there that this copy uses it. That a folder cannot
// be created shows at the first write there.
ProgramPlaces FindPlaces(const std::string& program, const std::string& dataHome);

// A program that has no business in the user's folders: it is installed for all users, or lies where it cannot stay, or
// the desktop knows an installed one by the folders of $XDG_DATA_DIRS.
bool RegistersItself(const ProgramPlaces& places, const std::string& dataDirs);

}  // namespace pellora
