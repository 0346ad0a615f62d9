#include "SimHttpReader.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "SimHttpText.h"

namespace pellora {

namespace {

constexpr std::size_t kLongestHead = 300'000;

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

}  // namespace

SimHttpReader::Step SimHttpReader::Next(std::string_view& input, std::size_t limit, std::string_view& body) {
  for (;;) {
    switch (part_) {
      case Part::Head:
        if (!TakeLine(input)) return head_.size() + line_.size() > kLongestHead ? Step::Broken : Step::More;
        if (!line_.empty()) {
          head_ += std::exchange(line_, {}) + "\n";
          break;
        }
        if (head_.empty()) break;  // a blank line before the head
        if (!ReadHead()) return Step::Broken;
        if (part_ != Part::Head) return Step::Head;
        break;
      case Part::Sized:
      case Part::Chunk:
      case Part::UntilClose: {
        if (part_ == Part::Sized && left_ == 0) {
          part_ = Part::Complete;
          break;
        }
        if (part_ == Part::Chunk && left_ == 0) {
          part_ = Part::ChunkEnd;
          break;
        }
        if (input.empty()) return Step::More;
        if (limit == 0) return Step::Room;
        std::size_t size = std::min(limit, input.size());
        if (part_ != Part::UntilClose) size = static_cast<std::size_t>(std::min<std::uint64_t>(size, left_));
        body = input.substr(0, size);
        input.remove_prefix(size);
        if (part_ != Part::UntilClose) left_ -= size;
        return Step::Body;
      }
      case Part::ChunkSize:
        if (!TakeLine(input)) return Step::More;
        if (!ReadChunkSize()) return Step::Broken;
        break;
      case Part::ChunkEnd:
        if (!TakeLine(input)) return Step::More;
        if (!line_.empty()) return Step::Broken;
        part_ = Part::ChunkSize;
        break;
      case Part::Trailers:
        if (!TakeLine(input)) return Step::More;
        if (std::exchange(line_, {}).empty()) part_ = Part::Complete;
        break;
      case Part::Complete:
        if (!input.empty()) keep_ = false;
        return Step::End;
    }
  }
}

bool SimHttpReader::TakeLine(std::string_view& input) {
  const std::size_t end = input.find('\n');
  line_ += input.substr(0, end);
  if (end == std::string_view::npos) {
    input = {};
    return false;
  }
  input.remove_prefix(end + 1);
  if (line_.ends_with('\r')) line_.pop_back();
  return true;
}

// A final head ends the part, one of 1xx is dropped.
bool SimHttpReader::ReadHead() {
  const std::string head = std::exchange(head_, {});
  const std::size_t end = head.find('\n');
  const std::string_view status = std::string_view(head).substr(0, end);
  constexpr std::string_view kProtocol = "HTTP/1.";
  if (!status.starts_with(kProtocol) || status.size() < 12 || status[8] != ' ') return false;
  http10_ = status[kProtocol.size()] == '0';
  const auto number = std::from_chars(status.data() + 9, status.data() + 12, status_);
  if (number.ec != std::errc() || status_ < 100) return false;
  if (status_ == 101) return false;
  if (status_ < 200) return true;
  return ReadLines(std::string_view(head).substr(end + 1)) && ChooseBody();
}

bool SimHttpReader::ReadLines(std::string_view lines) {
  while (!lines.empty()) {
    const std::size_t end = lines.find('\n');
    const std::string_view line = lines.substr(0, end);
    lines.remove_prefix(end + 1);
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0) continue;
    headers_.push_back({std::string(line.substr(0, colon)), std::string(Trimmed(line.substr(colon + 1)))});
  }
  return true;
}

std::optional<std::string> SimHttpReader::Last(std::string_view name) const {
  const auto found = std::find_if(headers_.rbegin(), headers_.rend(),
                                  [&](const FetchHeader& header) { return SameWithoutCase(header.name, name); });
  return found == headers_.rend() ? std::nullopt : std::optional(found->value);
}

bool SimHttpReader::ChooseBody() {
  const std::string connection = Last("Connection").value_or(http10_ ? "close" : "keep-alive");
  keep_ = !http10_ && !SameWithoutCase(connection, "close");
  part_ = Part::UntilClose;
  if (status_ == 204 || status_ == 304 || (headOnly_ && status_ < 300)) {
    part_ = Part::Complete;
    return true;
  }
  if (const std::optional<std::string> coding = Last("Transfer-Encoding")) {
    const std::size_t comma = coding->rfind(',');
    const std::string_view last = Trimmed(std::string_view(*coding).substr(comma == std::string::npos ? 0 : comma + 1));
    if (SameWithoutCase(last, "chunked")) part_ = Part::ChunkSize;
  } else if (const std::optional<std::string> length = Last("Content-Length")) {
    const char* const end = length->data() + length->size();
    std::int64_t value = 0;
    const auto number = std::from_chars(length->data(), end, value);
    if (number.ec != std::errc::result_out_of_range) {
      if (number.ec != std::errc() || number.ptr != end || value < 0) return false;
      part_ = Part::Sized;
      left_ = static_cast<std::uint64_t>(value);
    }
  }
  if (part_ == Part::UntilClose) keep_ = false;
  return true;
}

bool SimHttpReader::ReadChunkSize() {
  const std::string line = std::exchange(line_, {});
  const std::string_view digits = Trimmed(std::string_view(line).substr(0, line.find(';')));
  const char* const end = digits.data() + digits.size();
  const auto number = std::from_chars(digits.data(), end, left_, 16);
  if (number.ec != std::errc() || number.ptr != end) return false;
  part_ = left_ == 0 ? Part::Trailers : Part::Chunk;
  return true;
}

}  // namespace pellora
