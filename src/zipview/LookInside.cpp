#include "zipview/LookInside.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "async/Boxes.h"
#include "async/InBackground.h"
#include "async/TaskLoop.h"
#include "core/Numbers.h"
#include "core/WebAddress.h"
#include "core/WebTexts.h"
#include "lang/Format.h"
#include "lang/Language.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Locale.h"
#include "ports/OutputFolders.h"

namespace pellora {

namespace {

constexpr std::size_t kLookedAtOnce = 500;  // files, in the background

// True while it lives.
class ScopedFlag {
 public:
  explicit ScopedFlag(bool& flag) : flag_(flag) { flag_ = true; }
  ~ScopedFlag() { flag_ = false; }
  ScopedFlag(const ScopedFlag&) = delete;
  ScopedFlag& operator=(const ScopedFlag&) = delete;

 private:
  bool& flag_;
};

// One of some entries' files is in the folder, where anything may be.
bool AnyExists(OutputFolders& outputs, const Selection& selection, std::size_t from) {
  const std::shared_ptr<OutputFolder> folder = outputs.Open(selection.folder);
  const std::size_t end = std::min(selection.entries.size(), from + kLookedAtOnce);
  for (std::size_t at = from; at < end; ++at) {
    const SelectedEntry& entry = selection.entries[at];
    if (!entry.isFolder && folder->LookAt(entry.path).what != OutputName::Free) return true;
  }
  return false;
}

}  // namespace

LookInside::LookInside(Program& program, RemoteArchives& archives, ArchiveLook look, LookActions actions)
    : ViewerFace(program.platform, "LookInside"),
      program_(program),
      archives_(archives),
      look_(std::move(look)),
      actions_(std::move(actions)) {
  std::vector<ControlPart> columns = ListView1.Columns;
  columns.push_back({"", "Remark", static_cast<int>(WebText::RemarkColumn), "", 28});
  ListView1.Columns = std::move(columns);
  ListView1.FigureColumns = {1, 2, 3};
  ListView1.OnDoubleClick = [this] { EnterSelected(); };
  ListView1.OnSelect = [this] { ShowChosen(); };
  Text1.OnChange = [this] { ShowList(); };
  Command1.OnClick = [this] { ExtractAll(); };
  Command2.OnClick = [this] { ExtractSelected(); };
  Command3.OnClick = [this] { Download(); };
  Command1.Enabled = false;
  Command2.Enabled = false;
}

LookInside::~LookInside() = default;

void LookInside::OnLoad() { ApplyLanguage(*this, program_); }

void LookInside::Start() {
  Load();
  Label1.Caption = "Connecting...";
  Label2.Caption = WithoutPassword(look_.url);
  Show();
  inquiry_ = archives_.Read(
      look_.url, look_.add, [this](const std::string& state) { Label1.Caption = state; },
      [this](const ArchiveReading& reading) { TakeReading(reading); });
  if (!inquiry_) Label1.Caption = TextOf(program_, WebText::Unsupported);
}

void LookInside::OnUnload() {
  inquiry_.reset();
  for (const std::shared_ptr<Window>& window :
       {std::shared_ptr<Window>(ExtractDialog), std::shared_ptr<Window>(question)}) {
    if (window && window->Loaded()) window->Unload();
  }
}

void LookInside::TakeReading(const ArchiveReading& reading) {
  if (!reading.contents) {
    Label1.Caption = reading.problem;
    return;
  }
  index_ = std::make_shared<const ArchiveIndex>(reading.contents, CodePageOf(program_.settings.Language));
  Command1.Enabled = true;
  Command2.Enabled = true;
  ShowList();
}

std::string LookInside::Remark(EntryFault fault) const {
  switch (fault) {
    case EntryFault::None:
      return {};
    case EntryFault::Password:
      return TextOf(program_, WebText::EntryEncrypted);
    case EntryFault::Encryption:
      return TextOf(program_, WebText::EntryEncryptedOther);
    case EntryFault::Method:
      return TextOf(program_, WebText::EntryPackedOther);
    case EntryFault::Kind:
      return TextOf(program_, WebText::EntryNoFile);
    case EntryFault::Name:
      return TextOf(program_, WebText::EntryUnsafeName);
    case EntryFault::BadName:
      return TextOf(program_, WebText::EntryBadName);
    case EntryFault::Place:
      return TextOf(program_, WebText::EntryOverlaps);
  }
  return {};
}

std::string LookInside::SizeText(std::int64_t bytes) const {
  return FormatSize(bytes, program_.LangStrings, platform_.locale.DecimalSeparator());
}

void LookInside::ShowList() {
  if (!index_) return;
  const RemarkOf remark = [this](EntryFault fault) { return Remark(fault); };
  const std::string& filter = Text1.Text;
  rows_ = Option2.Value ? ArchiveRows::OfFiles(index_, filter, remark)
                        : ArchiveRows::OfFolder(index_, CurrentFolder, filter, remark);
  Label1.Caption = SizeText(rows_->Size()) + " used by " + std::to_string(rows_->Files()) + " file(s)  (" +
                   SizeText(rows_->Packed()) + " packed.)";
  Fill(rows_);
  ShowChosen();
}

std::vector<std::size_t> LookInside::SelectedEntries() const { return rows_->EntriesOf(ListView1.SelectedNumbers()); }

void LookInside::ShowChosen() {
  if (!index_) return;
  std::int64_t files = 0;
  std::int64_t toFetch = 0;
  std::int64_t unpacked = 0;
  for (const std::size_t at : SelectedEntries()) {
    const ArchiveEntry entry = index_->Entry(at);
    if (entry.kind == EntryKind::Folder) continue;
    ++files;
    toFetch = ClampedSum(toFetch, index_->BytesToFetch(at));
    unpacked = ClampedSum(unpacked, entry.size);
  }
  Label4.Caption =
      FillText(TextOf(program_, WebText::ChosenFiles), {std::to_string(files), SizeText(toFetch), SizeText(unpacked)});
}

void LookInside::EnterSelected() {
  if (ListView1.Selection().size() != 1) return;
  const std::string folder = rows_->FolderOf(ListView1.SelectedNumbers().front());
  if (folder.empty()) return;
  CurrentFolder = folder;
  ShowList();
}

void LookInside::ExtractAll() {
  if (!index_) return;
  std::vector<std::size_t> all(index_->Count());
  std::iota(all.begin(), all.end(), std::size_t{0});
  platform_.tasks.Spawn(ExtractEntries(std::move(all)));
}

void LookInside::ExtractSelected() {
  if (!index_) return;
  platform_.tasks.Spawn(ExtractEntries(SelectedEntries()));
}

Task<> LookInside::ExtractEntries(std::vector<std::size_t> entries) {
  const auto hold = Hold();
  if (extracting_) {
    if (ExtractDialog && ExtractDialog->Loaded()) ExtractDialog->Raise();
    co_return;
  }
  const ScopedFlag extracting(extracting_);
  const auto chosen = std::make_shared<std::vector<std::size_t>>(std::move(entries));
  const bool sound = co_await LeavesOut(chosen);
  if (!sound || !Loaded()) co_return;
  const bool accepted = co_await AskForFolder(FilesAmong(*chosen));
  if (!accepted || !Loaded()) co_return;
  const auto selection = std::make_shared<Selection>(index_->Select(*chosen, ExtractDialog->Check2.Value));
  selection->folder = ExtractDialog->TargetFolder;
  if (selection->entries.empty()) {  // folders alone, and none is wanted
    co_await Say(TextOf(program_, WebText::NothingChosen));
    co_return;
  }
  const bool exists = co_await HasExisting(selection);
  const bool encrypted = std::any_of(chosen->begin(), chosen->end(),
                                     [this](std::size_t at) { return index_->FaultOf(at) == EntryFault::Password; });
  std::string password;
  if (exists || encrypted) {
    if (!Loaded()) co_return;
    question = std::make_shared<AskUnpack>(program_, exists, encrypted);
    const std::optional<AskUnpack::Answer> answer = co_await question->Ask();
    question.reset();
    if (!answer) co_return;
    selection->existing = answer->existing;
    password = answer->password;
  }
  if (Loaded()) actions_.extract(std::move(*selection), std::move(password));
}

std::size_t LookInside::FilesAmong(const std::vector<std::size_t>& entries) const {
  const auto isFile = [this](std::size_t at) { return index_->Entry(at).kind != EntryKind::Folder; };
  return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), isFile));
}

// Drops what cannot be unpacked. False if nothing is left, or the user wants all or nothing.
Task<bool> LookInside::LeavesOut(std::shared_ptr<std::vector<std::size_t>> entries) {
  const auto hold = Hold();
  if (entries->empty()) {
    co_await Say(TextOf(program_, WebText::NothingChosen));
    co_return false;
  }
  const std::size_t chosen = entries->size();
  const std::size_t files = FilesAmong(*entries);
  const std::size_t first = entries->front();
  std::erase_if(*entries, [this](std::size_t at) {
    const EntryFault fault = index_->FaultOf(at);
    return fault != EntryFault::None && fault != EntryFault::Password;
  });
  if (entries->empty()) {
    const std::string name = index_->NameOf(index_->Entry(first));
    std::string text = chosen > 1
                           ? TextOf(program_, WebText::NoneUnpacked)
                           : FillText(TextOf(program_, WebText::CannotUnpack), {name, Remark(index_->FaultOf(first))});
    co_await Say(std::move(text));
    co_return false;
  }
  const std::size_t dropped = files - FilesAmong(*entries);
  if (dropped == 0) co_return true;
  const std::string text =
      FillText(TextOf(program_, WebText::AskUnpackOthers), {std::to_string(dropped), std::to_string(files)});
  BoxRequest request{text, kProgramName, kYesNo | kQuestion};
  const int answer = co_await program_.boxes.Ask(this, std::move(request));
  co_return answer != kAnswerNo;
}

Task<bool> LookInside::AskForFolder(std::size_t files) {
  const auto hold = Hold();
  const auto dialog = std::make_shared<Extract>(program_, platform_.folders);
  ExtractDialog = dialog;
  dialog->Check2.Value = true;
  dialog->FileCount.Caption = files == 1 ? TextOf(program_, WebText::FileToUnpack)
                                         : FillText(TextOf(program_, WebText::FilesToUnpack), {std::to_string(files)});
  dialog->Show();
  std::function<bool()> closed = [this, dialog] { return dialog->DialogClosed || !Loaded(); };
  co_await platform_.tasks.UntilEvent(std::move(closed));
  co_return dialog->DialogResult == 1 && !dialog->TargetFolder.empty();
}

// A folder that cannot be read is the download's to report.
Task<bool> LookInside::HasExisting(std::shared_ptr<const Selection> selection) {
  const auto hold = Hold();
  OutputFolders* const outputs = platform_.outputs;
  if (outputs == nullptr) co_return false;
  const auto found = std::make_shared<bool>(false);
  for (std::size_t from = 0; from < selection->entries.size() && !*found; from += kLookedAtOnce) {
    Background::Work look = [outputs, selection, from, found] { *found = AnyExists(*outputs, *selection, from); };
    try {
      co_await InBackground(&platform_, std::move(look));
    } catch (const Failure&) {
      co_return false;
    }
    if (!Loaded()) co_return false;
  }
  co_return *found;
}

Task<> LookInside::Say(std::string text) {
  const auto hold = Hold();
  if (program_.boxes.IsOpen(this, text)) co_return;
  BoxRequest request{std::move(text), kProgramName, kInformation};
  (void)co_await program_.boxes.Ask(this, std::move(request));
}

void LookInside::Download() {
  const auto hold = Hold();
  const std::function<void()> download = actions_.download;
  Unload();
  download();
}

}  // namespace pellora
