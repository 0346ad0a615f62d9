#include "lang/Language.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "core/Ascii.h"
#include "core/Numbers.h"
#include "core/WebTexts.h"
#include "ports/Failure.h"
#include "ports/Files.h"
#include "ports/Machine.h"
#include "ports/Platform.h"
#include "ui/Controls.h"
#include "ui/Views.h"

namespace pellora {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr int kFileMenu = 786;
constexpr int kToolTipDistance = 30;  // from a button's text number to that of its tool tip

// The text of `number`, or null for a number outside the table.
const std::string* TextAt(const LangStringArray& texts, std::int64_t number) {
  if (number < 0 || number >= kLangStringCount) return nullptr;
  return &texts[static_cast<std::size_t>(number)];
}

void ReadLine(std::string_view line, LangStringArray& texts) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  line = TrimBlanks(line);
  if (line.starts_with("//") || line.starts_with(";")) return;
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return;
  // A left side that is not a number means entry 0.
  const std::int32_t number = RoundedPrefix(line.substr(0, equals));
  if (number < 0 || number >= kLangStringCount) return;
  texts[static_cast<std::size_t>(number)] = line.substr(equals + 1);
}

template <class ControlType>
void SetCaption(Control& control, const LangStringArray& texts) {
  const std::int32_t number = RoundedPrefix(control.Tag());
  const std::string* const text = TextAt(texts, number);
  if (number == 0 || text == nullptr) return;
  static_cast<ControlType&>(control).Caption = *text;
}

void Relabel(std::vector<ControlPart>& parts, const LangStringArray& texts) {
  for (ControlPart& part : parts) {
    const std::string* const text = TextAt(texts, part.number);
    if (part.number != 0 && text != nullptr) part.caption = *text;
  }
}

void RelabelButtons(Control& control, const LangStringArray& texts) {
  auto& toolbar = static_cast<Toolbar&>(control);
  std::vector<ControlPart> buttons = toolbar.Buttons;
  Relabel(buttons, texts);
  for (ControlPart& button : buttons) {
    // A button that has no caption has the number of its tool tip, as a negative one.
    const bool onlyTip = button.number < 0 && button.caption.empty();
    const std::int64_t tip = onlyTip ? -std::int64_t{button.number} : button.number + kToolTipDistance;
    const std::string* const toolTip = TextAt(texts, tip);
    if ((button.number > 0 || onlyTip) && toolTip != nullptr) button.toolTip = *toolTip;
  }
  toolbar.Buttons = std::move(buttons);
}

void RelabelTabs(Control& control, const LangStringArray& texts) {
  auto& strip = static_cast<TabStrip&>(control);
  std::vector<ControlPart> tabs = strip.Tabs;
  Relabel(tabs, texts);
  strip.Tabs = std::move(tabs);
}

void RelabelColumns(Control& control, const LangStringArray& texts) {
  auto& list = static_cast<ListView&>(control);
  std::vector<ControlPart> columns = list.Columns;
  Relabel(columns, texts);
  list.Columns = std::move(columns);
}

// What is relabelled, by the name of the control's type. All others keep their texts.
struct Translated {
  std::string_view typeName;
  void (*relabel)(Control&, const LangStringArray&);
};
constexpr std::array<Translated, 9> kTranslated = {{
    {"CommandButton", SetCaption<CommandButton>},
    {"Label", SetCaption<Label>},
    {"Frame", SetCaption<Frame>},
    {"OptionButton", SetCaption<OptionButton>},
    {"CheckBox", SetCaption<CheckBox>},
    {"Menu", SetCaption<Menu>},
    {"Toolbar", RelabelButtons},
    {"TabStrip", RelabelTabs},
    {"ListView", RelabelColumns},
}};

}  // namespace

void ReadLanguage(std::string_view content, LangStringArray& texts) {
  if (content.starts_with(kByteOrderMark)) content.remove_prefix(kByteOrderMark.size());
  while (!content.empty()) {
    const std::size_t end = content.find('\n');
    ReadLine(content.substr(0, end), texts);
    content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
  }
}

void LoadLanguage(Program& program, const std::string& name) {
  const std::string path = program.platform.machine.LanguageFolder() + "/" + name + ".txt";
  if (name.find('/') != std::string::npos || name.find('\0') != std::string::npos) {
    throw Failure(FailureNumber::File, path + ": not a name of a language");
  }
  const std::string content = ReadWholeFile(program.platform.files, path, kLargestLanguageFile);
  FillWebTexts(program.LangStrings);
  ReadLanguage(content, program.LangStrings);
  program.languageRead = true;
  program.platform.windows.FollowScript(program.Text(kFileMenu));
  for (const std::shared_ptr<Window>& window : program.languageWindows()) {
    ApplyLanguage(*window, program.LangStrings);
  }
}

void ApplyLanguage(Window& window, const LangStringArray& texts) {
  const std::int32_t number = RoundedPrefix(window.Tag());
  const std::string* const caption = TextAt(texts, number);
  if (number > 0 && caption != nullptr) window.Caption = *caption;
  for (Control* const control : window.Controls()) {
    const auto* const found = std::find_if(kTranslated.begin(), kTranslated.end(), [control](const Translated& entry) {
      return entry.typeName == control->TypeName;
    });
    if (found != kTranslated.end()) found->relabel(*control, texts);
  }
}

void ApplyLanguage(Window& window, const Program& program) {
  if (program.languageRead) ApplyLanguage(window, program.LangStrings);
}

}  // namespace pellora
