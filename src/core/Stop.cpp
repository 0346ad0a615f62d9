#include "core/Stop.h"

#include <utility>

#include "core/ListFile.h"
#include "core/Program.h"
#include "platform/Desktop.h"
#include "platform/Failure.h"
#include "platform/Platform.h"
#include "platform/Window.h"

namespace pellora {

void SaveAndQuit(Program& program, const std::vector<std::shared_ptr<Window>>& windows) {
  for (int i = 1; i <= program.DownloadCount; ++i) {
    DownloadRecord& record = program.Download(i);
    if (!record.InUse || !record.Active) continue;
    const std::shared_ptr<Transfer> transfer = std::exchange(program.TransferWindowAt(i), nullptr);
    if (!transfer) continue;
    Skip([&] { transfer->PauseDownload(); });
    record.Active = false;
    Skip([&] { transfer->UnloadWindow(); });
  }
  for (const auto& window : windows) {
    Skip([&] { window->Unload(); });
  }
  Skip([&] { SaveList(program); });
  // A part file that failed is what ended the program, whoever was quicker than the answer to its message.
  program.platform.machine.End(program.Ending() ? 1 : 0);
}

}  // namespace pellora
