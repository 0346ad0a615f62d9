#include "zipview/UpdateHandOver.h"

#include <memory>
#include <string>
#include <utility>

#include "core/Program.h"
#include "platform/Desktop.h"
#include "platform/Failure.h"
#include "platform/Files.h"
#include "platform/TaskLoop.h"
#include "zipview/VBUnzBas.h"

namespace pellora {

namespace {

constexpr const char* kUpdater = "/updater";

// What the package was saved as. A redirect gives the record the name of its new address, but not the file.
std::string SavedName(const DownloadRecord& record) {
  return record.HasSavePath ? record.SavePath.substr(record.SavePath.rfind('/') + 1) : record.FileName;
}

}  // namespace

Task<> HandOverUpdate(Program* program, Unzip* unzip, std::int16_t index) {
  Platform& platform = program->platform;
  const std::string folder = platform.machine.ProgramFolder();
  // The slot is free from here on: its name is taken before anybody else can fill it.
  const std::string name = SavedName(program->Download(index));
  program->Download(index).InUse = false;
  program->lists->RefreshRows(0, 0);
  const std::shared_ptr<Transfer> transfer = program->TransferWindowAt(index);
  if (transfer) transfer->HideWindow();
  co_await platform.tasks.Yield();
  Skip([&] { platform.files.CreateFolder(folder + "/temp"); });
  VBUnzBas package(*unzip);
  package.ArchivePath = folder + "/downloads/" + name;
  package.TargetFolder = folder + "/temp";
  const int result = package.VBUnZip32();
  if (result != 0) {
    BoxRequest request{std::to_string(result), kProgramName, kOkOnly};
    (void)co_await program->boxes.Ask(program, std::move(request));
  }
  Skip([&] { platform.shell.Start(folder + kUpdater, {}); });
  program->saveAndQuit();
}

}  // namespace pellora
