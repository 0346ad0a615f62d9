#include <algorithm>
#include <array>
#include <string>

#include "Oracle.h"
#include "Targets.h"
#include "core/Utf8.h"

namespace pellora {

namespace {

constexpr std::array kStatuses = {206, 200, 416, 302, 503, 401, 404, 204};
constexpr std::int64_t kFrom = 50;
constexpr std::int64_t kTotal = 200;

AskedFor AskedBy(std::uint32_t choice) {
  AskedFor asked;
  asked.kind = static_cast<RequestKind>(choice % 3);
  asked.ranged = (choice & 4U) == 0;
  asked.from = asked.kind == RequestKind::First || !asked.ranged ? 0 : kFrom;
  asked.to = (choice & 8U) == 0 ? -1 : 99;
  asked.conditional = (choice & 16U) != 0;
  return asked;
}

FileFacts KnownBy(std::uint32_t choice) {
  FileFacts known;
  if ((choice & 32U) == 0) known.total = kTotal;
  if ((choice & 64U) == 0) known.validator.etag = "\"a\"";
  known.validator.weak = (choice & 128U) != 0;
  return known;
}

FetchAnswer AnswerOf(const std::vector<std::string>& lines, std::uint32_t status) {
  FetchAnswer answer;
  answer.status = kStatuses.at(status % kStatuses.size());
  for (const std::string& line : lines) {
    const std::size_t colon = line.find(':');
    if (colon != std::string::npos) answer.headers.push_back({line.substr(0, colon), line.substr(colon + 1)});
  }
  return answer;
}

// The text of the only Content-Range without blanks; empty if there is another number of them.
std::string RangeText(const FetchAnswer& answer) {
  std::vector<std::string> found;
  for (const FetchHeader& header : answer.headers) {
    if (LowerCase(header.name) == "content-range") found.push_back(LowerCase(header.value));
  }
  if (found.size() != 1) return {};
  std::erase_if(found.front(), [](char c) { return c == ' ' || c == '\t'; });
  return found.front();
}

void DemandPart(const ReplyReading& reading, const FetchAnswer& answer, const AskedFor& asked, const FileFacts& known) {
  const std::string text = RangeText(answer);
  const std::string begin =
      "bytes" + std::to_string(reading.range.begin) + "-" + std::to_string(reading.range.end - 1) + "/";
  // Numbers may have zeros in front.
  const bool padded = text.find("bytes0") == 0 || text.find("-0") != std::string::npos;
  Demand(text.starts_with(begin) || padded, "a range is the one that Content-Range names");
  Demand(asked.ranged && reading.range.begin == asked.from, "a range begins where asked");
  Demand(reading.range.begin < reading.range.end && reading.range.end <= reading.facts.total,
         "a range lies in the file");
  Demand(asked.to < 0 || reading.range.end <= asked.to + 1, "a range ends where asked");
  const bool first = asked.kind == RequestKind::First;
  Demand(first || known.total < 0 || known.total == reading.facts.total, "a range is of a file of the known length");
  if (first || reading.verdict != ReplyVerdict::Body) return;
  const std::string& etag = reading.facts.validator.etag;
  Demand(etag.empty() || known.validator.etag.empty() || etag == known.validator.etag,
         "a range is of the known version");
}

void DemandReading(const ReplyReading& reading, const FetchAnswer& answer, const AskedFor& asked,
                   const FileFacts& known) {
  const bool body = reading.verdict == ReplyVerdict::Body || reading.verdict == ReplyVerdict::CompareSample;
  Demand(!body || answer.status == 206 || answer.status == 200, "bytes come with 200 and 206");
  if (body && answer.status == 206) DemandPart(reading, answer, asked, known);
  if (body && answer.status == 200) Demand(asked.kind == RequestKind::First, "a whole file is no range");
  Demand(reading.verdict != ReplyVerdict::AskWhole || asked.ranged, "nobody asks for a whole file twice");
  Demand(reading.verdict != ReplyVerdict::AskUnconditional || asked.conditional, "nobody drops a condition twice");
  Demand((reading.verdict == ReplyVerdict::Redirect) == !reading.location.empty(), "a redirect has a location");
  Demand(reading.retryAfter.value_or(0) >= 0, "no wait is negative");
  if (answer.status == 206 || answer.status == 200) {
    const auto coded = [&](const char* name) {
      return std::any_of(answer.headers.begin(), answer.headers.end(), [&](const FetchHeader& header) {
        return LowerCase(header.name) == name && header.value.find("gzip") != std::string::npos;
      });
    };
    Demand(!body || !coded("transfer-encoding"), "no coding but chunks is taken");
    Demand(!body || asked.fileName.ends_with("gz") || !coded("content-encoding"),
           "nothing compressed on the way is taken");
  }
}

void DemandName(const std::string& name) {
  Demand(!name.empty() && name.size() <= kLongestFileName && IsUtf8(name), "a name is UTF-8 and fits");
  Demand(name.find('/') == std::string::npos && name.find('\\') == std::string::npos, "a name is one part of a path");
  Demand(!HasControls(name) && name.find("\xE2\x80\xAE") == std::string::npos, "a name shows as it is");
  Demand(std::string(".~- ").find(name.front()) == std::string::npos && name.back() != '.' && name.back() != ' ',
         "a name neither hides nor looks like an option");
  Demand(HarmlessName(name) == name, "a harmless name stays as it is");
  const std::string numbered = NumberedName(name, 2);
  Demand(numbered != NumberedName(name, 3) && numbered.find(" (2)") != std::string::npos &&
             numbered.size() <= kLongestFileName && IsUtf8(numbered),
         "a numbered name fits too");
}

}  // namespace

void FuzzReply(std::string_view bytes, const ReplyReaders& readers) {
  Choices choices(bytes);
  const std::uint32_t choice = choices.Byte();
  const std::uint32_t status = choices.Byte();
  const std::string rest(choices.Rest());
  const std::size_t blank = std::min(rest.find("\n\n"), rest.size());
  const FetchAnswer answer = AnswerOf(Pieces(rest.substr(0, blank), "\n"), status);
  AskedFor asked = AskedBy(choice);
  const FileFacts known = KnownBy(choice);
  const std::optional<WebAddress> address =
      ParseWebAddress("https://s/" + rest.substr(std::min(blank + 2, rest.size())));

  const AllocationMeter meter;
  const std::string name = readers.name(answer, address.value_or(*ParseWebAddress("https://s/f")));
  asked.fileName = name;
  const ReplyReading reading = readers.check(answer, asked, known);
  Demand(meter.Bytes() <= 256 * bytes.size() + 16384, "a reply takes memory in proportion to its length");
  DemandName(name);
  DemandReading(reading, answer, asked, known);
}

}  // namespace pellora
