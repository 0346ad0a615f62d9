#include "lang/Language.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "core/Ascii.h"
#include "core/Numbers.h"
#include "platform/Controls.h"
#include "platform/Desktop.h"
#include "platform/Failure.h"
#include "platform/Files.h"
#include "platform/Platform.h"

namespace pellora {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr int kToolTipDistance = 30;  // from a button's text number to that of its tool tip

// The text of `number`, or null for a number that the table does not have.
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
  // A left side that is no number means entry 0.
  const std::int32_t number = RoundedPrefix(line.substr(0, equals));
  if (number < 0 || number >= kLangStringCount) return;
  texts[static_cast<std::size_t>(number)] = line.substr(equals + 1);
}

template <class ControlType>
void SetCaption(ControlType& control, const LangStringArray& texts) {
  const std::int32_t number = RoundedPrefix(control.Tag());
  const std::string* const text = TextAt(texts, number);
  if (number != 0 && text != nullptr) control.Caption = *text;
}

void SetCaptions(std::vector<ControlPart>& parts, const LangStringArray& texts) {
  for (ControlPart& part : parts) {
    const std::string* const text = TextAt(texts, part.number);
    if (part.number != 0 && text != nullptr) part.caption = *text;
  }
}

void SetCaption(Toolbar& toolbar, const LangStringArray& texts) {
  std::vector<ControlPart> buttons = toolbar.Buttons;
  SetCaptions(buttons, texts);
  for (ControlPart& button : buttons) {
    const std::string* const toolTip = TextAt(texts, std::int64_t{button.number} + kToolTipDistance);
    if (button.number > 0 && toolTip != nullptr) button.toolTip = *toolTip;
  }
  toolbar.Buttons = std::move(buttons);
}

void SetCaption(TabStrip& strip, const LangStringArray& texts) {
  std::vector<ControlPart> tabs = strip.Tabs;
  SetCaptions(tabs, texts);
  strip.Tabs = std::move(tabs);
}

void SetCaption(ListView& list, const LangStringArray& texts) {
  std::vector<ControlPart> columns = list.Columns;
  SetCaptions(columns, texts);
  list.Columns = std::move(columns);
}

template <class ControlType>
void RelabelIf(Control& control, const LangStringArray& texts) {
  if (auto* const own = dynamic_cast<ControlType*>(&control)) SetCaption(*own, texts);
}

// The kinds of control that are relabelled. All others keep their texts.
constexpr std::array kTranslated = {RelabelIf<CommandButton>, RelabelIf<Label>,    RelabelIf<Frame>,
                                    RelabelIf<OptionButton>,  RelabelIf<CheckBox>, RelabelIf<Menu>,
                                    RelabelIf<Toolbar>,       RelabelIf<TabStrip>, RelabelIf<ListView>};

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
  const std::string path = program.platform.machine.ProgramFolder() + "/" + name + ".txt";
  if (name.find('/') != std::string::npos || name.find('\0') != std::string::npos) {
    throw Failure(FailureNumber::File, path + ": not a name of a language");
  }
  ReadLanguage(ReadWholeFile(program.platform.files, path, kLargestLanguageFile), program.LangStrings);
  for (const std::shared_ptr<Window>& window : program.languageWindows()) {
    ApplyLanguage(*window, program.LangStrings);
  }
}

void ApplyLanguage(Window& window, const LangStringArray& texts) {
  const std::int32_t number = RoundedPrefix(window.Tag());
  const std::string* const caption = TextAt(texts, number);
  if (number > 0 && caption != nullptr) window.Caption = *caption;
  for (Control* const control : window.Controls()) {
    for (const auto relabelIf : kTranslated) relabelIf(*control, texts);
  }
}

}  // namespace pellora
