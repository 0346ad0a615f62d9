// PartFile: the file of a download until it is complete. All file calls run outside of the event loop, in the order
// asked for; the window never waits for a disk.
//
// Offsets count from 0 at the start of the file. `done` of each call comes in a later event, in the order of the calls;
// it may come after this object is gone. Blocks are freed on the event loop's thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/IntervalSet.h"
#include "fetch/DiskTurns.h"
#include "ports/Digest.h"
#include "ports/DownloadFiles.h"
#include "ports/Fetcher.h"
#include "ports/Platform.h"

namespace pellora {

class PartFile {
 public:
  enum class Result : std::uint8_t {
    Good,
    Differs,   // of Put: what was to be compared is not the same, and nothing was written
    Failed,    // with a reason; it is not known what of the call was done
    Replaced,  // of Flush and Hash: the path leads to no file, to another, or to one that was cut
  };
  using Sums = std::vector<std::unique_ptr<Digest>>;
  using Done = std::function<void(Result result, const std::string& reason)>;

  // `file` is what `path` led to when it was opened. `turns` must outlive this.
  PartFile(const Platform& platform, DiskTurns& turns, std::string path, std::shared_ptr<DownloadFile> file,
           FileIdentity identity);
  // Closes the file outside of the event loop too, once everything asked for is done.
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  const std::string& Path() const { return path_; }
  const FileIdentity& Identity() const { return identity_; }
  // For works alone.
  const std::shared_ptr<DownloadFile>& Opened() const { return file_; }

  // Compares `held` ranges of the block, which begins at `offset`, with the file, then writes the `needed` ones.
  void Put(std::unique_ptr<FetchBlock> block, std::int64_t offset, std::vector<Range> held, std::vector<Range> needed,
           Done done);
  // Adds the bytes of `range` to each of `sums`, which nothing else uses until `done`. Replaced if the file ends
  // before. Ranges are best short: other work waits meanwhile.
  void Hash(Range range, std::shared_ptr<const Sums> sums, Done done);
  // Makes sure that everything put before whose `done` has come is on the disk, that the path still leads to this file,
  // and that it is at least `length` long. Longer ones are cut if `exactly`.
  void Flush(std::int64_t length, bool exactly, Done done);

 private:
  void Run(std::function<Result()> work, Done done);

  const Platform& platform_;
  DiskTurns& turns_;
  const std::string path_;
  std::shared_ptr<DownloadFile> file_;
  const FileIdentity identity_;
};

// Deletes the part file of a download that is over: `path` if it still leads to that inode. The folder whose flush
// makes that last; empty if the file may come back: its disk may not be mounted. May wait for the disk; Failure(File).
std::string DeletePart(Files& files, const DownloadFiles& downloads, const std::string& path,
                       const FileIdentity& identity);

}  // namespace pellora
