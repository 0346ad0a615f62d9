// The fuzz targets: each passes arbitrary bytes to one reader of the program and throws OracleBroken if a claim that
// must hold for all bytes is violated. The readers can be replaced by wrong ones, to test that the oracle detects them.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/ArchiveDirectory.h"
#include "archive/EntryLayout.h"
#include "core/ChecksumList.h"
#include "core/CookieFile.h"
#include "core/IniText.h"
#include "core/ListCodec.h"
#include "core/Metalink.h"
#include "core/Numbers.h"
#include "core/ParseUrl.h"
#include "core/Program.h"
#include "core/UrlList.h"
#include "core/WebAddress.h"
#include "desktop/PreviewFrames.h"
#include "fetch/DigestHeaders.h"
#include "fetch/EnvironmentProxy.h"
#include "fetch/FileNameFromReply.h"
#include "fetch/JournalCodec.h"
#include "fetch/LinkHeader.h"
#include "fetch/Netrc.h"
#include "fetch/ReplyCheck.h"
#include "fetch/SelectionCodec.h"
#include "lang/Language.h"
#include "mainwin/VersionReply.h"
#include "transfer/FtpReplies.h"
#include "transfer/ReplyHeaders.h"
#include "zipview/ZipDirectory.h"
#include "zipview/ZipTransfer.h"

namespace pellora {

// The bytes as a URL, as a redirect's location and as a file name.
void FuzzUrl(std::string_view bytes, const std::function<ParsedUrl(std::string_view)>& parse = ParseUrl);

// The first block of an HTTP reply.
void FuzzHeaders(std::string_view bytes,
                 const std::function<ReplyHeaders(std::string_view)>& parse = ParseReplyHeaders);

// Three bytes choose the file's size (little-endian) and the most segments. The rest is what the server sends to each
// segment in turn: byte 1 separates the segments, byte 2 ends a block. `headerLength` is how much of a block the oracle
// expects to be dropped.
std::size_t HeaderLengthIn(std::string_view block);
void FuzzSegments(std::string_view bytes,
                  const std::function<std::size_t(std::string_view)>& headerLength = HeaderLengthIn);

// What the FTP server sends to the probe, after the first byte 1 what it sends to each segment, and after the second
// what its data port sends; byte 2 ends a block, the next one follows 100 ms later. `late` is applied to each line of
// the conversation that arrives line by line.
void FuzzFtp(std::string_view bytes, const std::function<std::string(std::string)>& late = {});
// `sent` is everything sent by one control connection.
void DemandFtpCommands(const std::string& sent);
void DemandFtpReplies(std::string_view line,
                      const std::function<PassiveAddress(std::string_view)>& parse = ParsePassiveReply);

// The list file.
using ListReader = std::function<std::vector<DownloadRecord>(std::string_view bytes)>;
std::vector<DownloadRecord> ReadRecords(std::string_view bytes);
void FuzzList(std::string_view bytes, const ListReader& read = ReadRecords);

// The first two bytes choose the number of entries, the third where the reply is split, the fourth the number of bytes
// requested; the rest is the reply.
struct ZipReaders {
  std::function<bool(std::string&, std::string_view, std::size_t)> take = TakeZipBlock;
  std::function<std::vector<ZipEntry>(std::string_view, std::int16_t)> read = ReadDirectory;
};
void FuzzZip(std::string_view bytes, const ZipReaders& readers = {});

// An archive after a byte that is odd if something precedes it. libarchive reads the same bytes.
using ArchiveEntryReader = std::function<ArchiveEntry(const ArchiveDirectory&, std::size_t)>;
using ArchiveRangeReader = std::function<Range(const EntryLayout&, std::size_t)>;
struct ArchiveReaders {
  ArchiveEntryReader entry = &ArchiveDirectory::Entry;
  ArchiveRangeReader range = &EntryLayout::RangeOf;
};
void FuzzArchive(std::string_view bytes, const ArchiveReaders& readers = {});

// A language file.
void FuzzLanguage(std::string_view bytes,
                  const std::function<void(std::string_view, LangStringArray&)>& read = ReadLanguage);

// The text of a settings file and, after byte 1, a text to store in it.
struct IniReaders {
  std::function<std::optional<std::string>(std::string_view, std::string_view)> get = IniValue;
  std::function<std::string(std::string, std::string_view, std::string_view)> with = WithIniValue;
};
void FuzzSettings(std::string_view bytes, const IniReaders& readers = {});

// A block of the version server's reply.
void FuzzVersion(std::string_view bytes, const std::function<VersionReply(std::string_view)>& read = ReadVersionReply);

// The output of the preview process, after a byte that chooses the size of the pieces.
using PreviewReceived = std::function<PreviewFrames::Event(PreviewFrames&, std::size_t)>;
void FuzzPreview(std::string_view bytes, const PreviewReceived& took = &PreviewFrames::Received);

// An address of the web engine and, after byte 1, the location of a redirect from there.
void FuzzWebAddress(std::string_view bytes,
                    const std::function<std::optional<WebAddress>(std::string_view)>& parse = ParseWebAddress);

// The first byte chooses what was asked for and is known, the second the status; the rest is the lines of a reply's
// head, then after a blank line the address of the file.
struct ReplyReaders {
  std::function<ReplyReading(const FetchAnswer&, const AskedFor&, const FileFacts&)> check = CheckReply;
  std::function<std::string(const FetchAnswer&, const WebAddress&)> name = FileNameFromReply;
};
void FuzzReply(std::string_view bytes, const ReplyReaders& readers = {});

// After the first byte, a journal; if that byte is odd, each of its lines gets the right sum.
void FuzzJournal(std::string_view bytes, const std::function<JournalReading(std::string_view)>& read = ReadJournal);

// After the first byte, a file of what is chosen of an archive; if that byte is odd, each of its lines gets the right
// sum.
using SelectionReader = std::function<std::optional<Selection>(std::string_view)>;
void FuzzSelection(std::string_view bytes, const SelectionReader& read = ReadSelection);

// A Metalink document.
using MetalinkReader = std::function<std::optional<std::vector<MetalinkFile>>(std::string_view)>;
void FuzzMetalink(std::string_view bytes, const MetalinkReader& read = ReadMetalink);

// The values of Link headers, a line each.
using LinkReader = std::function<std::vector<Mirror>(const FetchAnswer&, const WebAddress&)>;
void FuzzLink(std::string_view bytes, const LinkReader& read = MirrorsIn);

// The first byte chooses whose login is wanted; the rest is a file of logins.
using NetrcReader = std::function<NetrcLogin(std::string_view, std::string_view, std::string_view, bool)>;
void FuzzNetrc(std::string_view bytes, const NetrcReader& read = LoginIn);

// A list of hosts without a proxy and, after byte 1, a host.
using NoProxyReader = std::function<bool(std::string_view, const WebAddress&)>;
void FuzzNoProxy(std::string_view bytes, const NoProxyReader& excepted = IsExcepted);

// The value of a header Repr-Digest or Digest.
struct DigestReaders {
  std::function<std::vector<Checksum>(std::string_view)> repr = ReadReprDigest;
  std::function<std::vector<Checksum>(std::string_view)> digest = ReadDigest;
};
void FuzzDigests(std::string_view bytes, const DigestReaders& readers = {});

// A list of checksums, searched for "a file.iso".
using SumsReader = std::function<std::optional<Checksum>(std::string_view, std::string_view)>;
void FuzzSums(std::string_view bytes, const SumsReader& read = ListedChecksum);

// A list of addresses.
using UrlListReader = std::function<UrlListReading(std::string_view)>;
void FuzzUrls(std::string_view bytes, const UrlListReader& read = ReadUrlList);

// An address and, after byte 1, a file of cookies.
using CookieChooser = std::function<std::string(const std::vector<ListedCookie>&, const WebAddress&, std::int64_t)>;
void FuzzCookies(std::string_view bytes, const CookieChooser& choose = CookiesFor);

// A number, flag or date typed by the user or read from a file.
void FuzzNumbers(std::string_view bytes, const std::function<double(std::string_view)>& prefix = NumericPrefix);

}  // namespace pellora
