#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace lumivale::standin {

// The commands of adb's transport, as their four ASCII letters read little-endian.
enum class Command : uint32_t {
  connect = 0x4e584e43,  // CNXN
  open = 0x4e45504f,     // OPEN
  okay = 0x59414b4f,     // OKAY
  close = 0x45534c43,    // CLSE
  write = 0x45545257,    // WRTE
  auth = 0x48545541,     // AUTH
};

constexpr uint32_t kProtocolVersion = 0x01000001;
// The largest payload either side may send on a connection.
constexpr uint32_t kMaxPayload = 1024 * 1024;
constexpr size_t kHeaderSize = 24;

struct MessageHeader {
  uint32_t command = 0;
  uint32_t arg0 = 0;
  uint32_t arg1 = 0;
  uint32_t dataLength = 0;
};

struct Message {
  MessageHeader header;
  std::string payload;
};

// The 24 bytes that precede a payload of `dataLength` bytes. The data check is
// left at zero: the host does not verify it.
std::string encodeHeader(Command command, uint32_t arg0, uint32_t arg1, uint32_t dataLength);

// A header read off the wire; empty when its magic does not match its command.
std::optional<MessageHeader> decodeHeader(const unsigned char* bytes);

void putLittleEndian32(std::string& out, uint32_t value);
uint32_t readLittleEndian32(const unsigned char* bytes);

}  // namespace lumivale::standin
