#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "core/stop_token.h"

namespace lumivale {

// The line protocol spoken with the clipboard helper on the tablet: one JSON object per
// UTF-8 line. The lines built here come without their line feed: the sender appends it.
namespace ClipWire {

inline constexpr std::size_t maxLine = 350552;
inline constexpr std::size_t maxTextBytes = 256 * 1024;
inline constexpr Seconds pingInterval{10.0};

// Throws ClipError when `text` is not valid UTF-8.
std::string setLine(std::string_view text);
std::string getLine();
std::string pingLine();
std::string quitLine();
// The helper's answer to a ping, exactly as it writes it.
std::string pongLine();

struct Ready {
  int sdk = 0;
  std::string mode;
  bool operator==(const Ready&) const = default;
};
struct Clip {
  std::string text;
  bool reply = false;  // an answer to get
  bool operator==(const Clip&) const = default;
};
struct Skipped {
  std::string reason;
  bool reply = false;
  bool operator==(const Skipped&) const = default;
};
struct Failed {
  std::string message;
  bool operator==(const Failed&) const = default;
};
struct Empty {
  bool operator==(const Empty&) const = default;
};
struct Ack {
  bool operator==(const Ack&) const = default;
};
using Incoming = std::variant<Ready, Clip, Skipped, Failed, Empty, Ack>;

struct Decoded {
  Incoming incoming;
  std::optional<std::int64_t> at;  // when the clip was copied, in ms of the tablet's clock
  bool operator==(const Decoded&) const = default;
};

// Throws ClipError "undecodable clip from the tablet" for anything but a known message.
Decoded decodeLine(std::string_view line);

// A skip reason in words: "too-large" is "larger than 256 KB", and so on; an unknown
// reason as it is.
std::string reasonText(std::string_view reason);

}  // namespace ClipWire
}  // namespace lumivale
