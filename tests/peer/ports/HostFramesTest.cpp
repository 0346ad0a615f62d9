#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tools/HostFrames.h"
#include "tools/HostList.h"
#include "tools/HostRequests.h"

namespace pellora {
namespace {

// The browser's end of the stream, which delivers it in pieces of any size.
class Pipe {
 public:
  explicit Pipe(const std::string& bytes) {
    if (pipe(ends_) != 0) throw std::runtime_error("no pipe");
    if (write(ends_[1], bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
      throw std::runtime_error("?");
    close(ends_[1]);
  }
  ~Pipe() { close(ends_[0]); }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  int End() const { return ends_[0]; }

 private:
  int ends_[2];
};

std::string Length(std::uint32_t length) { return {reinterpret_cast<const char*>(&length), sizeof length}; }

TEST(ReadFrame, ReadsFramesInSequence) {
  const Pipe pipe(Length(2) + "{}" + Length(3) + "[1]");
  QByteArray json;
  EXPECT_EQ(ReadFrame(pipe.End(), json), FrameEnd::Frame);
  EXPECT_EQ(json, "{}");
  EXPECT_EQ(ReadFrame(pipe.End(), json), FrameEnd::Frame);
  EXPECT_EQ(json, "[1]");
  EXPECT_EQ(ReadFrame(pipe.End(), json), FrameEnd::End);
}

TEST(ReadFrame, ReportsHowAFrameIsBroken) {
  const std::vector<std::pair<std::string, FrameEnd>> frames = {
      {"", FrameEnd::End},
      {Length(0), FrameEnd::Empty},
      {Length(0xFFFFFFFFU) + "x", FrameEnd::TooLong},
      {Length(kMaxFrameLength + 1), FrameEnd::TooLong},
      {Length(kMaxFrameLength), FrameEnd::CutShort},
      {Length(5) + "1234", FrameEnd::CutShort},
      {Length(5).substr(0, 3), FrameEnd::CutShort},
  };
  for (const auto& [bytes, end] : frames) {
    const Pipe pipe(bytes);
    QByteArray json;
    EXPECT_EQ(ReadFrame(pipe.End(), json), end) << bytes.size();
  }
}

TEST(ParseRequest, AcceptsAUrlWithOrWithoutOtherFields) {
  const HostRequest full = ParseRequest(R"({"url":"http://a/b","referrer":"http://p/","cookie":"k=v"})");
  EXPECT_EQ(full.error, "");
  EXPECT_EQ(full.url, "http://a/b");
  EXPECT_EQ(full.referrer, "http://p/");
  EXPECT_EQ(full.cookie, "k=v");
  const HostRequest bare = ParseRequest(R"({"url":"FTP://a/b","cookie":null})");
  EXPECT_EQ(bare.error, "");
  EXPECT_EQ(bare.referrer, "");
  EXPECT_EQ(bare.cookie, "");
}

TEST(ParseRequest, TellsTheWebEnginesSchemesFromTheOthers) {
  for (const char* json : {R"({"url":"https://a/b"})", R"({"url":" FTPS://a/b"})", R"({"url":"sftp://a/b"})"}) {
    EXPECT_EQ(ParseRequest(json).error, "") << json;
    EXPECT_TRUE(ParseRequest(json).newScheme) << json;
  }
  EXPECT_FALSE(ParseRequest(R"({"url":"http://a/b"})").newScheme);
}

TEST(ParseRequest, ReportsWhatItCannotForward) {
  for (const char* json : {"", "x", "[]", "\"http://a/b\"", "{}", R"({"url":7})", R"({"url":"file:///a/b"})",
                           R"({"url":"javascript:void"})", R"({"url":"http://a/\u0000b"})", "{\"url\":\"http://\xff\"}",
                           R"({"url":"http://a/b","cookie":["k"]})", R"({"url":"http://a/b")"}) {
    EXPECT_NE(ParseRequest(json).error, "") << json;
  }
}

TEST(ParseRequest, ReadsADownloadThatTheBrowserHasBegun) {
  const HostRequest request = ParseRequest(R"({"command":"take-over","url":"https://a/b","referrer":"https://p/",
      "cookie":"k=v","userAgent":"Browser/1","size":5000000000,"type":"application/zip"})");
  EXPECT_EQ(request.error, "");
  EXPECT_EQ(request.command, HostCommand::TakeOver);
  EXPECT_EQ(request.userAgent, "Browser/1");
  EXPECT_EQ(request.size, 5'000'000'000);
  EXPECT_EQ(request.type, "application/zip");
  EXPECT_EQ(ParseRequest(R"({"command":"take-over","url":"http://a/b","size":-1})").error, "");
}

TEST(ParseRequest, ReadsTheCommandsOfThePopup) {
  EXPECT_EQ(ParseRequest(R"({"command":"list"})").command, HostCommand::List);
  EXPECT_EQ(ParseRequest(R"({"command":"list"})").error, "");
  EXPECT_EQ(ParseRequest(R"({"command":"open"})").error, "");
  const HostRequest request = ParseRequest(R"({"command":"pause","id":"1-2-3"})");
  EXPECT_EQ(request.error, "");
  EXPECT_EQ(request.command, HostCommand::Pause);
  EXPECT_EQ(request.id, "1-2-3");
}

TEST(ParseRequest, ReadsThatATakenOverDownloadIsToBeReleased) {
  const HostRequest request = ParseRequest(R"({"command":"release","id":"1-2-3"})");
  EXPECT_EQ(request.error, "");
  EXPECT_EQ(request.command, HostCommand::Release);
  EXPECT_EQ(request.id, "1-2-3");
  EXPECT_NE(ParseRequest(R"({"command":"release"})").error, "");
  EXPECT_EQ(AnswerText({}, "1-2-3"), R"({"id":"1-2-3","ok":true})");
}

TEST(ParseRequest, RefusesValuesOfOtherTypesAndSizes) {
  const std::string longText(70'000, 'x');
  const std::string longWord(1'025, 'x');
  for (const std::string& json : {
           std::string(R"({"command":"take-over","url":"http://a/b"})"),
           std::string(R"({"command":"take-over","url":"http://a/b","size":"7"})"),
           std::string(R"({"command":"take-over","url":"http://a/b","size":1.5})"),
           std::string(R"({"command":"take-over","url":"http://a/b","size":-2})"),
           std::string(R"({"command":"take-over","url":"http://a/b","size":1e300})"),
           std::string(R"({"command":"take-over","url":"ftp://a/b","size":1})"),
           std::string(R"({"command":"take-over","url":"http://","size":1})"),
           std::string(R"({"command":"take-over","url":"http://a/b","size":1,"type":7})"),
           R"({"command":"take-over","url":"http://a/b","size":1,"userAgent":")" + longWord + R"("})",
           R"({"url":"http://a/b","cookie":")" + longText + R"("})",
           R"({"url":"http://a/)" + longText + R"("})",
           std::string(R"({"url":"http://a/b","quiet":"yes"})"),
           std::string(R"({"command":"erase","url":"http://a/b"})"),
           std::string(R"({"command":7,"url":"http://a/b"})"),
           std::string(R"({"command":"pause"})"),
           std::string(R"({"command":"pause","id":7})"),
           R"({"command":"release","id":")" + longWord + R"("})",
       }) {
    EXPECT_NE(ParseRequest(QByteArray::fromStdString(json)).error, "") << json.substr(0, 80);
  }
}

DownloadRow Row(const char* name, const char* state) {
  DownloadRow row;
  row.name = name;
  row.state = state;
  row.id = QString("id-") + name;
  return row;
}

TEST(ListText, ShowsWhatIsNotFinishedWithTheRunningOnesFirst) {
  DownloadRow running = Row("b", "active");
  running.received = 5'000'000'000;
  running.bytesPerSecond = 2.5;
  EXPECT_EQ(
      ListText({Row("a", "queued"), Row("f", "finished"), running}),
      R"({"downloads":[{"id":"id-b","name":"b","percent":0,"reason":"","received":5000000000,"size":0,"speed":2.5,)"
      R"("state":"active"},{"id":"id-a","name":"a","percent":0,"reason":"","received":0,"size":0,"speed":0,)"
      R"("state":"queued"}],"more":0,"ok":true,"running":1})");
  EXPECT_EQ(ListText({}), R"({"downloads":[],"more":0,"ok":true,"running":0})");
}

TEST(ListText, FitsAReplyHoweverLongTheListIs) {
  QList<DownloadRow> rows;
  DownloadRow row = Row("", "active");
  row.name = QString(40'000, QChar(1));
  row.reason = row.name;
  for (int i = 0; i < 2'000; ++i) rows.append(row);
  const QByteArray text = ListText(rows);
  EXPECT_LT(text.size(), 1 << 20);
  EXPECT_TRUE(text.contains(R"("more":1900,)"));
  EXPECT_TRUE(text.contains(R"("running":2000})"));
}

// Half a character would be no Unicode, and some browsers drop a whole reply for it.
TEST(ListText, CutsNoCharacterInTwo) {
  DownloadRow row = Row("a", "failed");
  row.reason = QString(299, QChar(u'x')) + QString::fromUtf8("\xF0\x9F\x8D\x89");
  const QByteArray text = ListText({row});
  EXPECT_EQ(text.count('x'), 299);
  EXPECT_EQ(text.toLower().count("\\ud83c"), 0) << text.toStdString();
  row.reason.remove(0, 1);
  EXPECT_EQ(ListText({row}).count("\xF0\x9F\x8D\x89"), 1);
}

TEST(AnswerText, SaysThatTheProgramIsNotRunning) {
  EXPECT_EQ(AbsentText(), R"({"absent":true,"error":"Pellora is not running.","ok":false})");
}

TEST(AnswerText, ReportsSuccessWithoutAnError) {
  EXPECT_EQ(AnswerText({}), R"({"ok":true})");
  EXPECT_EQ(AnswerText("no \"bus\""), R"({"error":"no \"bus\"","ok":false})");
}

}  // namespace
}  // namespace pellora
