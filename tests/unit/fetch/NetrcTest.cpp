#include <gtest/gtest.h>

#include "fetch/Netrc.h"

namespace pellora {
namespace {

constexpr bool kWithDefault = true;

NetrcLogin Login(std::string_view netrc, std::string_view host = "h.example", std::string_view user = "") {
  return LoginIn(netrc, host, user, !kWithDefault);
}

const NetrcLogin kNone{};
const NetrcLogin kJoe{"joe", "pw"};

TEST(Netrc, FindsTheMachine) {
  EXPECT_EQ(Login("machine h.example login joe password pw"), kJoe);
  EXPECT_EQ(Login("machine other login x password y\nmachine H.EXAMPLE\n\tlogin joe\r\n\tpassword pw\n"), kJoe);
  EXPECT_EQ(Login("machine h.example account a password pw login joe"), kJoe);
  EXPECT_EQ(Login("machine h.example login joe"), (NetrcLogin{"joe", ""}));
  EXPECT_EQ(Login("machine example login joe password pw"), kNone);
  EXPECT_EQ(Login("machine h.example password pw"), kNone);
  EXPECT_EQ(Login(""), kNone);
}

TEST(Netrc, FirstFittingEntryCounts) {
  const std::string_view netrc = "machine h.example login joe password pw machine h.example login ann password x";
  EXPECT_EQ(Login(netrc), kJoe);
  EXPECT_EQ(Login(netrc, "h.example", "ann"), (NetrcLogin{"ann", "x"}));
  EXPECT_EQ(Login(netrc, "h.example", "eve"), kNone);
}

TEST(Netrc, DefaultIsForHostsThatAllowIt) {
  const std::string_view netrc = "machine other login x password y default login joe password pw";
  EXPECT_EQ(LoginIn(netrc, "h.example", "", kWithDefault), kJoe);
  EXPECT_EQ(LoginIn(netrc, "other", "", kWithDefault), (NetrcLogin{"x", "y"}));
  EXPECT_EQ(LoginIn(netrc, "h.example", "", !kWithDefault), kNone);
}

TEST(Netrc, QuotedWordsMayHoldBlanksAndQuotes) {
  EXPECT_EQ(Login(R"(machine h.example login "joe smith" password "a\"b\\c d")"),
            (NetrcLogin{"joe smith", "a\"b\\c d"}));
  EXPECT_EQ(Login("machine h.example login joe password \"machine other\""), (NetrcLogin{"joe", "machine other"}));
  EXPECT_EQ(Login("machine h.example login joe password \"open"), (NetrcLogin{"joe", "open"}));
  EXPECT_EQ(Login("machine h.example login joe password \"\\"), (NetrcLogin{"joe", "\\"}));
}

TEST(Netrc, ControlCharactersMakeNoLogin) {
  EXPECT_EQ(Login("machine h.example login joe password \"x\\r\\nDELE file\""), kNone);
  EXPECT_EQ(Login(std::string("machine h.example login j\0e password pw", 40)), kNone);
}

TEST(Netrc, MacrosAndCommentsAreSkipped) {
  EXPECT_EQ(Login("# machine h.example login x password y\nmachine h.example login joe password pw"), kJoe);
  EXPECT_EQ(Login("machine o login a password b\nmacdef init\nmachine h.example login x password y\n\n"
                  "machine h.example login joe password pw\n"),
            kJoe);
  EXPECT_EQ(Login("macdef init\nmachine h.example login x password y\n"), kNone);
  EXPECT_EQ(Login("macdef init\r\nmachine h.example login x password y\r\n\r\n"
                  "machine h.example login joe password pw\r\n"),
            kJoe);
  EXPECT_EQ(Login("macdef a\n\nmacdef b\n\r\nmachine h.example login joe password pw\n\n"), kJoe);
  EXPECT_EQ(Login("macdef"), kNone);
  EXPECT_EQ(Login("machine h.example login joe password #pw"), (NetrcLogin{"joe", "#pw"}));
}

TEST(Netrc, DamagedFilesGiveWhatTheyHave) {
  EXPECT_EQ(Login("machine"), kNone);
  EXPECT_EQ(Login("machine h.example login"), kNone);
  EXPECT_EQ(Login("login joe password pw machine h.example"), kNone);
  EXPECT_EQ(Login("machine h.example nonsense login joe password pw"), kJoe);
}

}  // namespace
}  // namespace pellora
