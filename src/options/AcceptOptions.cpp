// AcceptOptions: OK in the options dialog: checks the controls and applies them to the settings. Nothing here waits, so
// that no handler runs between a check and what relies on it.
#include <string>
#include <utility>

#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "core/DateTexts.h"
#include "core/Dates.h"
#include "core/Numbers.h"
#include "core/WebTexts.h"
#include "lang/Language.h"
#include "options/Options.h"
#include "ports/Clock.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Locale.h"
#include "ports/Platform.h"
#include "ports/SettingsStore.h"
#include "ui/SystemHelpers.h"

namespace pellora {

namespace {

constexpr int kNoDownloadFolder = 796;
constexpr int kBadFolder = 797;
constexpr int kBadSegments = 798;
constexpr int kBadDownloads = 799;

constexpr const char* kTestFile = "temp.tst";
constexpr std::int32_t kPortForNone = 8080;
constexpr std::uint64_t kLargestCertificates = 1 << 24;  // bytes
constexpr const char* kPemMark = "-----BEGIN ";

// A copy started by the bus has another working folder than one started by hand.
bool IsAbsolute(const std::string& path) { return path.starts_with('/'); }

void EndInSeparator(TextBox& folder) {
  if (!folder.Text().ends_with('/')) folder.Text = folder.Text() + "/";
}

// One level only: a path whose parent does not exist is probably a typo.
void CreateLastFolder(Files& files, const std::string& folder) {
  const std::string path = folder.substr(0, folder.size() - 1);
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return;  // the root
  if (slash > 0 && !files.Exists(path.substr(0, slash))) return;
  Skip([&] { files.CreateFolder(path); });
}

// By the leading number only, not rounded: "8.4" is above 8.
bool IsWithin(const TextBox& box, double least, double most) {
  const double value = NumericPrefix(box.Text());
  return value >= least && value <= most;
}

}  // namespace

void options::Accept() {
  if (std::optional<BoxRequest> refusal = Refusal()) {
    platform_.tasks.Spawn(Say(std::move(*refusal)));
    return;
  }
  ApplyControls();
  if (platform_.autoStart != nullptr) SetAutoStart(*platform_.autoStart, program_.settings.AutoStart);
  ApplyChosenLanguage();
  if (program_.settings.ProxyPort == 0) program_.settings.ProxyPort = kPortForNone;
  Skip([&] { SaveSettings(program_.settings, platform_.settings); });
  Unload();
}

std::optional<BoxRequest> options::Refusal() {
  const auto box = [this](int number, int style) { return BoxRequest{program_.Text(number), kProgramName, style}; };
  if (Text2.Text().empty()) return box(kNoDownloadFolder, kInformation);
  if (Text1.Text().empty()) return box(kBadFolder, kInformation);
  if (!IsAbsolute(Text1.Text) || !IsAbsolute(Text2.Text)) return box(kBadFolder, kInformation);
  EndInSeparator(Text1);
  EndInSeparator(Text2);

  CreateLastFolder(platform_.files, Text1.Text);
  CreateLastFolder(platform_.files, Text2.Text);
  // The order of these four steps matters: it leaves one test file in the temporary folder, or none if both are the
  // same folder.
  if (!WriteTestFile(Text2.Text, FileKind::Output)) return box(kBadFolder, kInformation);
  Skip([&] { platform_.files.Delete(Text1.Text() + kTestFile); });
  if (!WriteTestFile(Text1.Text, FileKind::Part)) {
    return BoxRequest{"Invalid Temp Folder, couldn't write temporary information in it", "Invalid Folder",
                      kInformation};
  }
  Skip([&] { platform_.files.Delete(Text2.Text() + kTestFile); });

  if (!IsWithin(Text3, 1, 8)) return box(kBadSegments, kWarning);
  if (!IsWithin(Text4, 1, 99)) return box(kBadDownloads, kWarning);
  if (HasBadCertificates()) return box(static_cast<int>(WebText::BadCertificates), kInformation);
  if (const std::optional<WebText> fault = SpeedLimitFault()) return box(static_cast<int>(*fault), kInformation);
  return std::nullopt;
}

// Only a changed path is checked: a file that is gone now must not block the other pages.
bool options::HasBadCertificates() {
  const std::string& path = Text11.Text();
  if (path.empty() || path == program_.settings.ExtraCertificates) return false;
  std::string content;
  const bool read =
      IsAbsolute(path) && Skip([&] { content = ReadWholeFile(platform_.files, path, kLargestCertificates); });
  return !read || content.find(kPemMark) == std::string::npos;
}

// Replaces an old file. `kind` is that of the files which the folder must accept.
bool options::WriteTestFile(const std::string& folder, FileKind kind) {
  const std::string path = folder + kTestFile;
  Skip([&] { platform_.files.Delete(path); });
  return Skip([&] { platform_.files.Open(path, kind)->WriteAt(0, "test\n"); });
}

// Text that does not convert silently leaves the old value: the checks are blunter than the conversions ("3x" passes
// the one and fails the other).
void options::ApplyControls() {
  const bool hidden = program_.settings.HideTransferWindows;
  for (const auto& [box, setting] : Switches()) *setting = box->Value;
  if (program_.settings.HideTransferWindows != hidden) program_.ShowTransferWindow = hidden && !program_.headless;
  for (const auto& [box, setting] : Texts()) *setting = box->Text;

  Settings& settings = program_.settings;
  Skip([&] { settings.MaxSegments = ToInt32(Text3.Text()); });
  Skip([&] { settings.MaxSimulDownlads = ToInt32(Text4.Text()); });
  settings.ProxyPort = RoundedPrefix(Text8.Text());
  for (const auto& [button, value] : WebChoices()) {
    if (button->Value) settings.WebEngine = value;
  }
  ApplySpeedLimit();
  ApplyScheduleControls();
}

void options::ApplyScheduleControls() {
  Settings& settings = program_.settings;
  const DateForms forms = platform_.locale.ShortForms();
  Skip([&] {
    const DateTimeReading fixed = ReadLocalDateTime(Text5.Text() + " " + Text6.Text(), forms, DateTimeOrder::DateFirst);
    // A time alone is in 1899: everything scheduled would start at once.
    if (fixed.hasDate) settings.ScheduleDate = fixed.serial;
  });
  settings.ScheduleOption = Option2.Value ? std::int16_t{1} : std::int16_t{0};
  const double now = platform_.clock.Now();
  Skip([&] {
    const std::string today = ShortDate(now, forms);
    settings.ScheduleHour = ReadLocalDateTime(Text10.Text() + " " + today, forms, DateTimeOrder::TimeFirst).serial;
  });
  Skip([&] { settings.ScheduleHour = NextOccurrence(settings.ScheduleHour, now); });
}

// Also when the language has not changed. The rows of the lists still hold words and units of the old one.
void options::ApplyChosenLanguage() {
  const std::int32_t selected = Combo1.Index;
  const std::vector<std::string>& rows = Combo1.Items;
  if (selected < 0 || static_cast<std::size_t>(selected) >= rows.size()) return;
  const std::string& chosen = rows[static_cast<std::size_t>(selected)];
  for (std::size_t i = 0; i < static_cast<std::size_t>(LanguageCount); ++i) {
    if (!EqualsNoCase(LanguageNames[i], chosen)) continue;
    program_.settings.Language = LanguageFiles[i];
    Skip([&] { LoadLanguage(program_, program_.settings.Language); });
    break;
  }
  if (program_.lists == nullptr) return;
  Skip([&] { program_.lists->RefreshRows(kAllRows, kForced); });
  Skip([&] { program_.lists->RefreshDownList(); });
}

}  // namespace pellora
