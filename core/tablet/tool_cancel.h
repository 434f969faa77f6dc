#pragma once

#include <memory>
#include <mutex>

#include "core/tablet/spawn.h"

namespace lumivale {

// Lets another thread stop a tool run: before it starts, while it runs, or after.
class ToolCancel {
 public:
  // Marks the run cancelled and kills the attached child if it is still running.
  void cancel();
  // Attaches a just-started child; false when the run was cancelled meanwhile.
  bool attach(std::shared_ptr<Spawn::Child> child);
  bool isCancelled() const;

 private:
  mutable std::mutex mutex_;
  bool cancelled_ = false;
  std::shared_ptr<Spawn::Child> child_;
};

}  // namespace lumivale
