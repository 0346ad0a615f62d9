// FormHost: a window's form with its bindings. The widgets are created at the first showing, so that a window that is
// never shown costs nothing. Changes in the model are collected and applied in the next turn of the event loop; then
// the window is shown or hidden and raised, in that order. Changes of controls that follow within a pace, if there is
// one, are applied together at its end: figures that change with every block that arrives cost much drawing.
//
// The model may unload its window inside any event: Detach then disconnects the widgets from it at once, and they are
// deleted in the next turn of the event loop.
#pragma once

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "desktop/views/Bindings.h"

class QContextMenuEvent;
class QDropEvent;
class QMouseEvent;
class QSize;
class QWidget;

namespace pellora {

class IconLabel;
class Label;
class Window;
class WindowPlace;
enum class WindowState;

// A form that reflects more of its window than title and size.
class WindowFollower {
 public:
  // Called when the form is created, and whenever a property of the window itself may have changed.
  virtual void Follow(Window& window) = 0;
  // The window is being unloaded; no event may reach it from here on.
  virtual void LetGo() = 0;

 protected:
  ~WindowFollower() = default;
};

class FormHost : public QObject {
  Q_OBJECT

 public:
  // `window` must live until Detach.
  FormHost(Window& window, EventGate& gate, ViewMemory* memory, std::chrono::milliseconds pace);
  ~FormHost() override;

  void SetShown(bool shown);
  void Raise();
  void SetState(WindowState state);
  void Changed(const Control* control);
  // Hides the form and disconnects it from the model. The host deletes itself later.
  void Detach();

  // The form, or null before the first showing.
  QWidget* Form() const { return root_; }
  // Applies pending changes without waiting for the event loop.
  void Flush();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  struct NamedWidget {
    QWidget* widget;
    bool isDescription;
    std::vector<std::pair<QWidget*, int>> sources;  // a tab bar with the number of the tab
  };
  struct FileIcon {
    IconLabel* icon;
    const Label* label;
    std::string shown;
  };

  void Schedule();
  void ScheduleAtPace();
  void Build();
  void RememberSplitters();
  void WatchWidget(QWidget& widget, Control& control);
  void ApplyChanges();
  void ApplyState(WindowState state);
  void ApplyWindow();
  void ResizeWithinScreen(const QSize& size);
  Qt::Orientations GrownOffScreen(const QSize& before) const;
  void MoveOntoScreen(Qt::Orientations directions);
  void MakeRoomForTools();
  void FindNames();
  void FindWords(QWidget& widget, const char* property, bool isDescription);
  void NameWidgets();
  void HoldHeightForWidth();
  void FitHeight();
  void OnScreenEvent(QEvent& event);
  void OnMouseMove(const QMouseEvent& move);
  bool OnFormEvent(QEvent& event);
  bool OpenPopup(const QContextMenuEvent& event);
  bool OnDrag(QDropEvent& event);
  void ReportSize();
  void ReportState();

  Window* window_;
  std::unique_ptr<QObject> receiver_;
  BindingContext context_;
  QWidget* root_ = nullptr;
  std::unique_ptr<WindowPlace> place_;  // null where nothing is remembered
  WindowFollower* follower_ = nullptr;  // the form, if it is a follower
  QWidget* fold_ = nullptr;             // the part that is hidden in a low window
  std::unordered_map<const Control*, std::unique_ptr<Binding>> bindings_;
  QHash<QObject*, Control*> controlOf_;  // by widget
  std::vector<FileIcon> fileIcons_;
  std::vector<NamedWidget> named_;

  std::unordered_set<const Control*> dirty_;
  bool windowDirty_ = false;
  bool titleIsName_ = true;  // the form sets no accessible name
  bool scheduled_ = false;
  const std::chrono::milliseconds pace_;
  QElapsedTimer applied_;  // since changes were applied; not started before
  QTimer paced_;           // runs while changes wait
  std::optional<bool> wantShown_;
  bool wantRaise_ = false;
  std::optional<WindowState> wantState_;

  int appliedWidth_ = 0;  // the model's, as last applied or reported
  int appliedHeight_ = 0;
  bool placed_ = false;    // as it was remembered
  bool onScreen_ = false;  // since last shown; earlier size changes are part of showing
  bool fitPending_ = false;
  Qt::Orientations movePending_;
  bool fitting_ = false;  // fitting to changed contents is not a resize
  bool sizedByUser_ = false;
};

}  // namespace pellora
