#include "core/ListFile.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "core/EngineChoice.h"
#include "core/ListCodec.h"
#include "core/Program.h"
#include "ports/DownloadFiles.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Machine.h"

namespace pellora {

namespace {

// More than any list needs; a longer file is read up to here.
constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 30;
constexpr const char* kListName = "/Pellora.dat";
constexpr const char* kJournalName = "/Pellora.fetch";
constexpr std::size_t kCopyBlock = std::size_t{1} << 20;

std::string ReadBytes(File& file) {
  std::string bytes(static_cast<std::size_t>(std::min(file.Length(), kMostBytes)), '\0');
  bytes.resize(file.ReadAt(0, bytes));
  return bytes;
}

// The user learns of it once, until a save succeeds.
void ReportUnsaved(Program& program, const std::string& reason) {
  if (program.listUnsaved) return;
  program.listUnsaved = true;
  if (program.listNotSaved) program.listNotSaved(reason);
}

// Lists of earlier versions, and copies of them, may be open to other users although they hold passwords; opening one
// closes it to them. Null, with the reason in `denied`, for a list that cannot be opened for writing. Another user's
// link is a Failure: its target is not the program's, not even to read.
std::unique_ptr<File> OpenIfWritable(Files& files, const std::string& path, std::string& denied) {
  try {
    return files.Open(path, FileKind::List);
  } catch (const Failure& failure) {
    if (failure.Number() == FailureNumber::ForeignFile) throw;
    denied = failure.what();
    return nullptr;
  }
}

// Creates a missing file. One that only seemed missing, because the disk failed for a moment, is read: taken for an
// empty list it would be lost with the first save.
std::optional<std::string> ReadOrCreate(Files& files, const std::string& path, std::string& denied) {
  const bool found = files.Exists(path);
  const std::unique_ptr<File> file = OpenIfWritable(files, path, denied);
  if (found) return ReadBytes(*files.OpenForReading(path));
  if (!file) return std::nullopt;
  return ReadBytes(*file);
}

std::string NumberedName(const std::string& first, int number) {
  return number == 1 ? first : first + "." + std::to_string(number);
}

std::string UnusedNameFor(const Files& files, const std::string& first) {
  int number = 1;
  while (files.Exists(NumberedName(first, number))) ++number;
  return NumberedName(first, number);
}

void CloseCopiesToOthers(Files& files, const std::string& first) {
  for (int number = 1; files.Exists(NumberedName(first, number)); ++number) {
    Skip([&] { (void)files.Open(NumberedName(first, number), FileKind::List); });
  }
}

void CopyBytes(File& from, File& to) {
  std::string block(kCopyBlock, '\0');
  std::uint64_t offset = 0;
  while (const std::size_t count = from.ReadAt(offset, block)) {
    to.WriteAt(offset, std::string_view(block).substr(0, count));
    offset += count;
  }
}

// Deletes an unfinished copy, so that attempts on a full disk leave nothing. Opens the list as a save does, since there
// may be none to copy.
void CopyAside(Program& program) {
  Files& files = program.platform.files;
  const std::unique_ptr<File> from = files.Open(ListPath(program), FileKind::List);
  const std::string copy = UnusedNameFor(files, DamagedListPath(program));
  try {
    if (from->Length() > 0) CopyBytes(*from, *files.Open(copy, FileKind::List));
  } catch (...) {
    Skip([&] { files.Delete(copy); });
    throw;
  }
  program.keepDamagedList = false;
}

bool IsLeftOut(const Program& program, int index) {
  return program.IsUndecided(index) || (program.isUnjournaled && program.isUnjournaled(index));
}

// The web engine's passwords are not kept; the running program has them.
void AppendWithoutWebPassword(std::string& bytes, Program& program, int index) {
  const DownloadRecord& record = program.Download(index);
  if (index > 0 && IsLeftOut(program, index)) return AppendRecord(bytes, DownloadRecord{});
  const bool cut = index > 0 && !record.Password.empty() &&
                   (IsWebRecord(program, index) || ChooseEngine(program, index).engine == EngineName::Web);
  if (!cut) return AppendRecord(bytes, record);
  DownloadRecord without = record;
  without.Password.clear();
  AppendRecord(bytes, without);
}

// A file of zeros was reserved and never written.
bool HoldsAnything(const std::string& bytes) { return bytes.find_first_not_of('\0') != std::string::npos; }

void WriteList(Program& program) {
  if (program.keepDamagedList) CopyAside(program);

  std::string& bytes = program.listBytes;
  bytes.clear();
  AppendListHeader(bytes, program.DownloadCount);
  for (int i = 0; i <= program.DownloadCount; ++i) AppendWithoutWebPassword(bytes, program, i);

  const std::unique_ptr<File> file = program.platform.files.Open(ListPath(program), FileKind::List);
  file->Reserve(bytes.size());
  file->WriteAt(0, bytes);
}

// An unfinished copy would be found in place of the original at the next start.
void CopyWhole(Files& files, const std::string& from, const std::string& to) {
  if (files.Exists(to)) files.Delete(to);  // it may be longer
  try {
    const std::unique_ptr<File> target = files.Open(to, FileKind::List);
    const std::unique_ptr<File> source = files.OpenForReading(from);
    target->Reserve(source->Length());
    CopyBytes(*source, *target);
  } catch (...) {
    Skip([&] { files.Delete(to); });
    throw;
  }
}

// One that only seems missing, because the disk fails for a moment, would be replaced by an older one.
bool HasContent(const Platform& platform, const std::string& path) {
  const DownloadFiles* const downloads = platform.downloadFiles;
  const bool isThere = platform.files.Exists(path) || (downloads != nullptr && downloads->StateOf(path));
  return isThere && platform.files.LengthOf(path) > 0;
}

// What is chosen of archives: the journal names these files, which have its name and numbers after dots.
bool IsSelection(std::string_view name) {
  constexpr std::string_view kJournal = std::string_view(kJournalName).substr(1);
  return name.size() > kJournal.size() && name.starts_with(kJournal) &&
         name.find_first_not_of(".0123456789", kJournal.size()) == std::string_view::npos;
}

// The journal last: one that is there is newer, or was copied with all that it names. Each whole or not at all.
void AdoptJournal(const Platform& platform, const std::string& from, const std::string& to) {
  if (platform.downloadFiles == nullptr || HasContent(platform, to + kJournalName)) return;
  const auto copy = [&](const std::string& name) {
    platform.downloadFiles->Replace(to + name, ReadWholeFile(platform.files, from + name, kMostBytes));
  };
  if (!HasContent(platform, from + kJournalName)) return;
  for (const std::string& name : platform.files.FilesIn(from)) {
    if (IsSelection(name)) copy("/" + name);
  }
  copy(kJournalName);
}

}  // namespace

std::string ListPath(const Program& program) { return program.platform.machine.DataFolder() + kListName; }

std::string JournalPath(const Program& program) { return program.platform.machine.DataFolder() + kJournalName; }

std::string DamagedListPath(const Program& program) { return ListPath(program) + ".damaged"; }

void SaveList(Program& program) {
  if (!program.listLoaded || program.Ending()) return;
  program.savesListSoon = false;
  try {
    WriteList(program);
  } catch (const Failure& failure) {
    ReportUnsaved(program, failure.what());
    throw;
  }
  program.listUnsaved = false;
  if (program.listSaved) program.listSaved();
}

bool SaveListBeforeTouchingParts(Program& program) {
  return !program.Ending() && Skip([&] { SaveList(program); });
}

void AdoptList(Program& program) {
  const Machine& machine = program.platform.machine;
  if (machine.DataFolder() == machine.ProgramFolder()) return;
  Files& files = program.platform.files;
  const std::string beside = machine.ProgramFolder() + kListName;
  if (HasContent(program.platform, ListPath(program)) || !HasContent(program.platform, beside)) return;
  AdoptJournal(program.platform, machine.ProgramFolder(), machine.DataFolder());
  // The list last: it says that everything was copied.
  CopyWhole(files, beside, ListPath(program));
}

void LoadList(Program& program) {
  Files& files = program.platform.files;
  const std::string path = ListPath(program);
  std::string denied;
  std::optional<std::string> found = ReadOrCreate(files, path, denied);
  const bool unreached = !found;
  CloseCopiesToOthers(files, DamagedListPath(program));
  std::string bytes = std::move(found).value_or("");

  ListDecoder decoder(bytes);
  program.ResizeDownloads(0);
  program.Download(0) = DownloadRecord{};
  program.ResizeDownloads(decoder.DownloadCount());
  if (decoder.HasMagic()) {
    for (int i = 0; i <= program.DownloadCount; ++i) decoder.Next(program.Download(i));
  }
  for (int i = 1; i <= program.DownloadCount; ++i) {
    DownloadRecord& record = program.Download(i);
    if (!record.Active) continue;
    record.Active = false;
    record.Paused = true;
    if (program.headless) record.Queued = 1;  // it ran when the program was killed
  }

  program.keepDamagedList = unreached || (!decoder.Sound() && HoldsAnything(bytes));
  program.listLoaded = true;
  program.listBytes = std::move(bytes);  // gives the first save its memory
  if (!denied.empty()) ReportUnsaved(program, denied);
  // Tried again before each save until it succeeds.
  if (program.keepDamagedList) Skip([&] { CopyAside(program); });
}

}  // namespace pellora
