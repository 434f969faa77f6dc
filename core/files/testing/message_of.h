#pragma once

#include <functional>
#include <string>

#include "core/error.h"

namespace lumivale::testing {

// The message of the Error that `action` throws, or "no error".
inline std::string messageOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& error) {
    return error.message();
  }
  return "no error";
}

}  // namespace lumivale::testing
