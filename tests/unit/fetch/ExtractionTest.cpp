#include <gtest/gtest.h>

#include "fetch/Extraction.h"

namespace pellora {
namespace {

using Numbers = std::vector<std::size_t>;

// Five entries of 100,000 bytes, each 200,000 apart, of an archive of 1,000,000; the fourth is a folder without bytes.
std::shared_ptr<const Selection> Sample() {
  auto selection = std::make_shared<Selection>();
  selection->facts.total = 1'000'000;
  for (std::int64_t i = 0; i < 5; ++i) {
    SelectedEntry entry;
    entry.path = {"f" + std::to_string(i)};
    entry.isFolder = i == 3;
    entry.range = {i * 200'000, i * 200'000 + 100'000};
    entry.reach = (i + 1) * 200'000;
    entry.packed.size = 300'000;
    selection->entries.push_back(entry);
  }
  return selection;
}

Range RangeOf(std::int64_t number) { return {number * 200'000, number * 200'000 + 100'000}; }

class ExtractionOfFive : public testing::Test {
 protected:
  void Hold(Range range) {
    written.Add(range);
    extraction.Arrived(written, range);
  }
  std::int64_t Missing() const { return 1'000'000 - extraction.HeldOrUnwanted(written).Bytes(); }

  IntervalSet written;
  Extraction extraction{Sample(), {}};
};

// It was unpacked from an earlier version of the archive.
TEST(Extraction, FileWithoutBytesIsUnpacked) {
  auto selection = std::make_shared<Selection>(*Sample());
  selection->entries[0].range = {};
  selection->entries[0].reach = 0;
  const Extraction extraction(selection, {});
  EXPECT_EQ(extraction.Unpacked(), IntervalSet({{0, 1}}));
  EXPECT_EQ(extraction.Size(), 300'000);
}

TEST_F(ExtractionOfFive, NeedsTheBytesOfFilesAlone) {
  EXPECT_EQ(BytesToFetch(*Sample()), 400'000);
  EXPECT_EQ(BytesUnpacked(*Sample()), 1'500'000);
  EXPECT_EQ(extraction.Size(), 400'000);
  EXPECT_EQ(Missing(), 400'000);
  EXPECT_EQ(extraction.HeldOrUnwanted(written).Missing({0, 1'000'000}).front(), RangeOf(0));
  EXPECT_EQ(extraction.Folders(), Numbers{3});
}

TEST_F(ExtractionOfFive, EntryIsReadyOnceAllOfItIsThere) {
  Hold({200'000, 299'999});
  EXPECT_EQ(extraction.Next(), std::nullopt);
  Hold({299'999, 300'000});
  EXPECT_EQ(extraction.Next(), 1U);
  Hold({0, 100'000});
  EXPECT_EQ(extraction.Next(), 0U);
  EXPECT_EQ(Missing(), 200'000);
  extraction.IsUnpacked(0);
  extraction.IsUnpacked(1);
  EXPECT_EQ(extraction.Next(), std::nullopt);
}

TEST_F(ExtractionOfFive, WhatWasUnpackedIsNotNeededAtTheNextStart) {
  Extraction next(Sample(), IntervalSet({{0, 2}}));
  EXPECT_EQ(1'000'000 - next.HeldOrUnwanted({}).Bytes(), 200'000);
  EXPECT_EQ(next.Size(), 400'000);
  next.SetHeld(IntervalSet({{0, 1'000'000}}));
  EXPECT_EQ(next.Next(), 2U);
  Extraction all(Sample(), IntervalSet({{0, 5}}));
  EXPECT_TRUE(all.AllAreUnpacked());
}

TEST_F(ExtractionOfFive, DamagedEntryIsFetchedOnceMore) {
  Hold({0, 1'000'000});
  extraction.IsDamaged(1, false);
  EXPECT_TRUE(extraction.IsIncomplete());
  EXPECT_TRUE(extraction.Damaged().empty());
  EXPECT_EQ(extraction.TakeAgain().damaged, std::vector<Range>{RangeOf(1)});
  EXPECT_FALSE(extraction.IsIncomplete());
  written.Remove(RangeOf(1));
  extraction.SetHeld(written);
  EXPECT_EQ(Missing(), 100'000);
  Hold(RangeOf(1));
  extraction.IsDamaged(1, true);
  EXPECT_FALSE(extraction.IsIncomplete());
  EXPECT_EQ(extraction.Damaged(), std::set<std::size_t>{1});
  EXPECT_TRUE(extraction.HasChanged());
  extraction.BeginAgain();
  EXPECT_TRUE(extraction.Damaged().empty());
  EXPECT_FALSE(extraction.HasChanged());
}

TEST_F(ExtractionOfFive, EntryReachesFurtherUpToTheNextOne) {
  Hold(RangeOf(1));
  EXPECT_FALSE(extraction.NeedsMore(1, {300'000, 400'001}));
  EXPECT_FALSE(extraction.NeedsMore(1, {300'001, 300'100}));
  EXPECT_FALSE(extraction.NeedsMore(1, {300'000, 300'000}));
  EXPECT_TRUE(extraction.NeedsMore(1, {300'000, 300'100}));
  EXPECT_TRUE(extraction.IsIncomplete());
  EXPECT_TRUE(extraction.TakeAgain().damaged.empty());
  EXPECT_EQ(extraction.Next(), std::nullopt);
  EXPECT_EQ(extraction.Size(), 400'100);
  EXPECT_EQ(extraction.Entry(1).range, (Range{200'000, 300'100}));
  Hold({300'000, 300'100});
  EXPECT_EQ(extraction.Next(), 1U);
}

TEST_F(ExtractionOfFive, EntryWithoutPasswordIsSetAsideUntilTheNextStart) {
  Hold({0, 1'000'000});
  extraction.LacksPassword(0, false, false);
  EXPECT_EQ(extraction.Next(), 1U);
  EXPECT_TRUE(extraction.WantsPassword());
  extraction.BeginAgain();
  extraction.SetHeld(written);
  EXPECT_FALSE(extraction.WantsPassword());
  EXPECT_EQ(extraction.Next(), 0U);
}

TEST_F(ExtractionOfFive, EncryptedEntryThatIsPartlyUnpackedIsFetchedAgainOnce) {
  Hold({0, 1'000'000});
  extraction.LacksPassword(0, true, true);
  EXPECT_FALSE(extraction.WantsPassword());
  EXPECT_TRUE(extraction.IsIncomplete());
  EXPECT_EQ(extraction.TakeAgain().locked, std::vector<Range>{RangeOf(0)});
  extraction.LacksPassword(0, true, true);
  EXPECT_FALSE(extraction.IsIncomplete());
  EXPECT_EQ(extraction.Undecrypted(), std::set<std::size_t>{0});
}

TEST_F(ExtractionOfFive, EntryThatNoPasswordFitsIsFetchedOnceMoreAndThenNamed) {
  Hold({0, 1'000'000});
  for (int start = 0; start < 3; ++start) {
    extraction.LacksPassword(0, false, false);
    EXPECT_TRUE(extraction.WantsPassword());
    extraction.BeginAgain();
  }
  extraction.LacksPassword(0, true, false);
  EXPECT_TRUE(extraction.WantsPassword());
  EXPECT_FALSE(extraction.IsIncomplete());
  extraction.BeginAgain();
  extraction.LacksPassword(0, true, false);
  EXPECT_FALSE(extraction.WantsPassword());
  EXPECT_TRUE(extraction.IsIncomplete());
  const Extraction::Again again = extraction.TakeAgain();
  EXPECT_EQ(again.locked, std::vector<Range>{RangeOf(0)});
  EXPECT_TRUE(again.damaged.empty());
  EXPECT_FALSE(extraction.HasFaults());
  extraction.LacksPassword(0, true, false);
  EXPECT_FALSE(extraction.IsIncomplete());
  EXPECT_TRUE(extraction.HasFaults());
  EXPECT_EQ(extraction.Undecrypted(), std::set<std::size_t>{0});
  extraction.SetHeld(written);
  EXPECT_EQ(extraction.Next(), 1U);
  extraction.BeginAgain();
  EXPECT_FALSE(extraction.HasFaults());
  extraction.LacksPassword(0, true, false);
  EXPECT_TRUE(extraction.WantsPassword());
}

TEST_F(ExtractionOfFive, EntryThatCannotBeNamedIsSetAsideUntilTheNextStart) {
  Hold({0, 1'000'000});
  extraction.CannotBeNamed(0, "why");
  EXPECT_TRUE(extraction.HasFaults());
  EXPECT_EQ(extraction.Nameless().at(0), "why");
  extraction.SetHeld(written);
  EXPECT_EQ(extraction.Next(), 1U);
  extraction.BeginAgain();
  extraction.SetHeld(written);
  EXPECT_FALSE(extraction.HasFaults());
  EXPECT_EQ(extraction.Next(), 0U);
}

}  // namespace
}  // namespace pellora
