#include "desktop/preview/Confine.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>

namespace pellora {

namespace {

constexpr rlim_t kMostMemory = rlim_t{4} * 1024 * 1024 * 1024;  // of addresses; the libraries alone take one
constexpr rlim_t kMostFiles = 1024;
constexpr int kNice = 5;

void Limit(__rlimit_resource resource, rlim_t most) {
  rlimit limit{};
  if (getrlimit(resource, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max == RLIM_INFINITY || limit.rlim_max > most ? most : limit.rlim_max;
  if (most == 0) limit.rlim_max = 0;
  setrlimit(resource, &limit);
}

// A file may name others on the network: sockets of the internet are refused, those of the sound server are not.
void RefuseNetwork() {
  constexpr std::uint32_t kRefused = SECCOMP_RET_ERRNO | EACCES;
  std::array<sock_filter, 7> filter{{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_socket, 0, 4),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),  // the lower half, on little-endian machines
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AF_INET, 1, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AF_INET6, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, kRefused),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  }};
  sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0) prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0);
}

}  // namespace

void Confine() {
  Limit(RLIMIT_CORE, 0);
  Limit(RLIMIT_AS, kMostMemory);
  Limit(RLIMIT_NOFILE, kMostFiles);
  setpriority(PRIO_PROCESS, 0, kNice);
  RefuseNetwork();
  // The program asks for the end by closing the conversation; a terminal's interrupt is not meant for this process.
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace pellora
