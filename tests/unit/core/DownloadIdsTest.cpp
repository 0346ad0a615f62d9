#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>

#include "SimPlatform.h"
#include "core/DownloadIds.h"
#include "core/Program.h"

namespace pellora {
namespace {

class DownloadIdsTest : public testing::Test {
 protected:
  void Add(double date, const std::string& url) {
    program.ResizeDownloads(static_cast<std::int16_t>(program.DownloadCount + 1));
    DownloadRecord& record = program.Download(program.DownloadCount);
    record.InUse = true;
    record.DateAdded = date;
    record.URL = url;
  }
  std::string Of(int index) {
    std::string id = IdOf(program, index);
    EXPECT_EQ(DownloadIds(program).Of(index), id);
    return id;
  }
  std::int16_t Find(const std::string& id) { return FindId(program, id); }

  SimPlatform sim;
  Program program{sim.platform()};
};

TEST_F(DownloadIdsTest, AreOfTheDateAloneAndFindTheirDownloads) {
  Add(46000.5, "http://h/a");
  Add(std::nextafter(46000.5, 1e9), "http://h/a");
  EXPECT_NE(Of(1), Of(2));
  EXPECT_EQ(Find(Of(1)), 1);
  EXPECT_EQ(Find(Of(2)), 2);
  const std::string before = Of(1);
  program.Download(1).URL = "http://elsewhere/b";  // a redirect
  EXPECT_EQ(Of(1), before);
}

TEST_F(DownloadIdsTest, BeginWithALetterAndHaveNoBlanks) {
  for (const double date : {0.0, -1.0, 46000.5, 1e300, std::numeric_limits<double>::quiet_NaN()}) Add(date, "u");
  std::set<std::string> ids;
  for (int i = 1; i <= program.DownloadCount; ++i) {
    const std::string id = Of(i);
    EXPECT_EQ(id.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789"), std::string::npos) << id;
    EXPECT_EQ(id[0], 'd');
    EXPECT_EQ(Find(id), i);
    ids.insert(id);
  }
  EXPECT_EQ(ids.size(), 5U);
}

TEST_F(DownloadIdsTest, OfOneDateDifferByTheirAddresses) {
  Add(46000.5, "http://h/a");
  Add(46000.5, "http://h/b");
  const std::string first = Of(1);
  const std::string second = Of(2);
  EXPECT_NE(first, second);
  EXPECT_EQ(Find(first), 1);
  EXPECT_EQ(Find(second), 2);
  EXPECT_EQ(Find(first.substr(0, first.find('-'))), 0);
  // Also once the other one is gone.
  program.Download(1).InUse = false;
  EXPECT_EQ(Find(second), 2);
  EXPECT_EQ(Find(first), 0);
}

TEST_F(DownloadIdsTest, OfOneDateAndAddressFindNone) {
  Add(46000.5, "http://h/a");
  Add(46000.5, "http://h/a");
  EXPECT_EQ(Find(Of(1)), 0);
}

TEST_F(DownloadIdsTest, OfDownloadsThatHaveLeftTheListFindNone) {
  Add(46000.5, "http://h/a");
  const std::string id = Of(1);
  program.Download(1).InUse = false;
  EXPECT_EQ(Find(id), 0);
}

}  // namespace
}  // namespace pellora
