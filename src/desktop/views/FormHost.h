// FormHost: one window's form with its bindings. The widgets are made at the first showing, so that a
// window that is never shown costs nothing. What changes in the model is gathered and brought down once
// per turn of the event loop; showing, hiding and raising happen then too, in that order.
//
// The model may unload its window inside any event: Detach then cuts the widgets from it at once, and
// they die when the event loop comes round.
#pragma once

#include <QHash>
#include <QObject>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "desktop/views/Bindings.h"

class QMouseEvent;
class QSize;
class QWidget;

namespace pellora {

class IconLabel;
class Label;
class Window;
enum class WindowState;

// A form that follows more of its window than title and size.
class WindowFollower {
 public:
  // At the making of the form, and whenever a property of the window itself may have changed.
  virtual void Follow(Window& window) = 0;
  // The window goes; no event may reach it from here on.
  virtual void LetGo() = 0;

 protected:
  ~WindowFollower() = default;
};

class FormHost : public QObject {
  Q_OBJECT

 public:
  // `window` outlives the time until Detach.
  FormHost(Window& window, EventGate& gate);
  ~FormHost() override;

  void SetShown(bool shown);
  void Raise();
  void SetState(WindowState state);
  void Changed(const Control* control);
  // Hides the form and ends all ties to the model. The host deletes itself later.
  void Detach();

  // The form, or null before the first showing.
  QWidget* Form() const { return root_; }
  // Brings down what is waiting, without waiting for the event loop.
  void Flush();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  struct FileIcon {
    IconLabel* icon;
    const Label* label;
    std::string shown;
  };

  void Schedule();
  void Build();
  void WatchWidget(QWidget& widget, Control& control);
  void BringDown();
  void ApplyState(WindowState state);
  void ApplyWindow();
  void ResizeWithinScreen(const QSize& size);
  bool HasGrownOffScreen(const QSize& before) const;
  void MoveOntoScreen();
  void FitHeight();
  void OnScreenEvent(QEvent& event);
  void OnMouseMove(const QMouseEvent& move);
  bool OnFormEvent(QEvent& event);
  void ReportSize();
  void ReportState();

  Window* window_;
  std::unique_ptr<QObject> receiver_;
  BindingContext context_;
  QWidget* root_ = nullptr;
  WindowFollower* follower_ = nullptr;  // the form, if it is one
  QWidget* fold_ = nullptr;             // the part that a low window folds away
  std::unordered_map<const Control*, std::unique_ptr<Binding>> bindings_;
  QHash<QObject*, Control*> controlOf_;  // by its widget
  std::vector<FileIcon> fileIcons_;

  std::unordered_set<const Control*> dirty_;
  bool windowDirty_ = false;
  bool titleIsName_ = true;  // the form gives the window no other name
  bool scheduled_ = false;
  std::optional<bool> wantShown_;
  bool wantRaise_ = false;
  std::optional<WindowState> wantState_;

  int appliedWidth_ = 0;  // of the model, as last brought down or reported
  int appliedHeight_ = 0;
  bool onScreen_ = false;  // since the latest showing; sizes before that are part of the showing
  bool fitWanted_ = false;
  bool moveWanted_ = false;
  bool fitting_ = false;  // to changed contents, which is no resize
  bool sizedByUser_ = false;
};

}  // namespace pellora
