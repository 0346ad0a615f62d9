// LookInside: the viewer of archives that the web engine can fetch. It reads the directory by RemoteArchives, and what
// the user chooses is unpacked without the rest of the archive being fetched.
//
// It belongs to no slot. Its actions are called while it is open.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "archive/ArchiveIndex.h"
#include "core/ArchiveLook.h"
#include "core/Program.h"
#include "zipview/ArchiveRows.h"
#include "zipview/AskUnpack.h"
#include "zipview/Extract.h"
#include "zipview/ViewerFace.h"

namespace pellora {

class Folders;

struct LookActions {
  std::function<void(Selection selection, std::string password)> extract;
  std::function<void()> download;  // the whole archive
};

class LookInside final : public ViewerFace {
 public:
  // All outlive it.
  LookInside(Program& program, RemoteArchives& archives, ArchiveLook look, LookActions actions);
  ~LookInside() override;

  Label Label3{this, "Label3", "Filter :", 1001};
  TextBox Text1{this, "Text1"};  // the filter
  Label Label4{this, "Label4"};  // what is selected

  std::shared_ptr<Extract> ExtractDialog;
  std::shared_ptr<AskUnpack> question;  // while it is open

  // Shows itself and begins to read.
  void Start();
  void ShowList() override;

 protected:
  void OnLoad() override;
  void OnUnload() override;

 private:
  void TakeReading(const ArchiveReading& reading);
  std::string Remark(EntryFault fault) const;
  std::string SizeText(std::int64_t bytes) const;
  void ShowChosen();
  void EnterSelected();
  void ExtractAll();
  void ExtractSelected();
  Task<> ExtractEntries(std::vector<std::size_t> entries);
  std::size_t FilesAmong(const std::vector<std::size_t>& entries) const;
  std::vector<std::size_t> SelectedEntries() const;
  Task<bool> LeavesOut(std::shared_ptr<std::vector<std::size_t>> entries);
  Task<bool> AskForFolder(std::size_t files);
  Task<bool> HasExisting(std::shared_ptr<const Selection> selection);
  Task<> Say(std::string text);
  void Download();

  Program& program_;
  RemoteArchives& archives_;
  const ArchiveLook look_;
  const LookActions actions_;
  std::unique_ptr<ArchiveInquiry> inquiry_;
  std::shared_ptr<const ArchiveIndex> index_;  // once it was read
  std::shared_ptr<const ArchiveRows> rows_;    // that are listed
  bool extracting_ = false;                    // a choice is being asked about
};

}  // namespace pellora
