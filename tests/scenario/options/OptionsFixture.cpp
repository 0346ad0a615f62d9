#include "OptionsFixture.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace pellora {

std::string OptionsFixture::LanguageFile(const std::string& name) {
  std::ifstream file(PELLORA_LANGUAGES "/" + name, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << name;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void OptionsFixture::Choose(const std::string& language) {
  const auto& rows = Dialog().Combo1.Items();
  const auto row = std::find(rows.begin(), rows.end(), language);
  ASSERT_NE(row, rows.end()) << language;
  Do([&] {
    Dialog().Combo1.Index = static_cast<int>(row - rows.begin());
    Dialog().Combo1.Text = language;
  });
}

}  // namespace pellora
