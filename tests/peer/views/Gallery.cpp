#include "Gallery.h"

#include <QApplication>
#include <QFile>
#include <QMenu>
#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "AppStage.h"
#include "OptionsStage.h"
#include "Stage.h"
#include "TestArchive.h"
#include "ZipStage.h"
#include "app/NewTransferWindow.h"
#include "archive/ArchiveReader.h"
#include "async/TaskLoop.h"
#include "capture/DownloadBasket.h"
#include "core/Dates.h"
#include "core/WebTexts.h"
#include "desktop/views/QtDialogs.h"
#include "lang/Format.h"
#include "lang/Language.h"
#include "mainwin/AddList.h"
#include "mainwin/AskLine.h"
#include "mainwin/Form1.h"
#include "mainwin/WantDown.h"
#include "transferwin/AskLogin.h"
#include "transferwin/TransferWindow.h"
#include "zipview/Extract.h"
#include "zipview/LookInside.h"

namespace pellora::testing_views {

namespace {

constexpr const char* kArchiveUrl = "https://files.example.com/pub/releases/2026/november/archive-2026-11.zip";

class Guide {
 public:
  Guide(GalleryLanguage language, Visitor& visitor) : language_(std::move(language)), visitor_(visitor) {}

  void VisitAll() {
    VisitMain();
    VisitTransfer();
    VisitAdding();
    VisitQuestions();
    VisitLookInside();
    VisitZip();
    VisitOptions();
    VisitBasket();
  }

 private:
  void Visit(QWidget& widget, const char* name) {
    Stage::Settle();
    visitor_.Visit(widget, QLatin1String(name));
  }
  void Visit(const Window& window, const char* name) {
    Stage::Settle();
    QWidget* const form = Stage::Form(window);
    if (form == nullptr) qFatal("%s is not shown", name);
    Visit(*form, name);
  }
  void VisitMenu(const Window& window, const char* menu, const char* name) {
    auto* const found = Stage::Form(window)->findChild<QMenu*>(QLatin1String(menu));
    if (found == nullptr) qFatal("no menu %s", menu);
    found->popup(QPoint(10, 10));
    Visit(*found, name);
    found->close();
  }

  void VisitMain();
  void VisitTransfer();
  void VisitAdding();
  void VisitQuestions();
  void VisitLookInside();
  void VisitZip();
  void VisitOptions();
  void VisitBasket();

  GalleryLanguage language_;
  Visitor& visitor_;
};

struct SampleRecord {
  const char* name;
  int megabytes;
  int percent;  // 100: finished
  bool queued;
  bool scheduled;
};

constexpr std::array<SampleRecord, 8> kRecords = {{{"debian-12.8.iso", 631, 45, false, false},
                                                   {"concert-recording.flac", 412, 7, false, false},
                                                   {"holiday pictures.tar.gz", 1250, 62, true, false},
                                                   {"mint-22.iso", 1820, 0, false, true},
                                                   {"notes.txt", 1, 100, false, false},
                                                   {"picture.jpg", 2, 100, false, false},
                                                   {"song.mp3", 5, 100, false, false},
                                                   {"tools-of-the-year.zip", 34, 100, false, false}}};

void AddRecords(AppStage& stage) {
  Program& program = stage.app->program();
  for (const SampleRecord& sample : kRecords) {
    const auto index = static_cast<std::int16_t>(program.DownloadCount + 1);
    program.ResizeDownloads(index);
    DownloadRecord& record = program.Download(index);
    record.Segments.resize(1);
    record.FileName = sample.name;
    record.URL = std::string("http://mirror.example.com/pub/") + sample.name;
    record.Host = "mirror.example.com";
    record.FileSize = sample.megabytes * 1'000'000;
    record.Received = record.FileSize / 100 * sample.percent;
    record.Percent = static_cast<float>(sample.percent);
    record.Finished = sample.percent == 100;
    record.Paused = !record.Finished && !sample.queued;
    record.Queued = static_cast<std::int16_t>(sample.queued);
    record.Scheduled = static_cast<std::int16_t>(sample.scheduled);
    record.DateAdded = SerialOf({2026, 11, 21, 10, 14, 5});
    record.InUse = record.Valid = true;
    program.RaiseSerial(index);
  }
  stage.Do([&] { stage.Main().RefreshRows(kAllRows, kForced); });
  stage.Do([&] { stage.Main().RefreshDownList(); });
}

void Guide::VisitMain() {
  AppStage stage(language_.texts);
  AddRecords(stage);
  MainWindow& main = stage.Main();
  stage.Do([&] {
    for (const auto& [at, image] : {std::pair(0, "stop"), std::pair(1, "down"), std::pair(2, "shed")}) {
      main.Legend(at).Image = image;
    }
    main.ListView1.SelectByUser({1});
  });
  Visit(main, "main");
  for (const char* const menu : {"mFile", "mActions", "mOpt", "help", "popup", "pop2", "headings"}) {
    VisitMenu(main, menu, (std::string("menu-") + menu).c_str());
  }
  stage.Do([&] {
    main.findrows.Click();
    main.FilterText.SetByUser("iso");
    main.ListView1.ArrangeBy(ColumnOrder{2, true});
  });
  Visit(main, "main-filter");
  stage.Do([&] {
    main.FilterText.SetByUser("");
    main.endfilter.Click();
    main.Command4.Click();
    main.TabStrip1.SelectByUser(1);
    main.ListView2.SelectByUser({0});
  });
  Visit(main, "main-pane");
  stage.Do([&] { main.TabStrip1.SelectByUser(0); });
  Visit(main, "main-preview");
}

void FillLanes(TransferWindow& window, const Program& program) {
  struct Lane {
    int state;
    double width;
    Colour colour;
  };
  constexpr std::array<Lane, 8> kLanes = {{{527, 2500, 0x0000FF},
                                           {526, 1970, 0x00C0C0},
                                           {526, 840, 0x00C0C0},
                                           {528, 1206, 0xFF0000},
                                           {524, 0, 0x808080},
                                           {522, 262, 0x808080},
                                           {526, 2204, 0x00C0C0},
                                           {525, 0, 0x808080}}};
  for (int i = 0; i < 8; ++i) {
    const Lane& lane = kLanes.at(static_cast<std::size_t>(i));
    window.Num(i).Caption = std::to_string(i + 1);
    window.StateS(i).Caption = program.Text(lane.state);
    window.Size(i).Caption = "1023.99 " + program.Text(2);
    window.Prog(i).Width = lane.width;
    window.Prog(i).FillColor = lane.colour;
  }
  window.Label3.Caption = kArchiveUrl;
  window.state.Caption = program.Text(534);
  window.PB.Value = 45.0;
  window.Speed.Caption = "1023.99 " + program.Text(2) + "/s";
  constexpr std::int32_t kLong = 99 * 3600 + 59 * 60 + 59;  // seconds
  window.Est.Caption = FormatDuration(kLong, program.LangStrings);
  window.Ela.Caption = FormatDuration(kLong, program.LangStrings);
  window.Label4.Caption = "1023.99 " + program.Text(2);
  window.Label1.Caption = "/ 1023.99 " + program.Text(3);
}

void Guide::VisitTransfer() {
  AppStage stage(language_.texts);
  const auto window = NewTransferWindow(stage.app->program(), 0);
  stage.Do([&] { window->Show(); });
  window->Caption = "archive-2026-11.zip";
  stage.Do([&] { FillLanes(*window, stage.app->program()); });
  Visit(*window, "transfer");
  stage.Do([&] {
    window->showgraph.Click();
    std::vector<float> speeds;
    for (int step = 0; step < 100; ++step) {
      speeds.push_back(step > 40 && step < 46 ? 0.0F : 2.0e6F + 4.0e5F * std::sin(static_cast<float>(step) / 5));
    }
    window->Graph1.Speeds = speeds;
    window->Graph1.Most = "2.29 mb/s";
    window->Graph1.Words = TextOf(stage.app->program(), WebText::Receiving);
    window->Map1.Visible = true;
    window->Map1.Held = std::vector<MapSpan>{{0, 0.18}, {0.25, 0.31}, {0.5, 0.66}, {0.75, 0.79}, {0.9, 0.901}};
    window->Map1.Awaited = std::vector<MapSpan>{{0.18, 0.25}, {0.31, 0.5}, {0.66, 0.75}, {0.79, 0.9}};
    window->Map1.Words = TextOf(stage.app->program(), WebText::Receiving);
    FillLanes(*window, stage.app->program());
  });
  Visit(*window, "transfer-graph");
  stage.Do([&] { window->Command4.Click(); });
  Visit(*window, "transfer-short");
  stage.Do([&] { window->Unload(); });
}

void Guide::VisitAdding() {
  AppStage stage(language_.texts);
  stage.platform.downloadFiles = &stage.sim.downloadFiles();
  stage.sim.downloadFiles().SetRoom(52'000'000'000);
  Form1& form = *stage.Main().form1;
  stage.Do([&] { stage.Main().RunAction(MainWindow::kAdd); });
  Visit(form, "add");
  stage.Do([&] {
    form.Text1.SetByUser(kArchiveUrl);
    form.Check1.SetByUser(true);
  });
  stage.sim.RunFor(100);
  Visit(form, "add-fold");
  stage.Do([&] { form.Unload(); });
  std::vector<ListedAdd> adds(4);
  for (std::size_t i = 0; i < adds.size(); ++i) {
    adds[i].request.url = "http://h.example/pub/" + std::to_string(i) + ".zip";
  }
  AddList& list = *stage.Main().addList;
  stage.Do([&] { list.Offer(std::move(adds), true); });
  Visit(list, "add-list");
  stage.Do([&] { list.Unload(); });
}

Task<> AskAndForget(std::shared_ptr<AskLine> window, LineQuestion question) {
  (void)co_await window->Ask(std::move(question));
}

void Guide::VisitQuestions() {
  AppStage stage(language_.texts);
  Program& program = stage.app->program();
  WantDown& want = *stage.Main().wantDown;
  stage.Do([&] {
    want.Show();
    want.Label2.Caption = kArchiveUrl;
  });
  Visit(want, "question");
  stage.Do([&] { want.Unload(); });

  const LineQuestion question{TextOf(program, WebText::SpeedLimitTitle), TextOf(program, WebText::BadCertificates),
                              kArchiveUrl,
                              [&program](const std::string&) { return TextOf(program, WebText::BadAddress); }};
  AskLine& line = *stage.Main().askLine;
  stage.Do([&] { stage.sim.tasks().Spawn(AskAndForget(stage.Main().askLine, question)); });
  Visit(line, "ask-line");
  stage.Do([&] { line.Text1.SetByUser("nowhere"); });
  stage.Do([&] { line.Command1.Click(); });
  Visit(line, "ask-line-refused");
  stage.Do([&] { line.Unload(); });

  AskLogin::Question login;
  login.reason = TextOf(program, WebText::WrongLogin);
  login.where = "http://downloads.archive.example.com:8080";
  login.realm = "Members of the archive only: ask the office for a user name";
  login.user = "joe";
  login.unencrypted = login.canRemember = true;
  const auto asks = std::make_shared<AskLogin>(program, login);
  stage.Do([&] { asks->Show(); });
  Visit(*asks, "ask-login");
  stage.Do([&] { asks->Unload(); });

  QtDialogs dialogs(stage.sim.gate());
  dialogs.SetAnswerTexts([&program](int answer) { return program.Text(answer == kAnswerYes ? 406 : 407); });
  dialogs.Ask({program.Text(403), program.Text(791), kYesNo | kQuestion}, [](int) {});
  Stage::Settle();
  Visit(*QApplication::activeModalWidget(), "box");
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

void Guide::VisitLookInside() {
  AppStage stage(language_.texts);
  SampleArchives archives;
  Program& program = stage.app->program();
  const auto window = std::make_shared<LookInside>(program, archives, ArchiveLook{.url = kArchiveUrl}, LookActions{});
  stage.Do([&] { window->Start(); });
  stage.Do([&] { window->ListView1.SelectByUser({1, 2, 3}); });
  Visit(*window, "look-inside");
  window->Width = 620;
  window->Height = 380;
  stage.Do([&] {
    window->Text1.SetByUser("*s*");
    window->Option1.SetByUser(true);
  });
  Visit(*window, "look-inside-small");
  stage.Do([&] { window->Unload(); });
  constexpr std::array<std::pair<bool, bool>, 3> kAsked = {{{true, true}, {true, false}, {false, true}}};
  constexpr std::array<const char*, 3> kNames = {"ask-unpack-existing-password", "ask-unpack-existing",
                                                 "ask-unpack-password"};
  for (std::size_t at = 0; at < kAsked.size(); ++at) {
    const auto question = std::make_shared<AskUnpack>(program, kAsked.at(at).first, kAsked.at(at).second);
    stage.Do([&] { question->Show(); });
    Visit(*question, kNames.at(at));
    stage.Do([&] { question->Unload(); });
  }
}

void Guide::VisitZip() {
  ZipStage stage;
  ReadLanguage(language_.texts, stage.program.LangStrings);
  stage.program.languageRead = true;
  stage.List(SampleMembers());
  Form2& viewer = *stage.viewer;
  Visit(viewer, "zip");
  viewer.Option1.SetByUser(true);
  Visit(viewer, "zip-folder");
  viewer.Option2.SetByUser(true);
  viewer.Option5.SetByUser(true);
  Visit(viewer, "zip-icons");
  viewer.Option6.SetByUser(true);
  Visit(viewer, "zip-small");
  viewer.Option3.SetByUser(true);
  Visit(viewer, "zip-list");
  viewer.Command1.Click();
  Visit(*viewer.ExtractDialog, "extract");
}

void Guide::VisitOptions() {
  OptionsStage options(QStringLiteral(PELLORA_LANGUAGES));
  options.locale.locale = language_.locale;
  QFile file(options.folder.filePath(QStringLiteral("chosen.txt")));
  if (!file.open(QIODevice::WriteOnly)) qFatal("no place for the language");
  file.write(language_.texts.data(), static_cast<qint64>(language_.texts.size()));
  file.close();
  options.SetLanguage("chosen");
  options.Show();
  for (int page = 0; page < 5; ++page) {
    options.window->TabStrip1.SelectByUser(page);
    Visit(*options.window, (std::string("options-") + std::to_string(page + 1)).c_str());
  }
}

void Guide::VisitBasket() {
  AppStage stage(language_.texts);
  stage.Do([&] { stage.Main().ShowBasket(true); });
  Visit(stage.app->basket(), "basket");
}

}  // namespace

std::string ShippedTexts(const char* language) {
  QFile file(QStringLiteral(PELLORA_LANGUAGES "/%1.txt").arg(QLatin1String(language)));
  if (!file.open(QIODevice::ReadOnly)) qFatal("no language %s", language);
  return file.readAll().toStdString();
}

GalleryLanguage ShippedLanguage(const char* language) {
  const bool german = QLatin1String(language) == QLatin1String("german");
  return {ShippedTexts(language),
          german ? QLocale(QLocale::German, QLocale::Germany) : QLocale(QLocale::English, QLocale::UnitedStates)};
}

void VisitWindows(const GalleryLanguage& language, Visitor& visitor) { Guide(language, visitor).VisitAll(); }

}  // namespace pellora::testing_views
