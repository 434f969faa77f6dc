#include "core/clipboard/clip_helper.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fmt/format.h>

#include "core/clipboard/clip_error.h"
#include "core/clipboard/clip_helper_dex.h"
#include "core/crypto_library.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/tablet_shell.h"

namespace lumivale::ClipHelper {
namespace {

constexpr Seconds kStepTimeout{30};
// Pushed beside the helper and moved over it in one step, so that a helper starting
// meanwhile never reads half a file.
constexpr std::string_view kStagedPath = "/data/local/tmp/.lumivale-partial-lumivale-clip.dex";

std::string remoteHash(AdbRunner& shell, const std::string& serial, const StopToken* stop) {
  const std::string output = shell.shell(
      serial, fmt::format("sha256sum {} 2>/dev/null || true", remotePath), kStepTimeout, stop);
  return output.substr(0, output.find_first_of(" \t\r\n"));
}

std::string decoded(const Embedded& helper) {
  auto bytes = base64Decode(helper.base64);
  if (!bytes || sha256Hex(*bytes) != helper.sha256)
    throw ClipError("the embedded clipboard helper is corrupt");
  return *bytes;
}

// A private file holding `bytes`, removed when this goes.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& bytes) {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "lumivale-clip-XXXXXX").string();
    const int fd = mkstemp(pattern.data());
    if (fd < 0)
      throw ClipError(fmt::format("could not write {}: {}", pattern, std::strerror(errno)));
    path_ = pattern;
    std::size_t written = 0;
    while (written < bytes.size()) {
      const ssize_t n = ::write(fd, bytes.data() + written, bytes.size() - written);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) {
        const int code = errno;
        ::close(fd);
        throw ClipError(fmt::format("could not write {}: {}", path_, std::strerror(code)));
      }
      written += static_cast<std::size_t>(n);
    }
    ::close(fd);
  }
  ~TemporaryFile() { ::unlink(path_.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

void push(AdbRunner& shell, AdbFileRunner& files, const std::string& serial,
          const std::string& bytes, const StopToken* stop) {
  TemporaryFile local(bytes);
  ToolRun run =
      files.run(serial, {"push", local.path(), std::string(kStagedPath)}, kStepTimeout, stop);
  if (run.cancelled && stop) stop->throwIfCancelled();
  if (run.timedOut) throw AdbError(TabletShell::notAnswering());
  if (run.status != 0)
    throw AdbError(TabletShell::exited("adb push", run.status,
                                       TabletShell::firstLine(run.stderrData + run.stdoutData)));
  shell.shell(serial,
              TabletShell::line({"mv", "-f", std::string(kStagedPath), std::string(remotePath)}),
              kStepTimeout, stop);
}

}  // namespace

Embedded Embedded::shipped() {
  return {clipHelperDexBase64, clipHelperDexSha256};
}

bool ensureInstalled(AdbRunner& shell, AdbFileRunner& files, const std::string& serial,
                     const StopToken* stop, const Embedded& helper) {
  if (remoteHash(shell, serial, stop) == helper.sha256) return false;
  const std::string bytes = decoded(helper);
  push(shell, files, serial, bytes, stop);
  const std::string pushed = remoteHash(shell, serial, stop);
  if (pushed != helper.sha256)
    throw ClipError(fmt::format("{} does not match after the push (sha256 {})", remotePath,
                                pushed.empty() ? "none" : pushed));
  return true;
}

std::vector<std::string> arguments(const std::string& serial, std::optional<std::int64_t> since) {
  std::vector<std::string> args{"-s",
                                serial,
                                "shell",
                                "-T",
                                fmt::format("CLASSPATH={}", remotePath),
                                "app_process",
                                "/",
                                std::string(mainClass)};
  if (since) {
    args.emplace_back("--since");
    args.push_back(std::to_string(*since));
  }
  return args;
}

std::string endText(const AdbStreamEnd& end, bool ready, const std::string& serial) {
  if (end.reason == AdbStreamEnd::Reason::disconnected) return "the tablet disconnected";
  if (!ready)
    return fmt::format("the clipboard helper did not start on {}: {}", serial, end.message);
  const std::string said = TabletShell::firstLine(end.stderrTail);
  return said.empty() ? "the helper exited" : fmt::format("the helper exited: {}", said);
}

}  // namespace lumivale::ClipHelper
