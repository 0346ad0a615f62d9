// Dialogs: message boxes and the choice of files and folders.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace pellora {

// Message box styles, to be added up.
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
  std::string start;  // the initial folder; any other if it does not exist
};

// Shows one box or file dialog; the answer is posted. Timers and sockets keep running meanwhile.
// Closing a box by its frame or Esc answers No (Ok if it has one button); a box of style kYesNo alone, a question
// without an icon, closes only by its buttons.
class Dialogs {
 public:
  virtual ~Dialogs() = default;
  virtual void Ask(const BoxRequest& request, std::function<void(int answer)> answered) = 0;
  // No path: the user cancelled.
  virtual void AskSavePath(const SaveRequest& request,
                           std::function<void(std::optional<std::string> path)> answered) = 0;
  // An existing folder; none: the user cancelled.
  virtual void AskFolder(const FolderRequest& request,
                         std::function<void(std::optional<std::string> folder)> answered) = 0;
};

}  // namespace pellora
