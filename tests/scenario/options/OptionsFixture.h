// OptionsFixture: the program started in virtual time with two languages, and a user's actions in its options dialog.
#pragma once

#include <optional>
#include <string>

#include "../mainwin/MainWindowFixture.h"
#include "core/Dates.h"
#include "options/Options.h"

namespace pellora {

class OptionsFixture : public MainWindowFixture {
 protected:
  OptionsFixture() {
    sim.disk().Put("/prog/english.txt", SimContent(LanguageFile("english.txt")));
    sim.disk().Put("/prog/german.txt", SimContent(LanguageFile("german.txt")));
    sim.disk().MakeFolder("/c");
    sim.SetWallClock(kNow);
  }

  static std::string LanguageFile(const std::string& name);

  void Open() {
    Start();
    Show();
  }
  void Show() {
    Do([&] { window().RunAction(MainWindow::kOptions); });
  }
  options& Dialog() { return *window().optionsWindow; }
  Settings& Set() { return program().settings; }
  void Type(TextBox& box, const std::string& text) {
    Do([&] { box.SetByUser(text); });
  }
  void Tick(CheckBox& box, bool value) {
    Do([&] { box.SetByUser(value); });
  }
  void ClickOK() {
    Do([&] { Dialog().OK.Click(); });
  }
  // OK closes the dialog.
  void Accepts() {
    ClickOK();
    EXPECT_EQ(Box(), "");
    EXPECT_FALSE(Dialog().Loaded());
  }
  // OK leaves the dialog open and shows a message, which is closed.
  void Refuses(const std::string& text, int style, const std::string& title = "Pellora !") {
    const Settings before = Set();
    ClickOK();
    ASSERT_EQ(sim.dialogs().OpenCount(), 1U);
    EXPECT_EQ(sim.dialogs().Next().text, text);
    EXPECT_EQ(sim.dialogs().Next().style, style);
    EXPECT_EQ(sim.dialogs().Next().title, title);
    Answer(kAnswerOk);
    EXPECT_TRUE(Dialog().Visible());
    EXPECT_EQ(Set().DownloadFolder, before.DownloadFolder);
    EXPECT_EQ(sim.settings().Get("Pellora", "MaxSegments"), std::nullopt);
  }
  void Choose(const std::string& language);
  std::optional<std::string> Stored(const std::string& key) { return sim.settings().Get("Pellora", key); }
  // The settings that the next start loads from the same disk.
  Settings AfterRestart() {
    Settings settings;
    LoadSettings(settings, sim.settings(), sim.machine(), sim.platform().clock);
    return settings;
  }

  const double kNow = SerialOf({2026, 11, 21, 9, 30, 15});
};

}  // namespace pellora
