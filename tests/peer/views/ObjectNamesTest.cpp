#include <gtest/gtest.h>

#include "desktop/views/ObjectNames.h"

namespace pellora {

TEST(ObjectName, MapsArrayElementsAndKeywords) {
  EXPECT_EQ(ObjectName("Prog(0)"), QStringLiteral(u"Prog_0"));
  EXPECT_EQ(ObjectName("Label7(3)"), QStringLiteral(u"Label7_3"));
  EXPECT_EQ(ObjectName("delete"), QStringLiteral(u"menu_delete"));
  EXPECT_EQ(ObjectName("state"), QStringLiteral(u"state"));
  EXPECT_EQ(ObjectName("Command1"), QStringLiteral(u"Command1"));
}

}  // namespace pellora
