#include "desktop/views/Bars.h"

#include <QAction>
#include <QEvent>
#include <QShortcut>
#include <QStatusBar>
#include <QTabBar>
#include <QToolBar>
#include <QToolButton>
#include <algorithm>
#include <utility>
#include <vector>

#include "desktop/DisplayText.h"
#include "desktop/views/Icons.h"
#include "desktop/views/KeyStates.h"
#include "desktop/views/Widgets.h"
#include "ui/Controls.h"

namespace pellora {

namespace {

class ToolbarBinding : public Binding {
 public:
  ToolbarBinding(Toolbar& control, QToolBar& bar, BindingContext& context)
      : control_(control), bar_(bar), context_(context) {}

  void UpdateWidget() override {
    if (bar_.isHidden() == control_.Visible()) bar_.setVisible(control_.Visible);
    bar_.setEnabled(control_.Enabled);
    if (shown_ == control_.Buttons()) return;
    const bool sameKeys = SameKeys(control_.Buttons());
    shown_ = control_.Buttons;
    if (!sameKeys) Build();
    for (std::size_t at = 0; at < shown_.size(); ++at) Label(*actions_[at], shown_[at]);
  }

 private:
  bool SameKeys(const std::vector<ControlPart>& buttons) const {
    if (buttons.size() != shown_.size()) return false;
    for (std::size_t at = 0; at < buttons.size(); ++at) {
      if (buttons[at].key != shown_[at].key) return false;
    }
    return true;
  }

  void Build() {
    bar_.clear();
    actions_.clear();
    for (const ControlPart& button : shown_) {
      QAction* action = bar_.addAction(ToolIcon(button.key), QString());
      const std::string key = button.key;
      Toolbar& control = control_;
      QObject::connect(action, &QAction::triggered, context_.receiver, [&control, key] { control.ClickButton(key); });
      if (QWidget* widget = bar_.widgetForAction(action)) widget->setFocusPolicy(Qt::TabFocus);
      actions_.push_back(action);
    }
  }

  void Label(QAction& action, const ControlPart& part) const {
    const QString caption = DisplayLine(part.caption).trimmed();
    const QString tip = DisplayLine(part.toolTip);
    const QString name = !caption.isEmpty() ? caption : tip.isEmpty() ? DisplayLine(part.key) : tip;
    // The overflow menu shows the name, the button the caption. A blank keeps the icon of a button without a caption in
    // line with the others.
    action.setText(name);
    action.setIconText(caption.isEmpty() ? QString(QChar::Nbsp) : caption);
    action.setEnabled(part.enabled);
    action.setToolTip(PlainTip(tip.isEmpty() ? name : tip));
    if (auto* button = qobject_cast<QToolButton*>(bar_.widgetForAction(&action))) {
      button->setAccessibleName(name);
      button->setAccessibleDescription(tip);
    }
  }

  Toolbar& control_;
  QToolBar& bar_;
  BindingContext& context_;
  std::vector<ControlPart> shown_;
  std::vector<QAction*> actions_;  // owned by the tool bar
};

class TabStripBinding : public Binding {
 public:
  TabStripBinding(TabStrip& control, QTabBar& bar, BindingContext& context) : control_(control), bar_(bar) {
    QObject::connect(&bar, &QTabBar::currentChanged, context.receiver, [&control, &context](int index) {
      if (!context.updatingWidgets) control.SelectByUser(index);
    });
    // In the whole window, wrapping around at the ends.
    Turn({Qt::CTRL | Qt::Key_Tab, Qt::CTRL | Qt::Key_PageDown}, 1, context);
    // Platforms report Shift+Tab differently.
    Turn({Qt::CTRL | Qt::SHIFT | Qt::Key_Tab, Qt::CTRL | Qt::SHIFT | Qt::Key_Backtab, Qt::CTRL | Qt::Key_Backtab,
          Qt::CTRL | Qt::Key_PageUp},
         -1, context);
  }

  void UpdateWidget() override {
    if (bar_.isHidden() == control_.Visible()) bar_.setVisible(control_.Visible);
    bar_.setEnabled(control_.Enabled);
    const auto& tabs = control_.Tabs();
    while (bar_.count() > static_cast<int>(tabs.size())) bar_.removeTab(bar_.count() - 1);
    for (int at = 0; at < static_cast<int>(tabs.size()); ++at) {
      const QString caption = DisplayLine(tabs[static_cast<std::size_t>(at)].caption);
      if (at >= bar_.count()) {
        bar_.addTab(caption);
      } else if (bar_.tabText(at) != caption) {
        bar_.setTabText(at, caption);
      }
    }
    if (bar_.currentIndex() != control_.Selected()) bar_.setCurrentIndex(control_.Selected);
  }

 private:
  void Turn(const QList<QKeySequence>& keys, int step, BindingContext& context) {
    auto* shortcut = new QShortcut(&bar_);  // owned by the bar
    shortcut->setKeys(keys);
    const auto turn = [this, step] {
      if (bar_.count() > 0) bar_.setCurrentIndex((bar_.currentIndex() + step + bar_.count()) % bar_.count());
    };
    QObject::connect(shortcut, &QShortcut::activated, context.receiver, turn);
    // One key can match two of the sequences.
    QObject::connect(shortcut, &QShortcut::activatedAmbiguously, context.receiver, turn);
  }

  TabStrip& control_;
  QTabBar& bar_;
};

// Panels 4 to 6 show keys.
constexpr std::size_t kFirstKeyPanel = 3;
constexpr std::size_t kKeyPanelsEnd = 6;

class StatusBarBinding : public Binding {
 public:
  StatusBarBinding(StatusBar& control, QStatusBar& bar, BindingContext& context)
      : control_(control), bar_(bar), keys_(new KeyStates(context.receiver)) {
    QObject::connect(keys_, &KeyStates::Changed, context.receiver, [this] { ShowKeys(); });
    new EventWatcher(bar, QEvent::Resize, context.receiver, [this] { FitHint(); });  // owned by the receiver
  }

  void UpdateWidget() override {
    if (bar_.isHidden() == control_.Visible()) bar_.setVisible(control_.Visible);
    const auto& panels = control_.Panels();
    while (labels_.size() < panels.size()) AddPanel();
    for (std::size_t at = 0; at < panels.size(); ++at) {
      const QString text = DisplayLine(panels[at]);
      if (labels_[at]->text() == text) continue;
      labels_[at]->setText(text);
      // A panel never shrinks, so that changing figures do not make the line jump.
      if (at > 0) labels_[at]->setMinimumWidth(std::max(labels_[at]->minimumWidth(), labels_[at]->sizeHint().width()));
    }
    ShowKeys();
    FitHint();
  }

 private:
  // Shows the hint whole: if it is too long, the keys' panels are hidden, then the others.
  void FitHint() {
    constexpr int kAround = 34;  // the bar's edges and the grip
    constexpr int kBetween = 6;
    if (labels_.empty()) return;
    int room = bar_.width() - kAround - labels_.front()->sizeHint().width();
    const auto take = [&](std::size_t from, std::size_t to) {
      to = std::min(to, labels_.size());
      for (std::size_t at = from; at < to; ++at) {
        room -= std::max(labels_[at]->sizeHint().width(), labels_[at]->minimumWidth()) + kBetween;
      }
      for (std::size_t at = from; at < to; ++at) labels_[at]->setVisible(room >= 0);
    };
    for (std::size_t at = 1; at < kFirstKeyPanel; ++at) take(at, at + 1);
    take(kFirstKeyPanel, kKeyPanelsEnd);
  }

  void AddPanel() {
    const bool hint = labels_.empty();
    QLabel* label = nullptr;
    if (hint) {
      auto* sentence = new ElidedLabel(&bar_);
      sentence->CutAtEnd();
      label = sentence;
    } else if (labels_.size() >= kFirstKeyPanel && labels_.size() < kKeyPanelsEnd) {
      label = new KeyLabel(&bar_);
    } else {
      label = new QLabel(&bar_);
    }
    label->setTextFormat(Qt::PlainText);
    label->setContentsMargins(4, 1, 4, 1);
    if (hint) {
      bar_.addWidget(label, 1);
    } else {
      bar_.addPermanentWidget(label);
    }
    labels_.push_back(label);
  }

  void ShowKeys() {
    // By position, not by text alone: a hint may read like a key.
    for (std::size_t at = kFirstKeyPanel; at < std::min(labels_.size(), kKeyPanelsEnd); ++at) {
      auto* const label = qobject_cast<KeyLabel*>(labels_[at]);
      const auto on = label == nullptr ? std::nullopt : keys_->State(label->text());
      if (on) label->SetOn(*on);
    }
  }

  StatusBar& control_;
  QStatusBar& bar_;
  KeyStates* keys_;  // owned by the context's receiver
  std::vector<QLabel*> labels_;
};

}  // namespace

std::unique_ptr<Binding> BindToolbar(Toolbar& control, QObject& object, BindingContext& context) {
  auto* bar = qobject_cast<QToolBar*>(&object);
  return bar == nullptr ? nullptr : std::make_unique<ToolbarBinding>(control, *bar, context);
}

std::unique_ptr<Binding> BindTabStrip(TabStrip& control, QObject& object, BindingContext& context) {
  auto* bar = qobject_cast<QTabBar*>(&object);
  return bar == nullptr ? nullptr : std::make_unique<TabStripBinding>(control, *bar, context);
}

std::unique_ptr<Binding> BindStatusBar(StatusBar& control, QObject& object, BindingContext& context) {
  auto* bar = qobject_cast<QStatusBar*>(&object);
  return bar == nullptr ? nullptr : std::make_unique<StatusBarBinding>(control, *bar, context);
}

}  // namespace pellora
