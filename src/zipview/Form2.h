// Form2: the online viewer of a ZIP archive. It reads the archive's table of contents over HTTP with two ranged
// requests, one for the last 22 bytes of the file and one for the directory that these locate, and lists it; nothing
// else of the archive is fetched. The transfer stays idle until the user continues with "Download classic".
//
// It remembers the serial of its record's slot and the transfer in it. Once the slot was refilled, deleted or reset, or
// holds another viewer, this one only unloads itself. "Extract SELECTED" does nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "async/Winsock.h"
#include "core/Program.h"
#include "core/Transfer.h"
#include "ui/Controls.h"
#include "zipview/ViewerFace.h"
#include "zipview/ZipDirectory.h"

namespace pellora {

class Extract;
class Folders;

class Form2 final : public ViewerFace, public ZipViewer {
 public:
  // `folders` is what the Extract dialog chooses from, or null; it outlives the viewer.
  Form2(Program& program, const Folders* folders);
  ~Form2() override;

  // ZipViewer
  void SetIndex(std::int16_t index) override;
  Task<> Start() override;
  void UnloadWindow() override { Retire(); }

  void ShowList() override;

  std::int16_t RecordIndex = 0;
  std::int16_t ReadStage = 0;  // 1: the first request is out, 2: the second
  std::int16_t EntryCount = 0;
  std::int64_t DirectorySize = 0;
  bool RequestDone = false;
  std::string DirectoryText;
  std::string TailText;
  std::vector<ZipEntry> Entries{1};  // from 1
  std::shared_ptr<Extract> ExtractDialog;

  Winsock ZIPReader;  // the first request
  Winsock ZIP;        // the second

  Picture pic16{this, "pic16"};  // scratch for a file's icon
  Picture pic32{this, "pic32"};

 protected:
  void OnLoad() override;
  void OnUnload() override;

 private:
  DownloadRecord& Record() { return program_.Download(RecordIndex); }
  TaskLoop& Tasks();

  void ConnectHandlers();
  bool Current();
  bool StillCurrent();  // if not, retires the viewer
  void Retire();        // closes the sockets and unloads, for good

  void SendFirst(Winsock& socket);
  void SendSecond(Winsock& socket);
  void ReaderConnected();
  void ReaderArrived(std::size_t bytes);
  void DirectoryArrived(std::size_t bytes);
  Task<bool> Answered();  // waits for RequestDone; False if the viewer ended first
  void ReadEntries();

  void EnterSelected();
  void OpenExtract();
  Task<> DownloadClassic();

  Program& program_;
  const Folders* folders_;
  std::uint32_t serial_ = 0;
  std::weak_ptr<Transfer> transfer_;
  bool leaving_ = false;  // by "Download classic"
  bool retired_ = false;
  // Entry i's picture, by the name under which views find its small and large icon.
  std::vector<std::string> pictures_;
};

}  // namespace pellora
