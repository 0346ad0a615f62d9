// CurlTransfer: one request as libcurl's easy handle, and what its callbacks make of the reply.
//
// Used on one thread. Its callbacks only fill blocks and put events into the channel; they call nothing of libcurl that
// changes a transfer, which libcurl refuses there.
#pragma once

#include <curl/curl.h>

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "desktop/curl/FetchChannel.h"
#include "desktop/curl/FetchPool.h"
#include "desktop/curl/TrustedAuthorities.h"

namespace pellora {

class SocketList;

struct CurlRequest : FetchRequest {
  AuthorityPaths authorities;  // in place of `certificates`
};

inline CURLcode ResultOf(const CURLMsg& message) {
  return message.data.result;  // NOLINT(cppcoreguidelines-pro-type-union-access): of CURLMSG_DONE, the only message
}

class CurlTransfer {
 public:
  // `ready` is called whenever the channel got something, maybe inside a callback. `sockets`, if given, records those
  // that are open and must outlive their connections.
  CurlTransfer(CurlRequest request, std::shared_ptr<FetchChannel> channel, std::shared_ptr<FetchPool> pool,
               std::function<void()> ready, SocketList* sockets);
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  // Of a request that cannot be begun: it is to be finished with this.
  CURLcode Setup() const { return setup_; }
  CURL* Easy() const { return easy_; }
  const std::shared_ptr<FetchChannel>& Channel() const { return channel_; }
  // Reads on or stops as the channel wishes; outside of callbacks.
  void ApplyReading();
  // To be called at equal intervals: hands on what was gathered since the last call but one.
  void Tick();
  bool Gathers() const { return block_ != nullptr; }
  // The throttle has refused: Retry is to be called soon, outside of callbacks.
  bool Throttled() const { return refused_ > 0; }
  void Retry();
  void Finish(CURLcode code);

 private:
  struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };
  using List = std::unique_ptr<curl_slist, ListDeleter>;

  template <class Value>
  void Set(CURLoption option, Value value);
  long ReceiveBuffer() const;
  void SetCommon();
  void SetConnection();
  void SetHttp();
  void SetFtp();
  void SetSftp();
  void LoadKnownHosts();
  void AddHeader(const std::string& name, const std::string& value);
  bool Is(const char* scheme) const { return scheme_ == scheme; }
  bool IsHttp() const { return Is("http") || Is("https"); }
  bool NamesFile() const;
  void Refuse(CURLcode code, FetchEnd end, const std::string& reason);

  static std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t OnData(char* data, std::size_t size, std::size_t count, void* self);
  static curl_socket_t OnOpenSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
  static int OnCloseSocket(void* sockets, curl_socket_t fd);
  static int OnHostKey(CURL* easy, const curl_khkey* known, const curl_khkey* found, curl_khmatch match, void* self);

  void HeaderLine(std::string_view line);
  void FtpLine(std::string_view line);
  bool RefusedByProxy() const;
  void HeadEnded();
  void Answer();
  std::size_t Data(std::string_view bytes);
  bool Allows(std::size_t bytes);
  void HandOn();
  curl_khstat JudgeKey(const curl_khkey& found, curl_khmatch match);
  FetchOutcome Outcome(CURLcode code) const;
  template <class Value>
  Value Info(CURLINFO info) const;

  const CurlRequest request_;
  const std::shared_ptr<FetchChannel> channel_;
  const std::shared_ptr<FetchPool> pool_;
  const std::function<void()> ready_;
  SocketList* const sockets_;
  std::string scheme_;
  std::string host_;
  int port_ = 0;
  CURL* easy_;
  CURLcode setup_ = CURLE_OK;  // the first option that failed
  std::array<char, CURL_ERROR_SIZE> error_{};
  List headers_;
  List connectTo_;
  int knownHosts_ = -1;  // an unnamed file
  bool hasKnownKey_ = false;
  std::vector<std::string> revoked_;  // host keys in Base64

  std::size_t headBytes_ = 0;
  std::size_t headLines_ = 0;
  bool answered_ = false;
  std::string coding_;           // a transfer coding that is not decoded here
  std::int64_t announced_ = -1;  // ftp: the length in the reply to RETR
  bool hasLength_ = true;        // ftp: the reply to SIZE can be read
  std::int64_t length_ = -1;     // ftp and sftp: from the start of the range
  std::int64_t received_ = 0;
  int socketError_ = 0;
  FetchOutcome refusal_;  // by our own judgement; no reason: none
  std::unique_ptr<PoolBlock> block_;
  bool ticked_ = false;  // the block was there at the last tick
  std::size_t capacity_;
  std::size_t refused_ = 0;  // bytes that wait for the throttle
  std::size_t allowed_ = 0;  // and not taken yet
};

}  // namespace pellora
