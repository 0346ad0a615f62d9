// The viewer's start and end, and reading the directory. The listing is in Form2List.cpp.
#include "zipview/Form2.h"

#include <functional>
#include <utility>

#include "async/TaskLoop.h"
#include "ports/Failure.h"
#include "ui/SystemHelpers.h"
#include "zipview/Extract.h"
#include "zipview/ZipTransfer.h"

namespace pellora {

namespace {

// Larger than the directory of any real archive of 32,767 entries. A directory is read into memory whole.
constexpr std::int64_t kMostDirectory = std::int64_t{64} * 1024 * 1024;

constexpr auto kTail = static_cast<std::int64_t>(kEndRecordLength);

}  // namespace

Form2::Form2(Program& program, const Folders* folders)
    : ViewerFace(program.platform, "Form2"),
      ZIPReader(program.platform),
      ZIP(program.platform),
      program_(program),
      folders_(folders) {
  pic16.Visible = false;
  pic32.Visible = false;
  ConnectHandlers();
}

Form2::~Form2() = default;

void Form2::ConnectHandlers() {
  ZIPReader.OnConnect = [this] { ReaderConnected(); };
  ZIPReader.OnDataArrival = [this](std::size_t bytes) { ReaderArrived(bytes); };
  ZIP.OnConnect = [this] { SendSecond(ZIP); };
  ZIP.OnDataArrival = [this](std::size_t bytes) { DirectoryArrived(bytes); };
  ListView1.OnDoubleClick = [this] { EnterSelected(); };
  Command1.OnClick = [this] { OpenExtract(); };
  Command3.OnClick = [this] { Tasks().Spawn(DownloadClassic()); };
}

TaskLoop& Form2::Tasks() { return program_.platform.tasks; }

void Form2::SetIndex(std::int16_t index) {
  RecordIndex = index;
  serial_ = program_.Serial(index);
  transfer_ = program_.TransferWindowAt(index);
}

bool Form2::Current() {
  return !retired_ && program_.Holds(RecordIndex, serial_) && program_.ZipViewerAt(RecordIndex).get() == this;
}

bool Form2::StillCurrent() {
  if (Current()) return true;
  Retire();
  return false;
}

void Form2::Retire() {
  const auto hold = Hold();
  if (Loaded()) Unload();
  retired_ = true;
}

void Form2::OnLoad() { Show(); }

// Does not notify the transfer, which waits without segments.
void Form2::OnUnload() {
  retired_ = true;
  ZIPReader.Close();
  ZIP.Close();
  Skip([this] {
    std::shared_ptr<ZipViewer>& slot = program_.ZipViewerAt(RecordIndex);
    if (slot.get() == this) slot.reset();
  });
}

// Ends one past the last byte of the file; servers clip that.
void Form2::SendFirst(Winsock& socket) {
  const std::int64_t size = Record().FileSize;
  socket.SendData(ZipRequest(Record(), size - kTail, size));
}

// Includes the first byte of the end record after the directory, which is cut off on receipt.
void Form2::SendSecond(Winsock& socket) {
  if (!StillCurrent()) return;
  const std::int64_t size = Record().FileSize;
  socket.SendData(ZipRequest(Record(), size - kTail - DirectorySize, size - kTail));
}

void Form2::ReaderConnected() {
  if (!StillCurrent()) return;
  if (ReadStage == 0) {
    ReadStage = 1;
    SendFirst(ZIPReader);
  } else if (ReadStage == 1) {
    ReadStage = 2;
    SendSecond(ZIPReader);
  }
}

// Each socket only ends the wait of its own stage, and bytes after the wanted ones stay in the kernel: a server that
// sends the whole file would otherwise fill the memory or pass for the other reply.
void Form2::ReaderArrived(std::size_t bytes) {
  program_.CountReceived(bytes);
  if (!TakeZipBlock(TailText, ZIPReader.GetData(), kEndRecordLength)) return;
  ZIPReader.SetReading(false);
  if (ReadStage == 1) RequestDone = true;
}

void Form2::DirectoryArrived(std::size_t bytes) {
  program_.CountReceived(bytes);
  if (!TakeZipBlock(DirectoryText, ZIP.GetData(), static_cast<std::size_t>(DirectorySize))) return;
  ZIP.SetReading(false);
  if (ReadStage == 2) RequestDone = true;
}

// There is no time limit: with a silent server the viewer waits until the user closes it.
Task<bool> Form2::Answered() {
  const auto hold = Hold();
  std::function<bool()> over = [this] { return RequestDone || leaving_ || !Current(); };
  co_await Tasks().UntilEvent(std::move(over));
  if (leaving_) co_return false;
  co_return StillCurrent();
}

Task<> Form2::Start() {
  const auto hold = Hold();
  if (!StillCurrent()) co_return;
  Load();
  ReadStage = 0;
  Label1.Caption = "Connecting...";
  Label2.Caption = Record().URL;
  ZIPReader.Connect(Record().Host, Record().Port);
  TailText.clear();
  RequestDone = false;
  const bool tailRead = co_await Answered();
  if (!tailRead) co_return;
  Label1.Caption = "Retrieving ZIP info...";
  const ZipEndRecord end = ReadEndRecord(TailText);
  EntryCount = end.EntryCount;
  DirectorySize = end.DirectorySize;
  // An impossible size: this was no end record.
  if (DirectorySize > kMostDirectory || DirectorySize > Record().FileSize) co_return;
  co_await Tasks().Yield();
  if (leaving_ || !StillCurrent()) co_return;
  ReadStage = 2;
  ZIP.Connect(Record().Host, Record().Port);
  RequestDone = false;
  DirectoryText.clear();
  const bool directoryRead = co_await Answered();
  if (!directoryRead) co_return;
  ReadEntries();
  ShowList();
}

void Form2::ReadEntries() {
  Entries = ReadDirectory(DirectoryText, EntryCount);
  pictures_.assign(Entries.size(), std::string());
  for (std::size_t i = 1; i < Entries.size(); ++i) {
    LoadFileIcons(Entries[i].Name, pic16, pic32);
    pictures_[i] = pic16.Image;
  }
}

void Form2::OpenExtract() {
  if (!StillCurrent()) return;
  // An earlier dialog stays while it is shown.
  ExtractDialog = std::make_shared<Extract>(program_, folders_);
  ExtractDialog->Show();
}

Task<> Form2::DownloadClassic() {
  const auto hold = Hold();
  if (leaving_) co_return;
  leaving_ = true;
  ZIPReader.Close();
  ZIP.Close();
  Hide();
  co_await Tasks().Yield();
  if (!StillCurrent()) co_return;
  // The user may have cancelled the viewer's transfer and started another.
  const std::shared_ptr<Transfer> transfer = transfer_.lock();
  if (transfer && program_.TransferWindowAt(RecordIndex) == transfer) {
    try {
      co_await transfer->ConnectFromViewer();
    } catch (const Failure&) {  // NOLINT(bugprone-empty-catch): the viewer is left all the same
    }
    co_await Tasks().Yield();
  }
  Retire();
}

}  // namespace pellora
