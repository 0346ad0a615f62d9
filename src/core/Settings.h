// Settings: the user's options, read directly everywhere, saved only by the options dialog.
// Each member is named as its key in the store. All but the last two are zero until LoadSettings.
#pragma once

#include <cstdint>
#include <string>

#include "ports/Machine.h"
#include "ports/SettingsStore.h"

namespace pellora {

class Clock;

// Values of WebEngine.
inline constexpr std::int32_t kWebEngineOff = 0;
inline constexpr std::int32_t kWebEngineNewSchemes = 1;  // what the classic engine refuses: https, ftps, sftp
inline constexpr std::int32_t kWebEngineAll = 2;

inline constexpr std::int32_t kHighestSpeedLimit = 10'000'000;  // KiB/s

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
  double ScheduleHour = 0;          // the next occurrence of the daily hour, as a date and time
  std::int16_t ScheduleOption = 0;  // 0 once at ScheduleDate, else daily at ScheduleHour

  // Read by LoadWebSettings.
  std::int32_t WebEngine = kWebEngineNewSchemes;  // which downloads are the web engine's
  std::string ExtraCertificates;                  // full path of a PEM file, trusted besides the system's; or empty
  std::int32_t SpeedLimit = 0;                    // KiB/s of all downloads together; 0: none
  std::int32_t FormerSpeedLimit = 0;              // KiB/s, as it was before it was set to none; 0: never
  bool SpeedLimitTimed = false;                   // it applies from SpeedLimitFrom to SpeedLimitTo only
  std::int32_t SpeedLimitFrom = 8;                // hours of the day, 0 to 23; may be later than the other one
  std::int32_t SpeedLimitTo = 18;
  bool ShowNotices = true;            // a message of the desktop when downloads finish or stop
  bool StayAwake = true;              // the desktop is asked not to suspend while bytes flow
  bool HideTransferWindows = false;   // transfers open no window unless the user asks for it in this run
  bool CloseFinishedWindows = false;  // the window of a transfer closes when its file is finished
  bool SeekChecksums = false;         // looks for lists of checksums beside the files of the web engine
};

// Reads every key in a fixed order. The first text that does not convert throws Failure, and the keys after it stay
// zero.
void LoadSettings(Settings& settings, const SettingsStore& store, const Machine& machine, const Clock& clock);

// Reads the web engine's keys, each with its own default where the store has none or a bad one. They are read apart
// from the others, whose bad keys they outlive.
void LoadWebSettings(Settings& settings, const SettingsStore& store);

// Writes every key under "Pellora" in one step: a failure leaves the store unchanged, so that it never mixes old and
// new options. A key of the web engine is written only if the store has it or it was changed.
void SaveSettings(const Settings& settings, SettingsStore& store);

}  // namespace pellora
