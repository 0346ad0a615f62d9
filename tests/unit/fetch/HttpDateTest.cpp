#include <gtest/gtest.h>

#include "fetch/HttpDate.h"

namespace pellora {
namespace {

TEST(HttpDate, ReadsTheThreeForms) {
  EXPECT_EQ(ParseHttpDate("Sun, 06 Nov 1994 08:49:37 GMT"), 784111777);
  EXPECT_EQ(ParseHttpDate("Sunday, 06-Nov-94 08:49:37 GMT"), 784111777);
  EXPECT_EQ(ParseHttpDate("Sun Nov  6 08:49:37 1994"), 784111777);
}

TEST(HttpDate, ReadsTheEndsOfTheRange) {
  EXPECT_EQ(ParseHttpDate("Thu, 01 Jan 1970 00:00:00 GMT"), 0);
  EXPECT_EQ(ParseHttpDate("Wed, 31 Dec 1969 23:59:59 GMT"), -1);
  EXPECT_EQ(ParseHttpDate("Thu, 29 Feb 2024 12:00:00 GMT"), 1709208000);
  EXPECT_EQ(ParseHttpDate("Fri, 31 Dec 9999 23:59:59 GMT"), 253402300799);
  EXPECT_EQ(ParseHttpDate("Saturday, 01-Jan-69 00:00:00 GMT"), 3124224000);  // 2069
  EXPECT_EQ(ParseHttpDate("Thursday, 01-Jan-70 00:00:00 GMT"), 0);
  EXPECT_EQ(ParseHttpDate("Sat, 31 Dec 2016 23:59:60 GMT"), 1483228799);  // a leap second
}

TEST(HttpDate, RefusesWhatIsNoDate) {
  for (const char* const text : {"",
                                 "0",
                                 "Sun",
                                 "Sun, 06 Nov 1994",
                                 "Sun, 31 Feb 2024 00:00:00 GMT",
                                 "Sun, 06 nov 1994 08:49:37 GMT",
                                 "Sun, 06 Nov 1994 24:00:00 GMT",
                                 "Sun, 06 Nov 1994 08:60:00 GMT",
                                 "Sun, 06 Nov 1994 08:49 GMT",
                                 "Sun, 06 Nov 1994 08:49:37 CET",
                                 "Sun, 6x Nov 1994 08:49:37 GMT",
                                 "Sun, 06 Nov 994 08:49:37 GMT",
                                 "Sun, 06 Nov 19944 08:49:37 GMT",
                                 "Sun Nov  6 08:49:37",
                                 "Sun, 006 Nov 1994 08:49:37 GMT",
                                 "Sun Nov -6 08:49:37 1994",
                                 "Sun, 06 Nov 1994 0x:49:37 GMT",
                                 "Sun, 06 Nov 1994 08:x:37 GMT",
                                 "Sun, 06 Nov 1994 08:49:x GMT",
                                 "Sun, 06 Nov 1994 08:49:61 GMT"}) {
    EXPECT_EQ(ParseHttpDate(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace pellora
