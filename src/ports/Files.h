// Files: unbuffered files by position. Paths are bytes; "/" separates. Offsets count from 0.
// Every operation that does not return bool throws Failure(File), whose text names the path and reason.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

class File {
 public:
  virtual ~File() = default;  // closes
  // Writes all of `bytes` at `offset`, continuing after short writes.
  virtual void WriteAt(std::uint64_t offset, std::string_view bytes) = 0;
  // Reads up to buffer.size() bytes at `offset`; fewer only at the end of the file.
  virtual std::size_t ReadAt(std::uint64_t offset, std::span<char> buffer) = 0;
  // Copies up to `size` bytes from `from` of `source` to `offset` here inside the kernel, and returns how many. Fewer
  // are no failure: the caller copies the rest by ReadAt and WriteAt, which report what is wrong, if anything is. A
  // platform without such a copy copies nothing.
  virtual std::size_t CopyFrom(File& source, std::uint64_t from, std::uint64_t offset, std::size_t size);
  virtual std::uint64_t Length() = 0;
  // True if it belongs to the user, and nobody else may read or change it.
  virtual bool IsPrivate();
  // Makes sure that `size` bytes fit from offset 0 on, if the file system can tell, without changing the contents.
  virtual void Reserve(std::uint64_t size) = 0;
};

// Decides who else may read the file and which links may lead to it.
enum class FileKind {
  Output,  // the user's; new files get the rights that the umask leaves
  List,    // the program's, with passwords in it: for the user alone
  Part,    // the same, and only a file that LookAtPart does not call foreign
};

// What is found at a name meant for a part file.
enum class PartName {
  Free,     // nothing; or it cannot be examined, and opening it says why
  Own,      // a regular file of the user's, without a second name
  Foreign,  // anything else: a link, even the user's own, a file with several names, another user's, a folder, a pipe
};

class Files {
 public:
  virtual ~Files() = default;
  // For reading and writing; created when missing, never emptied. A file for the user alone is created that way, and
  // one found with wider rights loses them. A directory, device or pipe, also through a link, is a failure. A link at
  // the file's name is followed if it belongs to the user; other users' links, and anything foreign to a part, are
  // Failure(ForeignFile).
  virtual std::unique_ptr<File> Open(const std::string& path, FileKind kind) = 0;
  virtual PartName LookAtPart(const std::string& path) const = 0;
  // For reading only; fails when missing or not a regular file.
  virtual std::unique_ptr<File> OpenForReading(const std::string& path) = 0;
  virtual void Delete(const std::string& path) = 0;
  // An existing folder is no failure. The folder above must exist, though a platform may create it too.
  virtual void CreateFolder(const std::string& path) = 0;
  virtual bool Exists(const std::string& path) const = 0;
  virtual bool FolderExists(const std::string& path) const = 0;       // or a link to one
  virtual std::uint64_t LengthOf(const std::string& path) const = 0;  // of a regular file
  // Names of the regular files directly in `folder`, sorted by bytes; empty if there is no such folder.
  virtual std::vector<std::string> FilesIn(const std::string& folder) const = 0;
};

// The whole content of a file of at most `limit` bytes; a longer one is a Failure.
std::string ReadWholeFile(Files& files, const std::string& path, std::uint64_t limit);

}  // namespace pellora
