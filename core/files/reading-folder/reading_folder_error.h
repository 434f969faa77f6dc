#pragma once

#include <string>

#include "core/error.h"

namespace lumivale {

// A Reading folder refusal, worded for people: a folder that cannot be chosen, a record
// that belongs to another tablet, a copy already under way.
class ReadingFolderError : public Error {
 public:
  explicit ReadingFolderError(std::string sentence) : Error(std::move(sentence)) {}
};

}  // namespace lumivale
