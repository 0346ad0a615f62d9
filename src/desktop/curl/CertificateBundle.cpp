#include "desktop/curl/CertificateBundle.h"

#include <curl/curl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

#include "desktop/AtomicFile.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

// What libcurl refuses at once, while it would wait for the writer of a pipe.
constexpr const char* kNoAuthorities = "/dev/null";

FileState StateOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? StateIn(status) : FileState{};
}

bool Append(int to, const std::string& path) {
  std::optional<std::string> bytes;
  Skip([&] { bytes = ReadSmallFile(path); });
  if (!bytes) return false;
  *bytes += '\n';
  return write(to, bytes->data(), bytes->size()) == static_cast<ssize_t>(bytes->size());
}

}  // namespace

std::string CertificateBundle::SystemsPath() {
  const curl_version_info_data* const version = curl_version_info(CURLVERSION_NOW);
  return version->cainfo != nullptr ? version->cainfo : "";
}

CertificateBundle::~CertificateBundle() { Close(); }

void CertificateBundle::Close() {
  if (file_ >= 0) close(file_);
  file_ = -1;
}

std::string CertificateBundle::With(const std::string& extra) {
  if (extra.empty()) return {};
  const std::string bundle = SystemsPath();
  const Source system{bundle, StateOf(bundle)};
  const Source own{extra, StateOf(extra)};
  if (file_ < 0 || !(system == system_) || !(own == extra_)) {
    Close();
    file_ = memfd_create("certificates", MFD_CLOEXEC);
    if (file_ >= 0) (void)Append(file_, bundle);  // some systems have none
    if (file_ < 0 || !Append(file_, extra)) {
      Close();
      return kNoAuthorities;
    }
    system_ = system;
    extra_ = own;
  }
  return "/proc/self/fd/" + std::to_string(file_);
}

}  // namespace pellora
