// Small helpers around the user's system. None of them reports a failure.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

class AutoStart;
class Picture;

// Starts the program with the user's session, or no longer.
void SetAutoStart(AutoStart& autoStart, bool enabled);

// The picture that stands for the type of a file of that name: "file:" and what follows the last "." of
// the part behind the last "/"; "folder" for a name that ends in "/". Views find the icon of the type by it.
std::string FileTypePicture(std::string_view name);

// Shows the icon of a file name's type, small in one picture and large in the other. The name alone
// decides: no such file need exist, and none is made.
void LoadFileIcons(std::string_view name, Picture& pic16, Picture& pic32);

}  // namespace pellora
