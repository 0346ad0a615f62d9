// Tests the oracles: a reader with a planted mistake is detected with the stored inputs of its target.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Corpus.h"
#include "Oracle.h"
#include "Targets.h"

namespace pellora {
namespace {

TEST(FuzzOracles, DetectALostQuery) {
  const auto wrong = [](std::string_view url) {
    ParsedUrl parsed = ParseUrl(url);
    parsed.path = parsed.path.substr(0, parsed.path.find('?'));
    return parsed;
  };
  EXPECT_EQ(Catch("url", [&](std::string_view bytes) { FuzzUrl(bytes, wrong); }).count("the path goes to the end"), 1U);
}

TEST(FuzzOracles, DetectUrlParsingInQuadraticMemory) {
  const auto wrong = [](std::string_view url) {
    std::vector<std::string> ends;
    for (std::size_t i = 0; i < url.size(); ++i) ends.emplace_back(url.substr(i));
    return ParseUrl(url);
  };
  EXPECT_FALSE(Catch("url", [&](std::string_view bytes) { FuzzUrl(bytes, wrong); }).empty());
}

TEST(FuzzOracles, DetectAReaderOfTheFirstContentLength) {
  const auto wrong = [](std::string_view reply) {
    ReplyHeaders headers = ParseReplyHeaders(reply);
    const std::size_t first = LowerCase(reply).find("content-length:");
    const std::size_t end = first == std::string::npos ? first : reply.find("\r\n", first);
    if (end != std::string_view::npos)
      headers.contentLength = ParseReplyHeaders(reply.substr(0, end + 2)).contentLength;
    return headers;
  };
  EXPECT_FALSE(Catch("headers", [&](std::string_view bytes) { FuzzHeaders(bytes, wrong); }).empty());
}

TEST(FuzzOracles, DetectARangeHeaderSoughtInEveryOrNoBlock) {
  const auto never = [](std::string_view) { return std::size_t{0}; };
  const auto always = [](std::string_view block) {
    const std::size_t end = block.find("\r\n\r\n");
    return end == std::string_view::npos ? std::size_t{0} : end + 4;
  };
  EXPECT_FALSE(Catch("segments", [&](std::string_view bytes) { FuzzSegments(bytes, never); }).empty());
  EXPECT_FALSE(Catch("segments", [&](std::string_view bytes) { FuzzSegments(bytes, always); }).empty());
}

TEST(FuzzOracles, DetectAnFtpLineLostBetweenBlocks) {
  const auto lost = [](const std::string& line) { return line.starts_with("331") ? std::string("200 x\r\n") : line; };
  const auto claims = Catch("ftp", [&](std::string_view bytes) { FuzzFtp(bytes, lost); });
  EXPECT_EQ(claims.count("the probe answers lines the same whole and apart"), 1U);
}

TEST(FuzzOracles, DetectEndlessOrInjectedFtpCommands) {
  std::string many;
  for (int i = 0; i < 51; ++i) many += "PASS x\r\n";
  EXPECT_THROW(DemandFtpCommands(many), OracleBroken);
  EXPECT_THROW(DemandFtpCommands("CWD a\r\nDELE b\r\n"), OracleBroken);
  EXPECT_THROW(DemandFtpCommands("CWD a\nb\r\n"), OracleBroken);
  EXPECT_THROW(DemandFtpCommands("CWD a"), OracleBroken);
  EXPECT_NO_THROW(DemandFtpCommands("USER a\r\nPASS \r\nPWD\r\n"));
}

TEST(FuzzOracles, DetectAPasvPortReadOneNumberEarly) {
  const auto wrong = [](std::string_view line) {
    PassiveAddress address = ParsePassiveReply(line);
    address.sixth = address.fifth;
    return address;
  };
  EXPECT_THROW(DemandFtpReplies("227 x (10,0,0,1,4,5)", wrong), OracleBroken);
  EXPECT_NO_THROW(DemandFtpReplies("227 x (10,0,0,1,4,5)"));
}

TEST(FuzzOracles, DetectAWebAddressThatLosesItsQuery) {
  const auto wrong = [](std::string_view text) {
    std::optional<WebAddress> address = ParseWebAddress(text);
    if (address) address->query.clear();
    return address;
  };
  EXPECT_EQ(Catch("webaddress", [&](std::string_view bytes) { FuzzWebAddress(bytes, wrong); }).count("a query is kept"),
            1U);
}

TEST(FuzzOracles, DetectAHostWithTheMarkOfAnAddress) {
  const auto wrong = [](std::string_view text) {
    std::optional<WebAddress> address = ParseWebAddress(text);
    if (address) address->host += "@evil";
    return address;
  };
  EXPECT_FALSE(Catch("webaddress", [&](std::string_view bytes) { FuzzWebAddress(bytes, wrong); }).empty());
}

TEST(FuzzOracles, DetectARangeTakenWhereverItBegins) {
  ReplyReaders wrong;
  wrong.check = [](const FetchAnswer& answer, const AskedFor& asked, const FileFacts& known) {
    AskedFor moved = asked;
    const std::optional<ContentRange> range = ParseContentRange(HeaderOf(answer, "Content-Range"));
    if (range && range->range) moved.from = range->range->begin;
    return CheckReply(answer, moved, known);
  };
  EXPECT_EQ(
      Catch("reply", [&](std::string_view bytes) { FuzzReply(bytes, wrong); }).count("a range begins where asked"), 1U);
}

TEST(FuzzOracles, DetectAReplyWhoseVersionIsNotChecked) {
  ReplyReaders wrong;
  wrong.check = [](const FetchAnswer& answer, const AskedFor& asked, const FileFacts& known) {
    ReplyReading reading = CheckReply(answer, asked, known);
    if (reading.verdict == ReplyVerdict::CompareSample) reading.verdict = ReplyVerdict::Body;
    return reading;
  };
  EXPECT_EQ(
      Catch("reply", [&](std::string_view bytes) { FuzzReply(bytes, wrong); }).count("a range is of the known version"),
      1U);
}

TEST(FuzzOracles, DetectANameTakenAsItIs) {
  ReplyReaders wrong;
  wrong.name = [](const FetchAnswer& answer, const WebAddress&) {
    return DispositionName(HeaderOf(answer, "Content-Disposition"));
  };
  const auto claims = Catch("reply", [&](std::string_view bytes) { FuzzReply(bytes, wrong); });
  EXPECT_EQ(claims.count("a name shows as it is"), 1U);
}

TEST(FuzzOracles, DetectAJournalThatCountsTheFirstLine) {
  const auto wrong = [](std::string_view bytes) {
    JournalReading reading = ReadJournal(bytes);
    const JournalReading first = ReadJournal(bytes.substr(0, bytes.find('\n') + 1));
    if (!first.entries.empty() && !reading.entries.empty()) reading.entries.front() = first.entries.front();
    if (reading.entries.size() > 1) reading.entries.pop_back();
    return reading;
  };
  EXPECT_FALSE(Catch("journal", [&](std::string_view bytes) { FuzzJournal(bytes, wrong); }).empty());
}

TEST(FuzzOracles, DetectASelectionWhoseTimesAreReadLater) {
  const auto wrong = [](std::string_view bytes) {
    std::optional<Selection> selection = ReadSelection(bytes);
    if (!selection) return selection;
    for (SelectedEntry& entry : selection->entries) {
      if (entry.modified) ++*entry.modified;
    }
    return selection;
  };
  EXPECT_EQ(Catch("selection", [&](std::string_view bytes) { FuzzSelection(bytes, wrong); })
                .count("what was written is read as it was"),
            1U);
}

TEST(FuzzOracles, DetectASelectionWithAPathToTheOutside) {
  const auto wrong = [](std::string_view bytes) {
    std::optional<Selection> selection = ReadSelection(bytes);
    if (selection) selection->entries.back().path.insert(selection->entries.back().path.begin(), "..");
    return selection;
  };
  EXPECT_EQ(Catch("selection", [&](std::string_view bytes) { FuzzSelection(bytes, wrong); })
                .count("a path leads nowhere but down"),
            1U);
}

TEST(FuzzOracles, DetectAJournalWithATornTail) {
  const auto wrong = [](std::string_view bytes) {
    JournalReading reading = ReadJournal(bytes);
    reading.wholeLength = bytes.size();
    return reading;
  };
  EXPECT_EQ(Catch("journal", [&](std::string_view bytes) { FuzzJournal(bytes, wrong); })
                .count("a torn tail is without line feed"),
            1U);
}

TEST(FuzzOracles, DetectCookiesOfAnotherHost) {
  const auto wrong = [](const std::vector<ListedCookie>& cookies, const WebAddress& address, std::int64_t now) {
    WebAddress other = address;
    other.host = "bank.example";
    return CookiesFor(cookies, other, now);
  };
  EXPECT_EQ(Catch("cookies", [&](std::string_view bytes) { FuzzCookies(bytes, wrong); })
                .count("only cookies of this host, path and scheme are sent"),
            1U);
}

TEST(FuzzOracles, DetectAListThatLosesAField) {
  int reads = 0;
  const auto wrong = [&reads](std::string_view bytes) {
    std::vector<DownloadRecord> records = ReadRecords(bytes);
    // Each reading shifts a counter, as if it were written and read at different widths.
    for (DownloadRecord& record : records) record.Received += ++reads % 2;
    return records;
  };
  EXPECT_EQ(Catch("list", [&](std::string_view bytes) { FuzzList(bytes, wrong); })
                .count("a list that was saved is read as it was"),
            1U);
}

TEST(FuzzOracles, DetectAListReaderThatTrustsItsCounts) {
  const auto wrong = [](std::string_view bytes) {
    const std::string believed(bytes.size() < 8 ? std::size_t{0} : std::size_t{1} << 22, 'x');
    return ReadRecords(bytes);
  };
  EXPECT_EQ(Catch("list", [&](std::string_view bytes) { FuzzList(bytes, wrong); })
                .count("a list takes memory in proportion to its length"),
            1U);
}

TEST(FuzzOracles, DetectAZipByteLostBetweenBlocks) {
  ZipReaders wrong;
  wrong.take = [](std::string& buffer, std::string_view block, std::size_t wanted) {
    if (!buffer.empty() && !block.empty()) block.remove_prefix(1);
    return TakeZipBlock(buffer, block, wanted);
  };
  EXPECT_EQ(Catch("zip", [&](std::string_view bytes) { FuzzZip(bytes, wrong); })
                .count("data is the same in one block and in two"),
            1U);
}

TEST(FuzzOracles, DetectAZipNumberReadAtTheWrongOffset) {
  ZipReaders wrong;
  wrong.read = [](std::string_view text, std::int16_t count) {
    std::vector<ZipEntry> entries = ReadDirectory(text, count);
    for (ZipEntry& entry : entries) entry.PackedSize = entry.CrcField;
    return entries;
  };
  EXPECT_EQ(
      Catch("zip", [&](std::string_view bytes) { FuzzZip(bytes, wrong); }).count("the numbers are at their offsets"),
      1U);
}

TEST(FuzzOracles, DetectALanguageLineSplitAtItsLastEqualsSign) {
  const auto wrong = [](std::string_view content, LangStringArray& texts) {
    ReadLanguage(content, texts);
    for (std::string& text : texts) text = text.substr(text.rfind('=') + 1);
  };
  EXPECT_EQ(Catch("language", [&](std::string_view bytes) { FuzzLanguage(bytes, wrong); })
                .count("the last line of a number holds"),
            1U);
}

TEST(FuzzOracles, DetectASettingStoredWithoutOuterBlanks) {
  IniReaders wrong;
  wrong.with = [](std::string content, std::string_view key, std::string_view value) {
    return WithIniValue(std::move(content), key, WithoutOuterBlanks(value));
  };
  EXPECT_EQ(
      Catch("settings", [&](std::string_view bytes) { FuzzSettings(bytes, wrong); }).count("what was stored is read"),
      1U);
}

TEST(FuzzOracles, DetectASettingReadFromTheFirstLine) {
  IniReaders wrong;
  wrong.get = [](std::string_view content, std::string_view key) {
    const std::size_t again = content.rfind("\n" + std::string(key) + "=");
    return IniValue(again == std::string_view::npos ? content : content.substr(0, again), key);
  };
  EXPECT_EQ(Catch("settings", [&](std::string_view bytes) { FuzzSettings(bytes, wrong); })
                .count("the last line of a key holds"),
            1U);
}

TEST(FuzzOracles, DetectAlteredVersionNotes) {
  const auto wrong = [](std::string_view block) {
    VersionReply reply = ReadVersionReply(block);
    reply.notes += ' ';
    return reply;
  };
  EXPECT_EQ(Catch("version", [&](std::string_view bytes) { FuzzVersion(bytes, wrong); })
                .count("the notes follow the first line of the body"),
            1U);
}

TEST(FuzzOracles, DetectANumberReadWithAComma) {
  const auto wrong = [](std::string_view text) {
    std::string point(text);
    for (char& c : point) c = c == ',' ? '.' : c;
    return NumericPrefix(point);
  };
  EXPECT_EQ(Catch("numbers", [&](std::string_view bytes) { FuzzNumbers(bytes, wrong); })
                .count("a number is the one at the text's start"),
            1U);
}

TEST(FuzzOracles, DetectAPartialPreviewFrameReportedAsTheEnd) {
  const auto wrong = [](PreviewFrames& frames, std::size_t count) {
    const PreviewFrames::Event said = frames.Received(count);
    return said == PreviewFrames::Event::Nothing && count < 12 ? PreviewFrames::Event::Ended : said;
  };
  EXPECT_EQ(Catch("preview", [&](std::string_view bytes) { FuzzPreview(bytes, wrong); })
                .count("pieces give the same messages"),
            1U);
}

TEST(FuzzOracles, DetectMirrorsInTheOrderOfTheDocument) {
  const auto wrong = [](std::string_view bytes) {
    auto files = ReadMetalink(bytes);
    if (files) {
      for (MetalinkFile& file : *files) std::reverse(file.mirrors.begin(), file.mirrors.end());
    }
    return files;
  };
  EXPECT_EQ(Catch("metalink", [&](std::string_view bytes) { FuzzMetalink(bytes, wrong); })
                .count("mirrors are in the order of their priority"),
            1U);
}

TEST(FuzzOracles, DetectAMetalinkThatLeadsOutOfItsFolder) {
  const auto wrong = [](std::string_view bytes) {
    auto files = ReadMetalink(bytes);
    if (files && bytes.find("../") != std::string_view::npos) {
      for (MetalinkFile& file : *files) file.name = "../" + file.name;
    }
    return files;
  };
  EXPECT_EQ(Catch("metalink", [&](std::string_view bytes) { FuzzMetalink(bytes, wrong); }).count("a name is harmless"),
            1U);
}

TEST(FuzzOracles, DetectALinkHeaderReadToItsFirstComma) {
  const auto wrong = [](const FetchAnswer& answer, const WebAddress& base) {
    FetchAnswer cut = answer;
    for (FetchHeader& header : cut.headers) header.value = header.value.substr(0, header.value.find(','));
    return MirrorsIn(cut, base);
  };
  EXPECT_EQ(Catch("link", [&](std::string_view bytes) { FuzzLink(bytes, wrong); })
                .count("mirrors in one header are read as they were"),
            1U);
}

TEST(FuzzOracles, DetectAPasswordOfAnotherHost) {
  const auto wrong = [](std::string_view netrc, std::string_view host, std::string_view user, bool) {
    return LoginIn(netrc, host, user, true);
  };
  EXPECT_EQ(
      Catch("netrc", [&](std::string_view bytes) { FuzzNetrc(bytes, wrong); }).count("plain words mean what they say"),
      1U);
}

TEST(FuzzOracles, DetectAnExceptedEndOfAName) {
  const auto wrong = [](std::string_view list, const WebAddress& to) {
    return IsExcepted(list, to) || (!list.empty() && to.host.ends_with(list));
  };
  EXPECT_EQ(Catch("noproxy", [&](std::string_view bytes) { FuzzNoProxy(bytes, wrong); })
                .count("a name excepts itself and what is below it"),
            1U);
}

TEST(FuzzOracles, DetectADigestOfTheWrongLength) {
  DigestReaders wrong;
  wrong.digest = [](std::string_view value) {
    std::vector<Checksum> checksums = ReadDigest(value);
    for (Checksum& checksum : checksums) checksum.hex.resize(32, '0');
    return checksums;
  };
  EXPECT_EQ(Catch("digests", [&](std::string_view bytes) { FuzzDigests(bytes, wrong); })
                .count("a checksum has its kind's length"),
            1U);
}

TEST(FuzzOracles, DetectAChecksumOfAnotherFile) {
  const auto wrong = [](std::string_view list, std::string_view) { return ListedChecksum(list, "b.iso"); };
  EXPECT_EQ(
      Catch("sums", [&](std::string_view bytes) { FuzzSums(bytes, wrong); }).count("plain lines mean what they say"),
      1U);
}

TEST(FuzzOracles, DetectAnAddressLostAfterAnEmptyLine) {
  const auto wrong = [](std::string_view text) { return ReadUrlList(text.substr(0, text.find("\n\n"))); };
  EXPECT_EQ(Catch("urls", [&](std::string_view bytes) { FuzzUrls(bytes, wrong); })
                .count("every line that begins like an address is one"),
            1U);
}

TEST(AllocationMeter, CountsAllocationsEvenIfFreed) {
  const AllocationMeter meter;
  for (int i = 0; i < 10; ++i) {
    const std::string text(10'000, 'x');
    ASSERT_EQ(text.size(), 10'000U);
  }
  EXPECT_GE(meter.Bytes(), 100'000U);
  EXPECT_LE(meter.Bytes(), 110'000U);
}

TEST(FuzzOracles, DetectSizesWithoutTheirZip64Field) {
  const auto wrong = [](const ArchiveDirectory& directory, std::size_t index) {
    ArchiveEntry entry = directory.Entry(index);
    entry.size &= 0xFFFFFFFF;
    return entry;
  };
  EXPECT_EQ(Catch("archive", [&](std::string_view bytes) { FuzzArchive(bytes, {.entry = wrong}); })
                .count("full sizes are those of the ZIP64 field"),
            1U);
}

TEST(FuzzOracles, DetectEntriesInAnotherOrder) {
  const auto wrong = [](const ArchiveDirectory& directory, std::size_t index) {
    return directory.Entry(directory.Count() - 1 - index);
  };
  EXPECT_EQ(Catch("archive", [&](std::string_view bytes) { FuzzArchive(bytes, {.entry = wrong}); })
                .count("a name follows the fixed part"),
            1U);
}

TEST(FuzzOracles, DetectSizesThatLibarchiveDoesNotFind) {
  const auto run = [](std::string_view bytes) {
    // Right when each entry is compared with its record, which comes first.
    std::size_t calls = 0;
    const auto wrong = [&calls](const ArchiveDirectory& directory, std::size_t index) {
      ArchiveEntry entry = directory.Entry(index);
      if (calls++ >= directory.Count()) ++entry.size;
      return entry;
    };
    FuzzArchive(bytes, {.entry = wrong});
  };
  EXPECT_EQ(Catch("archive", run).count("libarchive finds the same names and sizes"), 1U);
}

TEST(FuzzOracles, DetectLinksTakenForFiles) {
  const auto wrong = [](const ArchiveDirectory& directory, std::size_t index) {
    ArchiveEntry entry = directory.Entry(index);
    entry.kind = EntryKind::File;
    return entry;
  };
  EXPECT_EQ(Catch("archive", [&](std::string_view bytes) { FuzzArchive(bytes, {.entry = wrong}); })
                .count("links and devices are neither files nor folders"),
            1U);
}

TEST(FuzzOracles, DetectRangesBeyondTheNextEntry) {
  const auto wrong = [](const EntryLayout& layout, std::size_t index) {
    const Range range = layout.RangeOf(index);
    return Range{range.begin, range.end + 512};
  };
  EXPECT_EQ(Catch("archive", [&](std::string_view bytes) { FuzzArchive(bytes, {.range = wrong}); })
                .count("no more is fetched than belongs to an entry"),
            1U);
}

}  // namespace
}  // namespace pellora
