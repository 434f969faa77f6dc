#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lumivale::standin {

// How the stand-in misbehaves, to let tests meet the failures of real tablets.
struct FaultSettings {
  bool unauthorized = false;          // answers the handshake with AUTH and never accepts a key
  bool offline = false;               // never answers the handshake
  bool v1Shell = false;               // no shell_v2 feature: no exit statuses, stderr merged
  std::chrono::milliseconds slow{0};  // delay before the handshake and each accepted stream
  std::optional<uint64_t> dropAfterBytes;    // cut the connection after this much of a transfer
  std::optional<std::string> dropAtCommand;  // cut the connection when a service contains this
  std::set<std::string> hiddenTools;         // sha256sum, find-printf, readlink-e, realpath
  bool lowSpace = false;                     // df reports the data partition nearly full
  bool asleep = false;  // the Wi-Fi side is gone; it comes back on another port when cleared
  bool wakesOnSamePort = false;  // ... or on the one it had (`sleep=keep-port`)
  // sys.boot_completed reads 0 until then (seconds since the epoch), as while starting up
  std::optional<std::int64_t> bootCompletesAt;

  bool operator==(const FaultSettings&) const = default;
};

// The names accepted by `hide=`.
const std::set<std::string>& hideableTools();

// Applies one fault written as on the command line ("slow=200", "hide=realpath",
// "unauthorized"). Throws Error naming the problem when the text is not a fault.
void applyFault(FaultSettings& settings, std::string_view fault);
// Clears one fault by name ("slow", "hide=realpath", "hide" for all hidden tools).
void clearFault(FaultSettings& settings, std::string_view name);
// The faults in force, in the form applyFault takes.
std::vector<std::string> describeFaults(const FaultSettings& settings);

// The settings shared by every connection, changed while the stand-in runs.
class Faults {
 public:
  explicit Faults(FaultSettings initial) : settings_(std::move(initial)) {}
  FaultSettings current() const {
    std::lock_guard guard(lock_);
    return settings_;
  }
  void replace(FaultSettings settings) {
    std::lock_guard guard(lock_);
    settings_ = std::move(settings);
  }

 private:
  mutable std::mutex lock_;
  FaultSettings settings_;
};

}  // namespace lumivale::standin
