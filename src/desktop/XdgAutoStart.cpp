#include "desktop/XdgAutoStart.h"

#include <unistd.h>

#include <cerrno>

#include "desktop/AtomicFile.h"
#include "desktop/FileFailure.h"
#include "desktop/Registration.h"

namespace pellora {

void XdgAutoStart::SetEntry(bool present) {
  if (present) {
    UpdateFile(entry_, ApplicationEntryText(program_), 0644);
  } else if (::unlink(entry_.c_str()) != 0 && errno != ENOENT) {
    throw FileFailure(entry_, errno);
  }
}

}  // namespace pellora
