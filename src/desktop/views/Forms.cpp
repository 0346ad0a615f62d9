#include "desktop/views/Forms.h"

#include <QDialog>
#include <QFont>
#include <QMainWindow>
#include <QPalette>
#include <array>

#include "desktop/views/Icons.h"
#include "ui_Form1.h"
#include "ui_MainWindow.h"
#include "ui_TransferWindow.h"
#include "ui_WantDown.h"

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

constexpr std::array<Form, 4> kForms = {{{"MainWindow", &Make<::Ui::MainWindow, QMainWindow>},
                                         {"TransferWindow", &Make<::Ui::TransferWindow, QWidget>},
                                         {"Form1", &Make<::Ui::Form1, QDialog>},
                                         {"WantDown", &Make<::Ui::WantDown, QDialog>}}};

void ApplyRole(QWidget& widget) {
  const QString role = widget.property("role").toString();
  if (role.isEmpty()) return;
  if (role == QLatin1String("dim")) {
    widget.setForegroundRole(QPalette::PlaceholderText);
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
  for (const Form& form : kForms) {
    if (typeName != form.typeName) continue;
    // Asked for before the form, which names the drawings in its actions.
    const QIcon icon = Drawing(QStringLiteral("program"));
    QWidget* root = form.make();
    root->setWindowIcon(icon);
    for (QWidget* widget : root->findChildren<QWidget*>()) ApplyRole(*widget);
    return root;
  }
  return nullptr;
}

}  // namespace pellora
