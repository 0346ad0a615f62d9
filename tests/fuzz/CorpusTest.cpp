// The archives of stored inputs: the reader of what archive.py writes.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Corpus.h"

namespace pellora {
namespace {

// A header with the fields that are read, and the content padded to whole blocks.
std::string Member(const std::string& name, const std::string& octalSize, std::string content, char type = '0') {
  std::string header = name;
  header.resize(124);
  header += octalSize;
  header.resize(156);
  header += type;
  header.resize(257);
  header += "ustar";
  header.resize(512);
  content.resize((content.size() + 511) / 512 * 512);
  return header + content;
}

const std::string kEnd(1024, '\0');

TEST(Corpus, RefusesATruncatedArchive) {
  const std::string archive = Member("a", "00000000003", "123") + kEnd;
  for (const std::size_t length : {0, 1, 511, 512, 514, 1023, 1024, 1025, 2047})
    EXPECT_THROW(ReadArchive(std::string_view(archive).substr(0, length)), std::runtime_error) << length;
  EXPECT_NO_THROW(ReadArchive(archive));
}

TEST(Corpus, RefusesNonRegularFiles) {
  EXPECT_THROW(ReadArchive(Member("a", "00000000000", "", '5') + kEnd), std::runtime_error);
  EXPECT_THROW(ReadArchive(Member("a", "0000000000x", "") + kEnd), std::runtime_error);
  EXPECT_THROW(ReadArchive(std::string(4096, 'x')), std::runtime_error);
}

TEST(Corpus, KeepsNamedInputsOfATarget) {
  const std::vector<Input> inputs = KeptInputs("url");
  ASSERT_FALSE(inputs.empty());
  for (std::size_t i = 1; i < inputs.size(); ++i) EXPECT_LT(inputs[i - 1].name, inputs[i].name);
  const auto named = [](const Input& input) { return input.name == "corpus/url/no-path"; };
  const auto at = std::find_if(inputs.begin(), inputs.end(), named);
  ASSERT_NE(at, inputs.end());
  EXPECT_EQ(at->bytes, "http://site");
}

}  // namespace
}  // namespace pellora
