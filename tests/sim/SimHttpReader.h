// SimHttpReader: reads one reply of HTTP/1.1 (RFC 9112) as it comes, for the simulated fetcher.
//
// Heads of 1xx are passed over and trailers dropped. The length of the body follows RFC 9112, section 6.3, but is as
// forgiving as fetchers are: of several Content-Lengths the last one counts, and one that is too large counts as none.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ports/Fetcher.h"

namespace pellora {

class SimHttpReader {
 public:
  enum class Step {
    More,    // all input is read; more is needed
    Head,    // the final head is read: see Status and Headers
    Body,    // `body` has bytes of the body
    Room,    // bytes of the body come next, and `limit` is 0
    End,     // the reply is complete; what is left of the input does not belong to it
    Broken,  // this is no HTTP
  };

  // `headOnly`: what follows the head is not a body, as after a successful CONNECT.
  explicit SimHttpReader(bool headOnly = false) : headOnly_(headOnly) {}

  // Reads from the beginning of `input` and removes what was read; `body` is a part of it, at most `limit` bytes long.
  Step Next(std::string_view& input, std::size_t limit, std::string_view& body);
  // The reply ended with the connection: True if that completes it.
  bool EndsWithConnection() const { return part_ == Part::UntilClose; }
  // Another request may follow on the connection.
  bool MayKeep() const { return keep_; }
  bool HasHead() const { return part_ != Part::Head; }

  int Status() const { return status_; }
  const std::vector<FetchHeader>& Headers() const { return headers_; }

 private:
  enum class Part { Head, Sized, ChunkSize, Chunk, ChunkEnd, Trailers, UntilClose, Complete };

  bool ReadHead();
  bool ReadLines(std::string_view lines);
  bool ChooseBody();
  bool ReadChunkSize();
  std::optional<std::string> Last(std::string_view name) const;
  bool TakeLine(std::string_view& input);  // into line_; True once it is whole, without its end

  bool headOnly_;
  Part part_ = Part::Head;
  std::string line_;
  std::string head_;
  bool http10_ = false;
  bool keep_ = false;
  int status_ = 0;
  std::vector<FetchHeader> headers_;
  std::uint64_t left_ = 0;  // of the body or the chunk
};

}  // namespace pellora
