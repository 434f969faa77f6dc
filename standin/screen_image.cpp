#include "standin/screen_image.h"

#include <array>
#include <cstdint>

namespace lumivale::standin {
namespace {

uint32_t crc32(std::string_view data) {
  static const auto table = [] {
    std::array<uint32_t, 256> values{};
    for (uint32_t n = 0; n < 256; ++n) {
      uint32_t c = n;
      for (int k = 0; k < 8; ++k)
        c = (c & 1) ? 0xedb88320u ^ (c >> 1) : c >> 1;
      values[n] = c;
    }
    return values;
  }();
  uint32_t c = 0xffffffffu;
  for (unsigned char byte : data)
    c = table[(c ^ byte) & 0xff] ^ (c >> 8);
  return c ^ 0xffffffffu;
}

void putBigEndian32(std::string& out, uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8)
    out.push_back(static_cast<char>(value >> shift));
}

void chunk(std::string& png, std::string_view type, std::string_view data) {
  putBigEndian32(png, static_cast<uint32_t>(data.size()));
  std::string body(type);
  body.append(data);
  png.append(body);
  putBigEndian32(png, crc32(body));
}

// A zlib stream of uncompressed deflate blocks: valid, and needs no compressor.
std::string storedZlib(std::string_view raw) {
  std::string out("\x78\x01", 2);
  uint32_t a = 1, b = 0;
  for (unsigned char byte : raw) {
    a = (a + byte) % 65521;
    b = (b + a) % 65521;
  }
  do {
    size_t size = std::min<size_t>(raw.size(), 65535);
    out.push_back(size == raw.size() ? 1 : 0);
    for (uint16_t value : {static_cast<uint16_t>(size), static_cast<uint16_t>(~size)}) {
      out.push_back(static_cast<char>(value & 0xff));
      out.push_back(static_cast<char>(value >> 8));
    }
    out.append(raw.substr(0, size));
    raw.remove_prefix(size);
  } while (!raw.empty());
  putBigEndian32(out, (b << 16) | a);
  return out;
}

}  // namespace

std::string screenImage(unsigned width, unsigned height) {
  std::string png("\x89PNG\r\n\x1a\n", 8);
  std::string header;
  putBigEndian32(header, width);
  putBigEndian32(header, height);
  header.append({8, 0, 0, 0, 0});  // 8-bit greyscale, no interlace
  chunk(png, "IHDR", header);
  std::string rows;
  rows.reserve(static_cast<size_t>(width + 1) * height);
  for (unsigned y = 0; y < height; ++y) {
    rows.push_back(0);  // filter: none
    rows.append(width, static_cast<char>(0xe0 - (y * 0x40 / height)));
  }
  chunk(png, "IDAT", storedZlib(rows));
  chunk(png, "IEND", "");
  return png;
}

}  // namespace lumivale::standin
