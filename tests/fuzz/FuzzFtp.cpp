#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "../scenario/transfer/TransferRig.h"
#include "Oracle.h"
#include "Targets.h"
#include "core/ListFile.h"
#include "ports/Failure.h"

namespace pellora {

namespace {

constexpr std::uint32_t kPause = 100;  // ms between two pieces of the server's replies
constexpr std::uint64_t kSeconds = 6;
constexpr std::size_t kMaxPieces = 200;

using Arrivals = std::vector<std::string>;

Arrivals ArrivalsOf(std::string_view text) {
  Arrivals arrivals = Pieces(text, "\2");
  std::erase(arrivals, "");
  if (arrivals.size() > kMaxPieces) arrivals.resize(kMaxPieces);
  return arrivals;
}

// Splits into lines; the rest after the last line is one piece.
Arrivals LinesOf(const std::string& text) {
  Arrivals lines = Pieces(text, "\r\n");
  for (std::size_t i = 0; i + 1 < lines.size(); ++i) lines[i] += "\r\n";
  std::erase(lines, "");
  return lines;
}

// Sends its pieces one after the other, whatever the client sends.
class Talker final : public SimServer {
 public:
  Talker(Arrivals probe, Arrivals others) : probe_(std::move(probe)), others_(std::move(others)) {}
  SimWire Wire(int) override {
    SimWire wire;
    wire.latency = 1;
    wire.cut = SimCut::Whole;
    return wire;
  }
  void Accepted(SimPeer& peer) override { Say(peer, 0); }
  void Received(SimPeer&, std::string_view) override {}

 private:
  void Say(SimPeer& peer, std::size_t piece) {
    const Arrivals& pieces = peer.Number() == 1 ? probe_ : others_;
    if (piece >= pieces.size()) return;
    peer.Send(pieces[piece]);
    if (piece + 1 < pieces.size()) peer.After(kPause, [this, piece](SimPeer& same) { Say(same, piece + 1); });
  }

  const Arrivals probe_;
  const Arrivals others_;
};

struct Outcome {
  std::vector<std::string> sent;  // by control connection
  std::vector<std::string> boxes;
  std::int32_t size = 0;
  std::string restState;
};

void DemandPaths(TransferRig& rig, const std::set<std::string>& before) {
  for (const std::string& path : rig.sim.disk().Paths()) {
    const bool within = path.starts_with("/home/u/tmp/") || path.starts_with("/home/u/dl/");
    const bool expected =
        before.count(path) != 0 || path == ListPath(rig.program) || (within && path.find("/..") == std::string::npos);
    if (!expected) throw OracleBroken("no file is outside the two folders: " + path);
  }
}

void DemandBounds(TransferRig& rig) {
  std::size_t tries = 0;
  std::size_t controls = 0;
  for (const SimConnectionLog& log : rig.sim.network().Log()) {
    (log.host == "f.example" && log.port == 21 ? controls : tries) += 1;
  }
  const auto segments = static_cast<std::size_t>(std::max<int>(rig.Record().SegmentCount, 0));
  Demand(controls <= 1 + segments * 8, "a login is not tried without end");
  Demand(tries <= segments * (5 * kSeconds + 6), "a data port is tried five times a second at most");
  Demand(rig.sim.network().MostOpen() <= 17, "no more connections than segments need");
  Demand(rig.sim.tasks().RunningTasks() <= 40, "no arrival leaves a task");
  Demand(rig.sim.dialogs().MostOpen() <= 3, "boxes do not pile up");
}

Outcome Run(const Arrivals& probe, const Arrivals& others, const std::string& data, std::uint64_t milliseconds) {
  TransferRig rig({.seed = 1});
  Talker server(probe, others);
  rig.sim.network().Serve("f.example", 21, server);
  SimScript port;
  port.wire.latency = 1;
  port.onConnect = [&data](SimPeer& peer) { peer.Send(data); };
  rig.sim.network().Serve("10.0.0.1", 257, port);
  const std::vector<std::string> paths = rig.sim.disk().Paths();
  rig.Start("ftp://u:p@f.example/d/a.bin");
  rig.sim.RunFor(milliseconds);

  DemandPaths(rig, {paths.begin(), paths.end()});
  DemandBounds(rig);
  Demand(rig.Broken().empty(), "the plan holds");
  Outcome outcome;
  for (const SimConnectionLog& log : rig.sim.network().Log()) {
    if (log.port != 21) continue;
    DemandFtpCommands(log.received);
    outcome.sent.push_back(log.received);
  }
  for (const BoxRequest& box : rig.sim.dialogs().Boxes()) outcome.boxes.push_back(box.text);
  outcome.size = rig.Record().FileSize;
  outcome.restState = rig.Record().RestState;
  Demand(outcome.size >= 0, "a size is not negative");
  if (!rig.WindowOf()) return outcome;
  rig.Pause();
  rig.sim.RunFor(1000);
  Demand(rig.Broken().empty(), "the plan holds after a pause");
  Demand(rig.sim.network().Open() == 0 || rig.sim.dialogs().OpenCount() > 0 || rig.Record().Finished,
         "a pause ends every connection");
  return outcome;
}

bool HasLine(const std::string& text, const std::set<std::string>& codes) {
  for (const std::string& line : Pieces(text, "\r\n")) {
    if (codes.count(line.substr(0, 3)) != 0) return true;
  }
  return false;
}

}  // namespace

void DemandFtpCommands(const std::string& sent) {
  const std::vector<std::string> lines = Pieces(sent, "\r\n");
  Demand(lines.back().empty(), "every command is ended");
  Demand(lines.size() - 1 <= 50, "a connection carries fifty commands at most");
  static const std::set<std::string> kVerbs = {"USER", "PASS", "TYPE", "PWD", "PASV", "CWD", "SIZE", "REST", "RETR"};
  for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
    Demand(kVerbs.count(lines[i].substr(0, lines[i].find(' '))) != 0, "no command comes from a server's text");
    Demand(!HasControls(lines[i]), "no command has control characters");
  }
}

void DemandFtpReplies(std::string_view line, const std::function<PassiveAddress(std::string_view)>& parse) {
  const AllocationMeter meter;
  const std::string directory = QuotedDirectory(line);
  Demand(directory.empty() || line.find('"' + directory + '"') != std::string_view::npos, "a directory is quoted");
  const std::string remote = RemoteDirectory(directory, "/d/a.bin");
  Demand(remote == directory.substr(0, directory.size() - (directory.ends_with('/') ? 1 : 0)) + "/d/",
         "the file's directory follows that of the login");
  const std::size_t blank = line.find(' ');
  const std::int32_t size = SizeReply(line);
  const double stated = blank == std::string_view::npos ? 0 : LeadingNumber(line.substr(blank + 1));
  Demand(
      size == (stated < 0 || stated > INT32_MAX ? 0 : RoundedNumber(line.substr(std::min(blank, line.size() - 1) + 1))),
      "a size is the number after the first blank");

  PassiveAddress address;
  const bool read = Skip([&] { address = parse(line); });
  const std::size_t open = line.find('(');
  const std::size_t close = line.find(')');
  const bool bracketed = open != std::string_view::npos && close != std::string_view::npos && open < close;
  const std::vector<std::string> numbers =
      bracketed ? Pieces(line.substr(open + 1, close - open - 1), ",") : Arrivals();
  Demand(read == (numbers.size() >= 6), "an address has six numbers in brackets");
  Demand(meter.Bytes() <= 64 * line.size() + 4096, "a line takes memory in proportion to its length");
  if (!read) return;
  Demand(address.host == numbers[0] + "." + numbers[1] + "." + numbers[2] + "." + numbers[3],
         "the host is the sent one");
  Demand(address.PortModulo() >= 0 && address.PortModulo() <= 65535, "a port is one");
  for (const auto& [number, text] : {std::pair{address.fifth, numbers[4]}, std::pair{address.sixth, numbers[5]}}) {
    const double whole = std::clamp<double>(LeadingNumber(text), -INT32_MAX, INT32_MAX);
    Demand(number == static_cast<std::int32_t>(whole), "the port's numbers are cut, not rounded");
  }
}

void FuzzFtp(std::string_view bytes, const std::function<std::string(std::string)>& late) {
  std::vector<std::string> parts = Pieces(bytes, "\1");
  parts.resize(3);
  const Arrivals probe = ArrivalsOf(parts[0]);
  const Arrivals others = ArrivalsOf(parts[1]);
  for (const Arrivals* arrivals : {&probe, &others}) {
    for (const std::string& line : Pieces(Joined(*arrivals), "\r\n")) {
      if (!line.empty()) DemandFtpReplies(line);
    }
  }
  Run(probe, others, Joined(Pieces(parts[2], "\2")), kSeconds * 1000);

  // The probe's conversation is the same whether it arrives in one block or line by line.
  const std::string whole = Joined(probe);
  Arrivals lines = LinesOf(whole);
  if (lines.size() > kMaxPieces / 5) return;
  if (late) std::transform(lines.begin(), lines.end(), lines.begin(), late);
  const std::uint64_t time = 500 + lines.size() * kPause;
  const Outcome one = Run({whole}, {}, "", time);
  const Outcome many = Run(lines, {}, "", time);
  Demand(one.sent.empty() == many.sent.empty() && (one.sent.empty() || one.sent[0] == many.sent[0]),
         "the probe answers lines the same whole and apart");
  Demand(one.boxes == many.boxes && one.size == many.size && one.restState == many.restState,
         "the probe comes to the same end");
  // So is a segment's, unless a reply is delayed: what arrives meanwhile overtakes what comes after it.
  const std::string login = Joined(others);
  if (HasLine(login, {"230", "227"}) || LinesOf(login).size() > kMaxPieces / 5) return;
  const Outcome block = Run({"213 9\r\n350 x\r\n"}, {login}, "", 1500 + LinesOf(login).size() * kPause);
  const Outcome apart = Run({"213 9\r\n350 x\r\n"}, LinesOf(login), "", 1500 + LinesOf(login).size() * kPause);
  Demand(block.sent == apart.sent, "a segment answers lines the same whole and apart");
}

}  // namespace pellora
