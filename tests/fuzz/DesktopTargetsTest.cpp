// The targets with Qt's value types on stored inputs and seeded changes, and with planted mistakes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Corpus.h"
#include "DesktopTargets.h"
#include "Oracle.h"

namespace pellora {
namespace {

void Feed(const std::string& target, int count, const std::function<void(std::string_view)>& run) {
  const std::vector<Input> inputs = KeptInputs(target);
  ASSERT_GE(inputs.size(), 5U);
  const auto feed = [&](const Input& input) {
    EXPECT_NO_THROW(run(input.bytes)) << "for " << input.name << ": " << testing::PrintToString(input.bytes);
  };
  for (const Input& input : inputs) feed(input);
  Changes changes(inputs, Words(target), 1);
  for (int i = 0; i < count && !testing::Test::HasFailure(); ++i) feed(changes.Next());
}

TEST(FuzzFrames, PassesOnCorpusAndMutations) {
  Feed("frames", 5000, [](std::string_view bytes) { FuzzFrames(bytes); });
}

TEST(FuzzTga, PassesOnCorpusAndMutations) {
  Feed("tga", 20000, [](std::string_view bytes) { FuzzTga(bytes); });
}

TEST(FuzzFrames, DetectsAReaderThatTreatsOneReadAsAFrame) {
  const auto wrong = [](int descriptor, QByteArray& json) {
    std::uint32_t length = 0;
    const ssize_t head = ::read(descriptor, &length, sizeof length);
    if (head <= 0) return FrameEnd::End;
    if (head < 4) return FrameEnd::CutShort;
    if (length == 0) return FrameEnd::Empty;
    if (length > kMaxFrameLength) return FrameEnd::TooLong;
    json.resize(static_cast<qsizetype>(length));
    return ::read(descriptor, json.data(), length) == static_cast<ssize_t>(length) ? FrameEnd::Frame
                                                                                   : FrameEnd::CutShort;
  };
  EXPECT_EQ(Catch("frames", [&](std::string_view bytes) { FuzzFrames(bytes, wrong); })
                .count("a frame ends as its length says"),
            1U);
}

TEST(FuzzTga, DetectsAReaderThatSwapsRedAndBlue) {
  const auto wrong = [](std::span<const unsigned char> bytes, qint64 most) {
    return ReadTga(bytes, most).rgbSwapped();
  };
  EXPECT_EQ(
      Catch("tga", [&](std::string_view bytes) { FuzzTga(bytes, wrong); }).count("a plain pixel is what its bytes say"),
      1U);
}

TEST(FuzzTga, DetectsAReaderThatFlipsTruncatedImages) {
  std::size_t largest = 0;
  const auto wrong = [&largest](std::span<const unsigned char> bytes, qint64 most) {
    const bool cut = bytes.size() < largest;
    largest = bytes.size();
    return cut ? ReadTga(bytes, most).mirrored() : ReadTga(bytes, most);
  };
  EXPECT_EQ(Catch("tga",
                  [&](std::string_view bytes) {
                    largest = 0;
                    FuzzTga(bytes, wrong);
                  })
                .count("a file cut short is the whole one and then black"),
            1U);
}

}  // namespace
}  // namespace pellora
