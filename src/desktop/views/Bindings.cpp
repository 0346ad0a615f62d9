#include "desktop/views/Bindings.h"

#include <QAbstractButton>
#include <QAction>
#include <QColor>
#include <QComboBox>
#include <QEvent>
#include <QFont>
#include <QFontMetrics>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QLocale>
#include <QMenu>
#include <QPalette>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QVariant>
#include <QWidget>
#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "async/EventGate.h"
#include "desktop/DisplayText.h"
#include "desktop/views/Bars.h"
#include "desktop/views/Charts.h"
#include "desktop/views/Icons.h"
#include "desktop/views/ListBinding.h"
#include "desktop/views/PreviewBinding.h"
#include "desktop/views/Widgets.h"
#include "lang/Format.h"
#include "ports/Media.h"
#include "ui/Charts.h"
#include "ui/Controls.h"
#include "ui/LinkLabel.h"
#include "ui/MediaSurface.h"

namespace pellora {

namespace {

// The properties common to all controls with a widget.
template <class ControlType, class WidgetType>
class WidgetBinding : public Binding {
 public:
  WidgetBinding(ControlType& control, WidgetType& widget, BindingContext& context)
      : control_(control), widget_(widget), context_(context), formToolTip_(widget.toolTip()) {}

  void UpdateWidget() override {
    if (widget_.isHidden() == control_.Visible()) widget_.setVisible(control_.Visible);
    if (widget_.isEnabledTo(widget_.parentWidget()) != control_.Enabled()) widget_.setEnabled(control_.Enabled);
    const QString text = DisplayText(control_.ToolTipText);
    const QString tip = text.isEmpty() ? FormToolTip() : PlainTip(text);
    if (widget_.toolTip() != tip) widget_.setToolTip(tip);
  }

 protected:
  ControlType& control_;
  WidgetType& widget_;
  BindingContext& context_;

 private:
  // A widget that is named by others has its name as tip.
  QString FormToolTip() const {
    const bool named = !formToolTip_.isEmpty() && widget_.property("namedBy").isValid();
    return named ? PlainTip(widget_.accessibleName()) : formToolTip_;
  }

  QString formToolTip_;
};

// What a picture shows, in words.
void Say(QWidget& widget, const std::string& words) {
  const QString text = DisplayLine(words);
  if (widget.accessibleName() == text) return;
  widget.setAccessibleName(text);
  widget.setToolTip(PlainTip(text));
}

class LabelBinding : public WidgetBinding<Label, QLabel> {
 public:
  LabelBinding(Label& control, QLabel& label, BindingContext& context) : WidgetBinding(control, label, context) {
    label.setTextFormat(Qt::PlainText);
  }
  void UpdateWidget() override {
    WidgetBinding::UpdateWidget();
    QString text = DisplayLine(control_.Caption);
    while (text.endsWith(u' ')) text.chop(1);
    if (widget_.text() != text) widget_.setText(text);
  }
};

class LinkBinding : public LabelBinding {
 public:
  LinkBinding(LinkLabel& control, FocusLabel& label, BindingContext& context)
      : LabelBinding(control, label, context), link_(control) {
    label.setFocusPolicy(Qt::TabFocus);
    QObject::connect(&label, &FocusLabel::Pressed, context.receiver, [&control] { control.DoubleClick(); });
    // A desktop can turn dark at any time.
    new EventWatcher(label, QEvent::PaletteChange, context.receiver, [this] { Colour(); });  // owned by the receiver
  }
  void UpdateWidget() override {
    LabelBinding::UpdateWidget();
    QFont font = widget_.font();
    if (font.underline() != link_.Underline()) {
      font.setUnderline(link_.Underline);
      widget_.setFont(font);
    }
    Colour();
  }

 private:
  void Colour() {
    const QColor colour = LinkColour(widget_.parentWidget()->palette(), link_.ForeColour() != kLinkColour);
    if (widget_.palette().color(widget_.foregroundRole()) == colour) return;
    QPalette palette;
    palette.setColor(QPalette::Link, colour);
    widget_.setPalette(palette);
    widget_.setForegroundRole(QPalette::Link);
  }

  LinkLabel& link_;
};

// Makes room for the caption and a margin around it.
void FitCaption(QAbstractButton& button) {
  if (qobject_cast<QPushButton*>(&button) == nullptr) return;
  const QFontMetrics metrics = button.fontMetrics();
  const int picture = button.icon().isNull() ? 0 : button.iconSize().width() + 4;
  const int text = metrics.size(Qt::TextShowMnemonic, button.text()).width();
  button.setMinimumWidth(std::max(metrics.averageCharWidth() * 14, picture + text + metrics.height() * 2));
}

class ButtonBinding : public WidgetBinding<CommandButton, QAbstractButton> {
 public:
  ButtonBinding(CommandButton& control, QAbstractButton& button, BindingContext& context)
      : WidgetBinding(control, button, context) {
    QObject::connect(&button, &QAbstractButton::clicked, context.receiver, [&control] { control.Click(); });
  }
  void UpdateWidget() override {
    WidgetBinding::UpdateWidget();
    // The form's icon replaces a caption made of symbols.
    if (widget_.property("drawingOnly").toBool()) return;
    const QString text = DisplayLine(control_.Caption).trimmed();
    if (widget_.text() != text) widget_.setText(text);
    FitCaption(widget_);
  }
};

template <class ControlType>
class CheckBinding : public WidgetBinding<ControlType, QAbstractButton> {
 public:
  CheckBinding(ControlType& control, QAbstractButton& button, BindingContext& context)
      : WidgetBinding<ControlType, QAbstractButton>(control, button, context) {
    QObject::connect(&button, &QAbstractButton::clicked, context.receiver,
                     [&control](bool checked) { control.SetByUser(checked); });
    // The option that is deselected by another one gets no click.
    QObject::connect(&button, &QAbstractButton::toggled, context.receiver, [&control, &context](bool checked) {
      if (!context.updatingWidgets && !checked) control.Value = false;
    });
  }
  void UpdateWidget() override {
    WidgetBinding<ControlType, QAbstractButton>::UpdateWidget();
    const QString text = DisplayLine(this->control_.Caption);
    if (this->widget_.text() != text) this->widget_.setText(text);
    if (this->widget_.isChecked() != this->control_.Value()) this->widget_.setChecked(this->control_.Value);
  }
};

class TextBinding : public WidgetBinding<TextBox, QLineEdit> {
 public:
  TextBinding(TextBox& control, QLineEdit& edit, BindingContext& context) : WidgetBinding(control, edit, context) {
    edit.setMaxLength(1 << 20);
    QObject::connect(&edit, &QLineEdit::textEdited, context.receiver, [&control, &context](const QString& text) {
      context.gate.Deliver([&] { control.SetByUser(ModelText(text)); });
    });
  }
  void UpdateWidget() override {
    WidgetBinding::UpdateWidget();
    const QString text = WholeText(control_.Text);
    if (widget_.text() != text) widget_.setText(text);
    if (selectAll_ != control_.SelectAll()) {
      selectAll_ = control_.SelectAll;
      widget_.setFocus();
      widget_.selectAll();
    }
  }

 private:
  int selectAll_ = 0;  // a request from before the form existed counts, too
};

class ComboBinding : public WidgetBinding<ComboBox, QComboBox> {
 public:
  ComboBinding(ComboBox& control, QComboBox& box, BindingContext& context) : WidgetBinding(control, box, context) {
    QObject::connect(&box, &QComboBox::activated, context.receiver, [&control, &box, &context](int index) {
      if (index >= 0 && static_cast<std::size_t>(index) < control.Items().size()) {
        control.ChooseByUser(index);
        return;
      }
      context.gate.Deliver([&] {
        control.Index = index;
        control.Text = ModelText(box.currentText());
      });
    });
    QObject::connect(&box, &QComboBox::editTextChanged, context.receiver, [&control, &context](const QString& text) {
      if (context.updatingWidgets) return;
      context.gate.Deliver([&] { control.Text = ModelText(text); });
    });
  }
  void UpdateWidget() override {
    WidgetBinding::UpdateWidget();
    if (!filled_ || shown_ != control_.Items()) {
      filled_ = true;
      shown_ = control_.Items;
      widget_.clear();
      for (const std::string& item : shown_) widget_.addItem(DisplayLine(item));
    }
    if (widget_.currentIndex() != control_.Index()) widget_.setCurrentIndex(control_.Index);
    if (widget_.isEditable() && widget_.currentText() != WholeText(control_.Text)) {
      widget_.setEditText(WholeText(control_.Text));
    }
  }

 private:
  bool filled_ = false;
  std::vector<std::string> shown_;
};

class FrameBinding : public WidgetBinding<Frame, QWidget> {
 public:
  using WidgetBinding::WidgetBinding;
  void UpdateWidget() override {
    WidgetBinding::UpdateWidget();
    if (auto* box = qobject_cast<QGroupBox*>(&widget_)) {
      const QString title = DisplayLine(control_.Caption);
      if (box->title() != title) box->setTitle(title);
    }
  }
};

class ListBoxBinding : public WidgetBinding<ListBox, QListWidget> {
 public:
  using WidgetBinding::WidgetBinding;
  void UpdateWidget() override {
    WidgetBinding::UpdateWidget();
    if (filled_ && shown_ == control_.Items()) return;
    filled_ = true;
    shown_ = control_.Items;
    widget_.clear();
    for (const std::string& item : shown_) widget_.addItem(DisplayLine(item));
  }

 private:
  bool filled_ = false;
  std::vector<std::string> shown_;
};

class BarBinding : public WidgetBinding<Shape, SegmentBar> {
 public:
  using WidgetBinding::WidgetBinding;
  void UpdateWidget() override {
    WidgetBinding::UpdateWidget();
    widget_.SetLength(control_.Width);
    widget_.SetColour(QColor::fromRgb(control_.FillColor));
  }
};

class SpeedChartBinding : public WidgetBinding<SpeedChart, SpeedGraph> {
 public:
  using WidgetBinding::WidgetBinding;
  void UpdateWidget() override {
    WidgetBinding::UpdateWidget();
    widget_.Show(control_.Speeds, DisplayLine(control_.Most));
    Say(widget_, control_.Words);
  }
};

class FileMapBinding : public WidgetBinding<FileMapChart, FileMapBar> {
 public:
  using WidgetBinding::WidgetBinding;
  void UpdateWidget() override {
    WidgetBinding::UpdateWidget();
    widget_.Show(control_.Held, control_.Awaited);
    Say(widget_, control_.Words);
  }
};

class PictureBinding : public WidgetBinding<Picture, IconLabel> {
 public:
  using WidgetBinding::WidgetBinding;
  void UpdateWidget() override {
    WidgetBinding::UpdateWidget();
    const QString name = WholeText(control_.Image);
    if (!name.isEmpty() && widget_.DrawingName() != name) widget_.setDrawing(name);
  }
};

class ProgressBinding : public WidgetBinding<ProgressBar, QProgressBar> {
 public:
  ProgressBinding(ProgressBar& control, QProgressBar& bar, BindingContext& context)
      : WidgetBinding(control, bar, context) {
    bar.setRange(0, kFull);
  }
  void UpdateWidget() override {
    WidgetBinding::UpdateWidget();
    const int full = control_.Busy ? 0 : kFull;  // a bar of Qt's without an end moves
    if (widget_.maximum() != full) widget_.setMaximum(full);
    const double percent = std::isfinite(control_.Value()) ? std::clamp(control_.Value(), 0.0, 100.0) : 0.0;
    const auto tenths = static_cast<int>(std::floor(percent * 10));
    // Formatted like captions, so that the window never shows two different figures.
    const std::string point = QLocale::system().decimalPoint().toStdString();
    QString text = QString::fromStdString(FormatPercent(percent, point)) + QStringLiteral("%");
    if (control_.Value() < 0) text.clear();
    if (widget_.value() == tenths && widget_.format() == text) return;
    // A bar of Qt's draws itself at once when it gets a value, and again for the text.
    widget_.setUpdatesEnabled(false);
    widget_.setValue(tenths);
    widget_.setFormat(text);
    widget_.setUpdatesEnabled(true);
  }

 private:
  static constexpr int kFull = 1000;
};

class SliderBinding : public WidgetBinding<Slider, QSlider> {
 public:
  SliderBinding(Slider& control, QSlider& slider, BindingContext& context) : WidgetBinding(control, slider, context) {
    QObject::connect(&slider, &QSlider::valueChanged, context.receiver, [&control, &context](int value) {
      if (!context.updatingWidgets) control.SetByUser(value);
    });
  }
  void UpdateWidget() override {
    WidgetBinding::UpdateWidget();
    if (widget_.value() != control_.Value()) widget_.setValue(control_.Value);
  }
};

class MenuBinding : public Binding {
 public:
  MenuBinding(Menu& control, QAction& action, bool opensMenu, BindingContext& context)
      : control_(control), action_(action) {
    if (opensMenu) return;
    QObject::connect(&action, &QAction::triggered, context.receiver, [&control, &action] {
      // The model sets the check mark; the click alone changes nothing.
      if (action.isCheckable()) action.setChecked(control.Checked);
      control.Click();
    });
  }
  void UpdateWidget() override {
    const QString caption = DisplayLine(control_.Caption);
    if (action_.text() != caption) action_.setText(caption);
    if (action_.isVisible() != control_.Visible()) action_.setVisible(control_.Visible);
    if (action_.isEnabled() != control_.Enabled()) action_.setEnabled(control_.Enabled);
    if (control_.Checked && !action_.isCheckable()) action_.setCheckable(true);
    if (action_.isChecked() != control_.Checked()) action_.setChecked(control_.Checked);
  }

 private:
  Menu& control_;
  QAction& action_;
};

template <class BindingType, class ControlType, class WidgetType>
std::unique_ptr<Binding> Tie(ControlType& control, QObject& object, BindingContext& context) {
  auto* widget = qobject_cast<WidgetType*>(&object);
  if (widget == nullptr) return nullptr;
  return std::make_unique<BindingType>(control, *widget, context);
}

std::unique_ptr<Binding> TieMenu(Menu& control, QObject& object, BindingContext& context) {
  if (auto* menu = qobject_cast<QMenu*>(&object)) {
    return std::make_unique<MenuBinding>(control, *menu->menuAction(), true, context);
  }
  auto* action = qobject_cast<QAction*>(&object);
  if (action == nullptr) return nullptr;
  return std::make_unique<MenuBinding>(control, *action, false, context);
}

}  // namespace

std::unique_ptr<Binding> Bind(Control& control, QObject& object, BindingContext& context) {
  if (auto* link = dynamic_cast<LinkLabel*>(&control))
    return Tie<LinkBinding, LinkLabel, FocusLabel>(*link, object, context);
  if (auto* label = dynamic_cast<Label*>(&control)) return Tie<LabelBinding, Label, QLabel>(*label, object, context);
  if (auto* button = dynamic_cast<CommandButton*>(&control)) {
    return Tie<ButtonBinding, CommandButton, QAbstractButton>(*button, object, context);
  }
  if (auto* box = dynamic_cast<CheckBox*>(&control)) {
    return Tie<CheckBinding<CheckBox>, CheckBox, QAbstractButton>(*box, object, context);
  }
  if (auto* option = dynamic_cast<OptionButton*>(&control)) {
    return Tie<CheckBinding<OptionButton>, OptionButton, QAbstractButton>(*option, object, context);
  }
  if (auto* text = dynamic_cast<TextBox*>(&control))
    return Tie<TextBinding, TextBox, QLineEdit>(*text, object, context);
  if (auto* combo = dynamic_cast<ComboBox*>(&control)) {
    return Tie<ComboBinding, ComboBox, QComboBox>(*combo, object, context);
  }
  if (auto* frame = dynamic_cast<Frame*>(&control)) return Tie<FrameBinding, Frame, QWidget>(*frame, object, context);
  if (auto* box = dynamic_cast<ListBox*>(&control)) {
    return Tie<ListBoxBinding, ListBox, QListWidget>(*box, object, context);
  }
  if (auto* shape = dynamic_cast<Shape*>(&control)) {
    auto bar = Tie<BarBinding, Shape, SegmentBar>(*shape, object, context);
    return bar ? std::move(bar) : Tie<WidgetBinding<Shape, QWidget>, Shape, QWidget>(*shape, object, context);
  }
  if (auto* line = dynamic_cast<Line*>(&control)) {
    return Tie<WidgetBinding<Line, QWidget>, Line, QWidget>(*line, object, context);
  }
  if (auto* picture = dynamic_cast<Picture*>(&control)) {
    auto icon = Tie<PictureBinding, Picture, IconLabel>(*picture, object, context);
    return icon ? std::move(icon) : Tie<WidgetBinding<Picture, QWidget>, Picture, QWidget>(*picture, object, context);
  }
  if (auto* chart = dynamic_cast<SpeedChart*>(&control)) {
    return Tie<SpeedChartBinding, SpeedChart, SpeedGraph>(*chart, object, context);
  }
  if (auto* map = dynamic_cast<FileMapChart*>(&control)) {
    return Tie<FileMapBinding, FileMapChart, FileMapBar>(*map, object, context);
  }
  if (auto* bar = dynamic_cast<ProgressBar*>(&control)) {
    return Tie<ProgressBinding, ProgressBar, QProgressBar>(*bar, object, context);
  }
  if (auto* slider = dynamic_cast<Slider*>(&control)) {
    return Tie<SliderBinding, Slider, QSlider>(*slider, object, context);
  }
  if (auto* menu = dynamic_cast<Menu*>(&control)) return TieMenu(*menu, object, context);
  if (auto* toolbar = dynamic_cast<Toolbar*>(&control)) return BindToolbar(*toolbar, object, context);
  if (auto* tabs = dynamic_cast<TabStrip*>(&control)) return BindTabStrip(*tabs, object, context);
  if (auto* bar = dynamic_cast<StatusBar*>(&control)) return BindStatusBar(*bar, object, context);
  if (auto* list = dynamic_cast<ListView*>(&control)) return BindListView(*list, object, context);
  if (auto* surface = dynamic_cast<MediaSurface*>(&control)) return BindPreview(*surface, object, context);
  return nullptr;
}

}  // namespace pellora
