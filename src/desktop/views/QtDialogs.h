// QtDialogs: message boxes and file dialogs. They block only the user's input to other windows; no event loop is
// nested. Each answer is posted through the gate.
#pragma once

#include <QObject>
#include <QPointer>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "async/EventGate.h"
#include "ports/Dialogs.h"

class QDialog;
class QFileDialog;
class QMessageBox;

namespace pellora {

class QtDialogs : public QObject, public Dialogs {
  Q_OBJECT

 public:
  // `gate` must outlive the dialogs.
  explicit QtDialogs(EventGate& gate);
  // Closes all open boxes without an answer.
  ~QtDialogs() override;

  // Sets the captions of a box's buttons, by answer; an empty text keeps the desktop's caption.
  void SetAnswerTexts(std::function<std::string(int answer)> texts) { answerTexts_ = std::move(texts); }

  // A Yes/No question without an icon must be answered by one of its buttons; any other box can also be closed by its
  // frame or by Esc.
  void Ask(const BoxRequest& request, std::function<void(int answer)> answered) override;
  void AskSavePath(const SaveRequest& request, std::function<void(std::optional<std::string> path)> answered) override;
  void AskFolder(const FolderRequest& request,
                 std::function<void(std::optional<std::string> folder)> answered) override;

 private:
  void SetButtonCaptions(QMessageBox& box) const;
  void Open(QDialog& dialog);
  static void DeleteWithoutMenus(QDialog& dialog);
  void OpenFileDialog(QFileDialog& dialog, std::function<void(std::optional<std::string> path)> answered);
  void Post(std::function<void()> answer);

  EventGate& gate_;
  std::function<std::string(int answer)> answerTexts_;
  std::vector<QPointer<QDialog>> open_;
};

}  // namespace pellora
