// UseWholeFolders: corrects the environment's folders of the user. A service manager or a bus may start the program
// without HOME, for which Qt would use "/". Relative paths are to be ignored, as XDG says of its base directories:
// the list would be another one in each working folder.
#pragma once

namespace pellora {

// Before anything asks where the user's folders are.
void UseWholeFolders();

}  // namespace pellora
