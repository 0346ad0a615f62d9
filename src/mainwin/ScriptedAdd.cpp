#include "mainwin/ScriptedAdd.h"

#include <optional>
#include <utility>

#include "core/Dates.h"
#include "core/EngineChoice.h"
#include "core/FileNames.h"
#include "core/Metalink.h"
#include "core/Program.h"
#include "core/SpeedLimit.h"
#include "core/WebAddress.h"
#include "mainwin/MetalinkAdds.h"
#include "ports/Clock.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

std::string FaultOfLogin(const ScriptedAdd& wanted, const AddressReading& address) {
  if (wanted.password.empty() || !wanted.user.empty() || !address.parsed.user.empty()) return {};
  return "There is a password, and no user.";
}

// What the classic engine would ignore.
std::string FaultOfEngine(const ScriptedAdd& wanted, const AddressReading& address) {
  if (address.engine != EngineName::Classic) return {};
  const char* what = nullptr;
  if (!wanted.user.empty() && address.parsed.protocol != kFtp) what = "logins for web servers";
  if (!wanted.checksum.empty()) what = "checksums";
  if (!wanted.fromBrowser && !wanted.referrer.empty()) what = "referring pages";
  if (!wanted.fromBrowser && !wanted.cookies.empty()) what = "cookies";
  if (!wanted.at.empty()) what = "downloads that begin later";
  if (what == nullptr) return {};
  return std::string("The engine that fetches this address knows no ") + what +
         "; with the option \"All downloads\" the other one fetches it.";
}

// The folder is to be there: a mistyped one is not created.
std::string FaultOfFolder(const Program& program, const ScriptedAdd& wanted, const AddressReading& address) {
  const Files& files = program.platform.files;
  if (!wanted.folder.empty() && !files.FolderExists(wanted.folder)) return "There is no folder " + wanted.folder + ".";
  // The classic engine writes over what is there: nobody has allowed that here.
  const std::string folder = wanted.folder.empty() ? program.settings.DownloadFolder : wanted.folder;
  const std::string name = wanted.name.empty() ? address.suggestedName : wanted.name;
  const bool chosen = !wanted.folder.empty() || !wanted.name.empty();
  const std::string path = JoinFolder(folder, name);
  if (!chosen || address.engine != EngineName::Classic || !files.Exists(path)) return {};
  return "There is a file " + path + " already.";
}

// Takes the moment, which must be to come.
std::string TakeMoment(const Program& program, const std::string& text, std::optional<double>& moment) {
  if (text.empty()) return {};
  DateTimeReading reading;
  if (!Skip([&] { reading = ReadDateTime(text); }) || !reading.hasDate || !reading.hasTime) {
    return "This is no date and time as in \"2031-12-24 18:00\": " + text;
  }
  if (reading.serial <= program.platform.clock.Now()) return "The moment to begin is in the past: " + text;
  moment = reading.serial;
  return {};
}

std::string TakeChecksum(const std::string& text, std::optional<Checksum>& checksum) {
  if (text.empty()) return {};  // a Metalink's stays
  checksum = ParseChecksum(text);
  return checksum ? std::string() : "This is no checksum: " + text;
}

// Fills `request`. Returns why it is refused.
std::string TakeOptions(const Program& program, const ScriptedAdd& wanted, const AddressReading& address,
                        AddRequest& request) {
  if (wanted.later && !wanted.at.empty()) return "It cannot both begin at a time and not begin.";
  if (!wanted.referrer.empty() && !ParseWebAddress(wanted.referrer)) return "The referring page is no address.";
  if (wanted.limit < 0 || wanted.limit > kHighestSpeedLimit) return "This is no limit of speed.";
  std::string fault = TakeChecksum(wanted.checksum, request.web.checksum);
  if (fault.empty()) fault = TakeMoment(program, wanted.at, request.web.startAt);
  if (fault.empty()) fault = FaultOfPlace(wanted.folder, wanted.name);
  if (fault.empty() && address.engine == EngineName::None) return {};  // that is refused by the add
  if (fault.empty()) fault = FaultOfLogin(wanted, address);
  if (fault.empty()) fault = FaultOfEngine(wanted, address);
  if (fault.empty()) fault = FaultOfFolder(program, wanted, address);
  request.folder = wanted.folder;
  request.name = wanted.name;
  request.later = wanted.later;
  request.duplicate = wanted.duplicate;
  request.web.handOver = {wanted.referrer, wanted.cookies, wanted.userAgent, wanted.expected};
  request.web.user = wanted.user;
  request.web.password = wanted.password;
  request.web.speedLimit = wanted.limit * kBytesOfKiB;
  request.web.quiet = wanted.quiet;
  return fault;
}

AddOutcome AddOne(Program& program, const ScriptedAdd& wanted) {
  AddRequest request;
  request.url = wanted.url;
  std::string fault = TakeOptions(program, wanted, ReadAddress(program, wanted.url), request);
  if (!fault.empty()) return {0, std::move(fault)};
  return AddWithoutAsking(program, request);
}

// What cannot be for each of several files.
std::string FaultOfSeveral(const ScriptedAdd& wanted, const std::vector<ListedAdd>& files) {
  if (files.size() < 2) return {};
  if (!wanted.name.empty()) return "The name is for one file, and the Metalink has several.";
  if (!wanted.checksum.empty()) return "The checksum is for one file, and the Metalink has several.";
  const bool hasSecrets = !wanted.user.empty() || !wanted.password.empty() || !wanted.cookies.empty();
  if (hasSecrets && !AreOfOneServer(files)) return "The login or the cookies would go to several servers.";
  return {};
}

AddOutcome AddFile(Program& program, const ScriptedAdd& metalink, const AddRequest& file, bool quiet) {
  ScriptedAdd wanted = metalink;
  wanted.url = file.url;
  if (wanted.name.empty()) wanted.name = file.name;
  wanted.quiet |= quiet;
  AddRequest request = file;
  std::string fault = TakeOptions(program, wanted, ReadAddress(program, wanted.url), request);
  if (!fault.empty()) return {0, file.name + ": " + fault};
  AddOutcome outcome = AddFileUnasked(program, request);
  if (!outcome.reason.empty()) outcome.reason = file.name + ": " + outcome.reason;
  return outcome;
}

}  // namespace

std::vector<AddOutcome> AddForScript(Program& program, const ScriptedAdd& wanted) {
  if (wanted.metalink.empty()) return {AddOne(program, wanted)};
  const MetalinkFiles metalink{.files = ReadMetalink(wanted.metalink).value_or(std::vector<MetalinkFile>())};
  const std::vector<ListedAdd> files = ListedAddsOf(program, metalink);
  if (files.empty()) return {{0, "This Metalink names no file that Pellora can download."}};
  std::string fault = FaultOfSeveral(wanted, files);
  if (!fault.empty()) return {{0, std::move(fault)}};
  std::vector<AddOutcome> outcomes;
  for (const ListedAdd& file : files) outcomes.push_back(AddFile(program, wanted, file.request, files.size() > 1));
  return outcomes;
}

}  // namespace pellora
