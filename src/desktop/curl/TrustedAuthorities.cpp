#include "desktop/curl/TrustedAuthorities.h"

#include <curl/curl.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
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

// So many, of so many bytes, take less than a millisecond.
constexpr std::size_t kFew = 8;
constexpr std::size_t kShort = std::size_t{64} << 10;

std::optional<std::string> BytesOf(const std::string& path) {
  std::optional<std::string> bytes;
  Skip([&] { bytes = ReadSmallFile(path); });
  return bytes;
}

// Of a line, as OpenSSL reads it.
std::string_view WithoutBlanksAtItsEnd(std::string_view line) {
  while (!line.empty() && line.back() <= ' ') line.remove_suffix(1);
  return line;
}

// Those in PEM, each without its blanks and line feeds. Their labels have the word last (RFC 7468, section 5, and
// x509(1) for those of OpenSSL).
std::vector<std::string> CertificatesIn(std::string_view bytes) {
  constexpr std::string_view kBegin = "-----BEGIN ";
  constexpr std::string_view kLabelEnd = "CERTIFICATE-----";
  constexpr std::string_view kDashes = "-----";
  std::vector<std::string> certificates;
  for (std::size_t at = bytes.find(kBegin); at != std::string::npos; at = bytes.find(kBegin, at + 1)) {
    const std::string_view line = bytes.substr(at, bytes.find_first_of("\r\n", at) - at);
    if (!WithoutBlanksAtItsEnd(line).ends_with(kLabelEnd)) continue;
    const std::string_view rest = bytes.substr(at + line.size());
    std::string& certificate = certificates.emplace_back(rest.substr(0, rest.find(kDashes)));
    std::erase_if(certificate, [](char c) { return c == ' ' || c == '\r' || c == '\n'; });
  }
  return certificates;
}

constexpr std::size_t kHashDigits = 8;

// Eight digits of a hash, and a number for those that share it. Others, with an "r" before the number, are
// revocations.
bool IsHashedName(std::string_view name) {
  constexpr std::string_view kHexadecimal = "0123456789abcdef";
  if (name.size() < kHashDigits + 2 || name.find_first_not_of(kHexadecimal) != kHashDigits || name[kHashDigits] != '.')
    return false;
  name.remove_prefix(kHashDigits + 1);
  return std::all_of(name.begin(), name.end(), IsDigit);
}

std::set<std::string> HashesIn(const std::string& folder) {
  std::set<std::string> hashes;
  std::error_code failed;
  for (std::filesystem::directory_iterator at(folder, failed), end; !failed && at != end; at.increment(failed)) {
    const std::string name = at->path().filename().string();
    if (IsHashedName(name)) hashes.insert(name.substr(0, kHashDigits));
  }
  return hashes;
}

std::string HashOfSubject(const X509& certificate) {
  std::array<char, kHashDigits + 1> digits{};
  const unsigned long hash = X509_NAME_hash_ex(X509_get_subject_name(&certificate), nullptr, nullptr, nullptr);
  (void)std::snprintf(digits.data(), digits.size(), "%08lx", hash);
  return digits.data();
}

std::set<std::string> HashesOfSubjects(const std::string& bytes) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> source(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())),
                                                         &BIO_free);
  std::string noPassword;
  STACK_OF(X509_INFO)* const read = PEM_X509_INFO_read_bio(source.get(), nullptr, nullptr, noPassword.data());
  ERR_clear_error();  // libcurl meets the same, and says so
  std::set<std::string> hashes;
  for (int i = 0; i < sk_X509_INFO_num(read); ++i) {
    if (const X509* const certificate = sk_X509_INFO_value(read, i)->x509) hashes.insert(HashOfSubject(*certificate));
  }
  sk_X509_INFO_pop_free(read, &X509_INFO_free);
  return hashes;
}

// The files that share a hash. OpenSSL counts from 0 to the first that is not there, or has no certificate that it can
// read. The last of these may be such a one: to read all would take long.
std::vector<std::string> FilesUnder(const std::string& folder, const std::string& hash) {
  const std::string start = std::string(folder).append("/").append(hash).append(".");
  std::vector<std::string> files;
  for (;;) {
    std::optional<std::string> bytes = BytesOf(start + std::to_string(files.size()));
    if (!bytes || CertificatesIn(*bytes).empty()) return files;
    if (!files.empty() && HashesOfSubjects(files.back()).empty()) return files;
    files.push_back(*std::move(bytes));
  }
}

// That can be found there: of a file with several OpenSSL looks for one. Names from before its version 1.0 lead to
// none: a folder has those, today's or both. To hash all would take as long as to read the system's file.
std::set<std::string> HashedIn(const std::string& folder) {
  std::set<std::string> hashed;
  bool isOfToday = false;
  for (const std::string& hash : HashesIn(folder)) {
    for (const std::string& file : FilesUnder(folder, hash)) {
      std::vector<std::string> found = CertificatesIn(file);
      if (found.size() != 1) continue;
      isOfToday = isOfToday || HashesOfSubjects(file).contains(hash);
      hashed.insert(std::move(found.front()));
    }
  }
  return isOfToday ? hashed : std::set<std::string>();
}

// Those of the folder that have the subjects of others. Where OpenSSL has one with a subject already, from a file, it
// looks for none in a folder; but that one may have expired, or have another key. Not damaged ones, for which it would
// refuse all.
std::string NamesakesIn(const std::string& folder, const std::string& others) {
  std::string namesakes;
  for (const std::string& hash : HashesOfSubjects(others)) {
    for (const std::string& file : FilesUnder(folder, hash)) {
      if (!HashesOfSubjects(file).empty()) namesakes.append(1, '\n').append(file);
    }
  }
  return namesakes;
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
  const Sources sources{SourceAt(system_.file), SourceAt(system_.folder), SourceAt(extra), hasAll};
  if (!made_.opened || sources != madeOf_) {
    made_ = Make(extra, hasAll);
    madeOf_ = sources;
  }
  return made_;
}

AuthorityPaths TrustedAuthorities::Make(const std::string& extra, bool folderHasAll) const {
  const std::optional<std::string> bytes = BytesOf(extra);
  if (!bytes) return kNoAuthorities;
  const std::size_t count = CertificatesIn(*bytes).size();
  const bool isShort = count <= kFew && bytes->size() <= kShort;
  const bool usesFolder = folderHasAll && count > 0 && (isShort || !IsThere(system_.file));
  std::string all = *bytes;
  if (usesFolder) {
    all += NamesakesIn(system_.folder, *bytes);
  } else if (IsThere(system_.file)) {
    const std::optional<std::string> systems = BytesOf(system_.file);
    if (!systems) return kNoAuthorities;  // rather than a refusal of most certificates
    all.append(1, '\n').append(*systems);
  }
  auto opened = std::make_shared<const Descriptor>(memfd_create("certificates", MFD_CLOEXEC));
  const int fd = opened->Number();
  if (fd < 0 || write(fd, all.data(), all.size()) != static_cast<ssize_t>(all.size())) return kNoAuthorities;
  return {"/proc/self/fd/" + std::to_string(fd), usesFolder ? system_.folder : std::string(), std::move(opened)};
}

}  // namespace pellora
