#include "desktop/curl/CertificateBundle.h"

#include <curl/curl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

namespace pellora {

namespace {

FileState StateOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? StateIn(status) : FileState{};
}

bool Append(int to, const std::string& path) {
  std::ifstream from(path, std::ios::binary);
  if (!from) return false;
  std::string bytes{std::istreambuf_iterator<char>(from), std::istreambuf_iterator<char>()};
  bytes += '\n';
  return write(to, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
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
    if (file_ < 0 || !Append(file_, bundle) || !Append(file_, extra)) {
      Close();
      return extra;
    }
    system_ = system;
    extra_ = own;
  }
  return "/proc/self/fd/" + std::to_string(file_);
}

}  // namespace pellora
