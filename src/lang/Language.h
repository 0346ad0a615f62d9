// Language: language files, and relabelling windows.
//
// A file is read into the numbered texts, which are never cleared: a later file replaces only the entries that it
// names, but those of WebTexts.h become English first, since older files lack them. The Tags of a window's controls
// hold text numbers; a control whose text is empty becomes blank, since the designed caption is lost. Nothing is
// relabelled before the first file is read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/Program.h"

namespace pellora {

class Window;

inline constexpr std::uint64_t kLargestLanguageFile = 1 << 20;  // bytes

// Reads `name`.txt beside the program and relabels the program's windows. Failure(File), with nothing changed, if there
// is no such file, it is too large, or `name` leads out of the program's folder.
void LoadLanguage(Program& program, const std::string& name);

// Reads every entry of a language file's content into `texts`. Skips malformed lines and numbers outside the table.
void ReadLanguage(std::string_view content, LangStringArray& texts);

// Relabels one window and its controls.
void ApplyLanguage(Window& window, const LangStringArray& texts);

// The same with the program's texts, for windows at their load. Does nothing until a language file has been read: a
// missing file must leave no button blank.
void ApplyLanguage(Window& window, const Program& program);

}  // namespace pellora
