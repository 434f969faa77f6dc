#include "core/tablet/tool_cancel.h"

#include <signal.h>

namespace lumivale {

bool ToolCancel::attach(std::shared_ptr<Spawn::Child> child) {
  return attachOnly([child = std::move(child)] { child->signalIfRunning(SIGKILL); });
}

StopToken::Hold Spawn::holdChild(const StopToken& stop, std::shared_ptr<Child> child) {
  return stop.hold([child = std::move(child)] { child->signalIfRunning(SIGKILL); });
}

}  // namespace lumivale
