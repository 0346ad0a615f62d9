#include "desktop/LibarchiveUnzip.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <memory>

namespace pellora {

namespace {

constexpr std::size_t kReadBlock = std::size_t{64} << 10;
constexpr std::size_t kLongestPiece = 255;  // of a path, between two "/"
constexpr int kMostMembers = 1'000'000;     // an end for an archive that cannot be read but has no end either

// Names are put behind the folder's path, which rules out the flag that refuses absolute names:
// StaysInside does its work.
constexpr int kFlags = ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_SECURE_SYMLINKS | ARCHIVE_EXTRACT_SECURE_NODOTDOT;

struct EndReader {
  void operator()(archive* reader) const { archive_read_free(reader); }
};
struct EndWriter {
  void operator()(archive* writer) const { archive_write_free(writer); }
};

// Names on the disk are UTF-8, also where the program was started without a locale, in which the library would
// give no name at all for what is not ASCII.
class Utf8Names {
 public:
  Utf8Names() : utf8_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
    if (utf8_ != nullptr) former_ = uselocale(utf8_);
  }
  ~Utf8Names() {
    if (utf8_ == nullptr) return;
    uselocale(former_);
    freelocale(utf8_);
  }
  Utf8Names(const Utf8Names&) = delete;
  Utf8Names& operator=(const Utf8Names&) = delete;

 private:
  locale_t utf8_;
  locale_t former_ = nullptr;
};

// A descriptor of a regular file, closed with it.
class Source {
 public:
  explicit Source(const std::string& path) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  ~Source() {
    if (fd_ >= 0) close(fd_);
  }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  bool IsRegular() const {
    struct stat status {};
    return fd_ >= 0 && fstat(fd_, &status) == 0 && S_ISREG(status.st_mode);
  }
  int Descriptor() const { return fd_; }

 private:
  int fd_;
};

// Without links; empty if there is no such folder. The links in a user's own path are no member's doing.
std::string RealPath(const std::string& folder) {
  const std::unique_ptr<char, decltype(&free)> real(realpath(folder.c_str(), nullptr), &free);
  return real ? std::string(real.get()) : std::string();
}

bool StaysInside(std::string_view name, std::size_t rootLength) {
  if (name.empty() || name.front() == '/' || rootLength + 1 + name.size() >= PATH_MAX) return false;
  while (!name.empty()) {
    const std::string_view piece = name.substr(0, name.find('/'));
    if (piece == ".." || piece.size() > kLongestPiece) return false;
    name.remove_prefix(std::min(name.size(), piece.size() + 1));
  }
  return true;
}

class Run {
 public:
  Run(archive* reader, std::string root, std::int64_t most, const std::function<void(std::string_view)>& print)
      : reader_(reader), writer_(archive_write_disk_new()), root_(std::move(root)), left_(most), print_(print) {
    archive_write_disk_set_options(writer_.get(), kFlags);
  }

  int Members() {
    for (int member = 0; member < kMostMembers; ++member) {
      archive_entry* entry = nullptr;
      const int read = archive_read_next_header(reader_, &entry);
      if (read == ARCHIVE_EOF && member > 0) return result_;
      // Before the first member it is the archive that could not be read, and not a part of it.
      if (read == ARCHIVE_EOF || read == ARCHIVE_FATAL) return Note(member == 0 ? kUnzipNoArchive : kUnzipDamaged);
      if (read < ARCHIVE_WARN) {
        Note(kUnzipDamaged);
        continue;
      }
      if (!Member(*entry)) return result_;
    }
    return Note(kUnzipDamaged);
  }

 private:
  int Note(UnzipResult result) { return result_ = std::max<int>(result_, result); }

  // False: nothing more can be unpacked.
  bool Member(archive_entry& entry) {
    const char* const told = archive_entry_pathname(&entry);
    const std::string name = told != nullptr ? told : "";
    const auto type = archive_entry_filetype(&entry);
    const bool plain = (type == AE_IFREG || type == AE_IFDIR) && archive_entry_hardlink(&entry) == nullptr &&
                       archive_entry_symlink(&entry) == nullptr;
    if (!plain || !StaysInside(name, root_.size())) return Note(kUnzipMembersLeftOut) != 0;
    if (archive_entry_is_encrypted(&entry) != 0) return Note(kUnzipNeedsPassword) != 0;
    print_("inflating: " + name);
    print_("\n");
    const std::string path = root_ + "/" + name;
    archive_entry_set_pathname(&entry, path.c_str());
    // What its maker could not read we could not replace the next time.
    archive_entry_set_perm(&entry, archive_entry_perm(&entry) | (type == AE_IFDIR ? S_IRWXU : S_IRUSR | S_IWUSR));
    if (archive_write_header(writer_.get(), &entry) < ARCHIVE_WARN) return WriteFailed(kUnzipMembersLeftOut);
    const bool written = type == AE_IFDIR || Data();
    if (archive_write_finish_entry(writer_.get()) < ARCHIVE_WARN) return WriteFailed(kUnzipDiskFull);
    if (!written) unlink(path.c_str());
    return left_ >= 0 && result_ < kUnzipDiskFull;
  }

  // A full disk ends the run; anything else concerns this member alone.
  bool WriteFailed(UnzipResult otherwise) {
    const int error = archive_errno(writer_.get());
    const bool full = error == ENOSPC || error == EDQUOT || error == EROFS;
    Note(full ? kUnzipDiskFull : otherwise);
    return !full;
  }

  bool Data() {
    for (;;) {
      const void* block = nullptr;
      std::size_t size = 0;
      std::int64_t offset = 0;
      const int read = archive_read_data_block(reader_, &block, &size, &offset);
      if (read == ARCHIVE_EOF) return true;
      // A warning is a checksum that does not fit.
      if (read != ARCHIVE_OK) {
        Note(kUnzipDamaged);
        return false;
      }
      left_ -= static_cast<std::int64_t>(size);
      if (left_ < 0 || archive_write_data_block(writer_.get(), block, size, offset) < ARCHIVE_WARN) {
        Note(kUnzipDiskFull);
        return false;
      }
    }
  }

  archive* reader_;
  std::unique_ptr<archive, EndWriter> writer_;
  std::string root_;
  std::int64_t left_;  // bytes that may still be unpacked
  const std::function<void(std::string_view)>& print_;
  int result_ = kUnzipDone;
};

}  // namespace

int LibarchiveUnzip::Unpack(const std::string& archivePath, const std::string& folder,
                            const std::function<void(std::string_view)>& print) {
  const Utf8Names names;
  const Source source(archivePath);
  if (!source.IsRegular()) return kUnzipNoArchive;
  std::string root = RealPath(folder);
  if (root.empty()) return kUnzipDiskFull;
  const std::unique_ptr<archive, EndReader> reader(archive_read_new());
  archive_read_support_format_zip_seekable(reader.get());
  if (archive_read_open_fd(reader.get(), source.Descriptor(), kReadBlock) != ARCHIVE_OK) return kUnzipNoArchive;
  return Run(reader.get(), std::move(root), most_, print).Members();
}

}  // namespace pellora
