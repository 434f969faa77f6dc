#include "core/tablet/system_calls.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

namespace lumivale::SystemCalls {

#ifdef __APPLE__

// macOS has no pipe2: the two steps, before any child can be spawned with them
// (every spawn closes what it is not given anyway).
std::optional<PipeEnds> openPipe() {
  int fds[2];
  if (::pipe(fds) != 0) return std::nullopt;
  PipeEnds ends{UniqueFd(fds[0]), UniqueFd(fds[1])};
  if (::fcntl(fds[0], F_SETFD, FD_CLOEXEC) != 0 || ::fcntl(fds[1], F_SETFD, FD_CLOEXEC) != 0)
    return std::nullopt;
  return ends;
}

int closeOtherDescriptors(posix_spawnattr_t& attributes, posix_spawn_file_actions_t&) {
  short flags = 0;
  if (int code = ::posix_spawnattr_getflags(&attributes, &flags); code != 0) return code;
  return ::posix_spawnattr_setflags(&attributes, flags | POSIX_SPAWN_CLOEXEC_DEFAULT);
}

UniqueFd openStreamSocket(int family) {
  UniqueFd socket(::socket(family, SOCK_STREAM, 0));
  if (!socket) return socket;
  int on = 1;
  int flags = ::fcntl(socket.get(), F_GETFL);
  if (::fcntl(socket.get(), F_SETFD, FD_CLOEXEC) != 0 || flags < 0 ||
      ::fcntl(socket.get(), F_SETFL, flags | O_NONBLOCK) != 0 ||
      ::setsockopt(socket.get(), SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on) != 0)
    return UniqueFd();
  return socket;
}

int sendFlags() {
  return 0;
}  // SO_NOSIGPIPE is set on the socket instead

ssize_t writeWithoutSignal(int fd, const void* data, std::size_t size) {
  ::fcntl(fd, F_SETNOSIGPIPE, 1);
  return ::write(fd, data, size);
}

int renameNoReplace(const char* from, const char* to) {
  return ::renamex_np(from, to, RENAME_EXCL);
}

int exchangePaths(const char* first, const char* second) {
  return ::renamex_np(first, second, RENAME_SWAP);
}

#else

std::optional<PipeEnds> openPipe() {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) return std::nullopt;
  return PipeEnds{UniqueFd(fds[0]), UniqueFd(fds[1])};
}

int closeOtherDescriptors(posix_spawnattr_t&, posix_spawn_file_actions_t& actions) {
  return ::posix_spawn_file_actions_addclosefrom_np(&actions, 3);
}

UniqueFd openStreamSocket(int family) {
  return UniqueFd(::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

int sendFlags() {
  return MSG_NOSIGNAL;
}

// A pipe has no per-descriptor switch here: SIGPIPE is blocked for this thread around
// the write, and the one the write raised is taken back before it is unblocked.
ssize_t writeWithoutSignal(int fd, const void* data, std::size_t size) {
  sigset_t pipeSignal;
  sigemptyset(&pipeSignal);
  sigaddset(&pipeSignal, SIGPIPE);
  sigset_t pending;
  sigpending(&pending);
  const bool alreadyPending = sigismember(&pending, SIGPIPE) == 1;
  sigset_t previous;
  ::pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);
  ssize_t written = ::write(fd, data, size);
  const int saved = errno;
  if (written < 0 && saved == EPIPE && !alreadyPending) {
    const timespec none{};
    while (::sigtimedwait(&pipeSignal, nullptr, &none) < 0 && errno == EINTR) {
    }
  }
  ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  errno = saved;
  return written;
}

int renameNoReplace(const char* from, const char* to) {
  return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
}

int exchangePaths(const char* first, const char* second) {
  return ::renameat2(AT_FDCWD, first, AT_FDCWD, second, RENAME_EXCHANGE);
}

#endif

}  // namespace lumivale::SystemCalls
