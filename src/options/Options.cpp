#include "options/Options.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "async/Boxes.h"
#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "core/DateTexts.h"
#include "lang/Language.h"
#include "ports/Clock.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Locale.h"
#include "ports/Machine.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

constexpr int kCaptionNumber = 791;
constexpr std::string_view kEnding = ".txt";  // of a language file; lower case only, as in its name when opened
constexpr std::string_view kNameMark = "LANG=";

// The language names that a file gives, in the order of its lines. The mark counts anywhere in a line, even in a
// comment; the name follows the first equals sign.
std::vector<std::string> NamesIn(std::string_view content) {
  std::vector<std::string> names;
  while (!content.empty()) {
    const std::size_t end = content.find('\n');
    std::string_view line = content.substr(0, end);
    content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    line = TrimBlanks(line);
    if (line.find(kNameMark) != std::string_view::npos) names.emplace_back(TrimBlanks(line.substr(line.find('=') + 1)));
  }
  return names;
}

std::string PathIn(const std::string& folder, const std::string& file) { return folder + "/" + file; }

// Empty if `serial` is no date, which loaded settings never are.
template <class Format>
std::string TextOf(Format* format, double serial, const DateForms& forms) {
  std::string text;
  Skip([&] { text = format(serial, forms); });
  return text;
}

}  // namespace

options::options(Program& program) : Window(program.platform, "options", "Pellora !   Options "), program_(program) {
  Tag = TagText(kCaptionNumber);
  if (program.platform.fetcher == nullptr) {
    std::vector<ControlPart> tabs = TabStrip1.Tabs;
    tabs.pop_back();
    TabStrip1.Tabs = std::move(tabs);
  }
  ConnectEvents();
}

std::array<std::pair<CheckBox*, bool*>, 15> options::Switches() {
  Settings& settings = program_.settings;
  return {{{&Check1, &settings.CheckClipboard},
           {&Check2, &settings.BrowserIngeration},
           {&Check3, &settings.SaveAs},
           {&Check4, &settings.SafeDisk},
           {&Check5, &settings.AutoPreviewZIP},
           {&Check6, &settings.AutoCloseInternet},
           {&Check7, &settings.Schedule},
           {&Check8, &settings.ProxyHTTP},
           {&Check9, &settings.ProxyFTP},
           {&Check10, &settings.AutoStart},
           {&Check12, &settings.SeekChecksums},
           {&Check14, &settings.StayAwake},
           {&Check15, &settings.ShowNotices},
           {&Check16, &settings.HideTransferWindows},
           {&Check17, &settings.CloseFinishedWindows}}};
}

std::array<std::pair<TextBox*, std::string*>, 5> options::Texts() {
  Settings& settings = program_.settings;
  return {{{&Text1, &settings.TempFolder},
           {&Text2, &settings.DownloadFolder},
           {&Text7, &settings.ProxyServer},
           {&Text9, &settings.IgnoreString},
           {&Text11, &settings.ExtraCertificates}}};
}

std::array<std::pair<OptionButton*, std::int32_t>, 3> options::WebChoices() {
  return {{{&Option3, kWebEngineNewSchemes}, {&Option4, kWebEngineAll}, {&Option5, kWebEngineOff}}};
}

void options::ConnectEvents() {
  TabStrip1.OnClick = [this] { ShowPage(TabStrip1.Selected + 1); };
  // Exactly one of the two is set.
  Option1.OnClick = [this] { Option2.Value = !Option1.Value; };
  Option2.OnClick = [this] { Option1.Value = !Option2.Value; };
  for (const auto& [button, value] : WebChoices()) {
    button->OnClick = [this, chosen = button] {
      for (const auto& [other, unused] : WebChoices()) other->Value = other == chosen;
    };
  }
  Command2.OnClick = [this] { GetNow(); };
  Browse2.OnClick = [this] { platform_.tasks.Spawn(Browse(&Label3, &Text2)); };
  Browse1.OnClick = [this] { platform_.tasks.Spawn(Browse(&Label1, &Text1)); };
  OK.OnClick = [this] { Accept(); };
  Command1.OnClick = [this] { Unload(); };
}

void options::OnLoad() {
  TabStrip1.Selected = 0;
  ShowPage(1);
  ApplyLanguage(*this, program_);
}

void options::ShowPage(int page) {
  Frame1.Visible = page == 1;
  Frame2.Visible = page == 2;
  Frame4.Visible = page == 2;
  Frame7.Visible = page == 2;
  Frame3.Visible = page == 3;
  Frame5.Visible = page == 4;
  Frame6.Visible = page == 5;
}

void options::RefreshFromOptions() {
  for (const auto& [box, setting] : Switches()) box->Value = *setting;
  for (const auto& [box, setting] : Texts()) box->Text = *setting;

  const Settings& settings = program_.settings;
  Text3.Text = std::to_string(settings.MaxSegments);
  Text4.Text = std::to_string(settings.MaxSimulDownlads);
  Text8.Text = std::to_string(settings.ProxyPort);

  const DateForms forms = platform_.locale.ShortForms();
  Text5.Text = TextOf(ShortDate, settings.ScheduleDate, forms);
  Text6.Text = TextOf(ShortTime, settings.ScheduleDate, forms);
  Text10.Text = TextOf(ShortTime, settings.ScheduleHour, forms);

  // Any number but 1 shows as the fixed time, and OK makes it that.
  Option2.Value = settings.ScheduleOption == 1;
  Option1.Value = settings.ScheduleOption != 1;
  for (const auto& [button, value] : WebChoices()) button->Value = settings.WebEngine == value;
  ShowSpeedLimit();
  ListLanguages();
}

void options::ListLanguages() {
  LanguageCount = 0;
  const std::string folder = platform_.machine.LanguageFolder();
  std::vector<std::string> rows;
  for (const std::string& file : platform_.files.FilesIn(folder)) {
    if (LanguageCount == kMostLanguages) break;
    if (!file.ends_with(kEnding)) continue;
    // An unreadable or far too large file gives no row.
    std::string content;
    const std::string path = PathIn(folder, file);
    if (!Skip([&] { content = ReadWholeFile(platform_.files, path, kLargestLanguageFile); })) continue;
    for (std::string& name : NamesIn(content)) {
      if (LanguageCount == kMostLanguages) break;
      const auto row = static_cast<std::size_t>(LanguageCount++);
      LanguageFiles[row] = file.substr(0, file.size() - kEnding.size());
      LanguageNames[row] = name;
      rows.push_back(std::move(name));
    }
  }
  Combo1.Items = std::move(rows);
  Combo1.Index = -1;
  Combo1.Text = "";
  for (std::int16_t i = 0; i < LanguageCount; ++i) {
    const auto row = static_cast<std::size_t>(i);
    if (!EqualsNoCase(LanguageFiles[row], program_.settings.Language)) continue;
    Combo1.Text = LanguageNames[row];
    Combo1.Index = i;
  }
}

void options::GetNow() {
  const double now = platform_.clock.Now();
  const DateForms forms = platform_.locale.ShortForms();
  Text5.Text = TextOf(ShortDate, now, forms);
  Text6.Text = TextOf(ShortTime, now, forms);
}

Task<> options::Browse(const Label* caption, TextBox* folder) {
  const auto hold = Hold();
  FolderRequest request{caption->Caption, folder->Text};
  if (program_.boxes.IsOpen(&program_.boxes, request.title)) co_return;
  const std::optional<std::string> chosen = co_await program_.boxes.AskFolder(std::move(request));
  if (!chosen || !Loaded()) co_return;
  folder->Text = chosen->ends_with('/') ? *chosen : *chosen + "/";
}

Task<> options::Say(BoxRequest message) {
  const auto hold = Hold();
  if (program_.boxes.IsOpen(this, message.text)) co_return;
  (void)co_await program_.boxes.Ask(this, std::move(message));
}

}  // namespace pellora
