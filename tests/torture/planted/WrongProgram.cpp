#include "WrongProgram.h"

#include <stdexcept>

#include "core/ListCodec.h"
#include "core/ListFile.h"
#include "core/Program.h"
#include "ports/EventLoop.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Platform.h"

namespace pellora {

void UsesFileThatDidNotOpen(Platform& platform) {
  std::unique_ptr<File> file;
  Skip([&] { file = platform.files.Open(kWrongFile, FileKind::Output); });
  file->WriteAt(0, "text");
}

void RetriesForever(Platform& platform) {
  const std::unique_ptr<File> file = platform.files.Open(kWrongFile, FileKind::Output);
  while (!Skip([&] { file->WriteAt(0, "text"); })) {
  }
}

void PostsItselfForever(Platform* platform) {
  if (Skip([&] { (void)platform->files.Open(kWrongFile, FileKind::Output); })) return;
  platform->events.Post([platform] { PostsItselfForever(platform); });
}

void ThrowsUncaughtException(Platform& platform) {
  if (!Skip([&] { (void)platform.files.Open(kWrongFile, FileKind::Output); })) throw std::runtime_error("no notes");
}

void LeaksItsBuffer(Platform& platform) {
  auto* const text = new std::string(1000, 'x');
  const std::unique_ptr<File> file = platform.files.Open(kWrongFile, FileKind::Output);
  file->WriteAt(0, *text);
  delete text;
}

void PausesWithoutStopping(Program& program) {
  if (!Skip([&] { (void)program.platform.files.Open(kWrongFile, FileKind::Output); }))
    program.Download(1).Paused = true;
}

void WritesElsewhere(Platform& platform) {
  if (!Skip([&] { (void)platform.files.Open(kWrongFile, FileKind::Output); }))
    (void)platform.files.Open("/notes", FileKind::Output);
}

void SavesListInTwoSteps(Program& program) {
  std::string bytes;
  AppendListHeader(bytes, program.DownloadCount);
  const std::unique_ptr<File> file = program.platform.files.Open(ListPath(program), FileKind::List);
  file->WriteAt(0, bytes);
  std::string records;
  for (int i = 0; i <= program.DownloadCount; ++i) AppendRecord(records, program.Download(i));
  file->WriteAt(bytes.size(), records);
}

void ReportsFailedSave(Program& program) {
  if (!Skip([&] { SaveList(program); })) program.Download(1).Active = false;
}

}  // namespace pellora
