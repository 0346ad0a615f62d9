#include "core/EngineChoice.h"

#include <optional>

#include "core/Ascii.h"
#include "core/Percent.h"
#include "core/Program.h"
#include "core/ProxyServer.h"
#include "core/RecordLife.h"
#include "core/Scheme.h"
#include "core/WebAddress.h"
#include "ports/Fetcher.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

struct Question {
  std::string_view url;
  bool newScheme = false;  // and not only a redirect to one, which the classic engine follows in its own way
  bool update = false;
  bool begunByWeb = false;
  bool begunByClassic = false;
};

bool IsAvailable(const Program& program, std::string_view url) {
  const Fetcher* const fetcher = program.platform.fetcher;
  if (fetcher == nullptr || !program.newWebEngine) return false;
  const std::string_view trimmed = TrimBlanks(url);
  return fetcher->Supports(ToLower(trimmed.substr(0, trimmed.find(':'))));
}

EngineChoice Choose(const Program& program, const Question& asked) {
  const std::int32_t setting = program.settings.WebEngine;
  const bool available = IsAvailable(program, asked.url);
  const bool mayBeWeb = setting == kWebEngineAll && available && !asked.update && !asked.begunByClassic;
  if (!asked.newScheme && !asked.begunByWeb && !mayBeWeb) return {EngineName::Classic};
  if (asked.update) return {EngineName::None, WebText::Unsupported};
  if (setting == kWebEngineOff) return {EngineName::None, WebText::IsOff};
  if (!available) return {EngineName::None, WebText::IsMissing};
  return {EngineName::Web};
}

bool HasNewSchemeRecord(const DownloadRecord& record) {
  return record.Port == 0 && HasNewScheme(TrimBlanks(record.URL));
}

// Anything else it would take for a host's name, and look that up. It never connects directly instead.
bool CanClassicConnect(const Settings& settings) { return !settings.ProxyHTTP || IsPlainProxy(settings.ProxyServer); }

// The port of a new scheme stays out of the list: no version that knows only the classic engine can connect.
ParsedUrl FieldsOf(const WebAddress& address, bool newScheme) {
  ParsedUrl fields;
  fields.result = kUrlAccepted;
  fields.host = address.host;
  fields.path = address.path + address.query;
  fields.user = address.user;
  fields.password = address.password;
  if (newScheme) return fields;
  fields.port = address.port;
  fields.fileName = fields.path.substr(fields.path.rfind('/') + 1);
  fields.protocol = address.scheme == WebScheme::Ftp ? kFtp : kHttp;
  if (address.scheme == WebScheme::Ftp && fields.user.empty()) fields.user = "anonymous";
  return fields;
}

// A name without separators, which the dialog would take for folders.
std::string SuggestedName(const WebAddress& address) {
  std::string name = PercentDecoded(LastPathPart(address));
  if (name.find('/') != std::string::npos || name.find('\0') != std::string::npos) name = LastPathPart(address);
  return name.empty() ? address.host : name;
}

AddressReading ReadForWeb(const std::string& url) {
  AddressReading reading;
  reading.listed = url;
  const std::optional<WebAddress> address = ParseWebAddress(url);
  if (!address) {
    reading.refusedByWeb = true;
    return reading;
  }
  reading.engine = EngineName::Web;
  reading.parsed = FieldsOf(*address, HasNewScheme(TrimBlanks(url)));
  reading.listed = WithoutPassword(TrimBlanks(url));
  reading.suggestedName = SuggestedName(*address);
  return reading;
}

}  // namespace

EngineChoice ChooseEngine(Program& program, int index) {
  const DownloadRecord& record = program.Download(index);
  const EngineChoice choice = Choose(program, {.url = record.URL,
                                               .newScheme = HasNewSchemeRecord(record),
                                               .update = IsUpdate(record),
                                               .begunByWeb = program.Web(index) != nullptr,
                                               .begunByClassic = record.SegmentCount > 0});
  if (choice.engine != EngineName::Classic || CanClassicConnect(program.settings)) return choice;
  return {EngineName::None, WebText::ClassicProxy};
}

AddressReading ReadAddress(const Program& program, const std::string& url, std::int16_t kind) {
  const bool newScheme = HasNewScheme(TrimBlanks(url));
  const EngineChoice choice = Choose(program, {.url = url, .newScheme = newScheme, .update = kind != 0});
  AddressReading reading;
  reading.listed = url;
  if (choice.engine == EngineName::Classic) {
    reading.parsed = ParseUrl(url);
    reading.suggestedName = reading.parsed.fileName;
    if (reading.parsed.result == kUrlAccepted) reading.engine = EngineName::Classic;
    return reading;
  }
  if (choice.engine == EngineName::None) return reading;
  return ReadForWeb(url);
}

AddressReading ReadOtherAddress(const Program& program, const std::string& url) {
  AddressReading reading;
  if (IsAvailable(program, url)) reading = ReadForWeb(url);
  return reading;
}

bool TakesScheme(const Program& program, std::string_view text) {
  if (HasScheme(text)) return true;
  return HasNewScheme(text) && Choose(program, {.url = text, .newScheme = true}).engine == EngineName::Web;
}

bool TakesLowerCaseScheme(const Program& program, std::string_view text) {
  return HasLowerCaseScheme(text) || (HasLowerCaseNewScheme(text) && TakesScheme(program, text));
}

bool IsWebRecord(Program& program, int index) {
  return program.Web(index) != nullptr || HasNewSchemeRecord(program.Download(index));
}

bool HasFailed(Program& program, int index) {
  const DownloadRecord& record = program.Download(index);
  if (record.Finished || record.Active) return false;
  const WebFigures* const figures = program.Web(index);
  if (figures != nullptr && figures->standing == WebStanding::Stopped) return true;
  return ChooseEngine(program, index).engine == EngineName::None;
}

std::string ReasonOf(Program& program, int index) {
  const DownloadRecord& record = program.Download(index);
  const WebFigures* const figures = program.Web(index);
  if (record.Finished && (figures == nullptr || figures->standing != WebStanding::Finished)) return {};
  if (figures != nullptr && !figures->reason.empty()) return figures->reason;
  if (record.Finished || record.Active) return {};
  const WebText reason = ChooseEngine(program, index).reason;
  return reason == WebText::None ? std::string() : TextOf(program, reason);
}

const char* StateWord(Program& program, int index) {
  const DownloadRecord& record = program.Download(index);
  if (record.Finished) return "finished";
  if (record.Active) return "active";
  if (record.Scheduled != 0) return "scheduled";
  if (record.Queued != 0) return "queued";
  if (TimedOut(record) || Refused(record) || HasFailed(program, index)) return "failed";
  return record.Paused ? "paused" : "waiting";
}

std::string ReasonForScripts(Program& program, int index) {
  std::string reason = ReasonOf(program, index);
  const DownloadRecord& record = program.Download(index);
  if (!reason.empty() || record.Finished || record.Active || program.Web(index) != nullptr) return reason;
  const auto stop = program.classicStops.find(program.Serial(index));
  if (stop != program.classicStops.end()) return stop->second;
  if (Refused(record)) return "It failed in an earlier run.";
  return TimedOut(record) ? FillText(TextOf(program, WebText::Silent), {record.Host}) : reason;
}

bool IsSelection(Program& program, int index) {
  const WebFigures* const figures = program.Web(index);
  if (figures != nullptr && figures->inFolder) return true;
  return program.isSelection && program.isSelection(index);
}

std::int16_t FindListed(Program& program, const std::string& url, EngineName engine) {
  const bool cut = engine == EngineName::Web;
  const std::string wanted = cut ? WithoutPassword(TrimBlanks(url)) : url;
  const bool hasLogin = cut && wanted.find('@') != std::string::npos;  // without, nothing listed need be cut
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const DownloadRecord& record = program.Download(i);
    if (!record.InUse) continue;
    const bool same = record.URL == wanted || (hasLogin && WithoutPassword(record.URL) == wanted);
    if (!same && record.URL != url) continue;
    if (!IsSelection(program, i)) return static_cast<std::int16_t>(i);
  }
  return 0;
}

}  // namespace pellora
