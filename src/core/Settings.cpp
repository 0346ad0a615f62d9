#include "core/Settings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

#include "core/Dates.h"
#include "core/Numbers.h"
#include "ports/Clock.h"
#include "ports/Failure.h"
#include "ports/Machine.h"
#include "ports/SettingsStore.h"

namespace pellora {

namespace {

constexpr const char* kApplication = "Pellora";
// The two folders are read under the application's older name but saved under the present one: a folder chosen in the
// options lasts until the program stops.
constexpr const char* kFolderApplication = "Brenmoor";

// The stored forms of values. Read throws Failure for a text of another form.
struct Flag {
  static bool Read(const std::string& text) { return ToBoolean(text); }
  static std::string Write(bool value) { return value ? "True" : "False"; }
};
struct Text {
  static std::string Read(const std::string& text) { return text; }
  static std::string Write(const std::string& value) { return value; }
};
// Reads any text, and does not clamp: a stored 0 or 500 is valid.
struct Prefix {
  static std::int32_t Read(const std::string& text) { return RoundedPrefix(text); }
  static std::string Write(std::int32_t value) { return std::to_string(value); }
};
// A port above 32767 ends the load, although the options dialog accepts one.
struct Int16 {
  static std::int16_t Read(const std::string& text) { return ToInt16(text); }
  static std::string Write(std::int32_t value) { return std::to_string(value); }
};
struct DateTime {
  static double Read(const std::string& text) { return ReadDateTime(text).serial; }
  static std::string Write(double value) { return StoredDateTime(value); }
};

std::string DownloadsInDocuments(const Machine& machine, const Clock&) {
  return machine.DocumentsFolder() + "/Pellora/downloads/";
}
std::string TempInDocuments(const Machine& machine, const Clock&) {
  return machine.DocumentsFolder() + "/Pellora/temp/";
}
std::string Now(const Machine&, const Clock& clock) { return StoredDateTime(clock.Now()); }

using MakeDefault = std::string (*)(const Machine& machine, const Clock& clock);

struct Key {
  const char* name;
  void (*read)(Settings& settings, const std::string& text);
  std::string (*write)(const Settings& settings);
  const char* fixedDefault = "";         // what is read if the store lacks the key,
  MakeDefault makeDefault = nullptr;     // unless this makes it
  const char* readUnder = kApplication;  // all are written under kApplication

  std::string Default(const Machine& machine, const Clock& clock) const {
    return makeDefault ? makeDefault(machine, clock) : fixedDefault;
  }
};

template <auto Member, class Form>
constexpr Key Row(const char* name, const char* fixedDefault) {
  return {.name = name,
          .read = [](Settings& settings, const std::string& text) { settings.*Member = Form::Read(text); },
          .write = [](const Settings& settings) { return Form::Write(settings.*Member); },
          .fixedDefault = fixedDefault};
}

template <auto Member, class Form>
constexpr Key Row(const char* name, MakeDefault makeDefault, const char* readUnder = kApplication) {
  Key key = Row<Member, Form>(name, "");
  key.makeDefault = makeDefault;
  key.readUnder = readUnder;
  return key;
}

// In load order, which decides what stays zero after a text that does not convert. It is the order of a new file too,
// but for InSaveOrder.
constexpr std::array kKeys = {
    Row<&Settings::BrowserIngeration, Flag>("BrowserIngeration", "True"),
    Row<&Settings::CheckClipboard, Flag>("CheckClipboard", "True"),
    Row<&Settings::SaveAs, Flag>("SaveAs", "False"),
    Row<&Settings::SafeDisk, Flag>("SafeDisk", "True"),
    Row<&Settings::DownloadFolder, Text>("DownloadFolder", DownloadsInDocuments, kFolderApplication),
    Row<&Settings::TempFolder, Text>("TempFolder", TempInDocuments, kFolderApplication),
    Row<&Settings::MaxSegments, Prefix>("MaxSegments", "4"),
    Row<&Settings::MaxSimulDownlads, Prefix>("MaxSimulDownlads", "3"),
    Row<&Settings::AutoPreviewZIP, Flag>("AutoPreviewZIP", "False"),
    Row<&Settings::ScheduleDate, DateTime>("ScheduleDate", Now),
    Row<&Settings::AutoCloseInternet, Flag>("AutoCloseInternet", "False"),
    Row<&Settings::Schedule, Flag>("Schedule", "False"),
    Row<&Settings::ProxyServer, Text>("ProxyServer", ""),
    Row<&Settings::ProxyPort, Int16>("ProxyPort", "80"),
    Row<&Settings::ProxyFTP, Flag>("ProxyFTP", "False"),
    Row<&Settings::ProxyHTTP, Flag>("ProxyHTTP", "False"),
    Row<&Settings::AutoStart, Flag>("AutoStart", "False"),
    Row<&Settings::Language, Text>("Language", "english"),
    Row<&Settings::IgnoreString, Text>("IgnoreString", "HTM,HTML,ASP,PHP,CGI"),
    Row<&Settings::ScheduleHour, DateTime>("ScheduleHour", "12:00"),
    Row<&Settings::ScheduleOption, Int16>("ScheduleOption", "0"),
};

// In a new file Schedule comes before the date, not two keys after it.
constexpr auto InSaveOrder() {
  auto keys = kKeys;
  const auto named = [&](std::string_view name) {
    return std::find_if(keys.begin(), keys.end(), [&](const Key& key) { return key.name == name; });
  };
  const auto schedule = named("Schedule");
  std::rotate(named("ScheduleDate"), schedule, schedule + 1);
  return keys;
}

constexpr auto kKeysAsSaved = InSaveOrder();

// Keys that an older version's file does not have. A text that does not convert changes nothing.
struct WebKey {
  const char* name;
  void (*read)(Settings& settings, const std::string& text);
  std::string (*write)(const Settings& settings);
};

template <std::int32_t Settings::*Member, std::int32_t Most>
constexpr WebKey NumberRow(const char* name) {
  return {name,
          [](Settings& settings, const std::string& text) {
            std::int32_t value = 0;
            const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
            const bool whole = error == std::errc() && end == text.data() + text.size();
            if (whole && value >= 0 && value <= Most) settings.*Member = value;
          },
          [](const Settings& settings) { return std::to_string(settings.*Member); }};
}

template <bool Settings::*Member>
constexpr WebKey FlagRow(const char* name) {
  return {name,
          [](Settings& settings, const std::string& text) {
            if (text == Flag::Write(true) || text == Flag::Write(false)) settings.*Member = text == Flag::Write(true);
          },
          [](const Settings& settings) { return Flag::Write(settings.*Member); }};
}

constexpr std::int32_t kLastHour = 23;

constexpr std::array<WebKey, 12> kWebKeys = {{
    {"WebEngine",
     [](Settings& settings, const std::string& text) {
       for (const std::int32_t value : {kWebEngineOff, kWebEngineNewSchemes, kWebEngineAll}) {
         if (text == std::to_string(value)) settings.WebEngine = value;
       }
     },
     [](const Settings& settings) { return std::to_string(settings.WebEngine); }},
    {"ExtraCertificates",
     [](Settings& settings, const std::string& text) {
       // A relative path would depend on where the program was started.
       if (text.starts_with('/')) settings.ExtraCertificates = text;
     },
     [](const Settings& settings) { return settings.ExtraCertificates; }},
    NumberRow<&Settings::SpeedLimit, kHighestSpeedLimit>("SpeedLimit"),
    NumberRow<&Settings::FormerSpeedLimit, kHighestSpeedLimit>("FormerSpeedLimit"),
    FlagRow<&Settings::SpeedLimitTimed>("SpeedLimitTimed"),
    NumberRow<&Settings::SpeedLimitFrom, kLastHour>("SpeedLimitFrom"),
    NumberRow<&Settings::SpeedLimitTo, kLastHour>("SpeedLimitTo"),
    FlagRow<&Settings::StayAwake>("StayAwake"),
    FlagRow<&Settings::SeekChecksums>("SeekChecksums"),
    FlagRow<&Settings::ShowNotices>("ShowNotices"),
    FlagRow<&Settings::HideTransferWindows>("HideTransferWindows"),
    FlagRow<&Settings::CloseFinishedWindows>("CloseFinishedWindows"),
}};

}  // namespace

void LoadSettings(Settings& settings, const SettingsStore& store, const Machine& machine, const Clock& clock) {
  for (const Key& key : kKeys) {
    const std::string absent = key.Default(machine, clock);
    key.read(settings, store.Get(key.readUnder, key.name).value_or(absent));
  }
  settings.ScheduleHour = NextOccurrence(settings.ScheduleHour, clock.Now());
}

void LoadWebSettings(Settings& settings, const SettingsStore& store) {
  const Settings absent;
  settings.ExtraCertificates = absent.ExtraCertificates;  // no text that is read says that there is none
  for (const WebKey& key : kWebKeys) {
    key.read(settings, key.write(absent));
    Skip([&] {
      if (const std::optional<std::string> text = store.Get(kApplication, key.name)) key.read(settings, *text);
    });
  }
}

void SaveSettings(const Settings& settings, SettingsStore& store) {
  SettingsStore::Values values;
  for (const Key& key : kKeysAsSaved) values.emplace_back(key.name, key.write(settings));
  Settings stored;
  LoadWebSettings(stored, store);
  for (const WebKey& key : kWebKeys) {
    const std::string text = key.write(settings);
    if (store.Get(kApplication, key.name) || text != key.write(stored)) values.emplace_back(key.name, text);
  }
  store.SetAll(kApplication, values);
}

}  // namespace pellora
