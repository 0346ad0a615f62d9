#include "zipview/ZipTransfer.h"

#include <algorithm>

#include "core/Ascii.h"
#include "core/WireText.h"

namespace pellora {

namespace {

constexpr std::string_view kHeaderWord = "content-type";
constexpr std::string_view kEmptyLine = "\r\n\r\n";
constexpr std::size_t kLostWithoutHeaderEnd = 3;

bool HasHeaderWord(std::string_view block) {
  return std::search(block.begin(), block.end(), kHeaderWord.begin(), kHeaderWord.end(),
                     [](char have, char want) { return ToLower(have) == want; }) != block.end();
}

}  // namespace

std::string ZipRequest(const DownloadRecord& record, std::int64_t first, std::int64_t last) {
  const std::string host = WireText(record.Host);
  std::string request = "GET " + WireText(record.Path) + " HTTP/1.1\r\n";
  request += "Accept: *.*, */*\r\n";
  request += "Referer: " + host + "\r\n";
  request += "Host: " + host + "\r\n";
  request += "Range: bytes=" + std::to_string(first) + "-" + std::to_string(last) + "\r\n";
  return request + "\r\n";
}

bool TakeZipBlock(std::string& buffer, std::string_view block, std::size_t wanted) {
  if (HasHeaderWord(block)) {
    const std::size_t headerEnd = block.find(kEmptyLine);
    block.remove_prefix(headerEnd == std::string_view::npos ? std::min(kLostWithoutHeaderEnd, block.size())
                                                            : headerEnd + kEmptyLine.size());
  }
  const std::size_t lacking = wanted - std::min(wanted, buffer.size());
  buffer.append(block.substr(0, lacking));
  return buffer.size() >= wanted;
}

}  // namespace pellora
