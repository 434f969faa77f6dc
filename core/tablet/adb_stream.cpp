#include "core/tablet/adb_stream.h"

#include <array>

#include <fmt/format.h>

namespace lumivale {
namespace {

// What adb says when the tablet, or the adb server itself, went away under it.
constexpr std::array kGoneSigns{
    std::string_view("no devices/emulators found"),
    std::string_view("' not found"),  // "error: device 'SERIAL' not found", not a shell's own
    std::string_view("device not found"),
    std::string_view("device offline"),
    std::string_view("connection reset"),
    std::string_view("error: closed"),
    std::string_view("protocol fault"),
    std::string_view("cannot connect to daemon"),
};

std::string lastLine(std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
    text.remove_suffix(1);
  auto start = text.rfind('\n');
  return std::string(start == std::string_view::npos ? text : text.substr(start + 1));
}

}  // namespace

bool AdbStreamEnd::saysTabletGone(std::string_view stderrText) {
  for (auto sign : kGoneSigns)
    if (stderrText.find(sign) != std::string_view::npos) return true;
  return false;
}

AdbStreamEnd AdbStreamEnd::from(const AdbStreamFacts& facts) {
  AdbStreamEnd end;
  end.status = facts.status;
  end.stderrTail = facts.stderrTail;
  const std::string said = lastLine(facts.stderrTail);
  if (!facts.badRecord.empty()) {
    end.reason = Reason::badRecord;
    end.message = facts.badRecord;
  } else if (facts.cancelled) {
    end.reason = Reason::cancelled;
    end.message = "cancelled";
  } else if (facts.killedByStop) {
    end.reason = Reason::killed;
    end.message = fmt::format("did not stop within {:g} s and was killed", facts.grace.count());
  } else if (facts.stopAsked) {
    end.reason = Reason::stopped;
    end.message = "stopped";
  } else if (facts.tabletGone || (facts.status != 0 && saysTabletGone(facts.stderrTail))) {
    end.reason = Reason::disconnected;
    end.message = "the tablet disconnected";
  } else {
    end.reason = Reason::exited;
    end.message = said.empty() ? fmt::format("adb exited {}", facts.status)
                               : fmt::format("adb exited {}: {}", facts.status, said);
  }
  return end;
}

}  // namespace lumivale
