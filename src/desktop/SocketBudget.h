// SocketBudget: how many sockets the program opens, so that descriptors are left for files and the window system.
#pragma once

#include <sys/socket.h>

#include <cstddef>

namespace pellora {

// A close-on-exec socket, counted until CloseCounted; -1 with errno, EMFILE if the rest of the program needs the
// descriptors. Both may be called from any thread.
int OpenCounted(int family, int type, int protocol);
void CloseCounted(int fd);

// Sockets that may be open at once.
std::size_t SocketLimit();

}  // namespace pellora
