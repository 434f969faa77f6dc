#pragma once

#include <string>

#include "core/error.h"

namespace lumivale {

// The settings file exists but cannot be used as it stands.
class ConfigUnreadable : public Error {
 public:
  explicit ConfigUnreadable(std::string reason)
      : Error("config.json could not be read: " + reason), reason_(std::move(reason)) {}

  const std::string& reason() const { return reason_; }

 private:
  std::string reason_;
};

}  // namespace lumivale
