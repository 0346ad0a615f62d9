// Registration: makes the program known to the user's desktop: the bus activation file, so that a call starts the
// program, and the application entry with its icon. A package does that for all users, under the same names; an entry
// of the user's would win.
#pragma once

#include <string>

namespace pellora {

// The name of the entry, of the icon and of the program's windows on Wayland.
inline constexpr const char* kDesktopId = "org.pelloraproject.pellora";

// The texts of the two files. Failure(InvalidCall) if the path contains a line break, which neither file can express.
std::string ActivationFileText(const std::string& program);
std::string ApplicationEntryText(const std::string& program);

// The entry of a command in the folders of $PATH, which does nothing once the command is removed.
std::string InstalledEntryText(const std::string& command);

// The text, with any program in it, of an application entry that some copy of the program has written.
bool IsApplicationEntry(const std::string& text);

// Writes the files below `dataHome` if they are missing or differ, and removes those of earlier names. Failures are
// ignored.
void RegisterProgram(const std::string& program, const std::string& dataHome);

// Removes what copies of the program have written there. Files of another form are the user's. Failures are ignored.
void UnregisterPrograms(const std::string& dataHome);

}  // namespace pellora
