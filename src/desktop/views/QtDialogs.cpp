#include "desktop/views/QtDialogs.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCloseEvent>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QGridLayout>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QStandardPaths>
#include <QTextBoundaryFinder>
#include <QTimer>
#include <algorithm>
#include <array>
#include <utility>

#include "desktop/DisplayText.h"
#include "desktop/views/Icons.h"
#include "desktop/views/WindowPlace.h"
#include "ports/Dialogs.h"

namespace pellora {

namespace {

// A message box that may require an answer by one of its buttons.
class Box : public QMessageBox {
 public:
  explicit Box(bool requiresAnswer) : requiresAnswer_(requiresAnswer) {}

 protected:
  void closeEvent(QCloseEvent* event) override {
    if (requiresAnswer_) {
      event->ignore();
    } else {
      QMessageBox::closeEvent(event);
    }
  }
  void keyPressEvent(QKeyEvent* event) override {
    if (!requiresAnswer_ || !event->matches(QKeySequence::Cancel)) QMessageBox::keyPressEvent(event);
  }

 private:
  bool requiresAnswer_;
};

QString DrawingOf(int style) {
  switch (style & 0x70) {
    case kCritical:
      return QStringLiteral("critical");
    case kQuestion:
      return QStringLiteral("question");
    case kWarning:
      return QStringLiteral("warning");
    case kInformation:
      return QStringLiteral("information");
    default:
      return {};
  }
}

// Widens a box that is too narrow for its title, which the desktop shows between the frame's buttons.
void FitTitle(QMessageBox& box) {
  constexpr int kFrameButtons = 180;
  constexpr int kWidest = 480;
  auto* const grid = qobject_cast<QGridLayout*>(box.layout());
  if (grid == nullptr) return;
  const int title = box.fontMetrics().horizontalAdvance(box.windowTitle());
  grid->addItem(new QSpacerItem(std::min(title + kFrameButtons, kWidest), 0), grid->rowCount(), 0, 1,
                grid->columnCount());
}

// With places in long words, such as addresses, at which a box can wrap them.
QString Wrappable(const QString& text) {
  constexpr qsizetype kLongest = 40;
  QString wrappable;
  qsizetype begin = 0;  // of what cannot be wrapped
  QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
  for (qsizetype at = 0, next = finder.toNextBoundary(); next > at; at = next, next = finder.toNextBoundary()) {
    if (text.at(at).isSpace() || text.at(at) == u'/') begin = next;  // wraps there anyway
    if (next - begin > kLongest && at > begin) {
      wrappable += QChar(0x200B);  // a blank without a width
      begin = at;
    }
    wrappable += QStringView(text).sliced(at, next - at);
  }
  return wrappable;
}

// With one blank line at most after each other line: blank ones would push out what is to be read.
std::string WithoutGaps(const std::string& text) {
  std::string dense;
  for (const char c : text) {
    if (c != '\n' || !dense.ends_with("\n\n")) dense += c;
  }
  return dense;
}

// As much of a text as leaves the buttons below it on the screen of the window in use, over which the box opens.
QString FittingText(const QMessageBox& box, const std::string& text) {
  constexpr qsizetype kShortest = 80;
  constexpr int kWidest = 400;  // beside the icon
  const QWidget* const active = QApplication::activeWindow();
  const QSize screen = (active == nullptr ? &box : active)->screen()->availableSize();
  const int buttons = box.fontMetrics().height() * 5;  // and what is around them
  const QRect room(0, 0, std::min(kWidest, screen.width() / 2 - 100), screen.height() - kFrame.height() - buttons);
  const std::string dense = WithoutGaps(text);
  qsizetype longest = kMaxMessageLength;
  QString shown = Wrappable(DisplayMessage(dense, longest));
  while (longest > kShortest &&
         box.fontMetrics().boundingRect(room, Qt::TextWordWrap, shown).height() > room.height()) {
    longest -= longest / 8;
    shown = Wrappable(DisplayMessage(dense, longest));
  }
  return shown;
}

// The style's own icons on buttons match no other icon here.
void RemoveButtonIcons(const QDialog& dialog) {
  for (const QDialogButtonBox* answers : dialog.findChildren<QDialogButtonBox*>()) {
    for (QAbstractButton* answer : answers->buttons()) answer->setIcon(QIcon());
  }
}

// "description|pattern" as Qt takes it. The description is kept; every name matches, since "*.*" would hide names
// without a dot.
QString NameFilter(const std::string& filter) {
  QString description = DisplayLine(filter);
  description.truncate(description.indexOf(u'|') < 0 ? description.size() : description.indexOf(u'|'));
  return description.isEmpty() ? QString() : description + QStringLiteral(" (*)");
}

}  // namespace

QtDialogs::QtDialogs(EventGate& gate) : gate_(gate) {}

QtDialogs::~QtDialogs() {
  for (const QPointer<QDialog>& dialog : open_) {
    if (!dialog) continue;
    dialog->disconnect(this);
    delete dialog;
  }
}

void QtDialogs::Ask(const BoxRequest& request, std::function<void(int answer)> answered) {
  const bool question = (request.style & 0x0F) == kYesNo;
  auto* box = new Box(request.style == kYesNo);
  box->setTextFormat(Qt::PlainText);
  const QIcon icon = Drawing(DrawingOf(request.style));
  if (!icon.isNull()) box->setIconPixmap(icon.pixmap(QSize(44, 44), box->devicePixelRatioF()));
  box->setWindowTitle(DisplayLine(request.title));
  box->setText(FittingText(*box, request.text));
  box->setStandardButtons(question ? QMessageBox::Yes | QMessageBox::No : QMessageBox::Ok);
  SetButtonCaptions(*box);
  FitTitle(*box);
  box->setDefaultButton(question ? QMessageBox::Yes : QMessageBox::Ok);
  // Once: a second key in the same batch of events still reaches the box that the first one has closed.
  connect(
      box, &QDialog::finished, this,
      [this, question, answered = std::move(answered)](int result) {
        int answer = kAnswerOk;
        if (question) answer = result == QMessageBox::Yes ? kAnswerYes : kAnswerNo;
        Post([answered, answer] { answered(answer); });
      },
      Qt::SingleShotConnection);
  Open(*box);
}

void QtDialogs::SetButtonCaptions(QMessageBox& box) const {
  if (!answerTexts_) return;
  constexpr std::array<std::pair<QMessageBox::StandardButton, int>, 3> kAnswers{
      {{QMessageBox::Ok, kAnswerOk}, {QMessageBox::Yes, kAnswerYes}, {QMessageBox::No, kAnswerNo}}};
  for (const auto& [button, answer] : kAnswers) {
    const QString text = DisplayLine(answerTexts_(answer));
    QAbstractButton* const key = box.button(button);
    if (key == nullptr || text.isEmpty()) continue;
    // The first letter answers a question, as in the desktop's own boxes; it differs in every language.
    key->setText(button == QMessageBox::Ok ? text : u'&' + text);
  }
}

// While a menu of Qt's own is open, such as that of the headings in a file dialog, it lives on the stack of its
// handler.
void QtDialogs::DeleteWithoutMenus(QDialog& dialog) {
  constexpr int kAgainMilliseconds = 50;
  QWidget* const menu = QApplication::activePopupWidget();
  if (menu == nullptr) return dialog.deleteLater();
  menu->close();
  QTimer::singleShot(kAgainMilliseconds, &dialog, [&dialog] { DeleteWithoutMenus(dialog); });
}

void QtDialogs::AskSavePath(const SaveRequest& request, std::function<void(std::optional<std::string> path)> answered) {
  auto* dialog = new QFileDialog(nullptr, DisplayLine(request.title));
  dialog->setAcceptMode(QFileDialog::AcceptSave);
  dialog->setFileMode(QFileDialog::AnyFile);
  dialog->setOption(QFileDialog::HideNameFilterDetails);
  dialog->setNameFilter(NameFilter(request.filter));
  dialog->setDirectory(QStandardPaths::writableLocation(QStandardPaths::DownloadLocation));
  dialog->selectFile(WholeLine(request.proposal));
  OpenFileDialog(*dialog, std::move(answered));
}

void QtDialogs::AskFolder(const FolderRequest& request,
                          std::function<void(std::optional<std::string> folder)> answered) {
  auto* dialog = new QFileDialog(nullptr, DisplayLine(request.title));
  dialog->setFileMode(QFileDialog::Directory);
  dialog->setOption(QFileDialog::ShowDirsOnly);
  const QString start = QFile::decodeName(QByteArray::fromStdString(request.start));
  dialog->setDirectory(QDir(start).exists() && QDir::isAbsolutePath(start)
                           ? start
                           : QStandardPaths::writableLocation(QStandardPaths::HomeLocation));
  OpenFileDialog(*dialog, std::move(answered));
}

void QtDialogs::OpenFileDialog(QFileDialog& dialog, std::function<void(std::optional<std::string> path)> answered) {
  connect(
      &dialog, &QDialog::finished, this,
      [this, &dialog, answered = std::move(answered)](int result) {
        std::optional<std::string> path;
        const QStringList files = dialog.selectedFiles();
        if (result == QDialog::Accepted && !files.isEmpty()) path = QFile::encodeName(files.first()).toStdString();
        Post([answered, path] { answered(path); });
      },
      Qt::SingleShotConnection);
  Open(dialog);
}

void QtDialogs::Open(QDialog& dialog) {
  std::erase_if(open_, [](const QPointer<QDialog>& known) { return known.isNull(); });
  open_.emplace_back(&dialog);
  connect(&dialog, &QDialog::finished, &dialog, [&dialog] { DeleteWithoutMenus(dialog); });
  dialog.setWindowIcon(Drawing(QStringLiteral("program")));
  // Blocks input to the whole program; show() returns at once.
  dialog.setWindowModality(Qt::ApplicationModal);
  RemoveButtonIcons(dialog);
  PlaceOverActiveWindow(dialog, dialog.sizeHint());
  dialog.show();
}

void QtDialogs::Post(std::function<void()> answer) {
  QMetaObject::invokeMethod(
      this, [this, answer = std::move(answer)] { gate_.Deliver(answer); }, Qt::QueuedConnection);
}

}  // namespace pellora
