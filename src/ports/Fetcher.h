// Fetcher: requests for ranges of files by https, http, ftps, ftp and sftp.
//
// One Fetch is one request on one connection, new or kept. It follows no redirect, repeats nothing and judges no reply:
// the logic compares counted bytes with what it asked for, and takes the reason of an end only as a reason. Nothing of
// the environment is read: no proxy variables, no netrc, no cookies.
//
// Events come through the EventGate, in the order Answered, DataArrived..., Ended, never inside the call that began the
// request nor after the destruction of its Fetch, which may happen inside an event of its own. After Ended nothing
// follows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ports/Throttle.h"

namespace pellora {

struct FetchHeader {
  std::string name;
  std::string value;
};

// How a server of http or https gets the login. All but Basic answer its challenge, for which the request is repeated.
enum class FetchAuth : std::uint8_t {
  Basic,   // at once (RFC 7617)
  Digest,  // RFC 7616
  Ntlm,
  Negotiate,  // RFC 4559: by a ticket of the user's session, whatever the login is
};

struct FetchRequest {
  // Absolute, percent-encoded, without login and fragment; the host in ASCII.
  std::string url;
  // The bytes asked for, counted from 0 at the start of the file: `from` up to and including `to`; -1: to the end.
  // Without `ranged` the whole file is asked for and both are ignored. http and https send "Range: bytes=from-to"
  // (RFC 9110, section 14.2). ftp, ftps and sftp start at `from` and are ended by the caller.
  bool ranged = false;
  std::int64_t from = 0;
  std::int64_t to = -1;
  // With `ranged`, of http and https: the last so many bytes of the file instead ("Range: bytes=-N"); 0: from `from`.
  std::int64_t last = 0;
  // Sent as they are, after Host, Range and "Accept-Encoding: identity". Names and values have no control characters.
  std::vector<FetchHeader> headers;
  std::string user;  // of the server; empty: none is sent (ftp and ftps: anonymous)
  std::string password;
  FetchAuth auth = FetchAuth::Basic;
  std::string key;           // sftp: file of the user's private key, tried before the password; empty: none
  std::string proxy;         // as a URL with its login; empty: direct
  std::string address;       // numeric: the connection goes there, and the host is not looked up; empty: it is
  std::string certificates;  // PEM file of authorities to be trusted besides the system's; empty: none
  std::vector<std::string> knownHosts;  // sftp: files of host keys, in OpenSSH's format; some may be missing
  std::string acceptedKey;  // sftp: "SHA256:..." of a key that the user has accepted for this host; empty: none
  bool http2 = false;       // else HTTP/1.1
  // Allows the bytes of the file; null: as fast as they come. What it does not allow waits in the kernel, but for one
  // portion. With HTTP/2 the server may send what its window has room for, which waits in memory.
  std::shared_ptr<Throttle> throttle;
};

struct FetchAnswer {
  int status = 0;                    // of http and https; 0 else
  std::vector<FetchHeader> headers;  // of the final reply's head, in its order; not those of 1xx, a proxy or trailers
  std::string peerAddress;           // numeric
  // ftp, ftps and sftp: from the start of the range to the end of the file, and seconds since 1970; -1: not known.
  std::int64_t length = -1;
  std::int64_t modified = -1;
};

enum class FetchEnd {
  Whole,       // as the protocol has it: a reply without a length ends with its connection, cut or not
  Lost,        // a connection that was made has ended too early
  NoConnect,   // refused, unreachable
  NoHost,      // the name has no address
  NotTrusted,  // the certificate, its host name, or the TLS version
  // sftp: the host is not in knownHosts. `reason` is the fingerprint, "SHA256:...", a blank, and the key as it is
  // written in such a file: kind, a blank, Base64.
  UnknownKey,
  NoLogin,      // ftp, ftps, sftp: the login or the key is refused
  NotFound,     // ftp, ftps, sftp: there is no such file, or it may not be read
  Unsupported,  // the scheme or the protocol version
  OtherHttp,    // the server speaks another version of HTTP than the one asked for
  Proxy,        // the proxy refuses, or does not answer
  ProxyLogin,   // the proxy demands a login, or refuses the one that it got
  Other,
};

// A block of received bytes, from one pool for all fetches. While the pool is empty nothing is read, so a caller that
// keeps blocks keeps the servers waiting. Freed on the event loop's thread.
class FetchBlock {
 public:
  virtual ~FetchBlock() = default;
  virtual std::string_view Bytes() const = 0;
};

class FetchEvents {
 public:
  virtual void Answered(const FetchAnswer& answer) = 0;
  virtual void DataArrived(std::unique_ptr<FetchBlock> block) = 0;  // never empty
  // `reason`: what is known beyond the kind, in English, no whole sentence; may be empty.
  virtual void Ended(FetchEnd end, const std::string& reason) = 0;

 protected:
  ~FetchEvents() = default;
};

class Fetch {
 public:
  virtual ~Fetch() = default;  // ends the request at once; no event follows
  // While False nothing is read; it waits in the kernel. What was read before still arrives. True at the beginning.
  virtual void SetReading(bool reading) = 0;
};

class Fetcher {
 public:
  virtual ~Fetcher() = default;
  // `events` must live until the Fetch is destroyed.
  virtual std::unique_ptr<Fetch> Begin(FetchRequest request, FetchEvents& events) = 0;
  virtual bool Supports(std::string_view scheme) const = 0;  // "https", "sftp", ...
  // True while a fetch waits for a block of the pool: then the silence of servers says nothing.
  virtual bool Starved() const = 0;
};

}  // namespace pellora
