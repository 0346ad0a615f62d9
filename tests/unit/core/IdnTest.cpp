#include <gtest/gtest.h>

#include "core/Idn.h"

namespace pellora {
namespace {

TEST(Idn, GivesALabelsInEveryLocale) {
  EXPECT_EQ(HostToAscii("b\xC3\xBC"
                        "cher.example"),
            "xn--bcher-kva.example");
  EXPECT_EQ(HostToAscii("B\xC3\x9C"
                        "CHER.example"),
            "xn--bcher-kva.example");
  EXPECT_EQ(HostToAscii("bu\xCC\x88"
                        "cher.example"),
            "xn--bcher-kva.example");  // u and a combining diaeresis
}

TEST(Idn, KeepsTheSharpS) { EXPECT_EQ(HostToAscii("fa\xC3\x9F.example"), "xn--fa-hia.example"); }

TEST(Idn, RefusesWhatIsNoName) {
  EXPECT_EQ(HostToAscii("\xFF.example"), std::nullopt);
  EXPECT_EQ(HostToAscii("-\xC3\xBC.example"), std::nullopt);
  EXPECT_EQ(HostToAscii(std::string_view("\xC3\xBC\0.example", 11)), std::nullopt);
}

}  // namespace
}  // namespace pellora
