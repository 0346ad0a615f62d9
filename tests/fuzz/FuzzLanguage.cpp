#include <memory>
#include <string>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

using Table = std::unique_ptr<LangStringArray>;

Table Expected(std::string_view content) {
  auto texts = std::make_unique<LangStringArray>();
  if (content.starts_with("\xEF\xBB\xBF")) content.remove_prefix(3);
  for (std::string line : Pieces(content, "\n")) {
    if (line.ends_with('\r')) line.pop_back();
    line = WithoutOuterBlanks(line);
    const std::size_t equals = line.find('=');
    if (line.starts_with("//") || line.starts_with(';') || equals == std::string::npos) continue;
    const std::int32_t number = RoundedNumber(line.substr(0, equals));
    if (number >= 0 && number <= 1024) (*texts)[static_cast<std::size_t>(number)] = line.substr(equals + 1);
  }
  return texts;
}

// The table as a language file.
std::string Written(const LangStringArray& texts) {
  std::string content;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (!texts[i].empty()) content += std::to_string(i) + "=" + texts[i] + "\r\n";
  }
  return content;
}

}  // namespace

void FuzzLanguage(std::string_view bytes, const std::function<void(std::string_view, LangStringArray&)>& read) {
  const auto texts = std::make_unique<LangStringArray>();
  const AllocationMeter meter;
  read(bytes, *texts);
  Demand(meter.Bytes() <= 4 * bytes.size() + 1024, "a file takes memory in proportion to its length");
  Demand(*texts == *Expected(bytes), "the last line of a number holds");

  // Line by line, as if each were a file loaded after the previous one.
  const auto lines = std::make_unique<LangStringArray>();
  const bool marked = bytes.starts_with("\xEF\xBB\xBF");
  bool marksWithin = false;
  for (const std::string& line : Pieces(marked ? bytes.substr(3) : bytes, "\n")) {
    marksWithin = marksWithin || line.starts_with("\xEF\xBB\xBF");
    read(line, *lines);
  }
  Demand(marksWithin || *lines == *texts, "lines count the same in one file and in many");

  const auto again = std::make_unique<LangStringArray>();
  read(Written(*texts), *again);
  Demand(*again == *texts, "a table that was written is read as it was");
}

}  // namespace pellora
