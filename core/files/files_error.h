#pragma once

#include <string>

#include "core/cancelled.h"
#include "core/error.h"

namespace lumivale {

// The failure of a file operation on the tablet. `exists` and `notFound` carry the
// tablet path so a front end can offer the next step (ask to replace, refresh).
class FilesError : public Error {
 public:
  enum class Kind { exists, notFound, refused };

  static FilesError exists(const std::string& path);
  static FilesError notFound(const std::string& path);
  static FilesError refused(std::string sentence);

  Kind kind() const { return kind_; }
  // The tablet path for exists and notFound, the sentence for refused.
  const std::string& payload() const { return payload_; }

  bool operator==(const FilesError& other) const {
    return kind_ == other.kind_ && payload_ == other.payload_;
  }

 private:
  FilesError(Kind kind, std::string payload, std::string message)
      : Error(std::move(message)), kind_(kind), payload_(std::move(payload)) {}

  Kind kind_;
  std::string payload_;
};

// A tablet path or name that did not pass the text checks.
class RemotePathError : public Error {
 public:
  explicit RemotePathError(std::string reason) : Error(std::move(reason)) {}
  const std::string& reason() const { return message(); }
};

// A move refused because something already holds the target name.
class MoveSkipped : public Error {
 public:
  explicit MoveSkipped(std::string target);
  const std::string& target() const { return target_; }

 private:
  std::string target_;
};

}  // namespace lumivale
