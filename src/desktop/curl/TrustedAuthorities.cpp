#include "desktop/curl/TrustedAuthorities.h"

#include <curl/curl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <vector>

#include "core/Ascii.h"
#include "desktop/AtomicFile.h"
#include "desktop/curl/TlsLimits.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

// What libcurl refuses at once, while it would wait for the writer of a pipe.
const AuthorityPaths kNoAuthorities{"/dev/null", {}, {}};

// So many take less than a millisecond.
constexpr std::size_t kFew = 8;

std::optional<std::string> BytesOf(const std::string& path) {
  std::optional<std::string> bytes;
  Skip([&] { bytes = ReadSmallFile(path); });
  return bytes;
}

// Those in PEM, each without its line feeds. Their labels have the word last (RFC 7468, section 5, and x509(1) for
// those of OpenSSL).
std::vector<std::string> CertificatesIn(std::string_view bytes) {
  constexpr std::string_view kBegin = "-----BEGIN ";
  constexpr std::string_view kLabelEnd = "CERTIFICATE-----";
  constexpr std::string_view kDashes = "-----";
  std::vector<std::string> certificates;
  for (std::size_t at = bytes.find(kBegin); at != std::string::npos; at = bytes.find(kBegin, at + 1)) {
    const std::string_view line = bytes.substr(at, bytes.find_first_of("\r\n", at) - at);
    if (!line.ends_with(kLabelEnd)) continue;
    const std::string_view rest = bytes.substr(at + line.size());
    std::string& certificate = certificates.emplace_back(rest.substr(0, rest.find(kDashes)));
    std::erase_if(certificate, [](char c) { return c == '\r' || c == '\n'; });
  }
  return certificates;
}

// Eight digits of a hash, and a number for those that share it. Others, with an "r" before the number, are
// revocations.
bool IsHashedName(std::string_view name) {
  constexpr std::size_t kDigits = 8;
  constexpr std::string_view kHexadecimal = "0123456789abcdef";
  if (name.size() < kDigits + 2 || name.find_first_not_of(kHexadecimal) != kDigits || name[kDigits] != '.')
    return false;
  name.remove_prefix(kDigits + 1);
  return std::all_of(name.begin(), name.end(), IsDigit);
}

// That can be found there: of a file with several OpenSSL looks for one.
std::set<std::string> HashedIn(const std::string& folder) {
  std::set<std::string> hashed;
  std::error_code failed;
  for (std::filesystem::directory_iterator at(folder, failed), end; !failed && at != end; at.increment(failed)) {
    if (!IsHashedName(at->path().filename().string())) continue;
    std::vector<std::string> found = CertificatesIn(BytesOf(at->path().string()).value_or(std::string()));
    if (found.size() == 1) hashed.insert(std::move(found.front()));
  }
  return hashed;
}

bool IsThere(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// A folder may lack some: those of a file with several have no hashes, and not every system makes them. It may have
// others instead, or each twice, since hashes of two kinds are in use. Some systems have no file.
bool HasAll(const std::string& folder, const std::string& file) {
  const std::set<std::string> hashed = HashedIn(folder);
  if (hashed.empty()) return false;
  if (!IsThere(file)) return true;
  const std::vector<std::string> all = CertificatesIn(BytesOf(file).value_or(std::string()));
  const auto isHashed = [&](const std::string& certificate) { return hashed.contains(certificate); };
  return !all.empty() && std::all_of(all.begin(), all.end(), isHashed);
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

TrustedAuthorities::Source TrustedAuthorities::SourceAt(const std::string& path) { return {path, StateOfPath(path)}; }

bool TrustedAuthorities::FolderHasAll() {
  if (system_.folder.empty()) return false;
  const std::pair looked(SourceAt(system_.file), SourceAt(system_.folder));
  if (looked == lookedAt_) return folderHasAll_;
  lookedAt_ = looked;
  folderHasAll_ = HasAll(system_.folder, system_.file);
  return folderHasAll_;
}

AuthorityPaths TrustedAuthorities::With(const std::string& extra) {
  const bool hasAll = FolderHasAll();
  if (extra.empty()) return hasAll ? AuthorityPaths{{}, system_.folder, {}} : AuthorityPaths{system_.file, {}, {}};
  const Sources sources{SourceAt(system_.file), SourceAt(extra), hasAll};
  if (!made_.opened || sources != madeOf_) {
    made_ = Make(extra, hasAll);
    madeOf_ = sources;
  }
  return made_;
}

AuthorityPaths TrustedAuthorities::Make(const std::string& extra, bool folderHasAll) const {
  std::optional<std::string> bytes = BytesOf(extra);
  if (!bytes) return kNoAuthorities;
  const std::size_t count = CertificatesIn(*bytes).size();
  const bool usesFolder = folderHasAll && count > 0 && (count <= kFew || !IsThere(system_.file));
  if (!usesFolder) *bytes = BytesOf(system_.file).value_or(std::string()) + '\n' + *bytes;
  auto opened = std::make_shared<const Descriptor>(memfd_create("certificates", MFD_CLOEXEC));
  const int fd = opened->Number();
  if (fd < 0 || write(fd, bytes->data(), bytes->size()) != static_cast<ssize_t>(bytes->size())) return kNoAuthorities;
  return {"/proc/self/fd/" + std::to_string(fd), usesFolder ? system_.folder : std::string(), std::move(opened)};
}

}  // namespace pellora
