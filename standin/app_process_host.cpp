#include "standin/app_process_host.h"

#include <unistd.h>

#include <atomic>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

#include <fmt/format.h>

#include "core/crypto_library.h"
#include "core/error.h"
#include "core/tablet/tool_run.h"

namespace lumivale::standin {
namespace {

constexpr const char* kJava = "/usr/bin/java";
constexpr const char* kEnjarify = "/usr/bin/enjarify";
constexpr const char* kAndroidJson = "/usr/share/java/com.android.json.jar";
constexpr Seconds kEnjarifyTimeout{300};

// Only words a shell passes on as they are: anything else is left to the tablet's shell.
bool plainWord(const std::string& word) {
  return !word.empty() && word.find_first_not_of(
                              "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                              "_./=:+,@-$") == std::string::npos;
}

std::vector<std::string> words(const std::string& command) {
  std::vector<std::string> found;
  std::istringstream in(command);
  for (std::string word; in >> word;)
    found.push_back(word);
  return found;
}

std::string readAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// The jar enjarify makes of `dex`, made once per content.
std::filesystem::path jarFor(const std::filesystem::path& dex, const std::filesystem::path& cache) {
  const std::filesystem::path jar = cache / (sha256Hex(readAll(dex)) + ".jar");
  if (std::filesystem::exists(jar)) return jar;
  std::filesystem::create_directories(cache);
  static std::atomic<int> serial = 0;
  const std::filesystem::path staged =
      cache / fmt::format(".{}-{}.jar", ::getpid(), serial.fetch_add(1));
  ToolRun run =
      ToolRun::run(kEnjarify, {"--force", "-o", staged.string(), dex.string()}, kEnjarifyTimeout);
  if (run.status != 0 || run.timedOut)
    throw Error(fmt::format("enjarify could not read {}: {}", dex.string(), run.stderrData));
  std::filesystem::rename(staged, jar);
  return jar;
}

}  // namespace

std::optional<Launch> AppProcessHost::launch(const std::string& command) const {
  const auto parts = words(command);
  if (parts.size() < 4 || parts[0].rfind("CLASSPATH=/", 0) != 0 || parts[1] != "app_process")
    return std::nullopt;
  for (const auto& part : parts)
    if (!plainWord(part)) return std::nullopt;
  const std::filesystem::path dex =
      root / std::filesystem::path(parts[0].substr(std::string_view("CLASSPATH=/").size()));
  std::error_code error;
  if (!std::filesystem::is_regular_file(std::filesystem::symlink_status(dex, error)))
    return std::nullopt;

  Launch launch;
  launch.environment = {"PATH=/usr/bin:/bin", "LANG=C.UTF-8"};
  std::filesystem::path jar;
  try {
    jar = jarFor(dex, jarCache);
  } catch (const std::exception& failure) {
    // Said on the command's error output, as app_process says what it cannot load.
    launch.arguments = {"/bin/sh", "-c", "printf '%s\\n' \"$0\" >&2; exit 1", failure.what()};
    return launch;
  }
  launch.arguments = {kJava,
                      "-XX:TieredStopAtLevel=1",
                      "-XX:+UseSerialGC",
                      "-Xmx128m",
                      "-Dlumivale.clip.file=" + clipboardFile.string(),
                      "-Dlumivale.clip.sdk=33",
                      "-cp",
                      jar.string() + ":" + kAndroidJson};
  launch.arguments.insert(launch.arguments.end(), parts.begin() + 3, parts.end());
  return launch;
}

}  // namespace lumivale::standin
