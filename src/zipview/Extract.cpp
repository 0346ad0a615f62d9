#include "zipview/Extract.h"

#include <utility>
#include <vector>

#include "async/Boxes.h"
#include "async/TaskLoop.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Folders.h"

namespace pellora {

namespace {

constexpr const char* kUnavailable = "Peripherical not available";
constexpr const char* kUp = "..";

std::string WithoutEndSlash(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string Parent(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos || slash == 0 ? "/" : path.substr(0, slash);
}

bool IsIn(const std::string& path, const std::string& folder) {
  return folder == "/" || path == folder || path.starts_with(folder + "/");
}

}  // namespace

Extract::Extract(Program& program, const Folders* folders)
    : Window(program.platform, "Extract", "Extract"), program_(program), folders_(folders) {
  Width = 460;
  Height = 430;
  Combo1.Text = "Combo1";
  Drive1.OnChange = [this] {
    if (!SetPath(Drive1.Text)) program_.platform.tasks.Spawn(SayUnavailable());
  };
  Dir1.OnDoubleClick = [this] { EnterSelected(); };
  Command1.OnClick = [this] { Accept(); };
  Command2.OnClick = [this] { Cancel(); };
}

void Extract::OnLoad() {
  if (folders_ == nullptr) return;
  Drive1.Items = folders_->Drives();
  const std::vector<std::string>& drives = Drive1.Items;
  bool shown = SetPath(WithoutEndSlash(program_.settings.DownloadFolder));
  for (std::size_t i = 0; i < drives.size() && !shown; ++i) shown = SetPath(drives[i]);
  std::size_t longest = 0;
  for (std::size_t i = 0; i < drives.size(); ++i) {
    if (!IsIn(path_, drives[i]) || drives[i].size() < longest) continue;
    longest = drives[i].size();
    Drive1.Index = static_cast<int>(i);
    Drive1.Text = drives[i];
  }
}

bool Extract::SetPath(const std::string& path) {
  if (path.empty() || folders_ == nullptr) return false;
  std::vector<std::string> names;
  if (!Skip([&] { names = folders_->FoldersIn(path); })) return false;
  path_ = path;
  std::vector<ListRow> rows;
  if (path_ != "/") rows.push_back({kUp, kUp, "folder", {}});
  for (std::string& name : names) rows.push_back({"/" + name, name, "folder", {}});
  Dir1.Select({});
  Dir1.SetRows(std::move(rows));
  Dir1.Columns = std::vector<ControlPart>{ControlPart{"", path_}};
  return true;
}

void Extract::EnterSelected() {
  if (Dir1.Selection().empty()) return;
  const ListRow& row = Dir1.Rows()[Dir1.Selection().front()];
  const std::string path = row.key == kUp ? Parent(path_) : (path_ == "/" ? "" : path_) + row.key;
  if (!SetPath(path)) program_.platform.tasks.Spawn(SayUnavailable());
}

Task<> Extract::SayUnavailable() {
  const auto hold = Hold();
  if (program_.boxes.IsOpen(this, kUnavailable)) co_return;
  BoxRequest request{kUnavailable, kProgramName, kOkOnly};
  (void)co_await program_.boxes.Ask(this, std::move(request));
}

void Extract::Accept() {
  DialogClosed = true;
  TargetFolder = path_;
  DialogResult = 1;
  Hide();
  Unload();
}

void Extract::Cancel() {
  Hide();
  DialogClosed = true;
  DialogResult = 0;
  Unload();
}

void Extract::OnQueryUnload(bool&, UnloadMode mode) {
  if (mode != UnloadMode::UserClosed) return;
  DialogClosed = true;
  TargetFolder.clear();
  DialogResult = 0;
  Hide();
}

}  // namespace pellora
