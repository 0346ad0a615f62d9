// Settings: the user's options, read directly everywhere, saved only by the options dialog.
// Each member is named as its key in the store. All are zero until LoadSettings.
#pragma once

#include <cstdint>
#include <string>

#include "ports/Machine.h"
#include "ports/SettingsStore.h"

namespace pellora {

class Clock;

struct Settings {
  bool BrowserIngeration = false;
  bool CheckClipboard = false;
  bool SaveAs = false;
  bool SafeDisk = false;       // kept and shown; nothing else reads it
  std::string DownloadFolder;  // ends in "/" unless edited in the store by hand
  std::string TempFolder;      // likewise
  std::int32_t MaxSegments = 0;
  std::int32_t MaxSimulDownlads = 0;
  bool AutoPreviewZIP = false;
  double ScheduleDate = 0;         // days since 30 December 1899, local
  bool AutoCloseInternet = false;  // kept and shown; nothing else reads it
  bool Schedule = false;
  std::string ProxyServer;
  std::int32_t ProxyPort = 0;
  bool ProxyFTP = false;  // kept and shown; nothing else reads it
  bool ProxyHTTP = false;
  bool AutoStart = false;
  std::string Language;  // base name of the language file
  std::string IgnoreString;
  std::string ExtraCertificates;
  double ScheduleHour = 0;          // the next occurrence of the daily hour, as a date and time
  std::int16_t ScheduleOption = 0;  // 0 once at ScheduleDate, else daily at ScheduleHour
};

// Reads every key in a fixed order. The first text that does not convert throws Failure, and the keys after it stay
// zero.
void LoadSettings(Settings& settings, const SettingsStore& store, const Machine& machine, const Clock& clock);

// Writes every key under "Pellora" in one step, nearly in the order of reading: a failure leaves the store unchanged,
// so that it never mixes old and new options.
void SaveSettings(const Settings& settings, SettingsStore& store);

}  // namespace pellora
