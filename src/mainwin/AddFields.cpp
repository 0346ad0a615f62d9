#include "mainwin/AddFields.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <set>

#include "core/Ascii.h"
#include "core/DateTexts.h"
#include "core/EngineChoice.h"
#include "core/FileNames.h"
#include "core/Program.h"
#include "core/Prospects.h"
#include "core/SpeedLimit.h"
#include "core/WebAddress.h"
#include "core/WebTexts.h"
#include "ports/Clock.h"
#include "ports/DownloadFiles.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Locale.h"

namespace pellora {

namespace {

std::string Trimmed(const std::string& text) { return std::string(TrimBlanks(text)); }

// What is pasted may have a line end.
std::string WithoutControls(std::string text) {
  std::erase_if(text, [](char c) { return HasControls(std::string_view(&c, 1)); });
  return text;
}

std::optional<double> MomentOf(const Program& program, const std::string& text) {
  const double now = program.platform.clock.Now();
  try {
    const DateTimeReading reading =
        ReadLocalDateTime(text, program.platform.locale.ShortForms(), DateTimeOrder::DateFirst);
    const double moment = reading.hasDate ? reading.serial : NextOccurrence(std::floor(now) + reading.serial, now);
    return moment > now ? std::optional(moment) : std::nullopt;
  } catch (const Failure&) {
    return std::nullopt;
  }
}

bool IsPage(const std::string& page) {
  const std::optional<WebAddress> address = ParseWebAddress(page);
  return address && IsHttp(address->scheme);
}

bool AreCookies(const std::string& cookies) { return cookies.find('=') != std::string::npos && !HasControls(cookies); }

// Stops at the first field that is wrong.
class Reader {
 public:
  Reader(Program& program, const std::string& url, const AddFields& fields)
      : program_(program), fields_(fields), address_(ReadAddress(program, url)) {
    reading_.request.url = url;
  }

  FieldsReading Read() && {
    ReadPlace();
    ReadChecksum();
    ReadPage();
    ReadLimit();
    ReadMoment();
    reading_.request.web.user = WithoutControls(fields_.user);
    reading_.request.web.password = WithoutControls(fields_.password);
    const bool losesChecksum = address_.engine == EngineName::Classic && reading_.request.web.checksum;
    if (losesChecksum || AsksTooMuchOfClassic(address_, reading_.request)) Fail(WebText::OnlyWebEngine);
    return std::move(reading_);
  }

 private:
  void Fail(WebText text, std::string_view value = {}) {
    if (reading_.fault.empty()) reading_.fault = FillText(TextOf(program_, text), {value});
  }

  void ReadPlace() {
    AddRequest& request = reading_.request;
    request.folder = Trimmed(fields_.folder);
    request.name = Trimmed(fields_.name);
    while (request.folder.size() > 1 && request.folder.ends_with('/')) request.folder.pop_back();
    if (!FaultOfPlace(request.folder, {}).empty()) return Fail(WebText::BadFolder, request.folder);
    if (!FaultOfPlace({}, request.name).empty()) return Fail(WebText::BadFileName, request.name);
    // The classic engine would write over it.
    const std::optional<std::string> path = PathAskedFor(program_, request);
    const bool over = address_.engine == EngineName::Classic && path && program_.platform.files.Exists(*path);
    if (over) Fail(WebText::BadFileName, NameOf(*path));
  }

  void ReadChecksum() {
    const std::string text = Trimmed(fields_.checksum);
    if (text.empty()) return;
    reading_.request.web.checksum = ParseChecksum(text);
    if (!reading_.request.web.checksum) Fail(WebText::BadChecksum);
  }

  void ReadPage() {
    HandOver& handOver = reading_.request.web.handOver;
    handOver.referrer = Trimmed(fields_.page);
    handOver.cookies = Trimmed(fields_.cookies);
    const bool good = (handOver.referrer.empty() || IsPage(handOver.referrer)) &&
                      (handOver.cookies.empty() || AreCookies(handOver.cookies));
    if (!good) Fail(WebText::BadPage);
  }

  void ReadLimit() {
    const std::optional<std::int32_t> limit = ReadSpeedLimit(fields_.speedLimit);
    if (!limit) return Fail(WebText::BadSpeedLimit);
    reading_.request.web.speedLimit = *limit * kBytesOfKiB;
  }

  void ReadMoment() {
    if (!fields_.beginsLater) return;
    reading_.request.web.startAt = MomentOf(program_, fields_.beginAt);
    if (!reading_.request.web.startAt) Fail(WebText::BadBeginAt);
  }

  Program& program_;
  const AddFields& fields_;
  const AddressReading address_;
  FieldsReading reading_;
};

}  // namespace

FieldsReading ReadAddFields(Program& program, const std::string& url, const AddFields& fields) {
  return Reader(program, url, fields).Read();
}

// It logs in to ftp servers, and has limits of speed.
bool AsksTooMuchOfClassic(const AddressReading& address, const AddRequest& request) {
  if (address.engine != EngineName::Classic) return false;
  const bool logsIn = !request.web.user.empty() || !request.web.password.empty();
  return request.web.startAt || !request.web.handOver.IsEmpty() || (logsIn && address.parsed.protocol != kFtp);
}

namespace {

// It writes over a file of the name; what the user types is refused then.
std::string ForetoldOfClassic(const Program& program, const AddressReading& address, const std::string& folder,
                              const std::string& name) {
  const std::string& file = address.parsed.fileName;
  if (!folder.empty() || !name.empty() || file.empty()) return {};
  if (!program.platform.files.Exists(JoinFolder(program.settings.DownloadFolder, file))) return {};
  return FillText(TextOf(program, WebText::WillBeOverwritten), {file});
}

}  // namespace

std::string ForetoldOf(Program& program, const std::string& url, const std::string& folder, const std::string& name) {
  const AddressReading address = ReadAddress(program, url);
  if (address.engine == EngineName::None) return {};
  if (FindListed(program, address.listed, address.engine) != 0) return TextOf(program, WebText::ListedTwice);
  if (address.engine == EngineName::Classic) return ForetoldOfClassic(program, address, folder, name);
  if (program.prospects == nullptr) return {};
  const std::string wanted = name.empty() ? program.prospects->NameOf(url) : name;
  const std::string& into = folder.empty() ? program.settings.DownloadFolder : folder;
  if (wanted.empty() || !FaultOfPlace(into, wanted).empty()) return {};
  const std::string free = program.prospects->FreeName(into, wanted, program.prospects->TakenPaths());
  return free == wanted ? std::string() : FillText(TextOf(program, WebText::NameTaken), {wanted, free});
}

bool CanWriteIn(const Platform& platform, const std::string& folder) {
  const std::string path = JoinFolder(folder, ".pellora-draft");
  if (platform.downloadFiles == nullptr) return platform.files.FolderExists(folder);
  try {
    // One that is there already is another draft of the same kind.
    if (platform.downloadFiles->Create(path) != nullptr) platform.files.Delete(path);
    return true;
  } catch (const Failure&) {
    return false;
  }
}

}  // namespace pellora
