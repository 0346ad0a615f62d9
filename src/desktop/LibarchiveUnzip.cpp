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
constexpr std::size_t kMaxNameLength = 255;  // of a path, between two "/"
constexpr int kMaxMembers = 1'000'000;       // stops at a damaged archive that never ends

// The folder's path is put before each name, which rules out the flag that refuses absolute names; StaysInside checks
// that instead.
constexpr int kFlags = ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_SECURE_SYMLINKS | ARCHIVE_EXTRACT_SECURE_NODOTDOT;

struct FreeReader {
  void operator()(archive* reader) const { archive_read_free(reader); }
};
struct FreeWriter {
  void operator()(archive* writer) const { archive_write_free(writer); }
};

// File names are UTF-8, even if the program was started without a locale: libarchive would then return no name for
// anything that is not ASCII.
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

// Owns the descriptor of the archive.
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

// The path without links; empty if there is no such folder. Links in the user's own path are not the archive's doing.
std::string RealPath(const std::string& folder) {
  const std::unique_ptr<char, decltype(&free)> real(realpath(folder.c_str(), nullptr), &free);
  return real ? std::string(real.get()) : std::string();
}

bool StaysInside(std::string_view name, std::size_t rootLength) {
  if (name.empty() || name.front() == '/' || rootLength + 1 + name.size() >= PATH_MAX) return false;
  while (!name.empty()) {
    const std::string_view piece = name.substr(0, name.find('/'));
    if (piece == ".." || piece.size() > kMaxNameLength) return false;
    name.remove_prefix(std::min(name.size(), piece.size() + 1));
  }
  return true;
}

class Run {
 public:
  Run(archive* reader, std::string root, std::int64_t maxBytes, const std::function<void(std::string_view)>& print)
      : reader_(reader), writer_(archive_write_disk_new()), root_(std::move(root)), left_(maxBytes), print_(print) {
    archive_write_disk_set_options(writer_.get(), kFlags);
  }

  int UnpackAll() {
    for (int member = 0; member < kMaxMembers; ++member) {
      archive_entry* entry = nullptr;
      const int read = archive_read_next_header(reader_, &entry);
      if (read == ARCHIVE_EOF && member > 0) return result_;
      // Before the first member, the archive itself could not be read.
      if (read == ARCHIVE_EOF || read == ARCHIVE_FATAL) return Note(member == 0 ? kUnzipNoArchive : kUnzipDamaged);
      if (read < ARCHIVE_WARN) {
        Note(kUnzipDamaged);
        continue;
      }
      if (!UnpackMember(*entry)) return result_;
    }
    return Note(kUnzipDamaged);
  }

 private:
  int Note(UnzipResult result) { return result_ = std::max<int>(result_, result); }

  // False if nothing more can be unpacked.
  bool UnpackMember(archive_entry& entry) {
    const char* const pathname = archive_entry_pathname(&entry);
    const std::string name = pathname != nullptr ? pathname : "";
    const auto type = archive_entry_filetype(&entry);
    const bool plain = (type == AE_IFREG || type == AE_IFDIR) && archive_entry_hardlink(&entry) == nullptr &&
                       archive_entry_symlink(&entry) == nullptr;
    if (!plain || !StaysInside(name, root_.size())) return Note(kUnzipMembersLeftOut) != 0;
    if (archive_entry_is_encrypted(&entry) != 0) return Note(kUnzipNeedsPassword) != 0;
    print_("inflating: " + name);
    print_("\n");
    const std::string path = root_ + "/" + name;
    archive_entry_set_pathname(&entry, path.c_str());
    // Without these rights the file could not be replaced the next time.
    archive_entry_set_perm(&entry, archive_entry_perm(&entry) | (type == AE_IFDIR ? S_IRWXU : S_IRUSR | S_IWUSR));
    if (archive_write_header(writer_.get(), &entry) < ARCHIVE_WARN) return WriteFailed(kUnzipMembersLeftOut);
    const bool written = type == AE_IFDIR || UnpackData();
    if (archive_write_finish_entry(writer_.get()) < ARCHIVE_WARN) return WriteFailed(kUnzipDiskFull);
    if (!written) unlink(path.c_str());
    return left_ >= 0 && result_ < kUnzipDiskFull;
  }

  // A full disk ends the run; anything else affects only this member.
  bool WriteFailed(UnzipResult otherwise) {
    const int error = archive_errno(writer_.get());
    const bool full = error == ENOSPC || error == EDQUOT || error == EROFS;
    Note(full ? kUnzipDiskFull : otherwise);
    return !full;
  }

  bool UnpackData() {
    for (;;) {
      const void* block = nullptr;
      std::size_t size = 0;
      std::int64_t offset = 0;
      const int read = archive_read_data_block(reader_, &block, &size, &offset);
      if (read == ARCHIVE_EOF) return true;
      // A warning means a wrong checksum.
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
  std::unique_ptr<archive, FreeWriter> writer_;
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
  const std::unique_ptr<archive, FreeReader> reader(archive_read_new());
  archive_read_support_format_zip_seekable(reader.get());
  if (archive_read_open_fd(reader.get(), source.Descriptor(), kReadBlock) != ARCHIVE_OK) return kUnzipNoArchive;
  return Run(reader.get(), std::move(root), maxBytes_, print).UnpackAll();
}

}  // namespace pellora
