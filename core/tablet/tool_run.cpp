#include "core/tablet/tool_run.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace lumivale {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto killGrace = std::chrono::seconds(1);

// Reads both streams to their end on this thread, so that a child filling one pipe
// while the other is not read never blocks, and kills the child once the deadline
// passes. True when the deadline's kill was sent.
bool drain(Spawn::Child& child, Clock::time_point deadline, const OutputChunks& out,
           std::string& err) {
  bool deadlinePassed = false;
  bool killed = false;
  UniqueFd* streams[2] = {&*child.stdoutPipe(), &*child.stderrPipe()};
  char buffer[65536];
  while (*streams[0] || *streams[1]) {
    pollfd polls[2];
    int owners[2];
    nfds_t count = 0;
    for (int i = 0; i < 2; ++i) {
      if (!*streams[i]) continue;
      polls[count] = {streams[i]->get(), POLLIN, 0};
      owners[count++] = i;
    }
    auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    int ready = ::poll(polls, count, static_cast<int>(std::clamp<long long>(left, 0, INT_MAX)));
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) break;
    if (ready == 0) {
      // Something the killed child started may still hold its pipes open: give up
      // reading after a short grace rather than wait on it for ever.
      if (deadlinePassed) break;
      deadlinePassed = true;
      killed = child.signalIfRunning(SIGKILL);
      deadline = Clock::now() + killGrace;
      continue;
    }
    for (nfds_t i = 0; i < count; ++i) {
      if (polls[i].revents == 0) continue;
      UniqueFd& stream = *streams[owners[i]];
      ssize_t got = ::read(stream.get(), buffer, sizeof buffer);
      if (got > 0 && owners[i] == 0)
        out(std::string_view(buffer, static_cast<size_t>(got)));
      else if (got > 0)
        err.append(buffer, static_cast<size_t>(got));
      else if (got == 0 || errno != EINTR)
        stream.reset();
    }
  }
  return killed;
}

}  // namespace

std::vector<std::string> ToolRun::stderrLines() const {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < stderrData.size()) {
    size_t end = stderrData.find('\n', start);
    if (end == std::string::npos) end = stderrData.size();
    lines.push_back(stderrData.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

const Environment& ToolRun::environment() {
  static const Environment fixed{{"PATH", "/usr/bin:/bin:/usr/sbin:/sbin"},
                                 {"LANG", "en_US.UTF-8"}};
  return fixed;
}

ToolRun ToolRun::run(const std::string& path, const std::vector<std::string>& arguments,
                     Seconds timeout, const StopToken* stop) {
  return runIn(environment(), path, arguments, timeout, stop);
}

ToolRun ToolRun::runIn(const Environment& environment, const std::string& path,
                       const std::vector<std::string>& arguments, Seconds timeout,
                       const StopToken* stop) {
  std::string out;
  ToolRun result = streamIn(environment, path, arguments, timeout, stop,
                            [&out](std::string_view chunk) { out.append(chunk); });
  result.stdoutData = std::move(out);
  return result;
}

ToolRun ToolRun::streamIn(const Environment& environment, const std::string& path,
                          const std::vector<std::string>& arguments, Seconds timeout,
                          const StopToken* stop, const OutputChunks& onOutput) {
  ToolRun result;
  if (stop && stop->isCancelled()) {
    result.cancelled = true;
    return result;
  }
  if (stop) timeout = stop->budget(timeout);
  auto child = Spawn::launch(path, arguments, environment, true, true);
  // Released only after the child is reaped; until then a cancel may kill it.
  StopToken::Hold held;
  if (stop) held = Spawn::holdChild(*stop, child);

  auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(timeout);
  // Should `onOutput` throw, the child's last owner kills and reaps it on the way out.
  result.timedOut = drain(*child, deadline, onOutput, result.stderrData);
  // A child may close its streams long before it ends: the deadline holds until it does.
  if (!result.timedOut && !child->endsBy(deadline))
    result.timedOut = child->signalIfRunning(SIGKILL);
  result.status = child->wait();
  result.cancelled = stop && stop->isCancelled();
  return result;
}

}  // namespace lumivale
