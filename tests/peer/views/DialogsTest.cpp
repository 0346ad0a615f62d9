#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QProxyStyle>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include "Stage.h"
#include "desktop/DisplayText.h"
#include "desktop/views/ProgramStyle.h"
#include "desktop/views/QtDialogs.h"

namespace pellora {

namespace {

using testing_views::Stage;

class DialogsTest : public testing::Test {
 protected:
  QMessageBox* Ask(int style, const std::string& text = "Really?") {
    dialogs.Ask({text, "Title", style}, [this](int given) {
      answer = given;
      ++answers;
    });
    Stage::Settle();
    return qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
  }
  void Press(QMessageBox* box, QMessageBox::StandardButton button) {
    box->button(button)->click();
    Stage::Settle();
  }

  EventGate gate;
  QtDialogs dialogs{gate};
  int answer = -1;
  int answers = 0;
};

TEST_F(DialogsTest, ReturnTheNumberOfTheButton) {
  Press(Ask(kYesNo | kQuestion), QMessageBox::Yes);
  EXPECT_EQ(answer, kAnswerYes);
  Press(Ask(kYesNo | kQuestion), QMessageBox::No);
  EXPECT_EQ(answer, kAnswerNo);
  Press(Ask(kOkOnly | kCritical), QMessageBox::Ok);
  EXPECT_EQ(answer, kAnswerOk);
}

// Two keys in one batch of events both reach a box that the first one has closed.
TEST_F(DialogsTest, AnswerOnceToSeveralKeys) {
  QMessageBox* box = Ask(kOkOnly);
  box->button(QMessageBox::Ok)->click();
  box->done(QMessageBox::Ok);
  Stage::Settle();
  EXPECT_EQ(answers, 1);
}

TEST_F(DialogsTest, TreatEscapeAndFrameAsNoOrOk) {
  QTest::keyClick(Ask(kYesNo | kQuestion), Qt::Key_Escape);
  Stage::Settle();
  EXPECT_EQ(answer, kAnswerNo);
  answer = -1;
  Ask(kYesNo | kQuestion)->close();
  Stage::Settle();
  EXPECT_EQ(answer, kAnswerNo);
  answer = -1;
  Ask(kInformation)->close();
  Stage::Settle();
  EXPECT_EQ(answer, kAnswerOk);
}

TEST_F(DialogsTest, QuestionWithoutIconRequiresAButton) {
  QMessageBox* box = Ask(kYesNo);
  QTest::keyClick(box, Qt::Key_Escape);
  box->close();
  Stage::Settle();
  EXPECT_EQ(answer, -1);
  EXPECT_TRUE(box->isVisible());
  Press(box, QMessageBox::Yes);
  EXPECT_EQ(answer, kAnswerYes);
}

TEST_F(DialogsTest, ShowForeignTextLiterally) {
  QMessageBox* box = Ask(kOkOnly, "<b>bold</b> & co");
  EXPECT_EQ(box->textFormat(), Qt::PlainText);
  EXPECT_EQ(box->text(), QStringLiteral("<b>bold</b> & co"));
  Press(box, QMessageBox::Ok);
}

TEST_F(DialogsTest, WrapWordsOfAnyLength) {
  const std::string marks = "e\u0301\U0001F600";
  std::string marked;
  for (int at = 0; at < 300; ++at) marked += marks;
  for (const std::string& word : {std::string(1500, 'n'), marked}) {
    QMessageBox* const box = Ask(kOkOnly, "Pellora could not get " + word + " from the server.");
    const auto* const label = box->findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
    const QRect drawn = label->fontMetrics().boundingRect(label->contentsRect(), Qt::TextWordWrap, label->text());
    EXPECT_LE(drawn.width(), label->contentsRect().width());
    EXPECT_LE(drawn.height(), label->contentsRect().height() + 1);
    EXPECT_LE(box->width(), 640);
    QString text = box->text();
    EXPECT_FALSE(text.contains(QStringLiteral(u"\u200B\u0301")));
    EXPECT_EQ(text.remove(QChar(0x200B)),
              QString::fromStdString("Pellora could not get " + word + " from the server."));
    Press(box, QMessageBox::Ok);
  }
}

TEST_F(DialogsTest, LabelButtonsInTheProgramsLanguage) {
  dialogs.SetAnswerTexts([](int given) {
    return std::string(given == kAnswerYes ? "Ja" : given == kAnswerNo ? "Nein" : "");
  });
  QMessageBox* box = Ask(kYesNo | kQuestion);
  EXPECT_EQ(box->button(QMessageBox::Yes)->text(), QStringLiteral("&Ja"));
  EXPECT_EQ(box->button(QMessageBox::No)->text(), QStringLiteral("&Nein"));
  Press(box, QMessageBox::No);
  EXPECT_EQ(answer, kAnswerNo);
  box = Ask(kOkOnly);
  EXPECT_FALSE(box->button(QMessageBox::Ok)->text().isEmpty());
  Press(box, QMessageBox::Ok);
}

TEST_F(DialogsTest, LetOtherEventsRunWhileOpen) {
  QMessageBox* box = Ask(kYesNo | kQuestion);
  bool ran = false;
  QMetaObject::invokeMethod(
      box, [&ran] { ran = true; }, Qt::QueuedConnection);
  Stage::Settle();
  EXPECT_TRUE(ran);
  EXPECT_EQ(answer, -1);
  Press(box, QMessageBox::No);
}

TEST_F(DialogsTest, PostTheAnswerAfterTheClick) {
  QMessageBox* box = Ask(kYesNo | kQuestion);
  box->button(QMessageBox::Yes)->click();
  EXPECT_EQ(answer, -1);
  Stage::Settle();
  EXPECT_EQ(answer, kAnswerYes);
}

TEST_F(DialogsTest, SaveDialogSuggestsANameAndHidesNoFile) {
  std::optional<std::optional<std::string>> path;
  dialogs.AskSavePath({"Save as: a", "a", "All files (*.*)|*.*"},
                      [&path](const std::optional<std::string>& given) { path = given; });
  Stage::Settle();
  auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(dialog->acceptMode(), QFileDialog::AcceptSave);
  EXPECT_FALSE(dialog->testOption(QFileDialog::DontConfirmOverwrite));
  EXPECT_TRUE(dialog->selectedNameFilter().startsWith(QStringLiteral("All files (*.*)")));
  EXPECT_TRUE(dialog->selectedFiles().first().endsWith(QStringLiteral("/a")));
  const QTemporaryDir folder;
  dialog->setDirectory(folder.path());
  dialog->selectFile(QStringLiteral("a"));
  QMetaObject::invokeMethod(dialog, "accept");
  Stage::Settle();
  ASSERT_TRUE(path.has_value());
  EXPECT_EQ(*path, folder.filePath(QStringLiteral("a")).toStdString());
}

TEST_F(DialogsTest, CancelledSaveDialogReturnsNoPath) {
  std::optional<std::optional<std::string>> path;
  dialogs.AskSavePath({"Save", "a", ""}, [&path](const std::optional<std::string>& given) { path = given; });
  Stage::Settle();
  qobject_cast<QFileDialog*>(QApplication::activeModalWidget())->reject();
  Stage::Settle();
  ASSERT_TRUE(path.has_value());
  EXPECT_FALSE(path->has_value());
}

TEST_F(DialogsTest, FolderDialogReturnsAnExistingFolderOrNothing) {
  const QTemporaryDir folder;
  const std::string path = folder.path().toStdString();
  for (const bool accepted : {true, false}) {
    std::optional<std::string> chosen = "unanswered";
    dialogs.AskFolder({"Title", path}, [&](std::optional<std::string> given) { chosen = std::move(given); });
    Stage::Settle();
    auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->fileMode(), QFileDialog::Directory);
    EXPECT_EQ(dialog->directory().absolutePath(), folder.path());
    QMetaObject::invokeMethod(dialog, accepted ? "accept" : "reject");
    Stage::Settle();
    EXPECT_EQ(chosen, accepted ? std::optional(path) : std::nullopt);
  }
}

TEST_F(DialogsTest, FolderDialogStartsAtHomeIfItsFolderIsMissing) {
  dialogs.AskFolder({"Title", "no/such"}, [](const std::optional<std::string>&) {});
  Stage::Settle();
  auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(dialog->directory().absolutePath(), QDir(QDir::homePath()).absolutePath());
}

// A style that puts icons on buttons, as some desktops do.
class PictureStyle : public QProxyStyle {
 public:
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* data) const override {
    return hint == SH_DialogButtonBox_ButtonsHaveIcons ? 1 : QProxyStyle::styleHint(hint, option, widget, data);
  }
};

TEST_F(DialogsTest, ShowNoStyleIconsOnTheirButtons) {
  QApplication::setStyle(new PictureStyle);  // owned by the application
  for (const int style : {kYesNo | kQuestion, kOkOnly | kCritical}) {
    QMessageBox* box = Ask(style);
    for (const QAbstractButton* button : box->buttons()) EXPECT_TRUE(button->icon().isNull());
    QTest::keyClick(box, Qt::Key_Return);
    Stage::Settle();
  }
  QApplication::setStyle(new ProgramStyle);  // likewise; as it was
}

TEST_F(DialogsTest, AreWideEnoughForTitleAndFrameButtons) {
  for (const std::string title : {"Pellora !", "A title that is longer than what the box says"}) {
    dialogs.Ask({"found", title, kOkOnly}, [](int) {});
    Stage::Settle();
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    ASSERT_NE(box, nullptr);
    EXPECT_GE(box->width(), box->fontMetrics().horizontalAdvance(QString::fromStdString(title)) + 150);
    Press(box, QMessageBox::Ok);
  }
}

TEST_F(DialogsTest, KeepTheQuestionAfterAnyText) {
  const std::string question = "Would you want to download this new version ?";
  for (const std::size_t length : {1000U, 30000U}) {
    QMessageBox* box = Ask(kYesNo | kQuestion, "Notes" + std::string(length, 'n') + "\r\n\r\n" + question);
    EXPECT_TRUE(box->text().startsWith(QStringLiteral("Notesnn")));
    EXPECT_TRUE(box->text().endsWith(QString::fromStdString(question))) << length;
    EXPECT_LE(box->text().remove(QChar(0x200B)).size(), kMaxMessageLength + 1);
    Press(box, QMessageBox::Yes);
  }
}

TEST_F(DialogsTest, FitOnTheScreenWithAnyText) {
  const std::string question = "Would you want to download this new version ?";
  const int screen = QGuiApplication::primaryScreen()->availableSize().height();
  std::string wide;  // letters twice as wide as others
  for (int at = 0; at < 3000; ++at) wide += "\u4E2D";
  std::string lines;
  for (int at = 0; at < 1000; ++at) lines += "line\n";
  for (const std::string& text : {wide, lines, std::string(1000, '\n')}) {
    QMessageBox* const box = Ask(kYesNo | kQuestion, "Notes" + text + question);
    EXPECT_LE(box->frameGeometry().height(), screen);
    EXPECT_TRUE(box->text().startsWith(QStringLiteral("Notes")));
    EXPECT_TRUE(box->text().remove(QChar(0x200B)).endsWith(QString::fromStdString(question)));
    Press(box, QMessageBox::Yes);
  }
}

TEST_F(DialogsTest, ShowOneBlankLineOfMany) {
  QMessageBox* const box = Ask(kOkOnly, "Notes" + std::string(1000, '\n') + "end");
  EXPECT_EQ(box->text(), QStringLiteral("Notes\n\nend"));
  EXPECT_LE(box->frameGeometry().height(), QGuiApplication::primaryScreen()->availableSize().height());
  Press(box, QMessageBox::Ok);
}

TEST_F(DialogsTest, CutDrawnTextButNotTheSuggestedName) {
  const std::string name(3000, 'n');
  dialogs.AskSavePath({"Save as: " + name, name, ""}, [](const std::optional<std::string>&) {});
  Stage::Settle();
  auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(dialog->windowTitle().size(), kMaxDrawnLength + 1);
  EXPECT_TRUE(dialog->selectedFiles().first().endsWith(QString::fromStdString("/" + name)));
  dialog->reject();
  Stage::Settle();
}

TEST_F(DialogsTest, WarningShowsAWarningIcon) {
  const QPixmap warning = Ask(kWarning)->iconPixmap();
  EXPECT_FALSE(warning.isNull());
}

}  // namespace

}  // namespace pellora
