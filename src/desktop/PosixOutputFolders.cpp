#include "desktop/PosixOutputFolders.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <map>
#include <utility>

#include "desktop/AtomicFile.h"
#include "desktop/Descriptor.h"
#include "desktop/FileFailure.h"
#include "desktop/InThreads.h"
#include "desktop/PosixFile.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

constexpr mode_t kAllRights = 0777;
constexpr mode_t kUserRights = 0700;
constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

void CheckName(const std::string& path, const std::string& name) {
  const bool good = !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
                    name.find('\0') == std::string::npos;
  if (!good) throw FileFailure(path + "/" + name, EINVAL);
}

std::string Joined(std::string path, const OutputPath& parts) {
  for (const std::string& part : parts) path += "/" + part;
  return path;
}

std::string DescriptorPath(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

// Folders that have got names which are not known to be on the disk.
class ChangedFolders {
 public:
  void Add(Descriptor folder, const std::string& path) {
    struct stat status {};
    if (fstat(folder.Number(), &status) != 0) throw FileFailure(path, errno);
    folders_.try_emplace({status.st_dev, status.st_ino}, Changed{std::move(folder), path});
  }
  void Flush() {
    std::vector<Changed> folders;
    for (auto& [identity, folder] : folders_) folders.push_back(std::move(folder));
    folders_.clear();
    InThreads(folders.size(), [&](std::size_t at) { FlushNamesIn(folders[at].folder.Number(), folders[at].path); });
  }

 private:
  struct Changed {
    Descriptor folder;
    std::string path;
  };
  std::map<std::pair<dev_t, ino_t>, Changed> folders_;
};

// The seconds count in steps of two. A day that no month has becomes one of the next month.
std::optional<time_t> TimeOf(const OutputTraits& traits) {
  if (traits.modified) return static_cast<time_t>(*traits.modified);
  const auto bits = [fields = traits.localTime](unsigned from, unsigned count) {
    return static_cast<int>(fields >> from & ((1U << count) - 1));
  };
  tm local{};
  local.tm_year = bits(25, 7) + 80;
  local.tm_mon = bits(21, 4) - 1;
  local.tm_mday = bits(16, 5);
  local.tm_hour = bits(11, 5);
  local.tm_min = bits(5, 6);
  local.tm_sec = bits(0, 5) * 2;
  local.tm_isdst = -1;
  if (local.tm_mon < 0 || local.tm_mon > 11 || local.tm_mday == 0) return std::nullopt;
  return mktime(&local);
}

// Disks without times or with a smaller range refuse: the file is as good without.
void SetModified(int descriptor, const OutputTraits& traits) {
  const std::optional<time_t> modified = TimeOf(traits);
  if (!modified) return;
  const std::array<timespec, 2> times{{{0, UTIME_OMIT}, {*modified, 0}}};
  futimens(descriptor, times.data());
}

mode_t RightsFor(const OutputTraits& traits, mode_t unknown, mode_t always) {
  const mode_t wanted = traits.mode == 0 ? unknown : traits.mode & kAllRights;
  return (wanted & ~ProcessUmask()) | always;
}

std::string DraftName() {
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz234567";
  std::array<unsigned char, 12> random{};
  if (getrandom(random.data(), random.size(), 0) < 0) throw FileFailure("random numbers", errno);
  std::string name = ".pellora-";
  for (const unsigned char byte : random) name += kLetters[byte % kLetters.size()];
  return name;
}

FileIdentity IdentityOf(const struct stat& status) { return {status.st_dev, status.st_ino}; }

class PosixOutputFile final : public OutputFile {
 public:
  // With a `draft` name, or none.
  PosixOutputFile(Descriptor folder, std::string path, int descriptor, std::string draft, OutputAbilities abilities,
                  std::shared_ptr<ChangedFolders> changed)
      : folder_(std::move(folder)),
        path_(std::move(path)),
        descriptor_(descriptor),
        file_(path_, descriptor),
        draft_(std::move(draft)),
        abilities_(abilities),
        changed_(std::move(changed)) {}
  ~PosixOutputFile() override {
    if (!draft_.empty()) DeleteDraft();
  }
  PosixOutputFile(const PosixOutputFile&) = delete;
  PosixOutputFile& operator=(const PosixOutputFile&) = delete;

  void Write(std::string_view bytes) override {
    file_.WriteAt(length_, bytes);
    length_ += bytes.size();
  }

  // The flushing of all files may begin before it is waited for.
  void BeginFlush(const OutputTraits& traits) {
    file_.SetRights(RightsFor(traits, 0666, kPrivateMode));
    SetModified(descriptor_, traits);
    sync_file_range(descriptor_, 0, 0, SYNC_FILE_RANGE_WRITE);
  }
  void Flush() {
    file_.Flush();
    flushed_ = true;
  }

  bool Publish(const std::string& name, const OutputTraits& traits,
               const std::optional<FileIdentity>& replaced) override {
    CheckName(path_, name);
    // Others may have exchanged even that: their file is not this one.
    if (!draft_.empty() && !IsOwnDraft()) throw FileFailure(path_ + "/" + draft_, ESTALE);
    if (!flushed_) {
      BeginFlush(traits);
      Flush();
    }
    if (!(replaced ? Replace(name, *replaced) : GiveFreeName(name))) {
      file_.SetRights(kPrivateMode);
      flushed_ = false;
      return false;
    }
    draft_.clear();
    changed_->Add(std::move(folder_), path_);
    return true;
  }

 private:
  bool GiveFreeName(const std::string& name) {
    if (draft_.empty()) return Link(name);
    return RenameExclusively(abilities_.rename, folder_.Number(), draft_, name, path_ + "/" + name);
  }
  // False if something has the name.
  bool Link(const std::string& name) {
    const std::string from = DescriptorPath(descriptor_);
    if (linkat(AT_FDCWD, from.c_str(), folder_.Number(), name.c_str(), AT_SYMLINK_FOLLOW) == 0) return true;
    if (errno == EEXIST) return false;
    ThrowNameFailure(path_ + "/" + name, errno);
  }
  bool Replace(const std::string& name, const FileIdentity& replaced) {
    if (!IsThere(name, replaced)) return false;
    while (draft_.empty()) {
      const std::string draft = DraftName();
      if (Link(draft)) draft_ = draft;
    }
    return abilities_.exchange ? Exchange(name, replaced) : RenameOver(name);
  }
  // Only then it is known what was replaced.
  bool Exchange(const std::string& name, const FileIdentity& replaced) {
    const auto exchange = [&] {
      return renameat2(folder_.Number(), draft_.c_str(), folder_.Number(), name.c_str(), RENAME_EXCHANGE) == 0;
    };
    if (!exchange()) {
      if (errno == ENOENT) return false;
      if (MeansCannot(errno)) return RenameOver(name);
      throw FileFailure(path_ + "/" + name, errno);
    }
    if (!IsThere(draft_, replaced)) {
      if (!exchange()) throw FileFailure(path_ + "/" + name, errno);
      return false;
    }
    unlinkat(folder_.Number(), draft_.c_str(), 0);
    return true;
  }
  bool RenameOver(const std::string& name) {
    if (renameat(folder_.Number(), draft_.c_str(), folder_.Number(), name.c_str()) == 0) return true;
    throw FileFailure(path_ + "/" + name, errno);
  }
  // A regular file with this identity has the name.
  bool IsThere(const std::string& name, const FileIdentity& identity) const {
    struct stat status {};
    return fstatat(folder_.Number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode) &&
           IdentityOf(status) == identity;
  }
  bool IsOwnDraft() const { return IsThere(draft_, IdentityOf(file_.Status())); }
  void DeleteDraft() {
    if (IsOwnDraft()) unlinkat(folder_.Number(), draft_.c_str(), 0);
  }

  Descriptor folder_;       // none any more once it is published
  const std::string path_;  // of the folder
  const int descriptor_;    // file_ closes it
  PosixFile file_;
  std::string draft_;
  const OutputAbilities abilities_;
  const std::shared_ptr<ChangedFolders> changed_;
  std::uint64_t length_ = 0;
  bool flushed_ = false;
};

class PosixOutputFolder final : public OutputFolder {
 public:
  PosixOutputFolder(Descriptor root, std::string path, OutputAbilities abilities)
      : root_(std::move(root)), path_(std::move(path)), abilities_(abilities) {}

  std::unique_ptr<OutputFile> Create(const OutputPath& path) override {
    Descriptor folder = OpenFolder(Above(path), true);
    const std::string name = Joined(path_, Above(path));
    if (abilities_.unnamed) {
      Descriptor file(openat(folder.Number(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, kPrivateMode));
      // Without /proc it could be given no name.
      if (file && access(DescriptorPath(file.Number()).c_str(), F_OK) == 0) {
        return std::make_unique<PosixOutputFile>(std::move(folder), name, file.Release(), "", abilities_, changed_);
      }
    }
    return CreateDraft(std::move(folder), name);
  }
  void FlushTogether(const std::vector<CompleteFile>& files) override {
    for (const CompleteFile& each : files) FileOf(each).BeginFlush(each.traits);
    InThreads(files.size(), [&](std::size_t at) { FileOf(files[at]).Flush(); });
  }
  void FlushNames() override { changed_->Flush(); }
  void AddName(const OutputPath& path) override {
    for (OutputPath above = path; !above.empty();) {
      above.pop_back();
      changed_->Add(OpenFolder(above, false), Joined(path_, above));
    }
  }
  void MakeFolder(const OutputPath& path) override {
    OpenFolder(path, true);
    FlushNames();
  }
  void SetTraits(const OutputPath& path, const OutputTraits& traits) override {
    const Descriptor folder = OpenFolder(path, false);
    if (traits.mode != 0) TakeRights(folder.Number(), RightsFor(traits, 0, kUserRights), Joined(path_, path));
    SetModified(folder.Number(), traits);
  }
  OutputFound LookAt(const OutputPath& path) override {
    const Descriptor folder = OpenFolder(Above(path), false, true);
    if (!folder) return {};
    struct stat status {};
    if (fstatat(folder.Number(), path.back().c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno == ENOENT) return {};
      ThrowNameFailure(Joined(path_, path), errno);
    }
    if (S_ISDIR(status.st_mode)) return {OutputName::Folder, {}, 0};
    if (!S_ISREG(status.st_mode)) return {OutputName::Other, {}, 0};
    return {OutputName::File, IdentityOf(status), static_cast<std::uint64_t>(status.st_size)};
  }
  std::unique_ptr<File> OpenFile(const OutputPath& path) override {
    Descriptor file = OpenRegular(path);
    if (!file) return nullptr;
    return std::make_unique<PosixFile>(Joined(path_, path), file.Release());
  }
  // The coarsest disks keep every other second.
  bool HasTime(const OutputPath& path, const OutputTraits& traits) override {
    const std::optional<time_t> wanted = TimeOf(traits);
    const Descriptor file = OpenRegular(path);
    struct stat status {};
    if (!wanted || !file || fstat(file.Number(), &status) != 0) return false;
    return status.st_mtim.tv_sec == *wanted || status.st_mtim.tv_sec == *wanted - 1;
  }

 private:
  static PosixOutputFile& FileOf(const CompleteFile& complete) {
    return dynamic_cast<PosixOutputFile&>(*complete.file);
  }
  OutputPath Above(const OutputPath& path) const {
    if (path.empty()) throw FileFailure(path_, EINVAL);
    CheckName(path_, path.back());
    return {path.begin(), path.end() - 1};
  }
  // Nothing if no regular file has the name.
  Descriptor OpenRegular(const OutputPath& path) const {
    const Descriptor folder = OpenFolder(Above(path), false, true);
    if (!folder) return {};
    constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    Descriptor file(openat(folder.Number(), path.back().c_str(), kFlags));
    if (!file && errno != ENOENT && errno != ELOOP) ThrowNameFailure(Joined(path_, path), errno);
    struct stat status {};
    if (!file || fstat(file.Number(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    return file;
  }
  // Nothing if `mayBeMissing` and it is.
  Descriptor OpenFolder(const OutputPath& path, bool make, bool mayBeMissing = false) const {
    std::string name = path_;
    Descriptor folder(openat(root_.Number(), ".", kOpenFolder));
    if (!folder) throw FileFailure(name, errno);
    for (const std::string& part : path) {
      CheckName(name, part);
      name += "/" + part;
      if (make) MakePart(folder.Number(), part, name);
      Descriptor next(openat(folder.Number(), part.c_str(), kOpenFolder));
      if (!next && errno == ENOENT && mayBeMissing) return {};
      if (!next) ThrowNameFailure(name, errno == ELOOP ? ENOTDIR : errno);
      folder = std::move(next);
    }
    return folder;
  }
  void MakePart(int folder, const std::string& part, const std::string& name) const {
    if (mkdirat(folder, part.c_str(), kAllRights) != 0) {
      if (errno != EEXIST) ThrowNameFailure(name, errno);
      return;
    }
    const mode_t umask = ProcessUmask();
    if ((umask & kUserRights) != 0) GiveToUser(folder, part, (kAllRights & ~umask) | kUserRights);
    Descriptor changed(openat(folder, ".", kOpenFolder));
    if (!changed) throw FileFailure(name, errno);
    changed_->Add(std::move(changed), name);
  }
  // None are given: the folder may have been there before, and be nobody else's business.
  static void TakeRights(int folder, mode_t left, const std::string& name) {
    struct stat status {};
    if (fstat(folder, &status) != 0) throw FileFailure(name, errno);
    const mode_t mode = status.st_mode & (left | ~kAllRights) & ~S_IFMT;
    if (fchmod(folder, mode) != 0 && !MeansCannot(errno)) throw FileFailure(name, errno);
  }
  // The umask has taken even the user's rights.
  static void GiveToUser(int folder, const std::string& part, mode_t rights) {
    const Descriptor made(openat(folder, part.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (made) chmod(DescriptorPath(made.Number()).c_str(), rights);
  }
  std::unique_ptr<OutputFile> CreateDraft(Descriptor folder, const std::string& name) {
    constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    while (true) {
      std::string draft = DraftName();
      const int file = openat(folder.Number(), draft.c_str(), kFlags, kPrivateMode);
      if (file >= 0) {
        return std::make_unique<PosixOutputFile>(std::move(folder), name, file, std::move(draft), abilities_, changed_);
      }
      if (errno != EEXIST && errno != EINTR) throw FileFailure(name, errno);
    }
  }

  const Descriptor root_;
  const std::string path_;
  const OutputAbilities abilities_;
  const std::shared_ptr<ChangedFolders> changed_ = std::make_shared<ChangedFolders>();
};

}  // namespace

std::shared_ptr<OutputFolder> PosixOutputFolders::Open(const std::string& folder) {
  CheckPath(folder);
  std::error_code error;
  std::filesystem::create_directories(folder, error);  // opening reports what is wrong
  Descriptor root(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!root) throw FileFailure(folder, error ? error.value() : errno);
  return std::make_shared<PosixOutputFolder>(std::move(root), folder, abilities_);
}

}  // namespace pellora
