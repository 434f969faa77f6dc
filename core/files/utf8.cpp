#include "core/files/utf8.h"

namespace lumivale::utf8 {

std::optional<Decoded> decode(std::string_view text, std::size_t at) {
  auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at);
  if (lead < 0x80) return Decoded{lead, 1};
  std::size_t length;
  char32_t scalar;
  char32_t smallest;
  if ((lead & 0xE0) == 0xC0) {
    length = 2, scalar = lead & 0x1F, smallest = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3, scalar = lead & 0x0F, smallest = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4, scalar = lead & 0x07, smallest = 0x10000;
  } else {
    return std::nullopt;
  }
  if (at + length > text.size()) return std::nullopt;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) return std::nullopt;
    scalar = (scalar << 6) | (byte(at + i) & 0x3F);
  }
  if (scalar < smallest || scalar > 0x10FFFF || (scalar >= 0xD800 && scalar <= 0xDFFF))
    return std::nullopt;
  return Decoded{scalar, length};
}

bool isValid(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    auto decoded = decode(text, at);
    if (!decoded) return false;
    at += decoded->length;
  }
  return true;
}

void append(std::string& out, char32_t scalar) {
  if (scalar < 0x80) {
    out += static_cast<char>(scalar);
  } else if (scalar < 0x800) {
    out += static_cast<char>(0xC0 | (scalar >> 6));
    out += static_cast<char>(0x80 | (scalar & 0x3F));
  } else if (scalar < 0x10000) {
    out += static_cast<char>(0xE0 | (scalar >> 12));
    out += static_cast<char>(0x80 | ((scalar >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (scalar & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (scalar >> 18));
    out += static_cast<char>(0x80 | ((scalar >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((scalar >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (scalar & 0x3F));
  }
}

namespace {
bool isContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}
}  // namespace

std::string_view head(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  std::size_t end = bytes;
  while (end > 0 && isContinuation(text[end]))
    --end;
  return text.substr(0, end);
}

std::string_view tail(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  std::size_t start = text.size() - bytes;
  while (start < text.size() && isContinuation(text[start]))
    ++start;
  return text.substr(start);
}

std::string asciiLowered(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

}  // namespace lumivale::utf8
