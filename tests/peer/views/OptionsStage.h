// OptionsStage: the real options dialog on the desktop's forms, with a temporary program folder.
#pragma once

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>
#include <memory>
#include <string>

#include "SimSchemes.h"
#include "Stage.h"
#include "core/Dates.h"
#include "core/Program.h"
#include "desktop/LocaleFormats.h"
#include "desktop/PosixFiles.h"
#include "desktop/QtEventLoop.h"
#include "desktop/SystemClock.h"
#include "lang/Language.h"
#include "options/Options.h"

namespace pellora::testing_views {

class OptionsMachine final : public Machine {
 public:
  explicit OptionsMachine(std::string folder) : folder_(std::move(folder)) {}
  std::string ProgramFolder() const override { return folder_; }
  std::string DocumentsFolder() const override { return folder_; }
  void End(int) override {}

 private:
  std::string folder_;
};

class FixedForms final : public Locale {
 public:
  std::string DecimalSeparator() const override { return "."; }
  std::string DateTimeText(double) const override { return {}; }
  DateForms ShortForms() const override { return ShortFormsOf(locale); }
  QLocale locale{QLocale::English, QLocale::UnitedStates};
};

class OptionsStage {
 public:
  explicit OptionsStage(const QString& languages)
      : platform{stage.gate,
                 events,
                 Unused<TaskLoop>(),
                 clock,
                 Unused<Network>(),
                 files,
                 Unused<SettingsStore>(),
                 Unused<Clipboard>(),
                 Unused<Dialogs>(),
                 Unused<Shell>(),
                 machine,
                 locale,
                 Unused<Tray>(),
                 stage.windows,
                 Unused<Media>(),
                 Unused<Background>()} {
    for (const QString& name : QDir(languages).entryList({QStringLiteral("*.txt")}, QDir::Files)) {
      QFile::copy(languages + u'/' + name, folder.filePath(name));
    }
    platform.fetcher = &fetcher;
    Settings& settings = program.settings;
    settings.BrowserIngeration = settings.CheckClipboard = settings.SafeDisk = settings.ProxyHTTP = true;
    settings.DownloadFolder = "/home/user/Documents/Pellora/downloads/";
    settings.TempFolder = "/home/user/Documents/Pellora/temp/";
    settings.MaxSegments = 4;
    settings.MaxSimulDownlads = 3;
    settings.ProxyServer = "proxy.example.com";
    settings.ProxyPort = 3128;
    settings.Language = "english";
    settings.IgnoreString = "HTM,HTML,ASP,PHP,CGI";
    settings.Schedule = true;
    settings.ScheduleDate = SerialOf({2026, 11, 21, 23, 30, 0});
    settings.ScheduleHour = SerialOf({2026, 11, 22, 4, 15, 0});
    window = std::make_shared<options>(program);
  }
  ~OptionsStage() {
    window->Unload();
    Stage::Settle();
  }

  void SetLanguage(const std::string& language) {
    program.settings.Language = language;
    const std::string content = ReadWholeFile(files, machine.ProgramFolder() + "/" + language + ".txt", 1 << 20);
    ReadLanguage(content, program.LangStrings);
    program.languageRead = true;
  }
  void Show() {
    window->RefreshFromOptions();
    window->Show();
    Stage::Settle();
    form = Stage::Form(*window);
  }
  template <class Object>
  Object* Find(const char* name) const {
    return form->findChild<Object*>(QLatin1String(name));
  }

  Stage stage;
  QTemporaryDir folder;
  PosixFiles files;
  OptionsMachine machine{folder.path().toStdString()};
  FixedForms locale;
  QtEventLoop events{stage.gate};
  SystemClock clock;
  SimSchemes fetcher;
  Platform platform;
  Program program{platform};
  std::shared_ptr<options> window;
  QWidget* form = nullptr;
};

}  // namespace pellora::testing_views
