#include "core/tablet/tool_cancel.h"

#include <signal.h>

namespace lumivale {

void ToolCancel::cancel() {
  std::shared_ptr<Spawn::Child> child;
  {
    std::lock_guard guard(mutex_);
    cancelled_ = true;
    child = child_;
  }
  if (child) child->signalIfRunning(SIGKILL);
}

bool ToolCancel::attach(std::shared_ptr<Spawn::Child> child) {
  std::lock_guard guard(mutex_);
  child_ = std::move(child);
  return !cancelled_;
}

bool ToolCancel::isCancelled() const {
  std::lock_guard guard(mutex_);
  return cancelled_;
}

}  // namespace lumivale
