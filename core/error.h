#pragma once

#include <exception>
#include <string>

namespace lumivale {

// The base of every failure the core throws. message() is the user-facing text,
// exactly as the front ends show it.
class Error : public std::exception {
 public:
  explicit Error(std::string message) : message_(std::move(message)) {}

  const std::string& message() const noexcept { return message_; }
  const char* what() const noexcept override;

 private:
  std::string message_;
};

}  // namespace lumivale
