#pragma once

#include <memory>

#include "core/stop_token.h"
#include "core/tablet/spawn.h"

namespace lumivale {

// A stop token that can also hold one child process: another thread stops a tool run
// before it starts, while it runs, or after.
class ToolCancel : public StopToken {
 public:
  ToolCancel() = default;
  explicit ToolCancel(StopToken token) : StopToken(std::move(token)) {}

  // Attaches a just-started child, in place of the one attached before; false when the
  // token was cancelled meanwhile (the caller then kills the child itself).
  bool attach(std::shared_ptr<Spawn::Child> child);
};

namespace Spawn {
// Kills `child` with SIGKILL if `stop` is cancelled while the hold lives, and only
// while the child has not been reaped.
[[nodiscard]] StopToken::Hold holdChild(const StopToken& stop, std::shared_ptr<Child> child);
}  // namespace Spawn

}  // namespace lumivale
