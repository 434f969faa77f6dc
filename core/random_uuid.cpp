#include "core/random_uuid.h"

#include <array>
#include <cstdint>
#include <random>

#include <fmt/format.h>

namespace lumivale {

std::string randomUuid() {
  std::random_device device;
  std::array<std::uint8_t, 16> bytes;
  for (auto& byte : bytes)
    byte = static_cast<std::uint8_t>(device());
  bytes[6] = (bytes[6] & 0x0f) | 0x40;
  bytes[8] = (bytes[8] & 0x3f) | 0x80;
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += fmt::format("{:02x}", bytes[i]);
  }
  return text;
}

}  // namespace lumivale
