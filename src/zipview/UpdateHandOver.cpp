#include "zipview/UpdateHandOver.h"

#include <memory>
#include <string>
#include <utility>

#include "async/TaskLoop.h"
#include "core/Program.h"
#include "core/RecordLife.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Machine.h"
#include "ports/Shell.h"
#include "zipview/VBUnzBas.h"

namespace pellora {

namespace {

constexpr const char* kUpdater = "/updater";

}  // namespace

Task<> HandOverUpdate(Program* program, Unzip* unzip, std::int16_t index) {
  Platform& platform = program->platform;
  const std::string folder = platform.machine.DataFolder();
  // The path is read before the slot is free and can be refilled. After a redirect the package no longer has the
  // record's name.
  const DownloadRecord& record = program->Download(index);
  const std::string package = record.HasSavePath ? record.SavePath : folder + "/downloads/" + record.FileName;
  Release(*program, index, kHandedOver);
  program->lists->RefreshRows(kAllRows, kUnforced);
  const std::shared_ptr<Transfer> transfer = program->TransferWindowAt(index);
  if (transfer) transfer->HideWindow();
  co_await platform.tasks.Yield();
  Skip([&] { platform.files.CreateFolder(folder + "/temp"); });
  VBUnzBas unpacking(*unzip);
  unpacking.ArchivePath = package;
  unpacking.TargetFolder = folder + "/temp";
  const int result = unpacking.VBUnZip32();
  if (result != 0) {
    BoxRequest request{std::to_string(result), kProgramName, kOkOnly};
    (void)co_await program->boxes.Ask(program, std::move(request));
  }
  Skip([&] { platform.shell.Start(platform.machine.ProgramFolder() + kUpdater, {}); });
  program->saveAndQuit();
}

}  // namespace pellora
