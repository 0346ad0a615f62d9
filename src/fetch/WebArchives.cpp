#include "fetch/WebArchives.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "archive/ArchiveReader.h"
#include "core/Program.h"
#include "core/WebAddress.h"
#include "core/WebTexts.h"
#include "fetch/FileNameFromReply.h"
#include "fetch/ReplyCheck.h"
#include "fetch/WebRequests.h"
#include "fetch/WebServices.h"
#include "ports/EventLoop.h"

namespace pellora {

namespace {

constexpr int kBadRequest = 400;
constexpr int kNotImplemented = 501;
constexpr int kMostRedirects = 20;
constexpr int kMostTries = 3;                       // of one request
constexpr std::uint32_t kPause = 1000;              // ms between them
constexpr std::int64_t kLongestPause = 15;          // s, as a server may ask
constexpr std::uint32_t kSilence = 20'000;          // ms
constexpr std::int64_t kMostReserved = 16'000'000;  // bytes, before they have come

// Where the range of the file's end begins, if the answer has just that, as far as the file reaches.
std::optional<std::int64_t> BeginOfEnd(const FetchAnswer& answer) {
  const std::optional<ContentRange> found = ParseContentRange(HeaderOf(answer, "Content-Range"));
  if (answer.status != 206 || !found || !found->range || found->total < 0) return std::nullopt;
  const std::int64_t begin = std::max<std::int64_t>(0, found->total - ArchiveReader::kTail);
  const bool fits = found->range->begin == begin && found->range->end == found->total;
  return fits ? std::optional(begin) : std::nullopt;
}

class WebArchiveInquiry final : public ArchiveInquiry, private FetchEvents {
 public:
  using Progress = std::function<void(const std::string& state)>;
  using Done = std::function<void(const ArchiveReading& reading)>;

  WebArchiveInquiry(Program& program, const WebServices& services, const WebAddress& given, const WebAdd& add,
                    Progress progress, Done done)
      : program_(program),
        requests_(program, services.keys, services.logins),
        given_(given),
        referrer_(add.handOver.referrer),
        progress_(std::move(progress)),
        done_(std::move(done)),
        alarm_(program.platform.events.NewAlarm([this] { AlarmRang(); })) {
    if (!add.user.empty()) {
      given_.user = add.user;
      given_.password = add.password;
    }
    address_ = given_;
    requests_.Begin(given_);
    requests_.TakeUserAgent(add.handOver.userAgent);
    if (!add.handOver.cookies.empty()) requests_.TakeHanded(add.handOver.cookies);
    AskForEnd();
  }

 private:
  // What the present request asks for.
  enum class Step : std::uint8_t {
    End,     // the last bytes, of a file of unknown length
    Length,  // a byte, for the length: where a server cannot count from the end
    Part,    // what the reader wants
  };

  // The file from its end, with nothing known of it.
  void AskForEnd() {
    if (!IsHttp(address_.scheme)) return AskForLength();
    Forget();
    asked_ = {RequestKind::First, true, 0, -1};
    Begin(Step::End);
  }

  void AskForLength() {
    Forget();
    asked_ = {RequestKind::First, true, 0, 0};
    Begin(Step::Length);
  }

  void Forget() {
    reader_.reset();
    facts_ = {};
  }

  // What the reader wants next, or the end of the reading.
  void Continue() {
    const std::optional<Range> wanted = reader_->Wants();
    if (!wanted) return TellReading();
    asked_ = {RequestKind::Later, true, wanted->begin, wanted->end - 1};
    Begin(Step::Part);
  }

  void Begin(Step step) {
    step_ = step;
    tries_ = 0;
    redirectedNow_ = false;
    if (progress_) progress_(StateText());
    Send();
  }

  void Send() {
    fetch_.reset();
    body_.clear();
    takesBody_ = false;
    FetchRequest request = requests_.Make(address_, asked_, referrer_, {});
    if (step_ == Step::End) request.last = ArchiveReader::kTail;
    request.http2 = http2_;
    sentLogin_ = {request.user, request.password};
    sentAuth_ = request.auth;
    pausing_ = false;
    alarm_->Start(kSilence, false);
    fetch_ = program_.platform.fetcher->Begin(std::move(request), *this);
  }

  void Answered(const FetchAnswer& answer) override {
    alarm_->Start(kSilence, false);
    requests_.TakeCookies(address_, answer);
    name_ = FileNameFromReply(answer, address_);
    AskedFor asked = asked_;
    asked.fileName = name_;
    const std::optional<std::int64_t> end = step_ == Step::End ? BeginOfEnd(answer) : std::nullopt;
    asked.from = end.value_or(asked.from);
    const ReplyReading reading = CheckReply(answer, asked, facts_);
    switch (reading.verdict) {
      case ReplyVerdict::Body:
        return step_ == Step::Part || end ? TakeBody(reading) : TakeLength(reading.facts);
      case ReplyVerdict::CompareSample:
        // Another version, or one of which nothing is known: then the directory itself shows whether it fits.
        return reading.reason == ReplyReason::OtherVersion ? HasChanged() : TakeBody(reading);
      case ReplyVerdict::Empty:
        return Tell(Say(WebText::NoArchive));
      case ReplyVerdict::Changed:
        return HasChanged();
      case ReplyVerdict::Redirect:
        return Redirect(reading.location);
      case ReplyVerdict::Http2:
        if (std::exchange(http2_, true)) return Tell(Say(WebText::Unsupported));
        return Send();
      case ReplyVerdict::Wait:
      case ReplyVerdict::Again:
        return TryAgain(Say(WebText::Refused, {std::to_string(answer.status)}), reading.retryAfter.value_or(0));
      case ReplyVerdict::Login:
        return LoginDemanded(answer);
      case ReplyVerdict::Refused:
        if (step_ == Step::End && (answer.status == kBadRequest || answer.status == kNotImplemented)) {
          return AskForLength();
        }
        return IsExpired() ? AskGivenAddress() : Tell(ReasonOf(reading, answer.status));
      case ReplyVerdict::WaitTooLong:
        return Tell(Say(WebText::Refused, {std::to_string(answer.status)}));
      default:
        return IsNoPart(answer, reading);
    }
  }

  // Some servers do not know how to count from the end, and answer as they like: then the length is enough.
  void IsNoPart(const FetchAnswer& answer, const ReplyReading& reading) {
    if (step_ == Step::Part) {
      const bool none = reading.reason == ReplyReason::NoRanges;
      return Tell(Say(none || reading.reason == ReplyReason::Lengths ? WebText::NoParts : WebText::WrongAnswers));
    }
    const std::optional<ContentRange> found = ParseContentRange(HeaderOf(answer, "Content-Range"));
    FileFacts facts{found ? found->total : -1, ReadValidator(answer), -1};
    if (facts.total == 0) return Tell(Say(WebText::NoArchive));
    TakeLength(facts);
  }

  void TakeLength(const FileFacts& facts) {
    if (facts.total < 0 && step_ == Step::End) return AskForLength();
    if (facts.total < 0) return Tell(Say(WebText::NoParts));
    facts_ = facts;
    reader_.emplace(facts.total);
    Continue();
  }

  void TakeBody(const ReplyReading& reading) {
    if (!reader_) {
      facts_ = reading.facts;
      reader_.emplace(facts_.total);
    }
    takesBody_ = true;
    body_.reserve(static_cast<std::size_t>(std::min(reader_->Wants()->Length(), kMostReserved)));
  }

  void DataArrived(std::unique_ptr<FetchBlock> block) override {
    alarm_->Start(kSilence, false);
    program_.CountWebReceived(block->Bytes().size());
    if (!takesBody_) return;
    const auto wanted = static_cast<std::size_t>(reader_->Wants()->Length());
    body_ += block->Bytes().substr(0, wanted - body_.size());
    block.reset();
    if (body_.size() < wanted) return;
    fetch_.reset();
    reader_->Take(std::exchange(body_, {}));
    Continue();
  }

  void Ended(FetchEnd end, const std::string& reason) override {
    switch (end) {
      case FetchEnd::NoHost:
        return Tell(Say(WebText::NoHost, {address_.host}));
      case FetchEnd::NotTrusted:
        return Tell(Say(WebText::NotTrusted, {address_.host, reason}));
      case FetchEnd::UnknownKey:
        return Tell(Say(WebText::UnknownKey, {address_.host, ReadHostKey(reason).fingerprint}));
      case FetchEnd::NotFound:
        return IsExpired() ? AskGivenAddress() : Tell(Say(WebText::NotFound));
      case FetchEnd::NoLogin:
        return LoginRefused();
      case FetchEnd::Unsupported:
        return Tell(Say(WebText::Unsupported));
      case FetchEnd::OtherHttp:
        if (std::exchange(http2_, true)) return Tell(Say(WebText::Unsupported));
        return Send();
      case FetchEnd::Proxy:
      case FetchEnd::ProxyLogin:
        return Tell(Say(WebText::NoProxy, {reason}));
      case FetchEnd::NoConnect:
        return TryAgain(Say(WebText::NotReached, {address_.host, reason}), 0);
      default:
        return TryAgain(Say(WebText::ConnectionLost, {address_.host}), 0);
    }
  }

  // The target of an earlier request's redirect may serve for a short time only.
  bool IsExpired() const { return !redirectedNow_ && !(address_ == given_); }

  void AskGivenAddress() {
    address_ = given_;
    Send();
  }

  void Redirect(const std::string& location) {
    const ResolvedRedirect target = ResolveRedirect(address_, location);
    const bool supported =
        target.fault == RedirectFault::None && program_.platform.fetcher->Supports(SchemeName(target.address.scheme));
    if (!supported) return Tell(Say(WebText::Unsupported));
    if (++redirects_ > kMostRedirects) return Tell(Say(WebText::WrongAnswers));
    const bool sameKind = IsHttp(address_.scheme) == IsHttp(target.address.scheme);
    address_ = target.address;
    redirectedNow_ = true;
    if (step_ != Step::Part && !sameKind) return AskForEnd();
    Send();
  }

  void LoginDemanded(const FetchAnswer& answer) {
    const std::optional<Challenge> challenge = ReadChallenge(HeadersOf(answer, "WWW-Authenticate"));
    if (!challenge) return Tell(Say(WebText::LoginNeeded));
    const bool settled = requests_.TakeChallenge(address_, *challenge);
    if (sentAuth_ != challenge->auth && settled) sentLogin_ = {};  // it went out in another way
    LoginRefused();
  }

  // Each login is tried once.
  void LoginRefused() {
    if (sentLogin_ != Login()) requests_.TakeRefusal(requests_.PlaceAt(address_), sentLogin_);
    if (requests_.HasLoginFor(address_)) return Send();
    Tell(Say(sentLogin_.password.empty() ? WebText::LoginNeeded : WebText::WrongLogin));
  }

  // Once: an archive that is being written may have changed between two requests.
  void HasChanged() {
    if (std::exchange(changed_, true)) return Tell(Say(WebText::ChangedMeanwhile));
    AskForEnd();
  }

  void TryAgain(const std::string& reason, std::int64_t seconds) {
    fetch_.reset();
    if (++tries_ >= kMostTries || seconds > kLongestPause) return Tell(reason);
    pausing_ = true;
    alarm_->Start(std::max(kPause, static_cast<std::uint32_t>(seconds * 1000)), false);
  }

  void AlarmRang() {
    if (pausing_) return Send();
    TryAgain(Say(WebText::Silent, {address_.host}), 0);
  }

  std::string Say(WebText text, std::initializer_list<std::string_view> values = {}) const {
    return FillText(TextOf(program_, text), values);
  }

  std::string StateText() const {
    const bool isEnd = step_ != Step::Part || reader_->Wants()->end == facts_.total;
    if (isEnd) return Say(WebText::ReadingEnd);
    return Say(WebText::ReadingDirectory, {std::to_string(reader_->Wants()->Length())});
  }

  std::string ReasonOf(const ReplyReading& reading, int status) const {
    switch (reading.reason) {
      case ReplyReason::NotFound:
        return Say(WebText::NotFound);
      case ReplyReason::Status:
      case ReplyReason::Forbidden:
        return Say(WebText::Refused, {std::to_string(status)});
      case ReplyReason::ContentCoding:
      case ReplyReason::TransferCoding:
        return Say(WebText::WrongCoding);
      default:
        return Say(WebText::Unsupported);
    }
  }

  void TellReading() {
    switch (reader_->Fault()) {
      case ArchiveFault::None:
        break;
      case ArchiveFault::NoArchive:
        return Tell(Say(WebText::NoArchive));
      case ArchiveFault::Split:
        return Tell(Say(WebText::SplitArchive));
      case ArchiveFault::TooLarge:
        return Tell(Say(WebText::ArchiveTooLarge));
    }
    ArchiveReading reading;
    reading.contents = std::make_shared<ArchiveContents>(ArchiveContents{name_, facts_, reader_->TakeDirectory()});
    Tell(reading);
  }

  void Tell(std::string problem) { Tell(ArchiveReading{nullptr, std::move(problem)}); }

  // The last thing that it does: `done` may destroy this.
  void Tell(const ArchiveReading& reading) {
    fetch_.reset();
    alarm_->Stop();
    if (const Done done = std::exchange(done_, {})) done(reading);
  }

  Program& program_;
  WebRequests requests_;
  WebAddress given_;
  WebAddress address_;  // after redirects
  const std::string referrer_;
  const Progress progress_;
  Done done_;
  Step step_ = Step::End;
  AskedFor asked_;
  FileFacts facts_;
  std::string name_;
  std::optional<ArchiveReader> reader_;  // once the length is known
  std::string body_;
  bool takesBody_ = false;
  bool http2_ = false;
  bool changed_ = false;
  bool pausing_ = false;        // before another try
  bool redirectedNow_ = false;  // during the present step
  int redirects_ = 0;
  int tries_ = 0;
  Login sentLogin_;
  FetchAuth sentAuth_ = FetchAuth::Basic;
  std::unique_ptr<Alarm> alarm_;
  std::unique_ptr<Fetch> fetch_;
};

class WebArchives final : public RemoteArchives {
 public:
  WebArchives(Program& program, WebServices& services) : program_(program), services_(services) {}

  std::unique_ptr<ArchiveInquiry> Read(const std::string& url, const WebAdd& add, WebArchiveInquiry::Progress progress,
                                       WebArchiveInquiry::Done done) override {
    const std::optional<WebAddress> address = ParseWebAddress(url);
    if (!address || !program_.platform.fetcher->Supports(SchemeName(address->scheme))) return nullptr;
    return std::make_unique<WebArchiveInquiry>(program_, services_, *address, add, std::move(progress),
                                               std::move(done));
  }

 private:
  Program& program_;
  WebServices& services_;
};

}  // namespace

std::unique_ptr<RemoteArchives> NewWebArchives(Program& program, WebServices& services) {
  return std::make_unique<WebArchives>(program, services);
}

}  // namespace pellora
