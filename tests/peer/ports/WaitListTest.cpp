#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>

#include "tools/RowJson.h"
#include "tools/WaitList.h"

namespace pellora {
namespace {

DownloadRow Row(int index, const QString& url, const QString& state, int received = 0, int serial = 1) {
  return {index, "file", url, state, received, 100, 0, "", QString("%1-%2-x").arg(index).arg(serial), {}};
}

TEST(WaitList, FollowsADownloadThroughARedirect) {
  WaitList waits(QStringList{"http://a/1"});
  waits.Update({Row(4, "http://a/1", "active")});
  waits.Update({Row(4, "http://b/2", "active", 50)});
  EXPECT_FALSE(waits.Done());
  waits.Update({Row(4, "http://b/2", "finished", 100)});
  EXPECT_TRUE(waits.AllFinished());
}

TEST(WaitList, NoticesThatAnotherDownloadTookTheSlot) {
  WaitList waits(QStringList{"4"});
  waits.Update({Row(4, "http://a/1", "active", 50)});
  waits.Update({Row(4, "http://a/1", "finished", 100, 2)});
  EXPECT_TRUE(waits.Done());
  EXPECT_FALSE(waits.AllFinished());
  EXPECT_EQ(waits.Items()[0].reason, "it is no longer in the list");
}

TEST(WaitList, FindsADownloadByItsId) {
  WaitList waits(QStringList{"4-2-x"});
  waits.Update({Row(4, "http://a/1", "finished", 100)});
  EXPECT_FALSE(waits.Done());
  waits.Update({Row(4, "http://b/2", "finished", 100, 2)});
  EXPECT_TRUE(waits.AllFinished());
}

TEST(WaitList, ShowsHowLongNoByteHasArrived) {
  DownloadRow row = Row(1, "http://a/1", "active", 50);
  row.silentSeconds = 10;
  WaitList waits(QList<DownloadRow>{row});
  EXPECT_EQ(ProgressLine(waits.Items()[0]), "file: 0.0%, 50 of 100 bytes, active, no byte for 10 s");
  row.silentSeconds = 9;
  waits.Update({row});
  EXPECT_EQ(ProgressLine(waits.Items()[0]), "file: 0.0%, 50 of 100 bytes, active");
}

TEST(WaitList, LetsNoNameControlTheTerminal) {
  DownloadRow row = Row(1, "http://a/1", "finished");
  row.name = QString::fromUtf8("a\x1b]0;b\x07\r\n\x7f\xc2\x9d\xc2\x9bm");
  row.savedPath = "/d/" + row.name;
  WaitList waits(QList<DownloadRow>{row});
  for (const QString& line : {ProgressLine(waits.Items()[0]), Printable(row.name)}) {
    for (const QChar character : line) EXPECT_NE(character.category(), QChar::Other_Control) << line.toStdString();
  }
  EXPECT_EQ(Printable(row.name).size(), row.name.size());
}

TEST(WaitList, LetsNoNameChangeTheWritingDirectionOfTheTerminal) {
  DownloadRow row = Row(1, "http://a/1", "finished");
  row.name = QString::fromUtf8("holiday\u202egpj.exe \u2066\u2069 \u2028\u05d0");
  WaitList waits(QList<DownloadRow>{row});
  EXPECT_TRUE(
      ProgressLine(waits.Items()[0]).startsWith(QString::fromUtf8("holiday\ufffdgpj.exe \ufffd\ufffd \ufffd\u05d0")))
      << ProgressLine(waits.Items()[0]).toStdString();
}

TEST(WaitList, EscapesTheSameInJson) {
  DownloadRow row = Row(1, "http://a/1", "finished");
  row.name = QString::fromUtf8("a\u202eb\xc2\x9b\u2028\x7f\u05d0\u00e9\n\"");
  const QByteArray line = JsonLine(JsonOf(row));
  EXPECT_TRUE(line.contains("\"a\\u202eb\\u009b\\u2028\\u007f\xd7\x90\xc3\xa9\\n\\\"\"")) << line.toStdString();
  EXPECT_EQ(QJsonDocument::fromJson(line).object().value("name").toString(), row.name);
}

TEST(WaitList, GivesTheReasonOfAFailure) {
  DownloadRow row = Row(1, "http://a/1", "failed");
  row.reason = "No room.";
  WaitList waits(QList<DownloadRow>{row});
  EXPECT_EQ(waits.Items()[0].reason, "No room.");
}

TEST(WaitList, FindsAUrlThatIsListedWithoutItsPassword) {
  WaitList waits(QStringList{"https://joe:secret@a/1"});
  waits.Update({Row(1, "https://joe@a/1", "finished", 100)});
  EXPECT_TRUE(waits.AllFinished());
}

TEST(WaitList, ShowsNoPasswordOfAUrlThatIsNotListed) {
  WaitList waits(QStringList{"https://joe:secret@a/1"});
  EXPECT_EQ(ProgressLine(waits.Items()[0]), "https://joe@a/1: waiting to be listed");
  waits.Expire();
  EXPECT_EQ(ProgressLine(waits.Items()[0]), "https://joe@a/1: not finished, it is not in the list");
}

TEST(WaitList, WaitsForAUrlToBeListedUntilItExpires) {
  WaitList waits(QStringList{"http://a/1"});
  waits.Update({});
  EXPECT_FALSE(waits.Done());
  waits.Expire();
  EXPECT_TRUE(waits.Done());
  EXPECT_EQ(waits.Items()[0].reason, "it is not in the list");
}

TEST(WaitList, EndsTheWaitAtAFinalState) {
  struct Case {
    const char* state;
    bool done;
    bool finished;
  };
  for (const Case& c : {Case{"finished", true, true}, Case{"failed", true, false}, Case{"paused", true, false},
                        Case{"active", false, false}, Case{"queued", false, false}, Case{"waiting", false, false},
                        Case{"scheduled", false, false}}) {
    const WaitList waits(QList<DownloadRow>{Row(1, "http://a/1", c.state)});
    EXPECT_EQ(waits.Done(), c.done) << c.state;
    EXPECT_EQ(waits.AllFinished(), c.finished) << c.state;
  }
}

TEST(WaitList, ListsARepeatedUrlOnce) {
  const WaitList waits(QStringList{"http://a/1", "http://a/1"});
  EXPECT_EQ(waits.Items().size(), 1u);
}

}  // namespace
}  // namespace pellora
