#include "core/tablet/spawn.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <thread>

#include <fmt/format.h>

#include "core/tablet/system_calls.h"

namespace lumivale::Spawn {
namespace {

// Owns the attributes and file actions of one spawn, released on every path.
struct SpawnSetup {
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_t actions;

  SpawnSetup() {
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&actions);
  }
  ~SpawnSetup() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;
};

using Pipe = SystemCalls::PipeEnds;

Pipe makePipe(const std::string& path) {
  auto ends = SystemCalls::openPipe();
  if (!ends) throw Failure(path, errno);
  return std::move(*ends);
}

std::vector<char*> cStrings(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (const auto& text : texts)
    result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

}  // namespace

Failure::Failure(std::string path, int code)
    : Error(fmt::format("could not launch {}: {}", path, std::strerror(code))),
      path_(std::move(path)),
      code_(code) {}

Child::Child(pid_t pid, std::optional<UniqueFd> stdoutPipe, std::optional<UniqueFd> stderrPipe,
             std::optional<UniqueFd> stdinPipe)
    : pid_(pid),
      stdoutPipe_(std::move(stdoutPipe)),
      stderrPipe_(std::move(stderrPipe)),
      stdinPipe_(std::move(stdinPipe)) {}

Child::~Child() {
  // A child that nobody waited for is killed and reaped rather than left a zombie.
  if (!reaped_) {
    signalIfRunning(SIGKILL);
    wait();
  }
}

int Child::wait() {
  siginfo_t info{};
  while (::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT) != 0 &&
         errno == EINTR) {
  }
  {
    std::lock_guard guard(lock_);
    finished_ = true;
  }
  int status = 0;
  pid_t reaped;
  do {
    reaped = ::waitpid(pid_, &status, 0);
  } while (reaped < 0 && errno == EINTR);
  reaped_ = true;
  if (reaped < 0) return 128 + SIGKILL;
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return status;
}

bool Child::endsBy(std::chrono::steady_clock::time_point deadline) {
  using Clock = std::chrono::steady_clock;
  auto millisecondsLeft = [&] {
    auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
  };
#ifdef SYS_pidfd_open
  // A process descriptor turns readable when the process ends: no polling steps.
  UniqueFd process(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)));
  if (process) {
    pollfd watched{process.get(), POLLIN, 0};
    int ready;
    while ((ready = ::poll(&watched, 1, millisecondsLeft())) < 0 && errno == EINTR) {
    }
    return ready > 0;
  }
#endif
  // Without one (older kernels, other systems), look in short steps.
  while (true) {
    siginfo_t info{};
    if (::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT | WNOHANG) == 0 &&
        info.si_pid != 0)
      return true;
    int left = millisecondsLeft();
    if (left == 0) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(std::min(left, 10)));
  }
}

bool Child::signalIfRunning(int signal) {
  std::lock_guard guard(lock_);
  if (finished_) return false;
  return ::kill(pid_, signal) == 0;
}

namespace {

std::shared_ptr<Child> start(const std::string& path, const std::vector<std::string>& arguments,
                             const Environment& environment, bool withInput, bool captureOutput,
                             bool captureErrors) {
  SpawnSetup setup;
  sigset_t emptyMask;
  sigemptyset(&emptyMask);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGTERM);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setflags(&setup.attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  posix_spawnattr_setsigmask(&setup.attributes, &emptyMask);
  posix_spawnattr_setsigdefault(&setup.attributes, &defaults);

  std::optional<Pipe> in;
  if (withInput) {
    in = makePipe(path);
    posix_spawn_file_actions_adddup2(&setup.actions, in->read.get(), 0);
  } else {
    posix_spawn_file_actions_addopen(&setup.actions, 0, "/dev/null", O_RDONLY, 0);
  }
  std::optional<Pipe> out;
  std::optional<Pipe> err;
  if (captureOutput) {
    out = makePipe(path);
    posix_spawn_file_actions_adddup2(&setup.actions, out->write.get(), 1);
  } else {
    posix_spawn_file_actions_addopen(&setup.actions, 1, "/dev/null", O_WRONLY, 0);
  }
  if (captureErrors) {
    err = makePipe(path);
    posix_spawn_file_actions_adddup2(&setup.actions, err->write.get(), 2);
  } else {
    posix_spawn_file_actions_addopen(&setup.actions, 2, "/dev/null", O_WRONLY, 0);
  }
  // Only 0, 1 and 2 reach the child.
  if (int code = SystemCalls::closeOtherDescriptors(setup.attributes, setup.actions); code != 0)
    throw Failure(path, code);

  std::vector<std::string> argvTexts{path};
  argvTexts.insert(argvTexts.end(), arguments.begin(), arguments.end());
  std::vector<std::string> envTexts;
  for (const auto& [name, value] : environment)
    envTexts.push_back(name + "=" + value);
  auto argv = cStrings(argvTexts);
  auto envp = cStrings(envTexts);

  pid_t pid = 0;
  int code = ::posix_spawn(&pid, path.c_str(), &setup.actions, &setup.attributes, argv.data(),
                           envp.data());
  if (code != 0) throw Failure(path, code);

  std::optional<UniqueFd> stdoutRead;
  std::optional<UniqueFd> stderrRead;
  std::optional<UniqueFd> stdinWrite;
  if (out) stdoutRead = std::move(out->read);
  if (err) stderrRead = std::move(err->read);
  if (in) stdinWrite = std::move(in->write);
  return std::make_shared<Child>(pid, std::move(stdoutRead), std::move(stderrRead),
                                 std::move(stdinWrite));
}

}  // namespace

std::shared_ptr<Child> launch(const std::string& path, const std::vector<std::string>& arguments,
                              const Environment& environment, bool captureOutput,
                              bool captureErrors) {
  return start(path, arguments, environment, false, captureOutput, captureErrors);
}

std::shared_ptr<Child> launchWithInput(const std::string& path,
                                       const std::vector<std::string>& arguments,
                                       const Environment& environment, bool captureOutput,
                                       bool captureErrors) {
  return start(path, arguments, environment, true, captureOutput, captureErrors);
}

}  // namespace lumivale::Spawn
