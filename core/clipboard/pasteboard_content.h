#pragma once

#include <string>

namespace lumivale {

// What one read of the computer's clipboard yields.
struct PasteboardContent {
  enum class Kind {
    text,
    secret,  // marked by a password manager
    notText,
    changing,  // it changed during the read
    denied,    // the system refused access
  };
  Kind kind = Kind::notText;
  std::string text;  // for `text` only

  static PasteboardContent ofText(std::string text) { return {Kind::text, std::move(text)}; }
  static PasteboardContent of(Kind kind) { return {kind, {}}; }
  bool operator==(const PasteboardContent&) const = default;
};

}  // namespace lumivale
