// FetchStage: what the contract of the Fetcher is tried on, and what its claims are made of.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "ports/Fetcher.h"

namespace pellora {

// Replies of a server to any request.
enum class Reply {
  Echo,           // the head of the request as a file
  EndsEarly,      // Content-Length: 1000, then 400 bytes "x" and the end of the connection
  UntilClose,     // 400 bytes "x" without a length, then the end
  Chunked,        // 2 chunks, "first" and "second", then a trailer "Late: yes"
  ChunkedCut,     // the first chunk, then the end
  EarlyHints,     // 103 with "Link: early", then 200 with "Kind: final" and "body"
  TransferCoded,  // "Transfer-Encoding: gzip, chunked" with a compressed body
  Compressed,     // "Content-Encoding: gzip" with a compressed body of kCompressedSize bytes
  Moved,          // 302 with "Location: /elsewhere" and an empty body
  Missing,        // 404 with "gone"
  Nothing,        // the connection ends without a reply
  Silence,        // no reply, and the connection stays open
  Endless,        // Content-Length: 2^40 and as many bytes as the client takes
};
constexpr std::size_t kCompressedSize = 25;

// Certificates for the host of FetchStage::SecureUrl.
enum class Certificate { Right, Expired, OtherHost, UnknownAuthority };

class FetchStage {
 public:
  virtual ~FetchStage() = default;
  virtual Fetcher& Port() = 0;
  // Runs the event loop until the condition holds; False if it did not in a time that is long for the stage.
  virtual bool RunUntil(const std::function<bool()>& condition) = 0;
  virtual void RunFor(int milliseconds) = 0;

  // A well-behaved server with ranges and an ETag, plain or by TLS; `content` is what the file has from now on.
  virtual std::string Url(const std::string& name, const std::string& content) = 0;
  virtual std::string SecureUrl(Certificate certificate, const std::string& name, const std::string& content) = 0;
  virtual std::string Authorities() = 0;  // FetchRequest::certificates
  virtual std::string Url(Reply reply) = 0;
  // Bytes that Reply::Endless has handed to the network so far, over all connections.
  virtual std::int64_t EndlessBytes() = 0;
  virtual std::string RefusingUrl() = 0;  // nobody listens there
  virtual std::string NamelessUrl() = 0;  // the name of the host has no address
  // The port of a well-behaved plain server, at the numeric address NumericAddress, whatever the name in its URLs.
  virtual std::string UrlUnderName(const std::string& host, const std::string& name, const std::string& content) = 0;
  virtual std::string NumericAddress() = 0;
};

struct FetchStageMaker {
  const char* name;
  std::unique_ptr<FetchStage> (*make)();
};
inline void PrintTo(const FetchStageMaker& maker, std::ostream* out) { *out << maker.name; }

// Records what arrives, and runs a hook inside each event.
class FetchRecorder final : public FetchEvents {
 public:
  void Answered(const FetchAnswer& given) override {
    ++answers;
    answer = given;
    log += "A";
    if (onAnswer) onAnswer();
  }
  void DataArrived(std::unique_ptr<FetchBlock> block) override {
    EXPECT_FALSE(block->Bytes().empty());
    received += static_cast<std::int64_t>(block->Bytes().size());
    longest = std::max(longest, block->Bytes().size());
    if (keepContent) content += block->Bytes();
    if (!log.ends_with('D')) log += "D";
    if (keepBlocks) blocks.push_back(std::move(block));
    if (onData) onData();
  }
  void Ended(FetchEnd kind, const std::string& text) override {
    end = kind;
    reason = text;
    log += "E";
    if (onEnd) onEnd();
  }

  bool HasEnded() const { return log.ends_with('E'); }
  std::string Header(const std::string& name) const {
    std::string found;
    for (const FetchHeader& header : answer.headers) {
      if (header.name == name) found += header.value;
    }
    return found;
  }

  std::string log;  // "ADE": answered, data once or more, ended
  int answers = 0;
  FetchAnswer answer;
  std::string content;
  std::int64_t received = 0;
  std::size_t longest = 0;  // of the blocks
  FetchEnd end = FetchEnd::Other;
  std::string reason;
  bool keepContent = true;
  bool keepBlocks = false;
  std::vector<std::unique_ptr<FetchBlock>> blocks;
  std::function<void()> onAnswer;
  std::function<void()> onData;
  std::function<void()> onEnd;
};

// Allows what the test says, and counts.
class StubThrottle final : public Throttle {
 public:
  bool Take(std::size_t bytes) override {
    ++asked;
    const auto size = static_cast<std::int64_t>(bytes);
    if (allowed < size) return false;
    allowed -= size;
    taken += size;
    return true;
  }
  std::size_t Portion() const override { return portion; }

  std::atomic<std::int64_t> allowed = 0;
  std::atomic<std::int64_t> taken = 0;
  std::atomic<int> asked = 0;
  std::atomic<std::size_t> portion = std::size_t{16} << 10;
};

// Bytes of which no two places look the same.
inline std::string SomeContent(std::size_t size) {
  std::string content(size, '\0');
  std::uint32_t state = 12345;
  for (char& c : content) {
    state = state * 1664525 + 1013904223;
    c = static_cast<char>(state >> 24);
  }
  return content;
}

}  // namespace pellora
