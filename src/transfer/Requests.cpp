#include "transfer/Requests.h"

#include "core/Ascii.h"

namespace pellora {

namespace {

std::string RequestLine(const DownloadRecord& record, bool proxy) {
  return "GET " + WireText(proxy ? TrimBlanks(record.URL) : record.Path) + " HTTP/1.1\r\n";
}

// A referer is the address of a former record, which keeps the blanks that it was given with.
std::string RefererLine(const DownloadRecord& record) {
  return "Referer: " + WireText(TrimBlanks(record.Referer)) + "\r\n";
}

}  // namespace

std::string WireText(std::string_view text) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  std::string wire;
  wire.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x21 && byte != 0x7f) {
      wire += c;
    } else {
      wire += '%';
      wire += kHex[byte >> 4];
      wire += kHex[byte & 15];
    }
  }
  return wire;
}

std::string ProbeRequest(const DownloadRecord& record, bool proxy) {
  std::string request = RequestLine(record, proxy);
  request += "Accept: *.*, */*\r\n";
  request += "Connection: Keep-Alive\r\n";
  request += "Host: " + WireText(record.Host) + "\r\n";  // without a port, whatever the port
  if (!record.Referer.empty()) request += RefererLine(record);
  return request + "\r\n\r\n";
}

std::string SegmentRequest(const DownloadRecord& record, const SegmentRecord& segment, bool proxy) {
  std::string request = RequestLine(record, proxy);
  request += "Accept: *.*, */*\r\n";
  request += RefererLine(record);
  request += "Connection: Keep-Alive\r\n";
  request += "Host: " + WireText(record.Host) + "\r\n";
  request += "Range: bytes=" + std::to_string(segment.RangeStart) + "-" + std::to_string(segment.RangeEnd) + "\r\n";
  return request + "\r\n";
}

}  // namespace pellora
