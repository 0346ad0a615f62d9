#include <map>
#include <string>
#include <utility>

#include "Oracle.h"
#include "SimDesktop.h"
#include "Targets.h"
#include "core/Settings.h"
#include "ports/Clock.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

const char* const kKeys[] = {
    "BrowserIngeration", "CheckClipboard",   "SaveAs",         "SafeDisk",     "DownloadFolder", "TempFolder",
    "MaxSegments",       "MaxSimulDownlads", "AutoPreviewZIP", "ScheduleDate", "Schedule",       "AutoCloseInternet",
    "ProxyServer",       "ProxyPort",        "ProxyFTP",       "ProxyHTTP",    "AutoStart",      "Language",
    "IgnoreString",      "ScheduleHour",     "ScheduleOption"};

std::string Bare(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t' || text.front() == '\r')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) text.remove_suffix(1);
  return std::string(text);
}

std::string Unquoted(const std::string& text) {
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') return text;
  std::string plain;
  bool escaped = false;
  for (std::size_t i = 1; i + 1 < text.size(); ++i) {
    const bool opens = !escaped && text[i] == '\\' && i + 2 < text.size();
    if (!opens) plain += escaped && text[i] == 'n' ? '\n' : escaped && text[i] == 'r' ? '\r' : text[i];
    escaped = opens;
  }
  return plain;
}

// Every key of the section with its text, from the last line of each.
std::map<std::string, std::string> Expected(std::string_view content) {
  std::map<std::string, std::string> values;
  bool within = false;
  bool first = true;
  for (const std::string& piece : Pieces(content, "\n")) {
    std::string line = Bare(piece);
    if (first && line.starts_with("\xEF\xBB\xBF")) line = Bare(line.substr(3));
    first = false;
    const std::size_t equals = line.find('=');
    if (line.starts_with('[')) {
      within = line == "[Options]";
    } else if (within && equals != std::string::npos) {
      values[Bare(line.substr(0, equals))] = Unquoted(Bare(line.substr(equals + 1)));
    }
  }
  return values;
}

// The store as on disk, with both applications' texts in memory.
class TextStore final : public SettingsStore {
 public:
  TextStore(const IniReaders& readers, std::string_view content) : readers_(readers) {
    contents["Pellora"] = contents["Brenmoor"] = content;
  }
  std::optional<std::string> Get(const std::string& application, const std::string& key) const override {
    return readers_.get(contents.at(application), key);
  }
  void SetAll(const std::string& application, const Values& values) override {
    std::string& content = contents.at(application);
    for (const auto& [key, text] : values) content = readers_.with(content, key, text);
  }

  std::map<std::string, std::string> contents;

 private:
  const IniReaders& readers_;
};

class StandingClock final : public Clock {
 public:
  std::uint32_t TickCount() const override { return 1; }
  double SecondsSinceMidnight() const override { return 43200; }
  double Now() const override { return 46000.5; }
};

class OneMachine final : public Machine {
 public:
  std::string ProgramFolder() const override { return "/prog"; }
  std::string DocumentsFolder() const override { return "/home/u/Documents"; }
  void End(int) override {}
};

void DemandText(const std::string& content, const std::string& value, const IniReaders& readers) {
  const auto before = Expected(content);
  for (const std::string key : {"Language", "New"}) {
    const AllocationMeter meter;
    const std::string changed = readers.with(content, key, value);
    Demand(meter.Bytes() <= 8 * (content.size() + value.size()) + 4096, "a change takes memory in proportion");
    Demand(readers.get(changed, key) == value, "what was stored is read");
    Demand(readers.with(changed, key, value) == changed, "storing it again changes nothing");
    auto expected = before;
    expected[key] = value;
    Demand(Expected(changed) == expected, "no other text is touched");
  }
}

// Whatever a file contains, saving it and starting again gives the same settings.
void DemandStable(const std::string& content, const IniReaders& readers) {
  const OneMachine machine;
  const StandingClock clock;
  TextStore store(readers, content);
  Settings first;
  const bool whole = Skip([&] { LoadSettings(first, store, machine, clock); });
  if (!whole) return;  // the keys after the first bad text are zero, so there is nothing to compare
  LoadWebSettings(first, store);
  SaveSettings(first, store);
  const std::string saved = store.contents["Pellora"];
  store.contents["Brenmoor"] = saved;  // the folders are read there
  Settings second;
  LoadSettings(second, store, machine, clock);
  LoadWebSettings(second, store);
  Demand(second.WebEngine == first.WebEngine && second.ExtraCertificates == first.ExtraCertificates,
         "the web engine's settings are those that were saved");
  SaveSettings(second, store);
  Demand(store.contents["Pellora"] == saved, "a second start finds what the first one saved");
}

}  // namespace

void FuzzSettings(std::string_view bytes, const IniReaders& readers) {
  const std::size_t mark = bytes.find('\1');
  const std::string content(bytes.substr(0, mark));
  const std::string value(mark == std::string_view::npos ? std::string_view("english") : bytes.substr(mark + 1));
  const auto expected = Expected(content);
  for (const char* const key : kKeys) {
    const auto at = expected.find(key);
    const std::optional<std::string> text = readers.get(content, key);
    Demand(text.has_value() == (at != expected.end()) && (!text || *text == at->second),
           "the last line of a key holds");
  }
  DemandText(content, value, readers);
  DemandStable(content, readers);
}

}  // namespace pellora
