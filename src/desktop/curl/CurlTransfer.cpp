#include "desktop/curl/CurlTransfer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <strings.h>
#include <sys/mman.h>
#include <unistd.h>

#include <QByteArray>
#include <QCryptographicHash>
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "core/Ascii.h"
#include "desktop/AtomicFile.h"
#include "desktop/SocketBudget.h"
#include "desktop/curl/CurlReasons.h"
#include "desktop/curl/KnownHosts.h"
#include "desktop/curl/SocketList.h"
#include "desktop/curl/TlsLimits.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

constexpr unsigned kUnconfirmedMilliseconds = 20000;  // of what was sent, requests and connects
constexpr long kLongestIdleSeconds = 60;              // of kept connections
constexpr std::size_t kFirstBlock = std::size_t{32} << 10;
// Of libcurl, which fills it up to a hundred times before it lets others have their turn.
constexpr long kReceiveBuffer = 16 << 10;
constexpr long kSendBuffer = 16 << 10;  // by TLS each request has one, for its head; the least that libcurl takes
// Of all heads and trailers of a request together. libcurl keeps them, and limits the heads only.
constexpr std::size_t kLongestHeads = std::size_t{1} << 20;
// Of the heads alone, by http. libcurl compares each line with all others when it hands one out: with the tens of
// thousands that it takes, that lasts half a minute.
constexpr std::size_t kMostHeadLines = 1000;

std::string Part(CURLU* url, CURLUPart part) {
  char* text = nullptr;
  if (curl_url_get(url, part, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return {};
  std::string result(text);
  curl_free(text);
  return result;
}

// Whether it forwards requests of http; the others pass on all bytes.
bool RelaysHttp(std::string_view proxy) { return !proxy.empty() && !StartsWithNoCase(proxy, "socks"); }

// libcurl reports an address that it cannot use like a proxy that does not answer. Of one with a control character in
// its login it takes no notice, and connects without it.
const char* FaultOfProxy(const std::string& proxy) {
  constexpr std::array<std::string_view, 6> kSchemes{"http", "https", "socks4", "socks4a", "socks5", "socks5h"};
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), &curl_url_cleanup);
  if (curl_url_set(url.get(), CURLUPART_URL, proxy.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
    return "its address cannot be read";
  }
  if (std::find(kSchemes.begin(), kSchemes.end(), Part(url.get(), CURLUPART_SCHEME)) == kSchemes.end()) {
    return "a proxy of this kind cannot be used";
  }
  for (const CURLUPart part : {CURLUPART_USER, CURLUPART_PASSWORD}) {
    char* text = nullptr;
    const bool unusable = curl_url_get(url.get(), part, &text, CURLU_URLDECODE) == CURLUE_URLDECODE;
    curl_free(text);
    if (unusable) return "its login holds a control character";
  }
  return nullptr;
}

bool EqualNames(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

// Whether libcurl can read the length in a reply to SIZE, "213 1234", where it takes the last digits for it: a sign it
// overlooks, and what is beyond 64 bits, or no number, it takes for 0.
bool HasLength(std::string_view line) {
  constexpr std::string_view kDigits = "0123456789";
  line = line.substr(0, line.find('\r'));
  const std::size_t before = line.find_last_not_of(kDigits);
  const std::string_view digits = before == std::string_view::npos ? line : line.substr(before + 1);
  std::int64_t length = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  return error == std::errc() && end == digits.data() + digits.size() &&
         (before == std::string_view::npos || line[before] != '-');
}

unsigned long CurlAuthOf(FetchAuth auth) {
  switch (auth) {
    case FetchAuth::Digest:
      return CURLAUTH_DIGEST;
    case FetchAuth::Ntlm:
      return CURLAUTH_NTLM;
    case FetchAuth::Negotiate:
      return CURLAUTH_NEGOTIATE;
    default:
      return CURLAUTH_BASIC;
  }
}

// libcurl chooses Negotiate wherever it is offered. That needs a ticket and makes no use of a login, so it is tried
// only while there is none.
unsigned long CurlAuthOfProxy(const std::string& proxy) {
  constexpr unsigned long kByLogin = CURLAUTH_BASIC | CURLAUTH_DIGEST | CURLAUTH_NTLM;
  const bool hasLogin = proxy.find('@') != std::string::npos;
  return hasLogin ? kByLogin : kByLogin | CURLAUTH_NEGOTIATE;
}

// Of an IPv6 literal.
std::string WithoutBrackets(const std::string& host) {
  return host.starts_with('[') ? host.substr(1, host.size() - 2) : host;
}

}  // namespace

CurlTransfer::CurlTransfer(CurlRequest request, std::shared_ptr<FetchChannel> channel, std::shared_ptr<FetchPool> pool,
                           std::function<void()> ready, SocketList* sockets)
    : request_(std::move(request)),
      channel_(std::move(channel)),
      pool_(std::move(pool)),
      ready_(std::move(ready)),
      sockets_(sockets),
      easy_(curl_easy_init()),
      capacity_(kFirstBlock) {
  pool_->Join();
  CURLU* const url = curl_url();
  if (curl_url_set(url, CURLUPART_URL, request_.url.c_str(), CURLU_NON_SUPPORT_SCHEME) == CURLUE_OK) {
    scheme_ = Part(url, CURLUPART_SCHEME);
    host_ = Part(url, CURLUPART_HOST);
    const std::string port = Part(url, CURLUPART_PORT);
    std::from_chars(port.data(), port.data() + port.size(), port_);
  }
  curl_url_cleanup(url);
  SetCommon();
  SetConnection();
  if (IsHttp()) {
    SetHttp();
  } else if (Is("ftp") || Is("ftps")) {
    SetFtp();
  } else if (Is("sftp")) {
    SetSftp();
  } else {
    Refuse(CURLE_UNSUPPORTED_PROTOCOL, FetchEnd::Unsupported, "an address of this kind cannot be downloaded");
  }
}

CurlTransfer::~CurlTransfer() {
  curl_easy_cleanup(easy_);
  if (knownHosts_ >= 0) close(knownHosts_);
  pool_->Cancel(*channel_);
  pool_->Leave();
}

template <class Value>
void CurlTransfer::Set(CURLoption option, Value value) {
  const CURLcode code = curl_easy_setopt(easy_, option, value);
  if (setup_ == CURLE_OK) setup_ = code;
}

template <class Value>
Value CurlTransfer::Info(CURLINFO info) const {
  Value value{};
  curl_easy_getinfo(easy_, info, &value);
  return value;
}

// Of a slow request it is short, since what libcurl has read is taken as a whole. It cannot be changed later.
long CurlTransfer::ReceiveBuffer() const {
  if (!request_.throttle) return kReceiveBuffer;
  return static_cast<long>(std::min<std::size_t>(request_.throttle->Portion(), kReceiveBuffer));
}

void CurlTransfer::SetCommon() {
  Set(CURLOPT_PRIVATE, this);
  Set(CURLOPT_URL, request_.url.c_str());
  Set(CURLOPT_PATH_AS_IS, 1L);
  Set(CURLOPT_PROTOCOLS_STR, scheme_.c_str());
  Set(CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
  Set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  Set(CURLOPT_NOSIGNAL, 1L);
  Set(CURLOPT_QUICK_EXIT, 1L);  // a handle that is removed does not wait for its lookup
  Set(CURLOPT_ERRORBUFFER, error_.data());
  Set(CURLOPT_BUFFERSIZE, ReceiveBuffer());
  Set(CURLOPT_UPLOAD_BUFFERSIZE, kSendBuffer);
  Set(CURLOPT_HEADERFUNCTION, &OnHeader);
  Set(CURLOPT_HEADERDATA, this);
  Set(CURLOPT_WRITEFUNCTION, &OnData);
  Set(CURLOPT_WRITEDATA, this);
  Set(CURLOPT_OPENSOCKETFUNCTION, &OnOpenSocket);
  Set(CURLOPT_OPENSOCKETDATA, this);
  Set(CURLOPT_CLOSESOCKETFUNCTION, &OnCloseSocket);
  Set(CURLOPT_CLOSESOCKETDATA, sockets_);
  if (request_.user.empty() && request_.auth == FetchAuth::Basic) return;
  Set(CURLOPT_USERNAME, request_.user.c_str());
  Set(CURLOPT_PASSWORD, request_.password.c_str());
}

void CurlTransfer::SetConnection() {
  // Set even if empty: otherwise the environment is read.
  Set(CURLOPT_PROXY, request_.proxy.c_str());
  Set(CURLOPT_NOPROXY, "");
  if (!request_.proxy.empty()) {
    if (const char* const fault = FaultOfProxy(request_.proxy)) Refuse(CURLE_PROXY, FetchEnd::Proxy, fault);
    Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    Set(CURLOPT_HTTPPROXYTUNNEL, IsHttp() ? 0L : 1L);  // a proxy must not speak ftp in our name
    Set(CURLOPT_PROXYAUTH, static_cast<long>(CurlAuthOfProxy(request_.proxy)));
  } else if (!request_.address.empty()) {
    const bool six = request_.address.find(':') != std::string::npos;
    const std::string there = "::" + (six ? "[" + request_.address + "]" : request_.address) + ":";
    connectTo_.reset(curl_slist_append(nullptr, there.c_str()));
    Set(CURLOPT_CONNECT_TO, connectTo_.get());
  }
  for (const CURLoption option : {CURLOPT_SSLVERSION, CURLOPT_PROXY_SSLVERSION}) {
    Set(option, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  }
  LimitHandshakeMessages(easy_);
  const auto orNone = [](const std::string& path) { return path.empty() ? nullptr : path.c_str(); };
  const AuthorityPaths& paths = request_.authorities;
  for (const CURLoption option : {CURLOPT_CAINFO, CURLOPT_PROXY_CAINFO}) Set(option, orNone(paths.file));
  for (const CURLoption option : {CURLOPT_CAPATH, CURLOPT_PROXY_CAPATH}) Set(option, orNone(paths.folder));
}

void CurlTransfer::AddHeader(const std::string& name, const std::string& value) {
  // libcurl's notation for a header without a value.
  const std::string line = value.empty() ? name + ";" : name + ": " + value;
  curl_slist* const longer = curl_slist_append(headers_.get(), line.c_str());
  if (longer == nullptr) return;
  (void)headers_.release();
  headers_.reset(longer);
}

void CurlTransfer::SetHttp() {
  Set(CURLOPT_HTTP_VERSION, static_cast<long>(request_.http2 ? CURL_HTTP_VERSION_2TLS : CURL_HTTP_VERSION_1_1));
  Set(CURLOPT_MAXAGE_CONN, kLongestIdleSeconds);
  Set(CURLOPT_HTTP_CONTENT_DECODING, 0L);
  Set(CURLOPT_FOLLOWLOCATION, 0L);
  Set(CURLOPT_HEADEROPT, static_cast<long>(CURLHEADER_SEPARATE));  // none of these goes to a proxy
  Set(CURLOPT_HTTPAUTH, static_cast<long>(CurlAuthOf(request_.auth)));
  if (request_.ranged) {
    const std::string from = request_.last > 0 ? "" : std::to_string(request_.from);
    const std::int64_t to = request_.last > 0 ? request_.last : request_.to;
    AddHeader("Range", "bytes=" + from + "-" + (to < 0 ? "" : std::to_string(to)));
  }
  AddHeader("Accept-Encoding", "identity");
  for (const FetchHeader& header : request_.headers) AddHeader(header.name, header.value);
  Set(CURLOPT_HTTPHEADER, headers_.get());
}

// Listings, and the types of RFC 1738 other than "i", are not a file's bytes.
bool CurlTransfer::NamesFile() const {
  if (request_.url.ends_with('/')) return false;
  const std::string::size_type type = request_.url.rfind(";type=");
  return Is("sftp") || type == std::string::npos || EqualNames(request_.url.substr(type), ";type=i");
}

void CurlTransfer::Refuse(CURLcode code, FetchEnd end, const std::string& reason) {
  setup_ = code;
  refusal_ = {end, reason};
}

void CurlTransfer::SetFtp() {
  Set(CURLOPT_FILETIME, 1L);
  if (Is("ftps")) Set(CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
  if (!NamesFile()) Refuse(CURLE_URL_MALFORMAT, FetchEnd::Unsupported, "the address names no file");
  if (!request_.ranged || request_.from <= 0) return;
  Set(CURLOPT_RANGE, (std::to_string(request_.from) + "-").c_str());
}

// libcurl reads the keys of this host alone, from memory: with other hosts' hashed names in the file it would ask the
// server for the wrong kind of key.
void CurlTransfer::LoadKnownHosts() {
  std::string lines;
  for (const std::string& file : request_.knownHosts) {
    Skip([&] { lines += ReadSmallFile(file).value_or("") + "\n"; });
  }
  KnownKeys keys = KeysOf(lines, WithoutBrackets(host_), port_);
  hasKnownKey_ = !keys.lines.empty();
  revoked_ = std::move(keys.revoked);
  knownHosts_ = memfd_create("known_hosts", MFD_CLOEXEC);
  const auto size = static_cast<ssize_t>(keys.lines.size());
  if (knownHosts_ < 0 || write(knownHosts_, keys.lines.data(), keys.lines.size()) != size) setup_ = CURLE_OUT_OF_MEMORY;
  Set(CURLOPT_SSH_KNOWNHOSTS, ("/proc/self/fd/" + std::to_string(knownHosts_)).c_str());
}

void CurlTransfer::SetSftp() {
  SetFtp();
  LoadKnownHosts();
  Set(CURLOPT_SSH_KEYFUNCTION, &OnHostKey);
  Set(CURLOPT_SSH_KEYDATA, this);
  long ways = CURLSSH_AUTH_PASSWORD | CURLSSH_AUTH_KEYBOARD;
  if (!request_.key.empty()) {
    ways |= CURLSSH_AUTH_PUBLICKEY;
    Set(CURLOPT_SSH_PRIVATE_KEYFILE, request_.key.c_str());
  }
  Set(CURLOPT_SSH_AUTH_TYPES, ways);
}

curl_socket_t CurlTransfer::OnOpenSocket(void* self, curlsocktype /*purpose*/, curl_sockaddr* address) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  const int fd = OpenCounted(address->family, address->socktype, address->protocol);
  if (fd < 0) {
    transfer.socketError_ = errno;
    return CURL_SOCKET_BAD;
  }
  // A kept connection may have died unseen, in a suspend for one: then its next request goes out on another.
  setsockopt(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &kUnconfirmedMilliseconds, sizeof kUnconfirmedMilliseconds);
  if (transfer.sockets_ != nullptr) transfer.sockets_->Add(fd);
  return fd;
}

int CurlTransfer::OnCloseSocket(void* sockets, curl_socket_t fd) {
  if (sockets != nullptr) {
    static_cast<SocketList*>(sockets)->Close(fd);
  } else {
    CloseCounted(fd);
  }
  return 0;
}

std::size_t CurlTransfer::OnHeader(char* data, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<CurlTransfer*>(self);
  transfer.headBytes_ += size * count;
  if (!transfer.answered_ && transfer.IsHttp()) ++transfer.headLines_;
  const bool isTooMuch = transfer.headBytes_ > kLongestHeads || transfer.headLines_ > kMostHeadLines;
  if (transfer.channel_->Dropped() || isTooMuch) return 0;
  transfer.HeaderLine({data, size * count});
  return size * count;
}

void CurlTransfer::HeaderLine(std::string_view line) {
  if (answered_) return;  // trailers
  if (!IsHttp()) return FtpLine(line);
  if (line == "\r\n" || line == "\n") HeadEnded();
}

// "150 Opening BINARY mode data connection for file (1234 bytes)."
void CurlTransfer::FtpLine(std::string_view line) {
  if (line.starts_with("213 ")) hasLength_ = HasLength(line);  // of SIZE, which comes after MDTM
  if (!line.starts_with("150 ") && !line.starts_with("125 ")) return;
  const std::string_view::size_type bytes = line.rfind(" bytes");
  const std::string_view::size_type open = bytes == std::string_view::npos ? bytes : line.rfind('(', bytes);
  if (open == std::string_view::npos) return;
  std::from_chars(line.data() + open + 1, line.data() + bytes, announced_);
}

// A login is wanted, or another one; the last reply says so. Through a tunnel that reply is the server's, and no proxy
// speaks in it.
bool CurlTransfer::RefusedByProxy() const {
  return Is("http") && RelaysHttp(request_.proxy) && Info<long>(CURLINFO_RESPONSE_CODE) == 407;
}

void CurlTransfer::HeadEnded() {
  const long status = Info<long>(CURLINFO_RESPONSE_CODE);
  if (status / 100 == 1) return;  // another head follows
  if (request_.auth != FetchAuth::Basic && status == 401)
    return;  // the request is repeated, unless this was the last time
  if (RefusedByProxy()) return;
  Answer();
}

void CurlTransfer::Answer() {
  answered_ = true;
  FetchAnswer answer;
  if (const char* const address = Info<const char*>(CURLINFO_PRIMARY_IP)) answer.peerAddress = address;
  if (IsHttp()) {
    answer.status = static_cast<int>(Info<long>(CURLINFO_RESPONSE_CODE));
    curl_header* header = nullptr;
    while ((header = curl_easy_nextheader(easy_, CURLH_HEADER, -1, header)) != nullptr) {
      answer.headers.push_back({header->name, header->value});
      if (!EqualNames(header->name, "Transfer-Encoding")) continue;
      const std::string_view coding = Trimmed(header->value);
      if (!EqualNames(coding, "chunked") && !EqualNames(coding, "identity")) coding_ = coding;
    }
  } else {
    length_ = Info<curl_off_t>(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T);
    if (length_ >= 0 && !hasLength_)
      return Refuse(CURLE_FTP_COULDNT_RETR_FILE, FetchEnd::Unsupported, "the length of the file cannot be read");
    const std::int64_t from = request_.ranged ? request_.from : 0;
    // Some servers announce the whole file, some the rest; any other length belongs to another file or mode.
    if (announced_ >= 0 && announced_ != length_ && announced_ - from != length_) length_ = -1;
    answer.length = length_;
    answer.modified = Info<curl_off_t>(CURLINFO_FILETIME_T);
  }
  channel_->Put(std::move(answer));
  ready_();
}

std::size_t CurlTransfer::OnData(char* data, std::size_t size, std::size_t count, void* self) {
  return static_cast<CurlTransfer*>(self)->Data({data, size * count});
}

std::size_t CurlTransfer::Data(std::string_view bytes) {
  constexpr std::size_t kEndTransfer = 0;
  if (bytes.empty()) return 0;
  if (channel_->Dropped()) return kEndTransfer;
  if (!answered_ && RefusedByProxy()) return bytes.size();  // its page
  if (!answered_) Answer();
  if (!refusal_.reason.empty()) return kEndTransfer;
  if (!coding_.empty()) return kEndTransfer;  // libcurl has decoded it without being asked
  if (!channel_->Reading() || !Allows(bytes.size())) return CURL_WRITEFUNC_PAUSE;
  if (block_ && block_->Room() < bytes.size()) HandOn();
  if (!block_) {
    block_ = pool_->Take(std::max(std::min(capacity_, pool_->Share()), bytes.size()), channel_);
    if (!block_) return CURL_WRITEFUNC_PAUSE;
  }
  block_->Append(bytes);
  allowed_ -= std::min(allowed_, bytes.size());
  received_ += static_cast<std::int64_t>(bytes.size());
  // After the last byte libcurl may wait long for the server to confirm it.
  if (block_->Room() == 0 || received_ == length_) HandOn();
  return bytes.size();
}

// What is allowed stays so while there is no block for it.
bool CurlTransfer::Allows(std::size_t bytes) {
  if (!request_.throttle || allowed_ >= bytes) return true;
  if (!request_.throttle->Take(bytes - allowed_)) {
    refused_ = bytes;
    return false;
  }
  allowed_ = bytes;
  refused_ = 0;
  return true;
}

void CurlTransfer::Retry() {
  if (refused_ == 0 || !channel_->Reading()) return;
  if (!Allows(refused_)) return;
  refused_ = 0;
  curl_easy_pause(easy_, CURLPAUSE_CONT);
}

void CurlTransfer::HandOn() {
  if (!block_) return;
  const std::size_t size = block_->Bytes().size();
  const bool full = size + FetchPool::kShortestBlock > block_->Capacity();
  capacity_ =
      full ? std::min(capacity_ * 2, FetchPool::kBlockBytes) : std::max(capacity_ / 2, FetchPool::kShortestBlock);
  ticked_ = false;
  channel_->Put(std::move(block_));
  ready_();
}

void CurlTransfer::Tick() {
  if (!block_) return;
  if (ticked_) return HandOn();
  ticked_ = true;
}

void CurlTransfer::ApplyReading() {
  if (!channel_->Reading()) {
    pool_->Cancel(*channel_);
    HandOn();
  }
  // Before the reply begins the first is forgotten; Data pauses then.
  curl_easy_pause(easy_, channel_->Reading() ? CURLPAUSE_CONT : CURLPAUSE_RECV);
}

int CurlTransfer::OnHostKey(CURL* /*easy*/, const curl_khkey* /*known*/, const curl_khkey* found, curl_khmatch match,
                            void* self) {
  return static_cast<CurlTransfer*>(self)->JudgeKey(*found, match);
}

curl_khstat CurlTransfer::JudgeKey(const curl_khkey& found, curl_khmatch match) {
  const QByteArray key = found.len > 0 ? QByteArray(found.key, static_cast<qsizetype>(found.len))
                                       : QByteArray::fromBase64(QByteArray(found.key));
  const bool revoked = std::find(revoked_.begin(), revoked_.end(), key.toBase64().toStdString()) != revoked_.end();
  if (revoked || match == CURLKHMATCH_MISMATCH) {
    refusal_ = {FetchEnd::NotTrusted,
                revoked ? "the host key is revoked" : "the host key is not the one in known_hosts"};
    return CURLKHSTAT_REJECT;
  }
  const QByteArray sum = QCryptographicHash::hash(key, QCryptographicHash::Sha256);
  const std::string fingerprint =
      "SHA256:" + sum.toBase64(QByteArray::Base64Encoding | QByteArray::OmitTrailingEquals).toStdString();
  if (match == CURLKHMATCH_OK || fingerprint == request_.acceptedKey) return CURLKHSTAT_FINE;
  refusal_ = {FetchEnd::UnknownKey, fingerprint + " " + KindOfKey(key) + " " + key.toBase64().toStdString()};
  return CURLKHSTAT_REJECT;
}

void CurlTransfer::Finish(CURLcode code) {
  HandOn();
  if (code == CURLE_OK) code = setup_;
  const bool headOfHttp = IsHttp() && Info<long>(CURLINFO_RESPONSE_CODE) / 100 > 1;
  if (!answered_ && code == CURLE_OK && !RefusedByProxy() && (headOfHttp || !IsHttp())) Answer();
  channel_->Put(Outcome(code));
  ready_();
}

FetchOutcome CurlTransfer::Outcome(CURLcode code) const {
  if (!refusal_.reason.empty()) return refusal_;
  if (!coding_.empty()) {
    return {FetchEnd::Unsupported, "the server encodes the transfer (" + coding_ + ")"};
  }
  CurlEnd end;
  end.code = code;
  end.scheme = scheme_;
  end.proxied = !request_.proxy.empty();
  end.connected = Info<curl_off_t>(CURLINFO_CONNECT_TIME_T) > 0;
  end.knowsHostKey = hasKnownKey_;
  end.withKey = !request_.key.empty();
  if (sockets_ != nullptr) end.received = sockets_->Received();
  end.systemError = socketError_ != 0 ? socketError_ : Info<long>(CURLINFO_OS_ERRNO);
  end.verification = Info<long>(CURLINFO_SSL_VERIFYRESULT);
  end.proxyStatus = Info<long>(CURLINFO_HTTP_CONNECTCODE);
  if (!IsHttp()) end.status = Info<long>(CURLINFO_RESPONSE_CODE);
  end.proxyError = Info<long>(CURLINFO_PROXY_ERROR);
  end.detail = error_.data();
  if (RefusedByProxy()) return {FetchEnd::ProxyLogin, "the proxy refuses the login"};
  return OutcomeOf(end);
}

}  // namespace pellora
