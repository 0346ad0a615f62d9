#include "Ways.h"

#include <fcntl.h>
#include <linux/io_uring.h>
#include <linux/keyctl.h>
#include <linux/openat2.h>
#include <linux/sched.h>
#include <linux/vm_sockets.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "InheritedDescriptor.h"

namespace pellora {

namespace {

constexpr std::size_t kTooMuch = std::size_t{8} << 30;
constexpr int kHarmless = SIGURG;  // ignored unless it is waited for

bool Opens(int descriptor) {
  if (descriptor >= 0) close(descriptor);
  return descriptor >= 0;
}

bool Socket(int family, int type, int protocol = 0) { return Opens(socket(family, type, protocol)); }

bool Connects(const std::string& path) {
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  const bool connected =
      socket >= 0 && connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  return Opens(socket) && connected;
}

// The child only exits.
bool Parted(pid_t child) {
  if (child == 0) _exit(0);
  return child > 0 && waitpid(child, nullptr, 0) == child;
}

bool Clone3() {
  clone_args arguments{};
  arguments.exit_signal = SIGCHLD;
  return Parted(static_cast<pid_t>(syscall(SYS_clone3, &arguments, sizeof arguments)));
}

bool Openat2(const std::string& path) {
  open_how how{};
  how.flags = O_WRONLY;
  return Opens(static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how)));
}

bool UsesIoUring() {
  io_uring_params parameters{};
  return Opens(static_cast<int>(syscall(SYS_io_uring_setup, 4, &parameters)));
}

bool SignalsByDescriptor() {
  const auto process = static_cast<int>(syscall(SYS_pidfd_open, ParentProcess(), 0));
  return process >= 0 && syscall(SYS_pidfd_send_signal, process, kHarmless, nullptr, 0) == 0;
}

bool QueuesSignal() { return sigqueue(ParentProcess(), kHarmless, {}) == 0; }

bool ReadsMemory() {
  int from = 1;
  int to = 0;
  const iovec source{&from, sizeof from};
  const iovec target{&to, sizeof to};
  return process_vm_readv(getpid(), &target, 1, &source, 1, 0) == sizeof from;
}

bool ReadsParent(const char* what) {
  const int file = open(("/proc/" + std::to_string(ParentProcess()) + '/' + what).c_str(), O_RDONLY);
  char byte = 0;
  return file >= 0 && read(file, &byte, 1) == 1;
}

bool Maps(int flags) {
  return mmap(nullptr, kTooMuch, PROT_READ | PROT_WRITE, flags | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0) != MAP_FAILED;
}

bool OpensManyFiles() {
  for (int count = 0; count < 300; ++count) {
    if (fcntl(STDOUT_FILENO, F_DUPFD, 0) < 0) return false;
  }
  return true;
}

bool GrowsFile() {
  const int file = memfd_create("grows", 0);
  return file >= 0 && ftruncate(file, 1) == 0;
}

bool Raises(__rlimit_resource resource, rlim_t soft) {
  rlimit limit{};
  if (getrlimit(resource, &limit) != 0) return false;
  limit.rlim_cur = limit.rlim_max == RLIM_INFINITY ? soft : limit.rlim_max;
  return setrlimit(resource, &limit) == 0;
}

bool SharesMemory() {
  const int segment = shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0600);
  return segment >= 0 && shmctl(segment, IPC_RMID, nullptr) == 0;
}

// Whether the address is in the variables, or in the memory where the kernel shows them.
bool KnowsTheBus() {
  std::ifstream file("/proc/self/environ");
  const std::string all{std::istreambuf_iterator<char>(file), {}};
  errno = ENOENT;
  return std::getenv("DBUS_SESSION_BUS_ADDRESS") != nullptr ||
         all.find("DBUS_SESSION_BUS_ADDRESS") != std::string::npos;
}

bool KnowsTheHome() {
  const char* const home = std::getenv("HOME");
  errno = ENOENT;
  return home != nullptr && access(home, F_OK) == 0;
}

bool Executes() {
  execl("/bin/echo", "echo", "done", nullptr);
  return false;
}

bool ExecutesAt() {
  const std::array<const char*, 3> arguments = {"echo", "done", nullptr};
  syscall(SYS_execveat, AT_FDCWD, "/bin/echo", arguments.data(), environ, 0);
  return false;
}

#ifdef __x86_64__
bool CallsLikeI386() {
  constexpr long kGetPid = 20;
  long result = kGetPid;
  asm volatile("int $0x80" : "+a"(result) : : "memory", "r8", "r9", "r10", "r11");
  if (result < 0) errno = static_cast<int>(-result);
  return result > 0;
}

bool CallsLikeX32() {
  constexpr long kX32 = 0x40000000;
  return syscall(kX32 + SYS_getpid) > 0;
}
#endif

using Home = const std::string&;

constexpr Way kWays[] = {
    // talking to others
    {"unix stream socket", [](Home) { return Socket(AF_UNIX, SOCK_STREAM); }},
    {"unix datagram socket", [](Home) { return Socket(AF_UNIX, SOCK_DGRAM); }},
    {"internet stream socket", [](Home) { return Socket(AF_INET, SOCK_STREAM); }},
    {"internet datagram socket", [](Home) { return Socket(AF_INET, SOCK_DGRAM); }},
    {"internet 6 socket", [](Home) { return Socket(AF_INET6, SOCK_STREAM); }, Kind::Depends},
    {"netlink socket", [](Home) { return Socket(AF_NETLINK, SOCK_RAW); }},
    {"vsock socket", [](Home) { return Socket(AF_VSOCK, SOCK_STREAM); }, Kind::Depends},
    {"packet socket", [](Home) { return Socket(AF_PACKET, SOCK_RAW); }, Kind::Depends},
    {"bluetooth socket", [](Home) { return Socket(AF_BLUETOOTH, SOCK_SEQPACKET); }, Kind::Depends},
    {"cryptography socket", [](Home) { return Socket(AF_ALG, SOCK_SEQPACKET); }, Kind::Depends},
    {"session bus", [](Home home) { return Connects(home + "/bus"); }},
    {"address of the session bus", [](Home) { return KnowsTheBus(); }},
    {"io_uring", [](Home) { return UsesIoUring(); }, Kind::Depends},
#ifdef __x86_64__
    {"calls of i386", [](Home) { return CallsLikeI386(); }, Kind::Depends},
    {"calls of x32", [](Home) { return CallsLikeX32(); }, Kind::Depends},
#endif
    // starting programs
    {"execve", [](Home) { return Executes(); }},
    {"execveat", [](Home) { return ExecutesAt(); }},
    {"fork", [](Home) { return Parted(fork()); }},
    {"clone", [](Home) { return Parted(static_cast<pid_t>(syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0))); }},
    {"clone3", [](Home) { return Clone3(); }},
    {"user namespace", [](Home) { return syscall(SYS_unshare, CLONE_NEWUSER) == 0; }, Kind::Depends},
    // reaching other processes
    {"kill", [](Home) { return kill(ParentProcess(), kHarmless) == 0; }},
    {"kill of every process", [](Home) { return kill(-1, 0) == 0; }},
    {"tgkill", [](Home) { return syscall(SYS_tgkill, ParentProcess(), ParentProcess(), kHarmless) == 0; }},
    {"tkill", [](Home) { return syscall(SYS_tkill, ParentProcess(), kHarmless) == 0; }},
    {"sigqueue", [](Home) { return QueuesSignal(); }},
    {"pidfd_send_signal", [](Home) { return SignalsByDescriptor(); }},
    {"owner of a descriptor", [](Home) { return fcntl(STDOUT_FILENO, F_SETOWN, ParentProcess()) == 0; }},
    {"ptrace", [](Home) { return ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0; }},
    {"process_vm_readv", [](Home) { return ReadsMemory(); }},
    {"shared memory segment", [](Home) { return SharesMemory(); }},
    {"key ring", [](Home) { return syscall(SYS_keyctl, KEYCTL_GET_KEYRING_ID, KEY_SPEC_SESSION_KEYRING, 1) > 0; },
     Kind::Depends},
    {"inherited descriptor", [](Home) { return write(kInheritedDescriptor, "x", 1) == 1; }},
    {"being looked at", [](Home) { return prctl(PR_SET_DUMPABLE, 1) == 0; }},
    {"outliving the parent", [](Home) { return prctl(PR_SET_PDEATHSIG, 0) == 0; }},
    {"ioctl", [](Home) { return ioctl(STDOUT_FILENO, FIOCLEX) == 0; }},
    // changing files
    {"home", [](Home) { return KnowsTheHome(); }},
    {"creat", [](Home home) { return Opens(creat((home + "/new").c_str(), 0600)); }},
    {"open for writing", [](Home home) { return Opens(open((home + "/other").c_str(), O_WRONLY)); }},
    {"open for both", [](Home home) { return Opens(open((home + "/other").c_str(), O_RDWR)); }},
    {"open with O_CREAT", [](Home home) { return Opens(open((home + "/new").c_str(), O_RDONLY | O_CREAT, 0600)); }},
    {"open with O_TRUNC", [](Home home) { return Opens(open((home + "/other").c_str(), O_RDONLY | O_TRUNC)); }},
    {"open with O_TMPFILE", [](Home home) { return Opens(open(home.c_str(), O_WRONLY | O_TMPFILE, 0600)); },
     Kind::Depends},
    {"open of what it renders", [](Home home) { return Opens(open((home + "/own").c_str(), O_RDWR)); }},
    {"open of its memory", [](Home) { return Opens(open("/proc/self/mem", O_RDWR)); }},
    {"openat2", [](Home home) { return Openat2(home + "/other"); }},
    {"reading of another file", [](Home home) { return Opens(open((home + "/other").c_str(), O_RDONLY)); },
     Kind::Landlock},
    {"listing of a folder", [](Home home) { return Opens(open(home.c_str(), O_RDONLY | O_DIRECTORY)); },
     Kind::Landlock},
    {"environment of the parent", [](Home) { return ReadsParent("environ"); }, Kind::Landlock},
    {"memory of the parent", [](Home) { return ReadsParent("maps"); }, Kind::Landlock},
    {"truncate", [](Home home) { return truncate((home + "/other").c_str(), 0) == 0; }},
    {"mkdir", [](Home home) { return mkdir((home + "/new folder").c_str(), 0700) == 0; }},
    {"mkfifo", [](Home home) { return mkfifo((home + "/new pipe").c_str(), 0600) == 0; }},
    {"link", [](Home home) { return link((home + "/other").c_str(), (home + "/new link").c_str()) == 0; }},
    {"symlink", [](Home home) { return symlink("/etc/passwd", (home + "/new symbolic link").c_str()) == 0; }},
    {"chmod", [](Home home) { return chmod((home + "/other").c_str(), 0644) == 0; }},
    {"utimensat", [](Home home) { return utimensat(AT_FDCWD, (home + "/other").c_str(), nullptr, 0) == 0; }},
    {"rename", [](Home home) { return rename((home + "/other").c_str(), (home + "/renamed").c_str()) == 0; }},
    {"unlink", [](Home home) { return unlink((home + "/other").c_str()) == 0; }},
    {"chdir", [](Home home) { return chdir(home.c_str()) == 0; }},
    // taking more than its share
    {"8 GiB of memory", [](Home) { return Maps(MAP_PRIVATE); }},
    {"8 GiB of shared memory", [](Home) { return Maps(MAP_SHARED); }},
    {"300 descriptors", [](Home) { return OpensManyFiles(); }},
    {"file that grows", [](Home) { return GrowsFile(); }},
    {"more processor time", [](Home) { return Raises(RLIMIT_CPU, 100000); }},
    {"larger files", [](Home) { return Raises(RLIMIT_FSIZE, RLIM_INFINITY); }},
    {"more memory", [](Home) { return Raises(RLIMIT_AS, kTooMuch); }},
    {"higher priority", [](Home) { return setpriority(PRIO_PROCESS, 0, 0) == 0; }, Kind::Depends},
};

}  // namespace

pid_t ParentProcess() {
  static const pid_t parent = getppid();
  return parent;
}

std::span<const Way> Ways() { return kWays; }

}  // namespace pellora
