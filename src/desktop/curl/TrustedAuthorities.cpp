#include "desktop/curl/TrustedAuthorities.h"

#include <curl/curl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string_view>

#include "core/Ascii.h"
#include "desktop/AtomicFile.h"
#include "desktop/curl/TlsLimits.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

// What libcurl refuses at once, while it would wait for the writer of a pipe.
const AuthorityPaths kNoAuthorities{"/dev/null", {}};

// So many take less than a millisecond.
constexpr std::size_t kFew = 8;

std::optional<std::string> BytesOf(const std::string& path) {
  std::optional<std::string> bytes;
  Skip([&] { bytes = ReadSmallFile(path); });
  return bytes;
}

// In PEM, whose labels have it last (RFC 7468, section 5, and x509(1) for those of OpenSSL).
std::size_t CertificatesIn(std::string_view bytes) {
  constexpr std::string_view kBegin = "-----BEGIN ";
  constexpr std::string_view kEnd = "CERTIFICATE-----";
  std::size_t count = 0;
  for (std::size_t at = bytes.find(kBegin); at != std::string::npos; at = bytes.find(kBegin, at + 1)) {
    const std::string_view line = bytes.substr(at, bytes.find_first_of("\r\n", at) - at);
    if (line.ends_with(kEnd)) ++count;
  }
  return count;
}

// Eight digits of a hash, and a number for those that share it. Others, with an "r"
// before the number, are revocations.
bool IsHashedName(std::string_view name) {
  constexpr std::size_t kDigits = 8;
  constexpr std::string_view kHexadecimal = "0123456789abcdef";
  if (name.size() < kDigits + 2 || name.find_first_not_of(kHexadecimal) != kDigits || name[kDigits] != '.')
    return false;
  name.remove_prefix(kDigits + 1);
  return std::all_of(name.begin(), name.end(), IsDigit);
}

std::size_t HashedNamesIn(const std::string& folder) {
  std::size_t count = 0;
  std::error_code failed;
  for (std::filesystem::directory_iterator at(folder, failed), end; !failed && at != end; at.increment(failed)) {
    const std::string path = at->path().string();
    if (IsHashedName(at->path().filename().string()) && access(path.c_str(), R_OK) == 0) ++count;
  }
  return count;
}

}  // namespace

FileState StateOfPath(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? StateIn(status) : FileState{};
}

AuthorityPaths TrustedAuthorities::OfLibcurl() {
  const curl_version_info_data* const version = curl_version_info(CURLVERSION_NOW);
  AuthorityPaths system;
  if (version->cainfo != nullptr) system.file = version->cainfo;
  if (version->capath != nullptr && TlsIsOpenSsl()) system.folder = version->capath;
  return system;
}

TrustedAuthorities::~TrustedAuthorities() { Close(); }

void TrustedAuthorities::Close() {
  if (file_ >= 0) close(file_);
  file_ = -1;
}

TrustedAuthorities::Source TrustedAuthorities::SourceAt(const std::string& path) { return {path, StateOfPath(path)}; }

// It may lack some: those of a file with several have no hashes, and not every system makes them.
bool TrustedAuthorities::FolderHasAll() {
  if (system_.folder.empty()) return false;
  const std::pair looked(SourceAt(system_.file), SourceAt(system_.folder));
  if (looked == lookedAt_) return folderHasAll_;
  lookedAt_ = looked;
  const std::size_t known = HashedNamesIn(system_.folder);
  folderHasAll_ = known > 0 && known >= CertificatesIn(BytesOf(system_.file).value_or(std::string()));
  return folderHasAll_;
}

AuthorityPaths TrustedAuthorities::With(const std::string& extra) {
  const bool hasAll = FolderHasAll();
  if (extra.empty()) return hasAll ? AuthorityPaths{{}, system_.folder} : AuthorityPaths{system_.file, {}};
  const Sources sources{SourceAt(system_.file), SourceAt(extra), hasAll};
  if (file_ < 0 || sources != madeOf_) {
    Close();
    made_ = Make(extra, hasAll);
    madeOf_ = sources;
  }
  return made_;
}

AuthorityPaths TrustedAuthorities::Make(const std::string& extra, bool folderHasAll) {
  std::optional<std::string> bytes = BytesOf(extra);
  if (!bytes) return kNoAuthorities;
  const std::size_t count = CertificatesIn(*bytes);
  const bool usesFolder = folderHasAll && count > 0 && count <= kFew;
  if (!usesFolder) *bytes = BytesOf(system_.file).value_or(std::string()) + '\n' + *bytes;  // some systems have none
  file_ = memfd_create("certificates", MFD_CLOEXEC);
  if (file_ < 0 || write(file_, bytes->data(), bytes->size()) != static_cast<ssize_t>(bytes->size())) {
    Close();
    return kNoAuthorities;
  }
  return {"/proc/self/fd/" + std::to_string(file_), usesFolder ? system_.folder : std::string()};
}

}  // namespace pellora
