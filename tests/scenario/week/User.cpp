#include "User.h"

#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "capture/DownloadBasket.h"
#include "capture/PelloraCatcher.h"
#include "options/Options.h"
#include "transferwin/TransferWindow.h"
#include "zipview/Form2.h"

namespace pellora {

namespace {

// A text dragged from another program.
class DraggedText final : public DataObject {
 public:
  explicit DraggedText(std::string text) : text_(std::move(text)) {}
  bool GetFormat(int format) const override { return format == kTextFormat; }
  std::string GetData(int) const override { return text_; }

 private:
  std::string text_;
};

}  // namespace

void User::Act(std::uint64_t salt) {
  random_ = SimRandom(salt);
  Choose();
}

void User::Choose() {
  if (sim_.dialogs().OpenCount() > 0 && Random(3) != 0) return ActOnQuestion();
  if (Random(app_.mainWindow().optionsWindow->Visible() ? 4 : 30) == 0) return ActOnOptions();
  switch (Random(10)) {
    case 0:
      return CopyUrl();
    case 1:
    case 2:
    case 3:
      return AddUrl();
    case 4:
    case 5:
      return ActOnWindow();
    case 6:
      return ActOutside();
    default:
      return ActOnList();
  }
}

void User::CopyUrl() { sim_.clipboard().text = url_(random_); }

void User::AddUrl() {
  ++added_;
  const std::string url = url_(random_);
  act_([&] { app_.MenuURL(url, "", ""); });
}

// The tray and the drop basket.
void User::ActOutside() {
  PelloraCatcher& catcher = app_.catcher();
  DownloadBasket& basket = app_.basket();
  act_([&] {
    switch (Random(10)) {
      case 0:
        return app_.mainWindow().sdb.Click();
      case 1:
        return app_.mainWindow().Command5.Click();
      case 2:
        return catcher.closebasket.Click();
      case 3:
        return catcher.openwin.Click();
      case 4:
        return catcher.pauseall.Click();
      case 5:
        return catcher.resumeall.Click();
      case 6:
        return Random(20) == 0 ? catcher.exitmenu.Click() : basket.MouseUp(kRightButton, 3, 3);
      case 7: {
        basket.MouseDown(kLeftButton, 5, 5);
        float x = static_cast<float>(Random(3000)) - 1500;
        float y = static_cast<float>(Random(3000)) - 1500;
        return basket.MouseMove(kLeftButton, x, y);
      }
      case 8:
        return Random(4) == 0 ? app_.mainWindow().Label7.DoubleClick() : app_.mainWindow().sdw.Click();
      default:
        ++added_;
        (void)basket.OLEDragDrop(DraggedText(url_(random_)), kDropNone);
    }
  });
}

void User::ActOnQuestion() {
  const BoxRequest& box = sim_.dialogs().Next();
  const bool yesNo = (box.style & kYesNo) != 0;
  sim_.dialogs().AnswerNext(!yesNo ? kAnswerOk : Random(3) == 0 ? kAnswerNo : kAnswerYes);
}

void User::AnswerKindly() {
  const BoxRequest& box = sim_.dialogs().Next();
  const bool listed = box.text.find("already in the list") != std::string::npos;
  sim_.dialogs().AnswerNext((box.style & kYesNo) == 0 ? kAnswerOk : listed ? kAnswerNo : kAnswerYes);
}

void User::ActOnList() {
  MainWindow& window = app_.mainWindow();
  ListView& list = Random(4) == 0 ? window.ListView2 : window.ListView1;
  if (!list.Rows().empty()) {
    const std::size_t row = Random(list.Rows().size());
    act_([&] { list.SelectByUser({row}); });
  }
  act_([&] {
    switch (Random(13)) {
      case 0:
        return window.RunAction(MainWindow::kDelete);
      case 1:
      case 2:
        return window.RunAction(MainWindow::kPause);
      case 3:
        return window.RunAction(MainWindow::kPauseAll);
      case 4:
      case 5:
      case 6:
        return window.RunAction(MainWindow::kResumeAll);
      case 7:
        return list.DoubleClick();
      case 8:
        list.RightClick();
        return window.shedulded.Click();
      case 9:
        return list.PressDelete();
      case 10:
        return ActOnPane();
      case 11:
        return Random(10) == 0 ? window.RunAction(MainWindow::kResetList) : list.Click();
      default:
        return Random(10) == 0 ? window.RunAction(MainWindow::kQuit) : window.clearall.Click();
    }
  });
}

// Does not change folders and proxy, so that running downloads can still arrive.
void User::ActOnOptions() {
  options& dialog = *app_.mainWindow().optionsWindow;
  if (!dialog.Visible()) return act_([this] { app_.mainWindow().RunAction(MainWindow::kOptions); });
  const char* const numbers[] = {"0", "1", "3x", "4", "8", "9", ""};
  const std::string number = numbers[Random(std::size(numbers))];
  const int what = static_cast<int>(Random(9));
  const int page = static_cast<int>(Random(4));
  act_([&] {
    switch (what) {
      case 0:
        return dialog.Command1.Click();
      case 1:
        return dialog.ViewClosed();
      case 2:
        return dialog.TabStrip1.SelectByUser(page);
      case 3:
        return dialog.Text3.SetByUser(number);
      case 4:
        return dialog.Text4.SetByUser(number);
      case 5:
        dialog.Check7.SetByUser(!dialog.Check7.Value());
        return dialog.Command2.Click();
      case 6:
        return app_.mainWindow().RunAction(MainWindow::kOptions);
      default:
        return dialog.OK.Click();
    }
  });
}

// Shows and plays the preview.
void User::ActOnPane() {
  MainWindow& window = app_.mainWindow();
  switch (Random(6)) {
    case 0:
      return window.Command2.Click();
    case 1:
      return window.Command3.Click();
    case 2:
      return window.Slider1.SetByUser(static_cast<int>(Random(101)));
    case 3:
      return window.TabStrip1.SelectByUser(static_cast<int>(Random(2)));
    case 4:
      return window.ListView2.Click();
    default:
      return window.Command4.Click();
  }
}

void User::ActOnViewer() {
  std::vector<Window*> viewers = sim_.windows().Loaded("Form2");
  auto* const viewer = dynamic_cast<Form2*>(viewers[Random(viewers.size())]);
  act_([&] {
    switch (Random(4)) {
      case 0:
        return viewer->ViewClosed();
      case 1:
        return viewer->Option1.SetByUser(true);
      default:
        return viewer->Command3.Click();
    }
  });
}

void User::ActOnWindow() {
  if (auto* const question = sim_.windows().Only<WantDown>(); question && question->Visible()) {
    return act_([&] {
      switch (Random(3)) {
        case 0:
          return question->Command1.Click();
        case 1:
          return question->Command2.Click();
        default:
          return question->ViewClosed();
      }
    });
  }
  if (sim_.windows().Count("Form2") > 0 && Random(2) == 0) return ActOnViewer();
  const std::vector<Window*> windows = sim_.windows().Loaded("TransferWindow");
  if (windows.empty()) return;
  auto* const transfer = dynamic_cast<TransferWindow*>(windows[Random(windows.size())]);
  act_([&] {
    switch (Random(6)) {
      case 0:
        return transfer->ViewClosed();
      case 1:
        return transfer->Command2.Click();
      case 2:
        return transfer->Command4.Click();
      case 3:
        return transfer->ViewResized(600, 400, 590, 380);
      default:
        if (transfer->Asks() && Random(3) != 0) return transfer->Command1.Click();
        return transfer->Command3.Click();
    }
  });
}

}  // namespace pellora
