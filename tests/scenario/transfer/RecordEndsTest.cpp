// What a refused or abandoned download leaves: of its record, of its place, and of the rows.
#include "SimFtpServer.h"
#include "TransferFixture.h"
#include "core/RecordLife.h"

namespace pellora {
namespace {

struct EndCase {
  const char* name;
  const char* url;
  int answer;
  RecordEnd end;
  std::int16_t force;  // of the refresh of the rows
};

const EndCase kEndCases[] = {
    {"missing file", "http://o.example/none.bin", kAnswerOk, kRefused, 0},
    {"web page", "http://o.example/page.bin", kAnswerNo, kNoFile, 1},
    {"bad name", "http://o.example/get?id=4", kAnswerOk, kNoFile, 1},
    {"time-out", "http://nobody.example/a.bin", kAnswerNo, kGivenUp, 1},
    {"missing FTP file", "ftp://f.example/none.bin", kAnswerOk, kFtpRefused, 1},
};

class RecordEnds : public TransferFixture {
 protected:
  RecordEnds() {
    origin.Page("/page.bin", 200, "text/html", "<html></html>");
    Serve("/get?id=4", 100);
  }
  SimFtpServer server{sim.network(), "f.example"};
};

TEST_F(RecordEnds, EmptyThePlaceAndRefreshTheRows) {
  for (const EndCase& c : kEndCases) {
    const std::int16_t index = Start(c.url);
    ASSERT_TRUE(RunUntilABoxStands()) << c.name;
    // The same record with the same end.
    const std::int16_t expected = Add(c.url);
    Record(expected) = Record(index);
    Release(program, expected, c.end);
    const std::uint32_t serial = program.Serial(index);
    lists.refreshes.clear();
    Answer(c.answer);
    EXPECT_EQ(Record(index), Record(expected)) << c.name;
    EXPECT_TRUE(program.Holds(index, serial)) << c.name;
    EXPECT_EQ(WindowOf(index), nullptr) << c.name;
    ASSERT_EQ(lists.refreshes.size(), 1U) << c.name;
    EXPECT_EQ(lists.refreshes[0].index, 0) << c.name;
    EXPECT_EQ(lists.refreshes[0].force, c.force) << c.name;
    EXPECT_TRUE(sim.RunUntilIdle(10'000)) << c.name;
    EXPECT_TRUE(NothingRuns()) << c.name;
  }
}

}  // namespace
}  // namespace pellora
