// SelectionCodec: what is chosen of an archive as text, in the lines of FieldLines: one about the whole, then one for
// each entry. It holds no password.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/Selection.h"

namespace pellora {

std::string SelectionText(const Selection& selection);

// Nothing unless every line is whole and makes sense: then all paths are safe, and the ranges lie in the archive's
// file, in rising order and apart. Safe for any bytes; memory is proportional to them.
std::optional<Selection> ReadSelection(std::string_view text);

}  // namespace pellora
