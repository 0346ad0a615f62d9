#include "transfer/Requests.h"

#include "core/Ascii.h"
#include "core/WireText.h"

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
