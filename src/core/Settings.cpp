#include "core/Settings.h"

#include "core/Dates.h"
#include "core/Numbers.h"
#include "ports/Clock.h"
#include "ports/Machine.h"
#include "ports/SettingsStore.h"

namespace pellora {

namespace {

constexpr const char* kApplication = "Pellora";
// The two folders are read under the application's older name, and saved under the present one: a folder
// chosen in the options holds until the program stops.
constexpr const char* kFolderApplication = "Brenmoor";

std::string BooleanText(bool value) { return value ? "True" : "False"; }

}  // namespace

void LoadSettings(Settings& settings, const SettingsStore& store, const Machine& machine, const Clock& clock) {
  const auto text = [&](const char* key, const std::string& absent) {
    return store.Get(kApplication, key).value_or(absent);
  };
  const auto flag = [&](const char* key, bool absent) { return ToBoolean(text(key, BooleanText(absent))); };
  const auto folder = [&](const char* key, const char* absent) {
    const std::string inDocuments = machine.DocumentsFolder() + absent;
    return store.Get(kFolderApplication, key).value_or(inDocuments);
  };

  settings.BrowserIngeration = flag("BrowserIngeration", true);
  settings.CheckClipboard = flag("CheckClipboard", true);
  settings.SaveAs = flag("SaveAs", false);
  settings.SafeDisk = flag("SafeDisk", true);

  settings.DownloadFolder = folder("DownloadFolder", "/Pellora/downloads/");
  settings.TempFolder = folder("TempFolder", "/Pellora/temp/");

  // Not clamped: a stored 0 or 500 stands.
  settings.MaxSegments = RoundedPrefix(text("MaxSegments", "4"));
  settings.MaxSimulDownlads = RoundedPrefix(text("MaxSimulDownlads", "3"));
  settings.AutoPreviewZIP = flag("AutoPreviewZIP", false);
  settings.ScheduleDate = ReadDateTime(text("ScheduleDate", StoredDateTime(clock.Now()))).serial;
  settings.AutoCloseInternet = flag("AutoCloseInternet", false);
  settings.Schedule = flag("Schedule", false);

  settings.ProxyServer = text("ProxyServer", "");
  // 16 bits: a port above 32767 ends the load here, although the options dialog accepts one.
  settings.ProxyPort = ToInt16(text("ProxyPort", "80"));
  settings.ProxyFTP = flag("ProxyFTP", false);
  settings.ProxyHTTP = flag("ProxyHTTP", false);
  settings.AutoStart = flag("AutoStart", false);
  settings.Language = text("Language", "english");
  settings.IgnoreString = text("IgnoreString", "HTM,HTML,ASP,PHP,CGI");
  settings.ScheduleHour = ReadDateTime(text("ScheduleHour", "12:00")).serial;
  settings.ScheduleOption = ToInt16(text("ScheduleOption", "0"));

  settings.ScheduleHour = NextOccurrence(settings.ScheduleHour, clock.Now());
}

void SaveSettings(const Settings& settings, SettingsStore& store) {
  SettingsStore::Values values;
  const auto text = [&](const char* key, const std::string& value) { values.emplace_back(key, value); };
  const auto flag = [&](const char* key, bool value) { text(key, BooleanText(value)); };
  const auto number = [&](const char* key, std::int32_t value) { text(key, std::to_string(value)); };
  const auto date = [&](const char* key, double value) { text(key, StoredDateTime(value)); };

  flag("BrowserIngeration", settings.BrowserIngeration);
  flag("CheckClipboard", settings.CheckClipboard);
  flag("SaveAs", settings.SaveAs);
  flag("SafeDisk", settings.SafeDisk);
  text("DownloadFolder", settings.DownloadFolder);
  text("TempFolder", settings.TempFolder);
  number("MaxSegments", settings.MaxSegments);
  number("MaxSimulDownlads", settings.MaxSimulDownlads);
  flag("AutoPreviewZIP", settings.AutoPreviewZIP);
  flag("Schedule", settings.Schedule);
  date("ScheduleDate", settings.ScheduleDate);
  flag("AutoCloseInternet", settings.AutoCloseInternet);
  text("ProxyServer", settings.ProxyServer);
  number("ProxyPort", settings.ProxyPort);
  flag("ProxyFTP", settings.ProxyFTP);
  flag("ProxyHTTP", settings.ProxyHTTP);
  flag("AutoStart", settings.AutoStart);
  text("Language", settings.Language);
  text("IgnoreString", settings.IgnoreString);
  date("ScheduleHour", settings.ScheduleHour);
  number("ScheduleOption", settings.ScheduleOption);
  store.SetAll(kApplication, values);
}

}  // namespace pellora
