#include <fmt/format.h>

#include "core/clipboard/shared_clipboard_event.h"

namespace lumivale {

void ClipStatusLine::apply(const SharedClipboardEvent& event) {
  using Kind = SharedClipboardEvent::Kind;
  switch (event.kind) {
    case Kind::preparing:
      phase_ = Phase::starting;
      break;
    case Kind::syncing:
      phase_ = Phase::on;
      break;
    case Kind::synced:
      lastCopy_ = fmt::format(" \u00b7 last copy {}, {}", timeText_(event.at),
                              ClipDirections::label(event.direction));
      lastFailure_.clear();
      break;
    case Kind::skipped:
    case Kind::problem:
      lastFailure_ = fmt::format(" \u00b7 the last copy did not go across: {}", event.text);
      break;
    case Kind::restarting:
      phase_ = Phase::waiting;
      break;
    case Kind::failed:
      phase_ = Phase::failed;
      break;
    case Kind::stopped:
      phase_ = Phase::stopped;
      break;
    case Kind::paused:
      phase_ = Phase::paused;
      break;
  }
}

std::string ClipStatusLine::text() const {
  switch (phase_) {
    case Phase::starting:
    case Phase::waiting:
      return "Waiting for your Lumivale";
    case Phase::failed:
      return "Stopped, waiting for your Lumivale";
    case Phase::stopped:
      return "Off";
    case Phase::paused:
      return "Paused: unencrypted Wi-Fi";
    case Phase::on:
      break;
  }
  return fmt::format("On over {}{}{}", route_ == Route::usb ? "USB" : "Wi-Fi", lastCopy_,
                     lastFailure_);
}

std::string ClipStatusLine::sidebarText() const {
  if (phase_ == Phase::starting) return "Sharing \u00b7 starting";
  if (phase_ == Phase::waiting || phase_ == Phase::failed) return "Sharing \u00b7 waiting";
  return {};
}

}  // namespace lumivale
