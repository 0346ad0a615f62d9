#include <gtest/gtest.h>

#include <string>

#include "core/WireText.h"

namespace pellora {
namespace {

TEST(WireText, EncodesBlanksAndControlCharactersOnly) {
  EXPECT_EQ(WireText("/a b\r\nX: y\t\x7f"), "/a%20b%0D%0AX:%20y%09%7F");
  EXPECT_EQ(WireText(std::string("\0", 1)), "%00");
  EXPECT_EQ(WireText("/%20\"<>\\^`{|}~#?&=+\xc3\xbc\xff"), "/%20\"<>\\^`{|}~#?&=+\xc3\xbc\xff");
}

}  // namespace
}  // namespace pellora
