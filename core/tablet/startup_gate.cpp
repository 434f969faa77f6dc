#include "core/tablet/startup_gate.h"

#include <fstream>
#include <map>
#include <sstream>

#include "core/pause.h"
#include "core/settings/atomic_file.h"
#include "core/settings/file_system_error.h"
#include "core/tablet/adb_error.h"
#include "core/tablet/adb_parse.h"

namespace lumivale::StartupGate {
namespace {

constexpr Seconds kAsk{10};
constexpr Seconds kAskEvery{0.5};

// serial -> transport id, as the memo holds them.
std::map<std::string, std::string> readMemo(const std::filesystem::path& memo) {
  std::map<std::string, std::string> seen;
  std::ifstream file(memo);
  std::string serial, transport;
  while (file >> serial >> transport)
    seen[serial] = transport;
  return seen;
}

}  // namespace

void waitUntilStarted(AdbBridge& bridge, const std::string& serial, Seconds wait,
                      const StopToken* stop) {
  const StopToken never;
  const auto deadline = std::chrono::steady_clock::now() +
                        std::chrono::duration_cast<std::chrono::steady_clock::duration>(wait);
  for (;;) {
    const std::string answer = bridge.shell(serial, "getprop sys.boot_completed", kAsk, stop);
    auto said = AdbParse::lines(answer);  // views into `answer`
    if (!said.empty() && said.front() == "1") return;
    if (std::chrono::steady_clock::now() >= deadline) throw AdbError(stillStarting);
    pauseFor(stop ? *stop : never, kAskEvery);
  }
}

bool seenStarted(const std::filesystem::path& memo, const std::string& serial,
                 const std::string& transportId) {
  auto seen = readMemo(memo);
  auto found = seen.find(serial);
  return found != seen.end() && found->second == transportId;
}

void rememberStarted(const std::filesystem::path& memo, const std::string& serial,
                     const std::string& transportId) {
  auto seen = readMemo(memo);
  seen[serial] = transportId;
  std::ostringstream text;
  for (const auto& [known, transport] : seen)
    text << known << " " << transport << "\n";
  try {
    writeFileAtomically(memo, text.str());
  } catch (const FileSystemError&) {
    // Only a shortcut: without it the tablet is asked again next time.
  }
}

}  // namespace lumivale::StartupGate
