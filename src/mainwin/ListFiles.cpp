#include "mainwin/ListFiles.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "async/InBackground.h"
#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "core/Metalink.h"
#include "core/Percent.h"
#include "core/Program.h"
#include "core/UrlList.h"
#include "core/WebAddress.h"
#include "ports/Failure.h"
#include "ports/Files.h"

namespace pellora {

namespace {

constexpr std::string_view kFileScheme = "file:";
constexpr std::string_view kAuthority = "//";
constexpr std::string_view kThisHost = "localhost";
constexpr std::string_view kMetalinkEnding = ".meta4";
constexpr std::array<std::string_view, 2> kListEndings = {".txt", kMetalinkEnding};
constexpr std::size_t kAtOnce = 8;  // then other events come between

std::string PathIn(std::string_view url) {
  url.remove_prefix(kFileScheme.size());
  if (url.starts_with(kAuthority)) {
    url.remove_prefix(kAuthority.size());
    if (StartsWithNoCase(url, kThisHost)) url.remove_prefix(kThisHost.size());
  }
  return PercentDecoded(url);
}

// What cannot be for each of several addresses.
std::string FaultOfSeveral(const ScriptedAdd& wanted, std::size_t addresses) {
  if (addresses < 2) return {};
  if (!wanted.name.empty()) return "The name is for one file, and the list has several.";
  if (!wanted.checksum.empty()) return "The checksum is for one file, and the list has several.";
  return {};
}

}  // namespace

bool IsFileUrl(std::string_view text) {
  return StartsWithNoCase(text, kFileScheme) && text.substr(kFileScheme.size()).starts_with('/');
}

std::optional<std::string> ListFileOf(std::string_view text) {
  std::string path = IsFileUrl(text) ? PathIn(text) : std::string(text);
  const bool list = std::any_of(kListEndings.begin(), kListEndings.end(),
                                [&](std::string_view ending) { return EndsWithNoCase(path, ending); });
  return list && path.starts_with('/') && !HasControls(path) ? std::optional(std::move(path)) : std::nullopt;
}

bool IsMetalinkFile(std::string_view path) { return EndsWithNoCase(path, kMetalinkEnding); }

std::string BeginningOf(Files& files, const std::string& path) {
  const std::size_t longest = IsMetalinkFile(path) ? kLongestMetalink : kLongestUrlList;
  const std::unique_ptr<File> file = files.OpenForReading(path);
  std::string bytes(static_cast<std::size_t>(std::min<std::uint64_t>(file->Length(), longest + 1)), '\0');
  bytes.resize(file->ReadAt(0, bytes));
  return bytes;
}

Task<> AddFromListFile(Program* program, ScriptedAdd wanted, std::string path,
                       std::function<std::string(const ScriptedAdd& one)> add,
                       std::function<void(const std::string& reason)> done) {
  const auto bytes = std::make_shared<std::string>();
  std::string reasons;
  try {
    Background::Work read = [files = &program->platform.files, bytes, path] { *bytes = BeginningOf(*files, path); };
    co_await InBackground(&program->platform, std::move(read));
  } catch (const Failure& failure) {
    reasons = failure.what();
  }
  if (!reasons.empty()) {
    done(reasons);
    co_return;
  }
  if (IsMetalinkFile(path)) {
    wanted.metalink = *bytes + '\n';  // an empty one would be none
    done(add(wanted));
    co_return;
  }
  const UrlListReading reading = ReadUrlList(*bytes);
  const std::string fault = FaultOfSeveral(wanted, reading.addresses.size());
  if (!fault.empty()) {
    done(fault);
    co_return;
  }
  if (reading.addresses.empty()) reasons = "The file has no addresses.";
  if (reading.cut) reasons = "The file has too many addresses; only the first are read.";
  for (std::size_t i = 0; i < reading.addresses.size(); ++i) {
    wanted.url = reading.addresses[i];
    const std::string reason = add(wanted);
    if (!reason.empty()) reasons += (reasons.empty() ? "" : "\n") + WithoutPassword(wanted.url) + ": " + reason;
    if (i % kAtOnce == kAtOnce - 1) co_await program->platform.tasks.Yield();
  }
  done(reasons);
}

}  // namespace pellora
