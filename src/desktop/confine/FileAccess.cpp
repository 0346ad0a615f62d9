#include "desktop/confine/FileAccess.h"

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "desktop/Descriptor.h"
#include "desktop/confine/Confine.h"

namespace pellora {

namespace {

// Libraries, plugins, sound fonts and system settings in the folders of all distributions, and what the kernel tells
// about the machine. No home, no other devices.
constexpr std::array kSystemPlaces = {"/usr",  "/lib",      "/lib64",       "/lib32",
                                      "/etc",  "/opt",      "/nix/store",   "/gnu",
                                      "/proc", "/dev/null", "/dev/urandom", "/sys/devices/system"};

// All file rights known to this version of Landlock: a right that is not handled would stay allowed.
std::uint64_t AllRights(long version) {
  constexpr std::array kRights = {13, 14, 15, 15, 16};  // number of rights, by version from 1
  const auto index = std::min(static_cast<std::size_t>(version), kRights.size()) - 1;
  return (std::uint64_t{1} << kRights.at(index)) - 1;
}

class Ruleset {
 public:
  explicit Ruleset(std::uint64_t rights) : attributes_{rights}, descriptor_(Create(attributes_)) {
    if (descriptor_.Number() < 0) throw ConfinementFailure("a set of Landlock rules", errno);
  }

  void AllowReading(int opened) {
    struct stat status {};
    if (fstat(opened, &status) != 0) throw ConfinementFailure("the place of a Landlock rule", errno);
    landlock_path_beneath_attr rule{};
    rule.allowed_access = LANDLOCK_ACCESS_FS_READ_FILE;
    if (S_ISDIR(status.st_mode)) rule.allowed_access |= LANDLOCK_ACCESS_FS_READ_DIR;
    rule.parent_fd = opened;
    if (syscall(SYS_landlock_add_rule, descriptor_.Number(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) != 0) {
      throw ConfinementFailure("a Landlock rule", errno);
    }
  }
  void AllowReading(const char* path) {
    const Descriptor place(open(path, O_PATH | O_CLOEXEC));
    if (place.Number() >= 0) AllowReading(place.Number());
  }
  void Enforce() {
    if (syscall(SYS_landlock_restrict_self, descriptor_.Number(), 0) != 0) throw ConfinementFailure("Landlock", errno);
  }

 private:
  static int Create(const landlock_ruleset_attr& attributes) {
    return static_cast<int>(syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes.handled_access_fs, 0));
  }

  const landlock_ruleset_attr attributes_;
  const Descriptor descriptor_;
};

}  // namespace

void RestrictFileAccess(int file, const std::vector<std::string>& places) {
  const long version = syscall(SYS_landlock_create_ruleset, nullptr, std::size_t{0}, LANDLOCK_CREATE_RULESET_VERSION);
  if (version < 0 && (errno == ENOSYS || errno == EOPNOTSUPP)) return;
  if (version < 1) throw ConfinementFailure("Landlock", errno);
  Ruleset rules(AllRights(version));
  for (const char* place : kSystemPlaces) rules.AllowReading(place);
  for (const std::string& place : places) rules.AllowReading(place.c_str());
  if (file >= 0) rules.AllowReading(file);
  rules.Enforce();
}

}  // namespace pellora
