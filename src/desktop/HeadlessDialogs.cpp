#include "desktop/HeadlessDialogs.h"

#include "desktop/DisplayText.h"
#include "desktop/StandardStreams.h"
#include "ports/EventLoop.h"

namespace pellora {

void HeadlessDialogs::Ask(const BoxRequest& request, std::function<void(int answer)> answered) {
  int answer = kAnswerOk;
  const char* said = "";
  if ((request.style & 0x0F) == kYesNo) {
    answer = isYes_ && isYes_(request.text) ? kAnswerYes : kAnswerNo;
    said = answer == kAnswerYes ? " (Yes)" : " (No)";
  }
  SayOnStandardError("Pellora: " + WholeLine(request.text).toStdString() + said);
  events_.Post([answered = std::move(answered), answer] { answered(answer); });
}

void HeadlessDialogs::AskSavePath(const SaveRequest&, std::function<void(std::optional<std::string> path)> answered) {
  events_.Post([answered = std::move(answered)] { answered(std::nullopt); });
}

void HeadlessDialogs::AskFolder(const FolderRequest&, std::function<void(std::optional<std::string> folder)> answered) {
  events_.Post([answered = std::move(answered)] { answered(std::nullopt); });
}

}  // namespace pellora
