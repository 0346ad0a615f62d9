#include "Plan.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "SimPlatform.h"
#include "SimRandom.h"

namespace pellora {

namespace {

constexpr int kMostConnections = 50;  // with planned faults, for each session and server

const char* NameOf(PlanKind kind) {
  switch (kind) {
    case PlanKind::Session:
      return "session";
    case PlanKind::Act:
      return "act";
    case PlanKind::Stall:
      return "stall";
    case PlanKind::WallJump:
      return "clock";
    case PlanKind::DiskFails:
      return "disk fails";
    case PlanKind::DiskFull:
      return "disk full";
    case PlanKind::Wire:
      return "wire";
    case PlanKind::Add:
      return "add";
    case PlanKind::Mood:
      return "mood";
    case PlanKind::Change:
      return "change";
    case PlanKind::Restart:
      return "restart";
    case PlanKind::Outage:
      return "outage";
    case PlanKind::PartsFail:
      return "parts fail";
    case PlanKind::Certificate:
      return "certificate";
  }
  return "";
}

class Planner {
 public:
  explicit Planner(std::uint64_t seed) : random_(seed * 0x9E3779B97F4A7C15ULL + 1) { plan_.seed = seed; }

  LifePlan Make() {
    Choose();
    plan_.sessions = static_cast<int>(random_.Between(1, 3));
    const std::uint64_t wireRates[] = {0, 10, 25, 50};
    const std::uint64_t diskRates[] = {0, 0, 1, 3};
    const std::uint64_t wireRate = wireRates[random_.Below(4)];
    const std::uint64_t diskRate = diskRates[random_.Below(4)];
    const std::uint64_t timeRate = random_.Below(3);
    for (session_ = 0; session_ < plan_.sessions; ++session_) {
      length_ = static_cast<std::uint32_t>(random_.Between(8'000, 45'000));
      Add(PlanKind::Session, length_);
      Acts();
      for (std::uint64_t i = 0; i < diskRate; ++i) {
        Add(random_.Below(4) == 0 ? PlanKind::DiskFull : PlanKind::DiskFails, random_.Below(8) == 0 ? 0 : Moment());
      }
      for (std::uint64_t i = 0; i < timeRate; ++i) Add(random_.Coin() ? PlanKind::Stall : PlanKind::WallJump, Moment());
      for (const PlanServer server : {PlanServer::Moody, PlanServer::Wild, PlanServer::Ftp}) Wires(server, wireRate);
    }
    return std::move(plan_);
  }

 private:
  void Choose() {
    const std::uint32_t starts[] = {123456789, kTickNearSign, kTickNearWrap, 5000};
    plan_.startTick = random_.Coin() ? static_cast<std::uint32_t>(random_.Next()) : starts[random_.Below(4)];
    const auto one = [this](std::uint64_t in) { return std::string(random_.Below(in) == 0 ? "True" : "False"); };
    plan_.settings = {{"MaxSegments", std::to_string(random_.Between(1, 8))},
                      {"MaxSimulDownlads", std::to_string(random_.Between(1, 5))},
                      {"Schedule", "True"},
                      {"ScheduleOption", std::to_string(random_.Below(2))},
                      {"ScheduleHour", "09:37"},
                      {"SaveAs", one(4)},
                      {"AutoPreviewZIP", one(2)},
                      {"CheckClipboard", one(2)}};
    for (std::uint32_t& size : plan_.sizes) {
      const std::uint64_t sizes[] = {random_.Between(1, 9'999), random_.Between(10'000, 99'999),
                                     random_.Between(100'000, 200'000)};
      size = static_cast<std::uint32_t>(sizes[random_.Below(3)]);
    }
  }

  std::uint32_t Moment() { return static_cast<std::uint32_t>(random_.Below(length_)); }

  void Add(PlanKind kind, std::uint32_t at) {
    PlanItem item;
    item.kind = kind;
    item.session = session_;
    item.at = at;
    item.salt = random_.Next();
    plan_.items.push_back(item);
  }

  // A hurried user acts several times within a second.
  void Acts() {
    const std::uint64_t gap = random_.Coin() ? 1500 : 5000;
    for (std::uint32_t at = 50; at < length_; at += static_cast<std::uint32_t>(20 + random_.Below(2 * gap))) {
      Add(PlanKind::Act, at);
    }
  }

  void Wires(PlanServer server, std::uint64_t rate) {
    for (int connection = 1; connection <= kMostConnections; ++connection) {
      // That server exists only for its faults.
      if (random_.Below(100) >= (server == PlanServer::Wild ? 60 : rate)) continue;
      Add(PlanKind::Wire, 0);
      plan_.items.back().server = server;
      plan_.items.back().connection = connection;
    }
  }

  SimRandom random_;
  LifePlan plan_;
  int session_ = 0;
  std::uint32_t length_ = 0;
};

// Further events of a run with the web engine, from a separate random stream.
class WebPlanner {
 public:
  explicit WebPlanner(LifePlan& plan) : random_(plan.seed * 0xD1B54A32D192ED03ULL + 5), plan_(plan) {}

  void Make() {
    plan_.web = true;
    plan_.powerCuts = random_.Coin();
    plan_.onlyWeb = plan_.powerCuts || random_.Coin();
    const bool all = random_.Below(3) == 0;
    for (int session = 0; session < plan_.sessions; ++session) {
      plan_.webEngine.push_back(session > 0 && random_.Below(6) == 0 ? 0 : all ? 2 : 1);
    }
    plan_.webEngine.push_back(all ? 2 : 1);
    std::vector<PlanItem> sessions;
    for (const PlanItem& item : plan_.items) {
      if (item.kind == PlanKind::Session) sessions.push_back(item);
    }
    for (const PlanItem& session : sessions) {
      session_ = &session;
      Items(PlanKind::Add, 2 + random_.Below(4));
      Items(PlanKind::Mood, random_.Below(2) * random_.Below(6));
      Items(PlanKind::Change, random_.Below(3));
      Items(PlanKind::Restart, random_.Below(3) / 2);
      Items(PlanKind::Outage, random_.Below(4) / 3);
      Items(PlanKind::Certificate, random_.Below(6) / 5);
      Items(PlanKind::PartsFail, random_.Below(3) / 2 * random_.Below(3));
    }
  }

 private:
  void Items(PlanKind kind, std::uint64_t count) {
    for (std::uint64_t i = 0; i < count; ++i) {
      PlanItem item;
      item.kind = kind;
      item.session = session_->session;
      item.at = static_cast<std::uint32_t>(50 + random_.Below(session_->at));
      // Early ones, so that much is still to be fetched.
      if (kind == PlanKind::Add) item.at = static_cast<std::uint32_t>(50 + random_.Below(session_->at / 2));
      item.salt = random_.Next();
      plan_.items.push_back(item);
    }
  }

  SimRandom random_;
  LifePlan& plan_;
  const PlanItem* session_ = nullptr;
};

}  // namespace

LifePlan MakePlan(std::uint64_t seed, bool web) {
  LifePlan plan = Planner(seed).Make();
  if (web) WebPlanner(plan).Make();
  return plan;
}

bool EndsWithPowerCut(const LifePlan& plan, const PlanItem& session) {
  return plan.powerCuts && EndOf(session) != SessionEnd::Quit && session.salt / 7 % 2 == 0;
}

SessionEnd EndOf(const PlanItem& session) {
  switch (session.salt % 5) {
    case 0:
      return SessionEnd::Quit;
    case 1:
      return SessionEnd::TornKill;
    default:
      return SessionEnd::Kill;
  }
}

std::string PlanText(const LifePlan& plan, const std::set<int>& dropped) {
  static const char* const kServers[] = {"moody", "wild", "ftp"};
  static const char* const kEnds[] = {"quit", "kill", "torn kill"};
  std::string text = "seed " + std::to_string(plan.seed) + "\n";
  for (const auto& [key, value] : plan.settings) text.append("  ").append(key).append("=").append(value).append("\n");
  int number = 0;
  for (const PlanItem& item : plan.items) {
    const int at = number++;
    if (dropped.contains(at)) continue;
    text += "  " + std::to_string(at) + ": session " + std::to_string(item.session) + ", " + NameOf(item.kind);
    if (item.kind == PlanKind::Wire) {
      text += " " + std::string(kServers[static_cast<int>(item.server)]) + " " + std::to_string(item.connection);
    } else if (item.kind == PlanKind::Session) {
      text += " of " + std::to_string(item.at) + " ms, then " + kEnds[static_cast<int>(EndOf(item))];
    } else {
      text += " at " + std::to_string(item.at) + " ms";
    }
    text += "\n";
  }
  return text;
}

std::set<int> ReadNumbers(const std::string& text) {
  std::set<int> numbers;
  for (const char* at = text.c_str(); *at != '\0';) {
    char* end = nullptr;
    const long first = std::strtol(at, &end, 10);
    if (end == at) break;
    long last = first;
    if (*end == '-') last = std::strtol(end + 1, &end, 10);
    for (long number = first; number <= last; ++number) numbers.insert(static_cast<int>(number));
    at = *end == ',' ? end + 1 : end;
  }
  return numbers;
}

std::string WriteNumbers(const std::set<int>& numbers) {
  std::string text;
  for (auto at = numbers.begin(); at != numbers.end();) {
    const int first = *at;
    int last = first;
    for (++at; at != numbers.end() && *at == last + 1; ++at) last = *at;
    if (!text.empty()) text += ",";
    text += std::to_string(first);
    if (last > first) text += "-" + std::to_string(last);
  }
  return text;
}

}  // namespace pellora
