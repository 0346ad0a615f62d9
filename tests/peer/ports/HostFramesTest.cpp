#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tools/HostFrames.h"

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

TEST(AnswerText, ReportsSuccessWithoutAnError) {
  EXPECT_EQ(AnswerText({}), R"({"ok":true})");
  EXPECT_EQ(AnswerText("no \"bus\""), R"({"error":"no \"bus\"","ok":false})");
}

}  // namespace
}  // namespace pellora
