#include "fetch/PartFile.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "core/ExistingFolder.h"
#include "core/FileNames.h"
#include "ports/Background.h"
#include "ports/Failure.h"
#include "ports/Files.h"

namespace pellora {

namespace {

std::string_view BytesOf(const FetchBlock& block, std::int64_t offset, const Range& range) {
  return block.Bytes().substr(static_cast<std::size_t>(range.begin - offset), static_cast<std::size_t>(range.Length()));
}

bool HasBytes(DownloadFile& file, std::int64_t offset, std::string_view bytes) {
  std::vector<char> read(bytes.size());
  const std::size_t count = file.ReadAt(static_cast<std::uint64_t>(offset), std::span<char>(read.data(), read.size()));
  return std::string_view(read.data(), count) == bytes;
}

PartFile::Result AddBytes(DownloadFile& file, const Range& range, const PartFile::Sums& sums) {
  constexpr std::int64_t kBuffer = std::int64_t{256} << 10;
  std::vector<char> buffer(static_cast<std::size_t>(std::min(range.Length(), kBuffer)));
  for (std::int64_t at = range.begin; at < range.end; at += kBuffer) {
    const auto wanted = static_cast<std::size_t>(std::min(range.end - at, kBuffer));
    const std::size_t count = file.ReadAt(static_cast<std::uint64_t>(at), std::span<char>(buffer.data(), wanted));
    if (count != wanted) return PartFile::Result::Replaced;
    for (const auto& sum : sums) {
      if (sum) sum->Add({buffer.data(), count});
    }
  }
  return PartFile::Result::Good;
}

void Report(const std::exception_ptr& failure, PartFile::Result result, const PartFile::Done& done) {
  if (!failure) return done(result, {});
  try {
    std::rethrow_exception(failure);
  } catch (const Failure& error) {
    done(PartFile::Result::Failed, error.what());
  }
}

}  // namespace

PartFile::PartFile(const Platform& platform, DiskTurns& turns, std::string path, std::shared_ptr<DownloadFile> file,
                   FileIdentity identity)
    : platform_(platform), turns_(turns), path_(std::move(path)), file_(std::move(file)), identity_(identity) {}

PartFile::~PartFile() {
  platform_.background.Run([file = std::move(file_)] {}, [](const std::exception_ptr&) {});
}

void PartFile::Run(std::function<Result()> work, Done done) {
  const auto result = std::make_shared<Result>(Result::Failed);
  platform_.background.Run(
      [result, work = std::move(work)] { *result = work(); },
      [result, done = std::move(done)](const std::exception_ptr& failure) { Report(failure, *result, done); });
}

void PartFile::Put(std::unique_ptr<FetchBlock> block, std::int64_t offset, std::vector<Range> held,
                   std::vector<Range> needed, Done done) {
  const std::shared_ptr<FetchBlock> shared = std::move(block);
  Run(
      [file = file_, shared, offset, held = std::move(held), needed = std::move(needed)] {
        for (const Range& range : held) {
          if (!HasBytes(*file, range.begin, BytesOf(*shared, offset, range))) return Result::Differs;
        }
        for (const Range& range : needed) {
          file->WriteAt(static_cast<std::uint64_t>(range.begin), BytesOf(*shared, offset, range));
        }
        return Result::Good;
      },
      // The last to hold the block: it is freed here.
      [shared, done = std::move(done)](Result result, const std::string& reason) { done(result, reason); });
}

void PartFile::Hash(Range range, std::shared_ptr<const Sums> sums, Done done) {
  Run([file = file_, range, sums = std::move(sums)] { return AddBytes(*file, range, *sums); }, std::move(done));
}

void PartFile::Flush(std::int64_t length, bool exactly, Done done) {
  const auto step = std::make_shared<FlushStep>(file_, path_, identity_, static_cast<std::uint64_t>(length), exactly);
  turns_.Give(step, [step, done = std::move(done)](const std::exception_ptr& failure) {
    Report(failure, step->IsThere() ? Result::Good : Result::Replaced, done);
  });
}

std::string DeletePart(Files& files, const DownloadFiles& downloads, const std::string& path,
                       const FileIdentity& identity) {
  const std::string folder = FolderOf(path);
  const std::optional<FileState> found = downloads.StateOf(path);
  if (found && found->identity.inode == identity.inode) files.Delete(path);
  if (found) return folder;
  const std::string there = ExistingFolderOf(downloads, folder);
  if (there.empty()) return {};
  // The number of its disk may have changed. A folder that waits for its disk is empty.
  const bool isMounted =
      downloads.DiskOf(there) == identity.device || (there == folder && !files.FilesIn(folder).empty());
  return isMounted ? there : std::string();
}

}  // namespace pellora
