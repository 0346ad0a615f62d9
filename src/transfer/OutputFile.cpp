// The end of a download: the part files become the output file.
#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/ListFile.h"
#include "core/PartFiles.h"
#include "platform/Desktop.h"
#include "platform/Failure.h"
#include "platform/TaskLoop.h"
#include "transfer/FileNames.h"
#include "transfer/TransferWindow.h"

namespace pellora {

namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;

Task<> SayBuildFailed(Program* program, std::string reason) {
  BoxRequest request{std::move(reason), kProgramName, kCritical};
  (void)co_await program->boxes.Ask(program, std::move(request));
}

// What a short part lacks becomes zeros, so that every following segment still lands at its place.
void CopyThroughMemory(File& part, std::uint64_t from, File& output, std::uint64_t position, std::size_t size) {
  std::vector<char> buffer(size);
  (void)part.ReadAt(from, buffer);
  output.WriteAt(position, std::string_view(buffer.data(), size));
}

// Copies `size` bytes from the start of `part` to `position` of `output`.
void CopyPart(File& part, File& output, std::uint64_t position, std::uint64_t size) {
  for (std::uint64_t done = 0; done < size;) {
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, size - done));
    const std::size_t moved = output.CopyFrom(part, done, position + done, wanted);
    if (moved < wanted) CopyThroughMemory(part, done + moved, output, position + done + moved, wanted - moved);
    done += wanted;
  }
}

std::uint64_t JoinedSize(const DownloadRecord& record) {
  std::uint64_t size = 0;
  for (int i = 1; i <= record.SegmentCount; ++i) {
    const SegmentRecord& segment = record.Segment(i);
    if (segment.State == kSegmentComplete && segment.RangeSize > 0)
      size += static_cast<std::uint64_t>(segment.RangeSize);
  }
  return size;
}

}  // namespace

// An existing output file is not emptied: a longer one keeps its tail. A disk without room for the whole says so
// before anything is copied, and with its room set apart the file is written faster and in one piece.
void TransferWindow::JoinParts(const std::string& path) {
  Files& files = program_.platform.files;
  const std::unique_ptr<File> output = files.Open(path, FileKind::Output);
  const DownloadRecord& record = Record();
  output->Reserve(JoinedSize(record));
  std::uint64_t position = 0;
  for (int i = 1; i <= record.SegmentCount; ++i) {
    const SegmentRecord& segment = record.Segment(i);
    if (segment.State != kSegmentComplete || segment.RangeSize <= 0) continue;
    const std::unique_ptr<File> part = files.Open(segment.TempFile, FileKind::Part);
    const auto size = static_cast<std::uint64_t>(segment.RangeSize);
    CopyPart(*part, *output, position, size);
    position += size;
  }
}

// The parts go only when the list on disk says that they are not needed any more; else a kill between
// their deletion and the next save would fetch the tail again and overwrite a good file with zeros.
bool TransferWindow::BuildOutputFile() {
  // A record that a server error dropped builds nothing: there may be a file of the user's at its place.
  if (!Record().InUse) {
    Retire();
    return false;
  }
  DownloadRecord& record = Record();
  if (!record.HasSavePath) record.SavePath = JoinFolder(program_.settings.DownloadFolder, record.FileName);
  try {
    // Nobody else makes an update's folder anew where it could not be made at the add.
    if (record.DownloadKind == 1) Skip([&] { program_.platform.files.CreateFolder(FolderOf(record.SavePath)); });
    JoinParts(record.SavePath);
  } catch (const Failure& failure) {
    BuildFailed(failure.what());
    return false;
  }
  FinishedMode = 1;
  record.Finished = true;
  record.Active = false;
  record.Percent = 100.0F;
  const bool saved = SaveListBeforeTouchingParts(program_);
  for (int i = 1; saved && i <= record.SegmentCount; ++i) {
    DeletePart(program_.platform.files, record.Segment(i).TempFile);
  }
  DoRefresh();
  program_.lists->RefreshRows(0, kForced);
  program_.lists->RefreshDownList();
  if (record.DownloadKind == 1 && program_.handOverUpdate) {
    program_.handOverUpdate(RecordIndex);
    return false;
  }
  program_.lists->RefreshRows(0, 0);
  // Fixed English, in every language.
  Command1.Caption = "Open File";
  Command3.Caption = "Open Folder";
  Command1.Enabled = true;
  Command3.Enabled = true;
  return true;
}

// The parts stay, and a resume builds again.
void TransferWindow::BuildFailed(const std::string& reason) {
  DownloadRecord& record = Record();
  record.Paused = true;
  Command3.Caption = "Resume Download";
  Command3.Enabled = true;
  state.Caption = Text(528);
  program_.lists->RefreshRows(0, kForced);
  Tasks().Spawn(SayBuildFailed(&program_, record.FileName + ": " + reason));
}

}  // namespace pellora
