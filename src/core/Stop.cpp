#include "core/Stop.h"

#include <memory>
#include <utility>

#include "core/ListFile.h"
#include "core/Program.h"
#include "ports/Failure.h"
#include "ports/Machine.h"
#include "ports/Platform.h"

namespace pellora {

void PauseAndSave(Program& program, const std::function<void()>& unloadWindows) {
  for (int i = 1; i <= program.DownloadCount; ++i) {
    DownloadRecord& record = program.Download(i);
    if (!record.InUse || !record.Active) continue;
    const std::shared_ptr<Transfer> transfer = std::exchange(program.TransferWindowAt(i), nullptr);
    if (!transfer) continue;
    Skip([&] { transfer->PauseDownload(); });
    record.Active = false;
    if (program.headless) record.Queued = 1;  // the next start goes on with it
    Skip([&] { transfer->UnloadWindow(); });
  }
  if (unloadWindows) unloadWindows();
  Skip([&] { SaveList(program); });
}

void End(Program& program) {
  // Non-zero after a part file failed, even if the user quit before closing its message.
  program.platform.machine.End(program.Ending() ? 1 : 0);
}

}  // namespace pellora
