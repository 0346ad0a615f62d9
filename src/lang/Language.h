// Language files, and how a window takes on the loaded language.
//
// A file is read once into the numbered texts, which are never cleared: a later file replaces only the
// entries that it names. Windows carry text numbers in the Tags of their controls; where a number's
// text is empty the control turns blank, for there is no way back to the designed caption. Before the first file
// is read nothing is relabelled.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/Program.h"

namespace pellora {

class Window;

inline constexpr std::uint64_t kLargestLanguageFile = 1 << 20;  // bytes

// Reads `name`.txt beside the program and relabels the windows of the program. Failure(File) where there
// is no such file, it is too large, or `name` leads out of the program's folder; nothing has changed then.
void LoadLanguage(Program& program, const std::string& name);

// Takes every entry of a language file's content into `texts`. Lines outside the format, and numbers
// that the table does not have, are passed over.
void ReadLanguage(std::string_view content, LangStringArray& texts);

// Relabels one window and its controls.
void ApplyLanguage(Window& window, const LangStringArray& texts);

// The same with the program's texts, as windows do at their load. Until a language file has been read once the
// designed captions stay: a missing file must leave no button blank.
void ApplyLanguage(Window& window, const Program& program);

}  // namespace pellora
