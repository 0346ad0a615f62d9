#include "desktop/UnpackerProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <strings.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "desktop/Descriptor.h"
#include "desktop/unpack/Protocol.h"

namespace pellora {

// Processes that were killed, but have not ended within the time that a call may take: a disk may hold them up.
class EndedProcesses {
 public:
  void Add(pid_t process) {
    const std::scoped_lock lock(mutex_);
    processes_.push_back(process);
  }
  void Collect() {
    const std::scoped_lock lock(mutex_);
    std::erase_if(processes_, [](pid_t process) { return waitpid(process, nullptr, WNOHANG) != 0; });
  }

 private:
  std::mutex mutex_;
  std::vector<pid_t> processes_;
};

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kLongestCall{100};
constexpr std::chrono::seconds kLongestEnd{5};  // from the end of its output to that of the process
constexpr std::size_t kMostPlain = std::size_t{1} << 20;
constexpr std::size_t kRead = std::size_t{256} << 10;
constexpr int kPipe = 1 << 20;  // the most that an unprivileged user gets
constexpr std::size_t kLongestPassword = 1024;
constexpr std::size_t kLongestAes = 64;
constexpr std::size_t kLongestReason = 1000;

// Writing into a pipe that nobody reads is then an error rather than the end of the program. Other threads are not
// affected.
class NoPipeSignal {
 public:
  NoPipeSignal() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending{};
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &former_);
  }
  ~NoPipeSignal() {
    const int error = errno;
    constexpr timespec kNow{};
    if (!wasPending_) {
      while (sigtimedwait(&pipe_, nullptr, &kNow) < 0 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &former_, nullptr);
    errno = error;
  }
  NoPipeSignal(const NoPipeSignal&) = delete;
  NoPipeSignal& operator=(const NoPipeSignal&) = delete;

 private:
  sigset_t pipe_{};
  sigset_t former_{};
  bool wasPending_ = false;
};

void AppendHex(std::string& line, const std::string& bytes) {
  line += bytes.empty() ? " -" : " ";
  for (const char byte : bytes) {
    line += "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4U];
    line += "0123456789abcdef"[static_cast<unsigned char>(byte) & 15U];
  }
}

std::string OrderFor(const PackedEntry& entry) {
  std::string line = "unpack";
  line.reserve(line.size() + 200 + 2 * (entry.aes.size() + entry.password.size()));  // no copy is left in memory
  for (const std::uint64_t number :
       {std::uint64_t{entry.method}, std::uint64_t{entry.flags}, std::uint64_t{entry.dosTime},
        std::uint64_t{entry.dosDate}, std::uint64_t{entry.crc}, entry.packed, entry.size}) {
    line += " " + std::to_string(number);
  }
  AppendHex(line, entry.aes);
  AppendHex(line, entry.password);
  return line + "\n";
}

// No archiver makes such an entry, or takes such a password.
bool CanBeOrdered(const PackedEntry& entry) {
  return entry.aes.size() <= kLongestAes && entry.password.size() <= kLongestPassword &&
         entry.password.find('\0') == std::string::npos;
}

struct Pipe {
  Descriptor outlet;
  Descriptor inlet;

  bool Open() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
    outlet = Descriptor(ends[0]);
    inlet = Descriptor(ends[1]);
    return true;
  }
};

void UseHere(const Descriptor& end) {
  fcntl(end.Number(), F_SETFL, O_NONBLOCK);
  fcntl(end.Number(), F_SETPIPE_SZ, kPipe);
}

class ProcessUnpacking final : public Unpacking {
 public:
  ProcessUnpacking(const std::string& program, const PackedEntry& entry, std::shared_ptr<EndedProcesses> ended)
      : program_(program), ended_(std::move(ended)), left_(entry.packed) {
    if (!CanBeOrdered(entry)) {
      state_ = UnpackState::Damaged;
      return;
    }
    order_ = OrderFor(entry);
    const int error = Start();
    if (error != 0) Fail(std::strerror(error));
  }
  ~ProcessUnpacking() override {
    ForgetOrder();
    Kill();
  }
  ProcessUnpacking(const ProcessUnpacking&) = delete;
  ProcessUnpacking& operator=(const ProcessUnpacking&) = delete;

  std::size_t Exchange(std::string_view packed, std::string& plain) override {
    const Clock::time_point deadline = Clock::now() + kLongestCall;
    const std::size_t before = plain.size();
    packed = packed.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(left_, packed.size())));
    std::size_t taken = 0;
    while (state_ == UnpackState::Working && plain.size() - before < kMostPlain) {
      if (!output_) {
        AwaitEnd(deadline);
        break;
      }
      // With all bytes taken, the caller may have more: it waits no longer then.
      const bool wait = packed.empty() || taken < packed.size();
      if (!Poll(taken < packed.size(), wait ? deadline : Clock::now())) break;
      ReadOutput(plain, before + kMostPlain);
      taken += WriteInput(packed.substr(taken));
    }
    return taken;
  }
  UnpackState State() const override { return state_; }
  std::string Reason() const override { return reason_; }

 private:
  // Returns an errno, or 0.
  int Start() {
    Pipe in;
    Pipe out;
    Pipe errors;
    if (!in.Open() || !out.Open() || !errors.Open()) return errno;
    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_adddup2(&actions, in.outlet.Number(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out.inlet.Number(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors.inlet.Number(), STDERR_FILENO);
    // Libraries open descriptors without asking to close them.
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    sigset_t none{};
    sigset_t all{};
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    std::string name = kUnpackProgram;
    std::array<char*, 2> words{name.data(), nullptr};
    const int error = posix_spawn(&process_, program_.c_str(), &actions, &attributes, words.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
      process_ = 0;
      return error;
    }
    input_ = std::move(in.inlet);
    output_ = std::move(out.outlet);
    errors_ = std::move(errors.outlet);
    UseHere(input_);
    UseHere(output_);
    UseHere(errors_);
    return 0;
  }

  // False if there is nothing to do until the deadline.
  bool Poll(bool hasPacked, Clock::time_point deadline) const {
    const bool writes = input_ && (!order_.empty() || hasPacked);
    std::array<pollfd, 2> wanted{{{output_.Number(), POLLIN, 0}, {writes ? input_.Number() : -1, POLLOUT, 0}}};
    while (true) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      const int count = poll(wanted.data(), wanted.size(), static_cast<int>(std::max<std::int64_t>(left, 0)));
      if (count >= 0) return count > 0;
      if (errno != EINTR) return false;
    }
  }

  void ReadOutput(std::string& plain, std::size_t most) {
    while (plain.size() < most) {
      const std::size_t former = plain.size();
      plain.resize(std::min(most, former + kRead));
      const ssize_t count = read(output_.Number(), plain.data() + former, plain.size() - former);
      const int error = errno;
      plain.resize(former + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
      if (count < 0 && error == EINTR) continue;
      if (count < 0 && error == EAGAIN) return;
      if (count <= 0) {
        output_.Close();
        outputEnded_ = Clock::now();
        return;
      }
    }
  }

  // Returns how many of the packed bytes were written.
  std::size_t WriteInput(std::string_view packed) {
    while (input_ && !order_.empty()) {
      const std::size_t count = WriteSome(std::string_view(order_).substr(ordered_));
      if (count == 0) return 0;
      ordered_ += count;
      if (ordered_ == order_.size()) ForgetOrder();
    }
    std::size_t taken = 0;
    while (input_ && taken < packed.size()) {
      const std::size_t count = WriteSome(packed.substr(taken));
      if (count == 0) break;
      taken += count;
      left_ -= count;
    }
    if (left_ == 0) input_.Close();
    return taken;
  }
  // 0: no more can be written now, or ever. Its exit code then says why.
  std::size_t WriteSome(std::string_view bytes) {
    const NoPipeSignal guard;
    ssize_t count = 0;
    do {
      count = write(input_.Number(), bytes.data(), bytes.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0 && errno != EAGAIN) input_.Close();
    return static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  void ForgetOrder() {
    explicit_bzero(order_.data(), order_.size());
    order_.clear();
  }

  // A process ends right after its output: one that does not has been taken over.
  void AwaitEnd(Clock::time_point deadline) {
    std::optional<int> status = Collect();
    while (!status && Clock::now() < deadline) {
      poll(nullptr, 0, 1);
      status = Collect();
    }
    if (status) return Judge(*status);
    if (Clock::now() - outputEnded_ < kLongestEnd) return;
    Kill();
    state_ = UnpackState::Damaged;
  }
  std::optional<int> Collect() {
    int status = 0;
    const pid_t ended = waitpid(process_, &status, WNOHANG);
    if (ended == 0 || (ended < 0 && errno == EINTR)) return {};
    process_ = 0;
    return ended < 0 ? -1 : status;  // no process's
  }
  void Judge(int status) {
    if (WIFSIGNALED(status)) return JudgeSignal(WTERMSIG(status));
    switch (WIFEXITED(status) ? WEXITSTATUS(status) : -1) {
      case kUnpackDone:
        state_ = UnpackState::Done;
        return;
      case kUnpackDamaged:
        state_ = UnpackState::Damaged;
        return;
      case kUnpackUnconfined:
        return Fail(ReadReason());
      default:
        return Fail("it ended early (" + std::to_string(status) + ")");
    }
  }
  // What the bytes have done to it, or what somebody else has.
  void JudgeSignal(int signal) {
    constexpr std::array kByBytes = {SIGSEGV, SIGBUS, SIGABRT, SIGSYS, SIGILL, SIGFPE, SIGTRAP, SIGXCPU};
    if (std::find(kByBytes.begin(), kByBytes.end(), signal) != kByBytes.end()) {
      state_ = UnpackState::Damaged;
    } else {
      Fail("it was ended by signal " + std::to_string(signal));
    }
  }
  std::string ReadReason() {
    std::string reason(kLongestReason, '\0');
    const ssize_t count = read(errors_.Number(), reason.data(), reason.size());
    reason.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return reason.substr(0, reason.find('\n'));
  }
  void Fail(const std::string& reason) {
    state_ = UnpackState::Failed;
    reason_ = program_ + ": " + reason;
  }

  void Kill() {
    input_.Close();
    output_.Close();
    if (process_ == 0) return;
    kill(process_, SIGKILL);
    const Clock::time_point deadline = Clock::now() + kLongestCall;
    while (!Collect() && Clock::now() < deadline) poll(nullptr, 0, 1);
    if (process_ != 0) ended_->Add(std::exchange(process_, 0));
  }

  const std::string program_;
  const std::shared_ptr<EndedProcesses> ended_;
  std::uint64_t left_;  // packed bytes that it has not got
  std::string order_;   // empty once it has it
  std::size_t ordered_ = 0;
  pid_t process_ = 0;  // 0: none, or it was waited for
  Descriptor input_;
  Descriptor output_;
  Descriptor errors_;
  Clock::time_point outputEnded_;
  UnpackState state_ = UnpackState::Working;
  std::string reason_;
};

}  // namespace

UnpackerProcess::UnpackerProcess(std::string program)
    : program_(std::move(program)), ended_(std::make_shared<EndedProcesses>()) {}

UnpackerProcess::~UnpackerProcess() = default;

std::unique_ptr<Unpacking> UnpackerProcess::Begin(const PackedEntry& entry) {
  ended_->Collect();
  return std::make_unique<ProcessUnpacking>(program_, entry, ended_);
}

}  // namespace pellora
