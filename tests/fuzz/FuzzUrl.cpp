#include <string>

#include "Oracle.h"
#include "Targets.h"
#include "core/FileNames.h"
#include "transfer/RedirectTarget.h"
#include "transfer/Requests.h"

namespace pellora {

namespace {

std::size_t LineEnds(const std::string& text) { return Pieces(text, "\r\n").size() - 1; }

// Checks that the request has as many lines as intended, and no byte that ends a line early.
void DemandRequest(const std::string& request, std::size_t lines) {
  Demand(LineEnds(request) == lines && request.ends_with("\r\n\r\n"), "a request has the lines it was built of");
  Demand(!HasControls(Joined(Pieces(request, "\r\n"))), "a request has no control characters");
}

void DemandCommand(const std::string& command) {
  Demand(LineEnds(command) == 1 && command.ends_with("\r\n"), "a command is one line");
  Demand(!HasControls(command.substr(0, command.size() - 2)), "a command has no control characters");
}

// `path` begins with "/", and what follows its last one is the file's name.
void DemandPath(const std::string& path, const std::string& fileName) {
  Demand(path.starts_with('/') && fileName.find('/') == std::string::npos,
         "a path begins with a slash, a name has none");
  Demand(path.substr(0, path.size() - fileName.size()).ends_with('/') && path.ends_with(fileName),
         "the name is the last part of the path");
}

// No URL can split a request in two, or place a part file in another folder.
void DemandHarmless(const ParsedUrl& parsed, const std::string& url) {
  DownloadRecord record;
  record.Path = parsed.path;
  record.Host = parsed.host;
  record.URL = url;
  for (const bool proxy : {false, true}) {
    DemandRequest(ProbeRequest(record, proxy), 6);
    DemandRequest(SegmentRequest(record, SegmentRecord{}, proxy), 7);
    record.Referer = url;
    DemandRequest(ProbeRequest(record, proxy), 7);
    record.Referer.clear();
  }
  DemandRequest(ZipRequest(record, 0, 21), 6);
  for (const std::string& text : {parsed.user, parsed.password, parsed.path}) DemandCommand(FtpCommand("RETR ", text));
}

void DemandHttpHost(const ParsedUrl& parsed, const std::string& authority) {
  const std::size_t colon = authority.find(':');
  Demand(parsed.protocol == kHttp && parsed.user.empty() && parsed.password.empty(), "an HTTP address has no login");
  Demand(parsed.host == authority.substr(0, colon), "the host ends at its first colon");
  Demand(parsed.port == (colon == std::string::npos ? 80 : RoundedNumber(authority.substr(colon + 1))),
         "the port is the number after the colon");
}

void DemandFtpHost(const ParsedUrl& parsed, const std::string& authority) {
  const std::size_t colon = authority.find(':');
  const std::size_t at = authority.find('@');
  Demand(parsed.protocol == kFtp, "an FTP address is of FTP");
  if (colon == std::string::npos || at == std::string::npos) {
    Demand(parsed.user == "anonymous" && parsed.password.empty() && parsed.host == authority && parsed.port == 21,
           "without both marks there is no login and no port");
    return;
  }
  const std::string login = parsed.user + ":" + parsed.password + "@";
  Demand(authority.starts_with(login + parsed.host), "the host follows the login");
  const std::string rest = authority.substr(login.size() + parsed.host.size());
  Demand(rest.empty() ? parsed.port == 21 : rest.front() == ':' && parsed.port == RoundedNumber(rest.substr(1)),
         "nothing but the port follows the host");
}

void DemandParts(const ParsedUrl& parsed, const std::string& url, bool tooLong) {
  const std::string lower = LowerCase(url.substr(0, 7));
  const bool ftp = lower.starts_with("ftp://");
  const std::size_t scheme = lower == "http://" ? 7 : ftp ? 6 : 0;
  const std::size_t slash = url.find('/', scheme);
  const bool shaped = !tooLong && scheme > 0 && slash != std::string::npos;
  if (parsed.result != kUrlAccepted) {
    Demand(parsed.result == kUrlRefused, "there are two outcomes");
    Demand(!shaped || url.substr(0, slash).find(':', scheme) != std::string::npos,
           "an address of the right form and without a port is accepted");
    return;
  }
  Demand(shaped, "an address has a scheme, a host and a path");
  Demand(parsed.path == url.substr(slash), "the path goes to the end");
  DemandPath(parsed.path, parsed.fileName);
  const std::string authority = url.substr(scheme, slash - scheme);
  ftp ? DemandFtpHost(parsed, authority) : DemandHttpHost(parsed, authority);
  DemandHarmless(parsed, url);
}

void DemandRedirect(const std::string& location) {
  const RedirectTarget target = TargetOfRedirect(location);
  DemandPath(target.path, target.fileName);
  const std::size_t slashes = location.find("//");
  const std::string rest = slashes != std::string::npos ? location.substr(slashes + 2)
                           : location.empty()           ? ""
                                                        : location.substr(1);
  Demand(target.host.find('/') == std::string::npos, "a host has no slash");
  Demand(target.host + target.path == rest || (target.host == rest && target.path == "/"), "the path follows the host");
}

void DemandFileName(const std::string& name) {
  if (IsBadFileName(name, "\"") || !IsStorableName(name)) return;
  const std::string part = PartFileName("/tmp/", name, 8);
  Demand(part.starts_with("/tmp/") && part.find('/', 5) == std::string::npos && part.find('\0') == std::string::npos,
         "a part file is in the folder of part files");
  Demand(part.size() - 5 <= 255, "a part file's name fits the disk");
}

}  // namespace

void FuzzUrl(std::string_view bytes, const std::function<ParsedUrl(std::string_view)>& parse) {
  const AllocationMeter meter;
  const ParsedUrl parsed = parse(bytes);
  Demand(meter.Bytes() <= 16 * bytes.size() + 1024, "an address takes memory in proportion to its length");
  DemandParts(parsed, WithoutOuterBlanks(bytes), bytes.size() > kLongestListString);
  DemandRedirect(std::string(bytes));
  DemandFileName(std::string(bytes));
}

}  // namespace pellora
