#include "core/clipboard/clip_wire.h"

#include <nlohmann/json.hpp>

#include "core/clipboard/clip_error.h"

namespace lumivale::ClipWire {
namespace {

using Json = nlohmann::ordered_json;

ClipError undecodable() {
  return ClipError("undecodable clip from the tablet");
}

template <typename T>
T field(const Json& message, const char* key) {
  auto found = message.find(key);
  if (found == message.end()) throw undecodable();
  if constexpr (std::is_same_v<T, std::string>) {
    if (!found->is_string()) throw undecodable();
  } else if constexpr (std::is_same_v<T, bool>) {
    if (!found->is_boolean()) throw undecodable();
  } else {
    if (!found->is_number_integer()) throw undecodable();
  }
  return found->get<T>();
}

// "reply" is left out by nothing we ship, but a missing one means no request was answered.
bool reply(const Json& message) {
  return message.contains("reply") ? field<bool>(message, "reply") : false;
}

Incoming incoming(const Json& message) {
  const auto type = field<std::string>(message, "type");
  if (type == "ready")
    return Ready{field<int>(message, "sdk"), field<std::string>(message, "mode")};
  if (type == "clip") return Clip{field<std::string>(message, "text"), reply(message)};
  if (type == "skipped") return Skipped{field<std::string>(message, "reason"), reply(message)};
  if (type == "error")
    return Failed{message.contains("message") ? field<std::string>(message, "message")
                                              : "unknown error"};
  if (type == "empty") return Empty{};
  if (type == "ack") return Ack{};
  throw undecodable();
}

std::string line(const Json& message) {
  try {
    return message.dump();
  } catch (const Json::type_error&) {
    throw ClipError("the text is not valid UTF-8");
  }
}

}  // namespace

std::string setLine(std::string_view text) {
  return line(Json{{"type", "set"}, {"text", std::string(text)}});
}
std::string getLine() {
  return line(Json{{"type", "get"}});
}
std::string pingLine() {
  return line(Json{{"type", "ping"}});
}
std::string quitLine() {
  return line(Json{{"type", "quit"}});
}
std::string pongLine() {
  return line(Json{{"type", "pong"}});
}

Decoded decodeLine(std::string_view text) {
  if (text.size() > maxLine) throw undecodable();
  Json message = Json::parse(text, nullptr, false);
  if (message.is_discarded() || !message.is_object()) throw undecodable();
  Decoded decoded{incoming(message), std::nullopt};
  if (message.contains("at")) decoded.at = field<std::int64_t>(message, "at");
  return decoded;
}

std::string reasonText(std::string_view reason) {
  if (reason == "too-large") return "larger than 256 KB";
  if (reason == "sensitive" || reason == "secret") return "marked as a password";
  if (reason == "not-text") return "not plain text";
  if (reason == "denied") return "Mac clipboard access is off in System Settings";
  return std::string(reason);
}

}  // namespace lumivale::ClipWire
