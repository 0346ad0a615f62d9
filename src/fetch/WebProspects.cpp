#include "fetch/WebProspects.h"

#include <optional>
#include <utility>

#include "core/FileNames.h"
#include "core/Program.h"
#include "core/WebAddress.h"
#include "core/WebTexts.h"
#include "fetch/FileNameFromReply.h"
#include "fetch/NewPart.h"
#include "fetch/ReplyCheck.h"
#include "fetch/WebRequests.h"
#include "fetch/WebServices.h"
#include "ports/Files.h"

namespace pellora {

namespace {

constexpr int kMostRedirects = 20;
constexpr AskedFor kOneByte{RequestKind::First, true, 0, 0};

class WebInquiry final : public Inquiry, private FetchEvents {
 public:
  using Done = std::function<void(const Prospect& prospect)>;

  WebInquiry(const Program& program, const WebServices& services, const WebAddress& given, const WebAdd& add, Done done)
      : program_(program),
        requests_(program, services.keys, services.logins),
        address_(given),
        referrer_(add.handOver.referrer),
        done_(std::move(done)) {
    if (!add.user.empty()) {
      address_.user = add.user;
      address_.password = add.password;
    }
    requests_.Begin(address_);
    requests_.TakeUserAgent(add.handOver.userAgent);
    if (!add.handOver.cookies.empty()) requests_.TakeHanded(add.handOver.cookies);
    Begin();
  }

 private:
  void Begin() { fetch_ = program_.platform.fetcher->Begin(requests_.Make(address_, kOneByte, referrer_, {}), *this); }

  // The last thing that it does: `done` may destroy this.
  void Tell(const Prospect& prospect) {
    fetch_.reset();
    if (const Done done = std::exchange(done_, {})) done(prospect);
  }

  std::string Say(WebText text, std::initializer_list<std::string_view> values = {}) const {
    return FillText(TextOf(program_, text), values);
  }

  std::string ProblemOf(const ReplyReading& reading, int status) const {
    switch (reading.reason) {
      case ReplyReason::NotFound:
        return Say(WebText::NotFound);
      case ReplyReason::Login:
        return Say(WebText::LoginNeeded);
      case ReplyReason::Status:
      case ReplyReason::Forbidden:
        return Say(WebText::Refused, {std::to_string(status)});
      default:
        return Say(WebText::Unsupported);
    }
  }

  // What a download would wait for, or ask the user about, is no problem.
  std::string ProblemOf(FetchEnd end, const std::string& detail) const {
    switch (end) {
      case FetchEnd::NoHost:
        return Say(WebText::NoHost, {address_.host});
      case FetchEnd::NotTrusted:
        return Say(WebText::NotTrusted, {address_.host, detail});
      case FetchEnd::NoConnect:
        return Say(WebText::NotReached, {address_.host, detail});
      case FetchEnd::NotFound:
        return Say(WebText::NotFound);
      case FetchEnd::NoLogin:
        return Say(WebText::LoginNeeded);
      default:
        return {};
    }
  }

  void Redirect(const std::string& location) {
    const ResolvedRedirect target = ResolveRedirect(address_, location);
    if (target.fault != RedirectFault::None || ++redirects_ > kMostRedirects) {
      return Tell({.problem = Say(WebText::Unsupported)});
    }
    address_ = target.address;
    Begin();
  }

  void Answered(const FetchAnswer& answer) override {
    requests_.TakeCookies(address_, answer);
    AskedFor asked = kOneByte;
    const std::string name = FileNameFromReply(answer, address_);
    asked.fileName = name;
    const ReplyReading reading = CheckReply(answer, asked);
    switch (reading.verdict) {
      case ReplyVerdict::Body:
      case ReplyVerdict::Empty:
      case ReplyVerdict::Held:
        return Tell({.name = name, .size = reading.verdict == ReplyVerdict::Empty ? 0 : reading.facts.total});
      case ReplyVerdict::Redirect:
        return Redirect(reading.location);
      case ReplyVerdict::Login:
      case ReplyVerdict::Refused:
        return Tell({.problem = ProblemOf(reading, answer.status)});
      default:  // the download has more ways to go on
        return Tell({});
    }
  }

  void DataArrived(std::unique_ptr<FetchBlock>) override {}
  void Ended(FetchEnd end, const std::string& reason) override { Tell({.problem = ProblemOf(end, reason)}); }

  const Program& program_;
  WebRequests requests_;
  WebAddress address_;
  const std::string referrer_;
  Done done_;
  int redirects_ = 0;
  std::unique_ptr<Fetch> fetch_;
};

class WebProspects final : public Prospects {
 public:
  WebProspects(Program& program, WebServices& services) : program_(program), services_(services) {}

  std::unique_ptr<Inquiry> Ask(const std::string& url, const WebAdd& add, WebInquiry::Done done) override {
    const std::optional<WebAddress> address = ParseWebAddress(url);
    if (!address) return nullptr;
    return std::make_unique<WebInquiry>(program_, services_, *address, add, std::move(done));
  }

  std::string NameOf(const std::string& url) const override {
    const std::optional<WebAddress> address = ParseWebAddress(url);
    return address ? FileNameFromReply({}, *address) : std::string();
  }

  std::string FreeName(const std::string& folder, const std::string& name,
                       const std::set<std::string>& taken) const override {
    std::string free = name;
    for (int tried = 1; tried < kMostNumbers; ++tried, free = FollowingName(free)) {
      const std::string path = JoinFolder(folder, free);
      if (!taken.contains(path) && !program_.platform.files.Exists(path)) break;
    }
    return free;
  }

  std::set<std::string> TakenPaths() const override { return ClaimedPaths(program_, services_.journal, {}); }

 private:
  Program& program_;
  WebServices& services_;
};

}  // namespace

std::unique_ptr<Prospects> NewWebProspects(Program& program, WebServices& services) {
  return std::make_unique<WebProspects>(program, services);
}

}  // namespace pellora
