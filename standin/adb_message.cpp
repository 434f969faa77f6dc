#include "standin/adb_message.h"

namespace lumivale::standin {

void putLittleEndian32(std::string& out, uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8)
    out.push_back(static_cast<char>((value >> shift) & 0xff));
}

uint32_t readLittleEndian32(const unsigned char* bytes) {
  return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 |
         uint32_t{bytes[3]} << 24;
}

std::string encodeHeader(Command command, uint32_t arg0, uint32_t arg1, uint32_t dataLength) {
  std::string header;
  header.reserve(kHeaderSize);
  auto value = static_cast<uint32_t>(command);
  for (uint32_t field : {value, arg0, arg1, dataLength, uint32_t{0}, value ^ 0xffffffffu})
    putLittleEndian32(header, field);
  return header;
}

std::optional<MessageHeader> decodeHeader(const unsigned char* bytes) {
  MessageHeader header{readLittleEndian32(bytes), readLittleEndian32(bytes + 4),
                       readLittleEndian32(bytes + 8), readLittleEndian32(bytes + 12)};
  if (readLittleEndian32(bytes + 20) != (header.command ^ 0xffffffffu)) return std::nullopt;
  return header;
}

}  // namespace lumivale::standin
