#include "standin/rooted_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include <fmt/format.h>

#include "core/error.h"

namespace lumivale::standin {
namespace {

// What an Android shell started by adbd finds in its environment.
std::vector<std::string> shellEnvironment() {
  return {
      "PATH=/product/bin:/apex/com.android.runtime/bin:/system/bin:/system/xbin:/odm/bin:"
      "/vendor/bin:/vendor/xbin",
      "HOME=/",
      "TMPDIR=/data/local/tmp",
      "ANDROID_ROOT=/system",
      "ANDROID_DATA=/data",
      "ANDROID_STORAGE=/storage",
      "EXTERNAL_STORAGE=/sdcard",
      "HOSTNAME=tolva",
      "USER=root",
      "LOGNAME=root",
      "SHELL=/system/bin/sh",
  };
}

std::pair<UniqueFd, UniqueFd> makePipe() {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) throw Error(fmt::format("pipe: {}", std::strerror(errno)));
  return {UniqueFd(fds[0]), UniqueFd(fds[1])};
}

// A pseudo-terminal's controlling side and the path of the side the child opens.
std::pair<UniqueFd, std::string> openTerminal() {
  UniqueFd controller(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  char path[128];
  if (!controller || ::grantpt(controller.get()) != 0 || ::unlockpt(controller.get()) != 0 ||
      ::ptsname_r(controller.get(), path, sizeof path) != 0)
    throw Error(fmt::format("pseudo-terminal: {}", std::strerror(errno)));
  return {std::move(controller), path};
}

[[noreturn]] void failInChild(const char* step) {
  const char* reason = std::strerror(errno);
  for (const char* part : {"lumivale-standin: ", step, ": ", reason, "\n"})
    (void)!::write(STDERR_FILENO, part, std::strlen(part));
  ::_exit(127);
}

// `/system/bin/sh -c command` in the tablet root, or the shell alone when `command` is empty.
Launch shellLaunch(const std::string& root, const std::string& command, StandardStreams streams) {
  Launch launch{{"/system/bin/sh"}, shellEnvironment(), root};
  if (!command.empty()) launch.arguments.insert(launch.arguments.end(), {"-c", command});
  if (streams == StandardStreams::terminal) launch.environment.push_back("TERM=xterm-256color");
  return launch;
}

}  // namespace

RootedProcess::RootedProcess(const std::string& root, const std::string& command,
                             StandardStreams streams)
    : RootedProcess(shellLaunch(root, command, streams), streams) {}

RootedProcess::RootedProcess(Launch launch, StandardStreams streams) {
  UniqueFd inRead, inWrite, outRead, outWrite, errRead, errWrite;
  std::string terminalPath;
  if (streams == StandardStreams::terminal) {
    std::tie(terminal_, terminalPath) = openTerminal();
  } else {
    std::tie(inRead, inWrite) = makePipe();
    std::tie(outRead, outWrite) = makePipe();
    if (streams == StandardStreams::separate) std::tie(errRead, errWrite) = makePipe();
  }
  // Everything the child touches is made before fork: only async-signal-safe calls follow.
  std::vector<char*> argv, envp;
  for (auto& argument : launch.arguments)
    argv.push_back(argument.data());
  argv.push_back(nullptr);
  for (const auto& variable : launch.environment)
    envp.push_back(const_cast<char*>(variable.c_str()));
  envp.push_back(nullptr);
  int errorTarget = errWrite ? errWrite.get() : outWrite.get();

  pid_ = ::fork();
  if (pid_ < 0) throw Error(fmt::format("fork: {}", std::strerror(errno)));
  if (pid_ == 0) {
    ::setsid();
    if (!terminalPath.empty()) {
      // Opened after setsid, the terminal becomes the shell's controlling one.
      int terminal = ::open(terminalPath.c_str(), O_RDWR);
      if (terminal < 0) failInChild("open terminal");
      inRead.reset(terminal);
      outWrite.reset(::dup(terminal));
      errorTarget = outWrite.get();
    }
    if (::dup2(inRead.get(), STDIN_FILENO) < 0 || ::dup2(outWrite.get(), STDOUT_FILENO) < 0 ||
        ::dup2(errorTarget, STDERR_FILENO) < 0)
      failInChild("dup2");
    ::close_range(3, ~0u, 0);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
    if (!launch.root.empty() && ::chroot(launch.root.c_str()) != 0) failInChild("chroot");
    if (::chdir("/") != 0) failInChild("chdir");
    ::execve(argv[0], argv.data(), envp.data());
    failInChild("exec");
  }
  if (terminal_) {
    input_.reset(::dup(terminal_.get()));
    output_.reset(::dup(terminal_.get()));
  } else {
    input_ = std::move(inWrite);
    output_ = std::move(outRead);
    errors_ = std::move(errRead);
  }
}

RootedProcess::~RootedProcess() {
  if (!reaped_) {
    kill();
    wait();
  }
}

void RootedProcess::resizeTerminal(unsigned short rows, unsigned short columns) {
  winsize size{};
  size.ws_row = rows;
  size.ws_col = columns;
  if (terminal_) ::ioctl(terminal_.get(), TIOCSWINSZ, &size);
}

void RootedProcess::kill() {
  if (reaped_) return;
  ::kill(-pid_, SIGKILL);
  ::kill(pid_, SIGKILL);  // in case it has not made its own group yet
}

int RootedProcess::wait() {
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  reaped_ = true;
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return WEXITSTATUS(status);
}

void checkCanChroot(const std::string& root) {
  if (::geteuid() != 0)
    throw Error(fmt::format(
        "lumivale-standin runs the tablet's commands chrooted into {} and must run as root "
        "(running as uid {})",
        root, ::geteuid()));
  pid_t pid = ::fork();
  if (pid < 0) throw Error(fmt::format("fork: {}", std::strerror(errno)));
  if (pid == 0) ::_exit(::chroot(root.c_str()) == 0 ? 0 : errno);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  int code = WIFEXITED(status) ? WEXITSTATUS(status) : EPERM;
  if (code != 0)
    throw Error(
        fmt::format("lumivale-standin cannot chroot into {}: {}", root, std::strerror(code)));
}

}  // namespace lumivale::standin
