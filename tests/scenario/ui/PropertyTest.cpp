#include <gtest/gtest.h>

#include <string>

#include "ui/Property.h"

namespace pellora {
namespace {

struct CountingOwner final : PropertyOwner {
  void PropertyChanged() override { ++changes; }
  int changes = 0;
};

TEST(Property, NotifiesItsOwnerOfEachNewValue) {
  CountingOwner owner;
  Property<std::string> text(&owner, "a");
  text = "b";
  text = "c";
  EXPECT_EQ(owner.changes, 2);
  EXPECT_EQ(text(), "c");
}

TEST(Property, IgnoresAnEqualValue) {
  CountingOwner owner;
  Property<int> number(&owner, 5);
  number = 5;
  EXPECT_EQ(owner.changes, 0);
  EXPECT_EQ(number, 5);
}

}  // namespace
}  // namespace pellora
