#pragma once

#include <spawn.h>
#include <sys/types.h>

#include <cstddef>
#include <optional>

#include "core/tablet/unique_fd.h"

namespace lumivale::SystemCalls {

// The few calls that differ between Linux and macOS, each with both variants side by
// side, so that the rest of the core is plain POSIX.

struct PipeEnds {
  UniqueFd read;
  UniqueFd write;
};

// A pipe whose two ends are closed on exec. None on failure, with errno set.
std::optional<PipeEnds> openPipe();

// Makes a spawned child start with only the descriptors its file actions name
// (0, 1 and 2 here). Call after the attribute flags are set. 0 or an error number.
int closeOtherDescriptors(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& actions);

// A stream socket that is non-blocking, closed on exec and never raises SIGPIPE.
// Empty on failure, with errno set.
UniqueFd openStreamSocket(int family);

// The flags for send() on such a socket (MSG_NOSIGNAL where the system has it).
int sendFlags();

// write() that reports a reader gone as EPIPE instead of raising SIGPIPE, leaving
// the program's own SIGPIPE handling alone.
ssize_t writeWithoutSignal(int fd, const void* data, std::size_t size);

// Moves `from` to `to` in one step, failing with EEXIST rather than replacing what is
// there. 0, or -1 with errno set.
int renameNoReplace(const char* from, const char* to);
// Swaps two existing paths (folders included) in one step. 0, or -1 with errno set.
int exchangePaths(const char* first, const char* second);

}  // namespace lumivale::SystemCalls
