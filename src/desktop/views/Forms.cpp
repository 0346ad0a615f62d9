#include "desktop/views/Forms.h"

#include <QColor>
#include <QDialog>
#include <QEvent>
#include <QFont>
#include <QLabel>
#include <QMainWindow>
#include <QPalette>
#include <QStyle>
#include <array>
#include <utility>
#include <vector>

#include "desktop/views/BasketForm.h"
#include "desktop/views/Icons.h"
#include "desktop/views/Spoken.h"
#include "desktop/views/Widgets.h"
#include "ui_AddList.h"
#include "ui_AskLine.h"
#include "ui_AskLogin.h"
#include "ui_AskUnpack.h"
#include "ui_DownloadBasket.h"
#include "ui_Extract.h"
#include "ui_Form1.h"
#include "ui_Form2.h"
#include "ui_LookInside.h"
#include "ui_MainWindow.h"
#include "ui_TransferWindow.h"
#include "ui_WantDown.h"
#include "ui_options.h"

namespace pellora {

namespace {

template <class Ui, class Root>
QWidget* Make() {
  auto* root = new Root;
  Ui().setupUi(root);
  return root;
}

struct Form {
  const char* typeName;
  QWidget* (*make)();
};

constexpr std::array<Form, 13> kForms = {{{"MainWindow", &Make<::Ui::MainWindow, QMainWindow>},
                                          {"TransferWindow", &Make<::Ui::TransferWindow, QWidget>},
                                          {"Form1", &Make<::Ui::Form1, QDialog>},
                                          {"AddList", &Make<::Ui::AddList, QDialog>},
                                          {"WantDown", &Make<::Ui::WantDown, QDialog>},
                                          {"AskLine", &Make<::Ui::AskLine, QDialog>},
                                          {"options", &Make<::Ui::options, QDialog>},
                                          {"DownloadBasket", &Make<::Ui::DownloadBasket, BasketForm>},
                                          {"Form2", &Make<::Ui::Form2, QWidget>},
                                          {"Extract", &Make<::Ui::Extract, QDialog>},
                                          {"AskLogin", &Make<::Ui::AskLogin, QDialog>},
                                          {"LookInside", &Make<::Ui::LookInside, QWidget>},
                                          {"AskUnpack", &Make<::Ui::AskUnpack, QDialog>}}};

// Themes that do not set PlaceholderText leave it black on a dark window.
void Dim(QWidget& widget) {
  QColor quiet = widget.palette().color(QPalette::WindowText);
  quiet.setAlphaF(0.6F);
  if (widget.palette().color(QPalette::PlaceholderText) == quiet) return;
  QPalette palette;
  palette.setColor(QPalette::PlaceholderText, quiet);
  widget.setPalette(palette);
}

// Dims a label relative to its neighbours on every palette, even after a change.
void KeepDim(QWidget& widget) {
  widget.setForegroundRole(QPalette::PlaceholderText);
  new EventWatcher(widget, QEvent::PaletteChange, &widget, [&widget] { Dim(widget); });  // owned by the widget
  Dim(widget);
}

// Qt mirrors a label by its text: Latin letters would stay at the left of a window that is laid out from right to left.
void MirrorWithWindow(QLabel& label) {
  const auto align = [&label, designed = label.alignment()] {
    label.setAlignment(QStyle::visualAlignment(label.layoutDirection(), designed) | Qt::AlignAbsolute);
  };
  new EventWatcher(label, QEvent::LayoutDirectionChange, &label, align);  // owned by the label
  align();
}

// Takes the Tab key's focus from all in a page while another one covers it.
class Cover : public QObject {
 public:
  Cover(QWidget& top, QWidget& page) : QObject(&top), page_(page) { top.installEventFilter(this); }

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Show) {
      for (QWidget* const widget : page_.findChildren<QWidget*>()) {
        if (widget->focusPolicy() == Qt::NoFocus) continue;
        policies_.push_back({widget, widget->focusPolicy()});
        widget->setFocusPolicy(Qt::NoFocus);
      }
    } else if (event->type() == QEvent::Hide) {
      for (const auto& [widget, policy] : std::exchange(policies_, {})) widget->setFocusPolicy(policy);
    }
    return false;
  }

 private:
  QWidget& page_;
  std::vector<std::pair<QWidget*, Qt::FocusPolicy>> policies_;
};

void ApplyCover(QWidget& widget) {
  auto* const page = widget.window()->findChild<QWidget*>(widget.property("covers").toString());
  if (page != nullptr && widget.property("covers").isValid()) new Cover(widget, *page);  // owned by the widget
}

void ApplyRole(QWidget& widget) {
  const QString role = widget.property("role").toString();
  if (role.isEmpty()) return;
  if (role == QLatin1String("dim")) {
    KeepDim(widget);
    return;
  }
  QFont font = widget.font();
  if (role == QLatin1String("link")) {
    font.setUnderline(true);
  } else {
    font.setBold(true);
  }
  if (role == QLatin1String("title")) font.setPointSizeF(font.pointSizeF() * 1.15);
  widget.setFont(font);
}

}  // namespace

QWidget* NewForm(const std::string& typeName) {
  DescribeWidgets();
  for (const Form& form : kForms) {
    if (typeName != form.typeName) continue;
    // Links in the drawings, which the form's actions use.
    const QIcon icon = Drawing(QStringLiteral("program"));
    QWidget* root = form.make();
    root->setWindowIcon(icon);
    for (QWidget* widget : root->findChildren<QWidget*>()) {
      ApplyRole(*widget);
      ApplyCover(*widget);
      if (auto* const label = qobject_cast<QLabel*>(widget)) MirrorWithWindow(*label);
    }
    return root;
  }
  return nullptr;
}

}  // namespace pellora
