// Draws every window with sample contents, light and dark, and writes the pictures to a folder:
// views_pictures FOLDER
#include <QApplication>
#include <QDir>
#include <QMenu>
#include <QMessageBox>
#include <QPalette>
#include <QPixmap>
#include <QStyleFactory>
#include <cmath>
#include <cstdio>

#include "AppStage.h"
#include "OptionsStage.h"
#include "Samples.h"
#include "Stage.h"
#include "TestArchive.h"
#include "ZipStage.h"
#include "app/NewTransferWindow.h"
#include "archive/ArchiveReader.h"
#include "async/TaskLoop.h"
#include "core/WebTexts.h"
#include "desktop/views/QtDialogs.h"
#include "lang/Language.h"
#include "mainwin/AskLine.h"
#include "mainwin/Form1.h"
#include "transferwin/AskLogin.h"
#include "transferwin/TransferWindow.h"
#include "zipview/Extract.h"
#include "zipview/LookInside.h"

namespace {

using namespace pellora;
using namespace pellora::testing_views;

QPalette Dark() {
  QPalette palette;
  const QColor window(0x2b, 0x2d, 0x31);
  const QColor base(0x22, 0x24, 0x28);
  const QColor text(0xe4, 0xe6, 0xea);
  palette.setColor(QPalette::Window, window);
  palette.setColor(QPalette::WindowText, text);
  palette.setColor(QPalette::Base, base);
  palette.setColor(QPalette::AlternateBase, QColor(0x27, 0x29, 0x2d));
  palette.setColor(QPalette::Text, text);
  palette.setColor(QPalette::Button, QColor(0x35, 0x38, 0x3d));
  palette.setColor(QPalette::ButtonText, text);
  palette.setColor(QPalette::BrightText, Qt::white);
  palette.setColor(QPalette::Highlight, QColor(0x2f, 0x7f, 0xd6));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::PlaceholderText, QColor(0xe4, 0xe6, 0xea, 150));
  palette.setColor(QPalette::ToolTipBase, base);
  palette.setColor(QPalette::ToolTipText, text);
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, QColor(0x80, 0x84, 0x8a));
  }
  return palette;
}

class Painter {
 public:
  Painter(const QString& folder, const QString& theme) : folder_(folder), theme_(theme) {}

  void Save(QWidget& widget, const QString& name) {
    Stage::Settle();
    const QString path = folder_ + QLatin1Char('/') + name + QLatin1Char('-') + theme_ + QStringLiteral(".png");
    if (!widget.grab().save(path)) failed = true;
    std::printf("%s %dx%d\n", qPrintable(path), widget.width(), widget.height());
  }
  void SaveWindow(const Window& window, const QString& name) {
    Stage::Settle();
    if (QWidget* form = Stage::Form(window)) {
      Save(*form, name);
    } else {
      failed = true;
    }
  }

  bool failed = false;

 private:
  QString folder_;
  QString theme_;
};

void DrawTransfer(Stage& stage, Painter& painter) {
  const auto window = std::make_shared<SampleTransfer>(stage.platform);
  window->Show();
  Stage::Settle();
  window->FillRunning();
  painter.SaveWindow(*window, QStringLiteral("transfer-long"));
  window->KeepRows(4);
  painter.SaveWindow(*window, QStringLiteral("transfer-four"));
  window->Height = 167;
  window->Command4.Caption = "Show Details";
  painter.SaveWindow(*window, QStringLiteral("transfer-short"));
  window->Unload();
  Stage::Settle();
}

void DrawMain(Stage& stage, Painter& painter) {
  const auto window = std::make_shared<SampleMain>(stage.platform);
  window->Fill();
  window->Show();
  painter.SaveWindow(*window, QStringLiteral("main"));
  window->ShowPane(true, 1);
  window->Width = 715;
  window->Height = 534;
  painter.SaveWindow(*window, QStringLiteral("main-pane"));
  window->ShowPane(true, 0);
  painter.SaveWindow(*window, QStringLiteral("main-preview"));
  for (const char* name : {"mFile", "mActions", "mOpt", "popup", "pop2"}) {
    auto* menu = Stage::Form(*window)->findChild<QMenu*>(QLatin1String(name));
    if (menu == nullptr) continue;
    menu->popup(QPoint(20, 20));
    painter.Save(*menu, QStringLiteral("menu-") + QLatin1String(name));
    menu->close();
  }
  window->Unload();
  Stage::Settle();
}

void DrawZip(Painter& painter) {
  ZipStage stage;
  stage.List(SampleMembers());
  Form2& viewer = *stage.viewer;
  painter.SaveWindow(viewer, QStringLiteral("zip"));
  viewer.Option1.SetByUser(true);
  for (const char* folder : {"+pellora-5.2", "+docs"}) {
    for (std::size_t at = 0; at < viewer.ListView1.Rows().size(); ++at) {
      if (viewer.ListView1.Rows()[at].text != folder) continue;
      painter.SaveWindow(viewer, QStringLiteral("zip-folder"));
      viewer.ListView1.SelectByUser({at});
      viewer.ListView1.DoubleClick();
      break;
    }
  }
  viewer.Option2.SetByUser(true);
  viewer.Option5.SetByUser(true);
  painter.SaveWindow(viewer, QStringLiteral("zip-icons"));
  viewer.Option6.SetByUser(true);
  painter.SaveWindow(viewer, QStringLiteral("zip-small"));
  viewer.Option3.SetByUser(true);
  painter.SaveWindow(viewer, QStringLiteral("zip-list"));
  viewer.Command1.Click();
  painter.SaveWindow(*viewer.ExtractDialog, QStringLiteral("extract"));
}

void DrawDialogs(Stage& stage, Painter& painter) {
  const auto add = std::make_shared<SampleForm1>(stage.platform);
  add->Text1.Text = "http://files.example.com/pub/releases/archive-2026-11.zip";
  add->Show();
  painter.SaveWindow(*add, QStringLiteral("add"));
  add->Unload();
  const auto want = std::make_shared<SampleWantDown>(stage.platform);
  want->Label2.Caption = "http://files.example.com/pub/releases/2026/november/a-rather-long-name-of-an-archive.zip";
  want->Show();
  painter.SaveWindow(*want, QStringLiteral("question"));
  want->Unload();
  Stage::Settle();
  QtDialogs dialogs(stage.gate);
  dialogs.Ask({"Do you want to quit Pellora? Running downloads are paused and can be resumed later.", "Pellora !",
               kYesNo | kQuestion},
              [](int) {});
  Stage::Settle();
  if (QWidget* box = QApplication::activeModalWidget()) painter.Save(*box, QStringLiteral("box"));
}

Task<> AskAndForget(std::shared_ptr<AskLine> window, LineQuestion question) {
  (void)co_await window->Ask(std::move(question));
}

// `language` is a file of the program's.
void Speak(AppStage& stage, const char* language) {
  QFile file(QStringLiteral(PELLORA_LANGUAGES "/%1.txt").arg(QLatin1String(language)));
  if (file.open(QIODevice::ReadOnly)) {
    stage.sim.disk().Put("/prog/chosen.txt", SimContent(file.readAll().toStdString()));
  }
  stage.Do([&] { LoadLanguage(stage.app->program(), "chosen"); });
}

// As long as it gets: every line is there.
void DrawAskLogin(Painter& painter, const char* language) {
  AppStage stage;
  Speak(stage, language);
  Program& program = stage.app->program();
  AskLogin::Question question;
  question.reason = TextOf(program, WebText::WrongLogin);
  question.where = "http://downloads.archive.example.com:8080";
  question.realm = "Members of the archive only: ask the office for a user name";
  question.user = "joe";
  question.unencrypted = question.canRemember = true;
  const auto window = std::make_shared<AskLogin>(program, question);
  stage.Do([&] { window->Show(); });
  painter.SaveWindow(*window, QStringLiteral("ask-login-%1").arg(QLatin1String(language)));
  stage.Do([&] { window->Unload(); });
}

void DrawAddFold(Painter& painter, const char* language) {
  AppStage stage;
  Speak(stage, language);
  stage.platform.downloadFiles = &stage.sim.downloadFiles();
  stage.sim.downloadFiles().SetRoom(52'000'000'000);
  Form1& form = *stage.Main().form1;
  stage.Do([&] { stage.Main().RunAction(MainWindow::kAdd); });
  stage.Do([&] {
    form.Text1.SetByUser("https://files.example.com/pub/releases/archive-2026-11.zip");
    form.Check1.SetByUser(true);
  });
  stage.sim.RunFor(100);
  painter.SaveWindow(form, QStringLiteral("add-fold-%1").arg(QLatin1String(language)));
  stage.Do([&] { form.Unload(); });
}

void DrawAskLine(Painter& painter, const char* language, const LineQuestion& question) {
  AppStage stage;
  Speak(stage, language);
  AskLine& window = *stage.Main().askLine;
  stage.Do([&] { stage.sim.tasks().Spawn(AskAndForget(stage.Main().askLine, question)); });
  painter.SaveWindow(window, QStringLiteral("ask-line-%1").arg(QLatin1String(language)));
  stage.Do([&] { window.Text1.SetByUser("nowhere"); });
  stage.Do([&] { window.Command1.Click(); });
  painter.SaveWindow(window, QStringLiteral("ask-line-refused-%1").arg(QLatin1String(language)));
  stage.Do([&] { window.Unload(); });
}

// One archive, read at once.
class SampleArchives final : public RemoteArchives {
 public:
  std::unique_ptr<ArchiveInquiry> Read(const std::string&, const WebAdd&, std::function<void(const std::string& state)>,
                                       std::function<void(const ArchiveReading& reading)> done) override {
    TestArchive archive{
        .entries = {
            File("pellora-5.2/README.txt", 1482, 3920), File("pellora-5.2/setup.bin", 3188210, 3411968),
            File("pellora-5.2/docs/manual.pdf", 801234, 934511), File("pellora-5.2/docs/images/main.png", 62011, 62011),
            File("pellora-5.2/src/old-sources.tar.gz", 120334, 120310), File("pellora-5.2/keys.txt", 412, 400, 1),
            File("../outside.txt", 12, 10), File("pellora-5.2/sounds/finished.ogg", 30412, 31008, 0, 97)}};
    const std::string bytes = archive.Bytes();
    ArchiveReader reader(static_cast<std::int64_t>(bytes.size()));
    while (const std::optional<Range> wanted = reader.Wants()) {
      reader.Take(bytes.substr(static_cast<std::size_t>(wanted->begin), static_cast<std::size_t>(wanted->Length())));
    }
    ArchiveReading reading;
    FileFacts facts;
    facts.total = static_cast<std::int64_t>(bytes.size());
    reading.contents = std::make_shared<ArchiveContents>(ArchiveContents{"a.zip", facts, reader.TakeDirectory()});
    done(reading);
    return std::make_unique<ArchiveInquiry>();
  }

 private:
  static TestEntry File(const std::string& name, std::size_t packed, std::uint32_t size, std::uint16_t flags = 0,
                        std::uint16_t method = 8) {
    return {.name = name, .data = std::string(packed, 'x'), .size = size, .flags = flags, .method = method};
  }
};

void DrawLookInside(Painter& painter, const char* language) {
  const auto name = [&](const char* picture) {
    return QLatin1String(picture) + QLatin1Char('-') + QLatin1String(language);
  };
  AppStage stage;
  Speak(stage, language);
  SampleArchives archives;
  Program& program = stage.app->program();
  const ArchiveLook look{.url = "https://files.example.com/pub/releases/2026/november/pellora-5.2-complete.zip"};
  const auto window = std::make_shared<LookInside>(program, archives, look, LookActions{});
  stage.Do([&] { window->Start(); });
  stage.Do([&] { window->ListView1.SelectByUser({1, 2, 3}); });
  painter.SaveWindow(*window, name("look-inside"));
  window->Width = 620;
  window->Height = 380;
  stage.Do([&] {
    window->Text1.SetByUser("*s*");
    window->Option1.SetByUser(true);
  });
  painter.SaveWindow(*window, name("look-inside-small"));
  stage.Do([&] { window->Unload(); });
  for (const auto& [existing, password] : {std::pair(true, true), std::pair(true, false), std::pair(false, true)}) {
    const auto question = std::make_shared<AskUnpack>(program, existing, password);
    stage.Do([&] { question->Show(); });
    painter.SaveWindow(*question, name("ask-unpack") + (existing ? QStringLiteral("-existing") : QString()) +
                                      (password ? QStringLiteral("-password") : QString()));
    stage.Do([&] { question->Unload(); });
  }
}

void DrawCharts(Painter& painter, const char* language) {
  AppStage stage;
  Speak(stage, language);
  const auto window = NewTransferWindow(stage.app->program(), 0);
  stage.Do([&] { window->Show(); });
  stage.Do([&] {
    window->showgraph.Click();
    std::vector<float> speeds;
    for (int step = 0; step < 100; ++step) {
      speeds.push_back(step > 40 && step < 46 ? 0.0F : 2.0e6F + 4.0e5F * std::sin(static_cast<float>(step) / 5));
    }
    window->Graph1.Speeds = speeds;
    window->Graph1.Most = "2.29 mb/s";
    window->Map1.Visible = true;
    window->Map1.Held = std::vector<MapSpan>{{0, 0.18}, {0.25, 0.31}, {0.5, 0.66}, {0.75, 0.79}, {0.9, 0.901}};
    window->Map1.Awaited = std::vector<MapSpan>{{0.18, 0.25}, {0.31, 0.5}, {0.66, 0.75}, {0.79, 0.9}};
  });
  painter.SaveWindow(*window, QStringLiteral("transfer-graph-") + QLatin1String(language));
  stage.Do([&] { window->Unload(); });
}

void DrawFilter(Painter& painter, const char* language) {
  AppStage stage;
  Speak(stage, language);
  Program& program = stage.app->program();
  for (const char* const name : {"debian-12.8.iso", "archive.zip", "mint-22.iso"}) {
    const auto index = static_cast<std::int16_t>(program.DownloadCount + 1);
    program.ResizeDownloads(index);
    DownloadRecord& record = program.Download(index);
    record.Segments.resize(1);
    record.FileName = name;
    record.URL = std::string("http://mirror.example.com/") + name;
    record.Host = "mirror.example.com";
    record.FileSize = 700'000'000 - index * 1'000'000;
    record.DateAdded = 46000.5;
    record.InUse = record.Valid = true;
    program.RaiseSerial(index);
  }
  stage.Do([&] {
    MainWindow& main = stage.Main();
    main.RefreshRows(kAllRows, kForced);
    main.findrows.Click();
    main.FilterText.SetByUser("iso");
    main.ListView1.ArrangeBy(ColumnOrder{2, true});
  });
  painter.SaveWindow(stage.Main(), QStringLiteral("main-filter-") + QLatin1String(language));
  auto* const menu = stage.Find<QMenu>(stage.Main(), "headings");
  menu->popup(QPoint(10, 10));
  painter.Save(*menu, QStringLiteral("menu-headings-") + QLatin1String(language));
  menu->close();
}

void DrawOptions(Painter& painter, const char* language, const QLocale& locale) {
  OptionsStage options(QStringLiteral(PELLORA_LANGUAGES));
  options.locale.locale = locale;
  options.SetLanguage(language);
  options.Show();
  for (int page = 0; page < 5; ++page) {
    options.window->TabStrip1.SelectByUser(page);
    painter.SaveWindow(*options.window, QStringLiteral("options-%1-%2").arg(QLatin1String(language)).arg(page + 1));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral(".");
  QDir().mkpath(folder);
  bool failed = false;
  const QPalette light = QApplication::palette();
  for (const bool dark : {false, true}) {
    QApplication::setPalette(dark ? Dark() : light);
    Stage stage;
    Painter painter(folder, dark ? QStringLiteral("dark") : QStringLiteral("light"));
    DrawTransfer(stage, painter);
    DrawMain(stage, painter);
    DrawDialogs(stage, painter);
    DrawAskLine(painter, "english",
                {"Change address", "New address of archive-2026-11.zip :",
                 "https://files.example.com/pub/releases/2026/november/archive-2026-11.zip",
                 [](const std::string&) { return "This is not an address that Pellora can download."; }});
    DrawAskLine(painter, "german",
                {"Adresse \u00e4ndern", "Neue Adresse von archiv-2026-11.zip :",
                 "https://dateien.example.com/archiv-2026-11.zip", [](const std::string&) {
                   return "Dies ist keine Adresse, die Pellora herunterladen kann. Sie muss einen Server nennen und "
                          "kann einen Port und einen Pfad enthalten.";
                 }});
    for (const char* const language : {"english", "german"}) {
      DrawAskLogin(painter, language);
      DrawAddFold(painter, language);
      DrawLookInside(painter, language);
      DrawCharts(painter, language);
      DrawFilter(painter, language);
    }
    DrawOptions(painter, "english", QLocale(QLocale::English, QLocale::UnitedStates));
    DrawOptions(painter, "german", QLocale(QLocale::German, QLocale::Germany));
    DrawZip(painter);
    failed = failed || painter.failed;
  }
  return failed ? 1 : 0;
}
