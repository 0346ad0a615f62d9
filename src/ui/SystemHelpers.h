// Small helpers around the user's system. None reports a failure.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

class AutoStart;
class Picture;

// Makes the program start with the user's session, or stops that.
void SetAutoStart(AutoStart& autoStart, bool enabled);

// The picture for the type of a file of that name, by which views find the icon: "file:" and what follows the last "."
// after the last "/"; "folder" for a name that ends in "/".
std::string FileTypePicture(std::string_view name);

// Shows the icon of a file name's type, small in one picture and large in the other. Only the name counts; no such file
// need exist.
void LoadFileIcons(std::string_view name, Picture& pic16, Picture& pic32);

}  // namespace pellora
