#include "desktop/views/FormHost.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QDialog>
#include <QDropEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLayout>
#include <QMenu>
#include <QMouseEvent>
#include <QScreen>
#include <QSplitter>
#include <QTabBar>
#include <QToolBar>
#include <QUrl>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <utility>

#include "desktop/DisplayText.h"
#include "desktop/views/DraggedData.h"
#include "desktop/views/Forms.h"
#include "desktop/views/Icons.h"
#include "desktop/views/ObjectNames.h"
#include "desktop/views/ViewMemory.h"
#include "desktop/views/Widgets.h"
#include "desktop/views/WindowPlace.h"
#include "ui/Controls.h"
#include "ui/DataObject.h"
#include "ui/Window.h"

namespace pellora {

namespace {

constexpr int kLargestPart = 10'000;  // of a splitter

// The file name at the end of a URL or path.
QString LastPathPart(const std::string& text) {
  const QString whole = WholeText(text);
  const QString path = whole.contains(QLatin1String("://")) ? QUrl(whole).path() : whole;
  return path.mid(path.lastIndexOf(u'/') + 1);
}

// The words that a widget shows, for the name of another one.
QString WordsOf(const QWidget& widget, int tab) {
  if (const auto* label = qobject_cast<const QLabel*>(&widget)) return label->text();
  if (const auto* button = qobject_cast<const QAbstractButton*>(&widget)) return button->text().remove(u'&');
  if (const auto* tabs = qobject_cast<const QTabBar*>(&widget)) return tabs->tabText(tab);
  if (const auto* menu = qobject_cast<const QMenu*>(&widget)) return menu->title().remove(u'&');
  return widget.windowTitle();
}

}  // namespace

FormHost::FormHost(Window& window, EventGate& gate, ViewMemory* memory, std::chrono::milliseconds pace)
    : window_(&window),
      receiver_(std::make_unique<QObject>()),
      context_{gate, receiver_.get(), false, [this] { ApplyChanges(); }, memory},
      pace_(pace) {
  paced_.setSingleShot(true);
  paced_.setTimerType(Qt::PreciseTimer);
  QObject::connect(&paced_, &QTimer::timeout, this, &FormHost::Flush);
}

FormHost::~FormHost() = default;

void FormHost::SetShown(bool shown) {
  wantShown_ = shown;
  Schedule();
}

void FormHost::Raise() {
  wantRaise_ = true;
  Schedule();
}

void FormHost::SetState(WindowState state) {
  wantState_ = state;
  Schedule();
}

void FormHost::Changed(const Control* control) {
  // Building the form applies everything, so nothing needs noting before.
  if (root_ == nullptr) return;
  if (control == nullptr) {
    windowDirty_ = true;
  } else {
    dirty_.insert(control);
  }
  ScheduleAtPace();
}

void FormHost::ScheduleAtPace() {
  if (scheduled_ || paced_.isActive()) return;
  const auto since = applied_.isValid() ? std::chrono::milliseconds(applied_.elapsed()) : pace_;
  if (since >= pace_) return Schedule();
  paced_.start(pace_ - since);
}

void FormHost::Schedule() {
  if (scheduled_) return;
  scheduled_ = true;
  QMetaObject::invokeMethod(this, &FormHost::Flush, Qt::QueuedConnection);
}

void FormHost::Detach() {
  if (window_ == nullptr) return;
  window_ = nullptr;
  // Signals first: nothing may reach a binding that is being destroyed.
  receiver_.reset();
  bindings_.clear();
  if (root_ != nullptr) {
    if (follower_ != nullptr) follower_->LetGo();
    root_->removeEventFilter(this);
    place_.reset();
    root_->hide();
    root_->deleteLater();
    root_ = nullptr;
  }
  deleteLater();
}

void FormHost::Build() {
  root_ = NewForm(window_->TypeName);
  if (root_ == nullptr) return;
  titleIsName_ = root_->accessibleName().isEmpty();
  root_->installEventFilter(this);
  for (Control* control : window_->Controls()) {
    auto* object = root_->findChild<QObject*>(ObjectName(control->Name));
    if (object == nullptr) continue;
    auto binding = Bind(*control, *object, context_);
    if (!binding) continue;
    bindings_.emplace(control, std::move(binding));
    dirty_.insert(control);
    if (auto* widget = qobject_cast<QWidget*>(object)) {
      widget->setProperty("bound", true);
      WatchWidget(*widget, *control);
    }
  }
  for (QWidget* widget : root_->findChildren<QWidget*>()) {
    if (widget->property("needsModel").toBool() && !widget->property("bound").toBool()) widget->hide();
  }
  for (IconLabel* icon : root_->findChildren<IconLabel*>()) {
    const QString of = icon->property("fileOf").toString();
    if (of.isEmpty()) continue;
    if (const auto* label = dynamic_cast<const Label*>(window_->Find(of.toStdString()))) {
      icon->SetIcon(FileTypeIcon(QString()));
      fileIcons_.push_back({icon, label, {}});
    }
  }
  FindNames();
  const QString fold = root_->property("foldWidget").toString();
  if (!fold.isEmpty()) fold_ = root_->findChild<QWidget*>(fold);
  follower_ = dynamic_cast<WindowFollower*>(root_);
  if (dynamic_cast<DropTarget*>(window_) != nullptr) root_->setAcceptDrops(true);
  if (context_.memory != nullptr) {
    place_ = std::make_unique<WindowPlace>(*root_, window_->TypeName, *context_.memory);
    RememberSplitters();
  }
  windowDirty_ = true;
}

void FormHost::FindNames() {
  QList<QWidget*> widgets = root_->findChildren<QWidget*>();
  widgets.append(root_);
  for (QWidget* const widget : widgets) {
    FindWords(*widget, "namedBy", false);
    FindWords(*widget, "describedBy", true);
  }
}

void FormHost::FindWords(QWidget& widget, const char* property, bool isDescription) {
  NamedWidget named{&widget, isDescription, {}};
  for (const QString& name : widget.property(property).toString().split(u' ', Qt::SkipEmptyParts)) {
    const QString object = name.section(u':', 0, 0);
    QWidget* const source = object == root_->objectName() ? root_ : root_->findChild<QWidget*>(object);
    if (source != nullptr) named.sources.emplace_back(source, name.section(u':', 1).toInt());
  }
  if (!named.sources.empty()) named_.push_back(std::move(named));
}

// A language without one of the words leaves the form's name.
void FormHost::NameWidgets() {
  for (const NamedWidget& named : named_) {
    QStringList words;
    for (const auto& [source, tab] : named.sources) {
      if (const QString text = WordsOf(*source, tab); !text.isEmpty()) words.append(text);
    }
    const QString name = words.join(u' ');
    if (named.isDescription) {
      if (named.widget->accessibleDescription() != name) named.widget->setAccessibleDescription(name);
      continue;
    }
    if (name.isEmpty() || named.widget->accessibleName() == name) continue;
    named.widget->setAccessibleName(name);
    if (!named.widget->toolTip().isEmpty()) named.widget->setToolTip(PlainTip(name));
  }
}

void FormHost::RememberSplitters() {
  for (QSplitter* splitter : root_->findChildren<QSplitter*>()) {
    const std::string key = window_->TypeName + "." + splitter->objectName().toStdString();
    QList<int> sizes;
    for (const QString& size : QString::fromStdString(context_.memory->Get(key).value_or("")).split(u' ')) {
      sizes.append(std::clamp(size.toInt(), 0, kLargestPart));
    }
    if (sizes.size() == splitter->count() && !sizes.contains(0)) splitter->setSizes(sizes);
    QObject::connect(splitter, &QSplitter::splitterMoved, context_.receiver, [this, splitter, key] {
      QStringList parts;
      for (const int size : splitter->sizes()) parts.append(QString::number(size));
      context_.memory->Set(key, parts.join(u' ').toStdString());
    });
  }
}

void FormHost::WatchWidget(QWidget& widget, Control& control) {
  controlOf_.insert(&widget, &control);
  if (dynamic_cast<Label*>(&control) != nullptr) widget.installEventFilter(this);  // for double clicks
}

void FormHost::Flush() {
  scheduled_ = false;
  paced_.stop();
  if (window_ == nullptr) return;
  if (root_ == nullptr) {
    if (wantShown_ != true) return;
    Build();
    if (root_ == nullptr) return;
  }
  if (!dirty_.empty() || windowDirty_) applied_.start();
  ApplyChanges();
  // From here on the form's events may come, and unload the window.
  if (std::exchange(windowDirty_, false)) ApplyWindow();
  if (window_ == nullptr) return;
  if (!std::exchange(placed_, true)) {
    MakeRoomForTools();
    if (place_) place_->Restore();
  }
  if (window_ == nullptr) return;
  if (std::exchange(fitPending_, false) && !sizedByUser_) {
    fitting_ = true;
    FitHeight();
    fitting_ = false;
  }
  if (window_ == nullptr) return;
  if (const auto directions = std::exchange(movePending_, {})) MoveOntoScreen(directions);
  if (window_ == nullptr) return;
  if (const auto state = std::exchange(wantState_, std::nullopt)) ApplyState(*state);
  if (window_ == nullptr) return;
  if (const auto shown = std::exchange(wantShown_, std::nullopt)) {
    if (!root_->isVisible()) {
      onScreen_ = false;
      if (*shown && !root_->isMaximized() && !root_->isFullScreen()) ResizeWithinScreen(root_->size());
    }
    if (window_ == nullptr) return;
    if (*shown && !root_->isVisible() && qobject_cast<QDialog*>(root_) != nullptr) {
      PlaceOverActiveWindow(*root_, root_->size());
    }
    root_->setVisible(*shown);
    if (window_ != nullptr && *shown && place_) place_->StayOnScreen();
  }
  if (window_ == nullptr) return;
  if (std::exchange(wantRaise_, false)) {
    if (root_->isMinimized()) root_->showNormal();
    if (window_ == nullptr) return;
    root_->raise();
    root_->activateWindow();
  }
}

void FormHost::ApplyChanges() {
  if (root_ == nullptr || dirty_.empty()) return;
  const auto changed = std::exchange(dirty_, {});
  context_.updatingWidgets = true;
  // Hide before showing: a form that shows both of two parts for a moment grows for good.
  for (const bool visible : {false, true}) {
    for (const Control* control : changed) {
      if (control->Visible() != visible) continue;
      const auto at = bindings_.find(control);
      if (at != bindings_.end()) at->second->UpdateWidget();
    }
  }
  NameWidgets();
  context_.updatingWidgets = false;
  for (FileIcon& entry : fileIcons_) {
    if (entry.shown == entry.label->Caption()) continue;
    entry.shown = entry.label->Caption;
    entry.icon->SetIcon(FileTypeIcon(LastPathPart(entry.shown)));
  }
}

void FormHost::ApplyState(WindowState state) {
  const Qt::WindowStates others = root_->windowState() & ~(Qt::WindowMinimized | Qt::WindowMaximized);
  root_->setWindowState(state == WindowState::Minimised   ? others | Qt::WindowMinimized
                        : state == WindowState::Maximised ? others | Qt::WindowMaximized
                                                          : others);
}

void FormHost::ApplyWindow() {
  if (follower_ != nullptr) follower_->Follow(*window_);
  const QString title = DisplayLine(window_->Caption).trimmed();
  if (root_->windowTitle() != title) root_->setWindowTitle(title);
  // Otherwise a minimised window would have no accessible name.
  if (titleIsName_ && root_->accessibleName() != title) root_->setAccessibleName(title);
  NameWidgets();
  const int width = window_->Width;
  const int height = window_->Height;
  if (width == appliedWidth_ && height == appliedHeight_) return;
  appliedWidth_ = width;
  appliedHeight_ = height;
  if (fold_ != nullptr) {
    // The model's height selects the long or the short form; the fonts decide the height of each.
    fold_->setVisible(height <= 0 || height >= root_->property("foldBelow").toInt());
    sizedByUser_ = false;
    FitHeight();
    return;
  }
  if (width > 0 && height > 0 && !root_->isMaximized()) ResizeWithinScreen({width, height});
}

// The user cannot reach what lies beyond the edge of the screen.
void FormHost::ResizeWithinScreen(const QSize& size) {
  root_->resize(size.boundedTo(root_->screen()->availableSize() - kFrame));
}

// In which directions a window that was on the screen has grown beyond its right or lower edge. One that the user moved
// there stays.
Qt::Orientations FormHost::GrownOffScreen(const QSize& before) const {
  Qt::Orientations grown;
  if (!root_->isVisible()) return grown;
  const QPoint edge = root_->screen()->availableGeometry().bottomRight();
  const QPoint now = root_->frameGeometry().bottomRight();
  const QPoint former = now - QPoint(root_->width() - before.width(), root_->height() - before.height());
  grown.setFlag(Qt::Horizontal, now.x() > edge.x() && former.x() <= edge.x());
  grown.setFlag(Qt::Vertical, now.y() > edge.y() && former.y() <= edge.y());
  return grown;
}

void FormHost::MoveOntoScreen(Qt::Orientations directions) {
  if (DesktopPlacesWindows()) return;
  const QRect screen = root_->screen()->availableGeometry();
  const QPoint beyond = root_->frameGeometry().bottomRight() - screen.bottomRight();
  QPoint place = root_->pos();
  if (directions.testFlag(Qt::Horizontal)) place.rx() = std::max(screen.left(), place.x() - std::max(beyond.x(), 0));
  if (directions.testFlag(Qt::Vertical)) place.ry() = std::max(screen.top(), place.y() - std::max(beyond.y(), 0));
  if (place != root_->pos()) root_->move(place);
}

// Every tool is shown at first, however long its caption is, if the screen is wide enough.
void FormHost::MakeRoomForTools() {
  int width = root_->width();
  for (const QToolBar* const tools : root_->findChildren<QToolBar*>()) {
    width = std::max(width, tools->sizeHint().width());
  }
  if (width > root_->width()) ResizeWithinScreen({width, root_->height()});
}

// A layout's own minimum is that of a width at which its texts need fewest lines.
void FormHost::HoldHeightForWidth() {
  const QLayout* const layout = root_->layout();
  if (fold_ != nullptr || !layout->hasHeightForWidth() || layout->sizeConstraint() == QLayout::SetFixedSize) return;
  const int least = layout->totalMinimumHeightForWidth(root_->width());
  if (least != root_->minimumHeight()) root_->setMinimumHeight(least);
}

void FormHost::FitHeight() {
  if (root_->isMaximized() || root_->isFullScreen()) return;
  root_->layout()->activate();
  const int height = root_->layout()->totalSizeHint().height();
  if (height != root_->height()) ResizeWithinScreen({root_->width(), height});
}

bool FormHost::eventFilter(QObject* watched, QEvent* event) {
  if (window_ == nullptr) return false;
  if (watched == root_) return OnFormEvent(*event);
  if (watched == root_->windowHandle()) {
    OnScreenEvent(*event);
    return false;
  }
  if (event->type() == QEvent::MouseButtonDblClick && static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
    auto* label = dynamic_cast<Label*>(controlOf_.value(watched));
    if (label != nullptr) label->DoubleClick();
  }
  return false;
}

// Events of the whole window, before any widget in it gets them.
void FormHost::OnScreenEvent(QEvent& event) {
  // What is pressed means what the model holds by now.
  if (event.type() == QEvent::KeyPress || event.type() == QEvent::MouseButtonPress) ApplyChanges();
  if (event.type() == QEvent::MouseMove) {
    OnMouseMove(static_cast<QMouseEvent&>(event));
  } else if (event.type() == QEvent::Expose && root_->windowHandle()->isExposed()) {
    onScreen_ = true;
  }
}

// A mouse move goes to the innermost control under the pointer that handles moves, else to the window. The widgets
// themselves pass moves on to their parents, and get none unless they track the mouse.
void FormHost::OnMouseMove(const QMouseEvent& move) {
  // A pressed button grabs the mouse for its control, and so does an open menu.
  if (move.buttons() != Qt::NoButton || QApplication::activePopupWidget() != nullptr) return;
  QWidget* widget = root_->childAt(move.position().toPoint());
  for (; widget != nullptr && widget != root_; widget = widget->parentWidget()) {
    Control* control = controlOf_.value(widget);
    if (control == nullptr || !control->OnMouseMove) continue;
    control->MouseMoved();
    return;
  }
  window_->ViewMouseMoved();
}

bool FormHost::OnFormEvent(QEvent& event) {
  if (place_ && !fitting_) place_->Watch(event);
  switch (event.type()) {
    case QEvent::Close:
      // The model decides; if it unloads the window, the form is destroyed.
      event.ignore();
      window_->ViewClosed();
      return true;
    case QEvent::KeyPress:
      if (qobject_cast<QDialog*>(root_) == nullptr || static_cast<QKeyEvent&>(event).key() != Qt::Key_Escape) {
        return false;
      }
      window_->ViewClosed();
      return true;
    case QEvent::WinIdChange:
      if (root_->windowHandle() != nullptr) root_->windowHandle()->installEventFilter(this);
      return false;
    case QEvent::Resize:
      if (event.spontaneous() && !fitting_) sizedByUser_ = true;
      if (!event.spontaneous()) movePending_ |= GrownOffScreen(static_cast<QResizeEvent&>(event).oldSize());
      if (movePending_) Schedule();
      HoldHeightForWidth();
      ReportSize();
      return false;
    case QEvent::LayoutRequest:
      HoldHeightForWidth();
      // A row was added or removed. A folding form is as high as its contents until the user resizes it.
      if (fold_ != nullptr) {
        fitPending_ = true;
        Schedule();
      }
      return false;
    case QEvent::WindowStateChange:
      ReportState();
      return false;
    case QEvent::DragEnter:
    case QEvent::DragMove:
    case QEvent::Drop:
      return OnDrag(static_cast<QDropEvent&>(event));
    case QEvent::ContextMenu:
      return OpenPopup(static_cast<QContextMenuEvent&>(event));
    case QEvent::WindowActivate:
      window_->ViewActivated();
      return false;
    case QEvent::WindowDeactivate:
      window_->ViewDeactivated();
      return false;
    default:
      return false;
  }
}

// The menu that the form names for its whole ground.
bool FormHost::OpenPopup(const QContextMenuEvent& event) {
  auto* const menu = root_->findChild<QMenu*>(root_->property("popupMenu").toString());
  if (menu == nullptr || root_->property("popupMenu").toString().isEmpty()) return false;
  menu->popup(event.globalPos());
  return true;
}

// A drag may be over any part of the window. What it holds is only looked at once it is dropped.
bool FormHost::OnDrag(QDropEvent& event) {
  auto* const target = dynamic_cast<DropTarget*>(window_);
  if (target == nullptr) return false;
  // A finished list of addresses is not to be added by a drag that was meant for another program.
  if (event.source() != nullptr) {
    event.ignore();
    return true;
  }
  event.setDropAction(Qt::CopyAction);
  event.accept();
  if (event.type() == QEvent::Drop && !target->TakeDrop(DraggedData(*event.mimeData()))) {
    event.setDropAction(Qt::IgnoreAction);
    event.ignore();
  }
  return true;
}

void FormHost::ReportSize() {
  const QSize size = root_->size();
  // In a folding form the model's height only selects the form.
  const int height = fold_ != nullptr ? window_->Height() : size.height();
  appliedWidth_ = size.width();
  if (fold_ == nullptr) appliedHeight_ = height;
  if (onScreen_ && !fitting_) {
    window_->ViewResized(size.width(), height, size.width(), size.height());
  } else {
    window_->ViewSized(size.width(), height, size.width(), size.height());
  }
}

void FormHost::ReportState() {
  const WindowState state = root_->isMinimized()   ? WindowState::Minimised
                            : root_->isMaximized() ? WindowState::Maximised
                                                   : WindowState::Normal;
  if (state == window_->State()) return;
  window_->ViewStateChanged(state);
  // Activation redraws what was not drawn while minimised.
  if (window_ != nullptr && state != WindowState::Minimised) window_->ViewActivated();
}

}  // namespace pellora
