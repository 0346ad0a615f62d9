// The small ports to the user's desktop: settings store, clipboard, dialogs, shell, machine, locale.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/DateForms.h"

namespace pellora {

// Per-user store of texts under application and key; the section is always "Options".
class SettingsStore {
 public:
  virtual ~SettingsStore() = default;
  virtual std::optional<std::string> Get(const std::string& application, const std::string& key) const = 0;
  // Written at once and atomically; throws Failure(File) when it cannot be.
  virtual void Set(const std::string& application, const std::string& key, const std::string& value) = 0;
};

class Clipboard {
 public:
  virtual ~Clipboard() = default;
  // The clipboard's text, or nothing if it holds none or more than 64 KiB. Cheap when nothing changed.
  virtual std::optional<std::string> Text() const = 0;
};

// Message box styles, added up; the values are those that handlers compare with.
enum BoxStyle : int {
  kOkOnly = 0,
  kYesNo = 4,
  kCritical = 16,
  kQuestion = 32,
  kWarning = 48,
  kInformation = 64,
};
enum BoxAnswer : int { kAnswerOk = 1, kAnswerYes = 6, kAnswerNo = 7 };

struct BoxRequest {
  std::string text;  // plain text, never markup
  std::string title;
  int style = kOkOnly;
};

struct SaveRequest {
  std::string title;
  std::string proposal;  // file name
  std::string filter;    // "description|pattern"
};

struct FolderRequest {
  std::string title;
  std::string start;  // the folder to begin in; any other if it does not exist
};

// Shows one box or file dialog; the answer is posted. Timers and sockets go on meanwhile.
// A box left by its frame or by Esc answers No (Ok for a box with one button); one of style kYesNo alone, a
// question without an icon, cannot be left but by its buttons.
class Dialogs {
 public:
  virtual ~Dialogs() = default;
  virtual void Ask(const BoxRequest& request, std::function<void(int answer)> answered) = 0;
  // Nothing: the user cancelled.
  virtual void AskSavePath(const SaveRequest& request,
                           std::function<void(std::optional<std::string> path)> answered) = 0;
  // An existing folder; nothing: the user cancelled.
  virtual void AskFolder(const FolderRequest& request,
                         std::function<void(std::optional<std::string> folder)> answered) = 0;
};

class Shell {
 public:
  virtual ~Shell() = default;
  // Opens a file or folder with the desktop's program for it.
  virtual void OpenPath(const std::string& path, const std::string& workingFolder) = 0;
  // Opens an http, https or ftp address in the user's browser; any other is not opened.
  virtual void OpenUrl(const std::string& url) = 0;
  // Starts a program without a shell and without waiting. A missing file is a Failure(File).
  virtual void Start(const std::string& program, const std::vector<std::string>& arguments) = 0;
};

class Machine {
 public:
  virtual ~Machine() = default;
  virtual std::string ProgramFolder() const = 0;    // no trailing separator
  virtual std::string DocumentsFolder() const = 0;  // no trailing separator; empty if unknown
  // Whether any network connection exists. A platform that cannot tell says True.
  virtual bool ConnectionUp() const { return true; }
  // Leaves the event loop after the present event; the process ends with `code`.
  virtual void End(int code) = 0;
};

// What the user's locale decides in displayed texts. Numbers on the wire and in files never use it.
class Locale {
 public:
  virtual ~Locale() = default;
  virtual std::string DecimalSeparator() const = 0;
  // The general date and time text of a serial of days since 30 December 1899; the time is left out at
  // midnight and the date on day 0; empty for what is no date.
  virtual std::string DateTimeText(double serial) const = 0;
  // How short dates and times are shown and typed.
  virtual DateForms ShortForms() const { return {}; }
};

}  // namespace pellora
