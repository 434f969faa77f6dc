#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lumivale::ReadingFolder {

// How big a Reading folder may be. A folder over any limit is not copied at all, so that a
// wrong choice (a whole disk of photos) never starts filling the tablet.
struct Limits {
  int maxFiles = 0;
  int maxFolders = 0;
  std::uint64_t maxBytes = 0;

  static const Limits standard;

  bool operator==(const Limits&) const = default;

  // "2,000 files in 500 folders and 16 GB".
  std::string describe() const;
  // The sentence for a folder past any limit, absent when it is within all of them.
  // Folders are counted without the Reading folder itself.
  std::optional<std::string> overLimit(std::int64_t files, std::int64_t folders,
                                       std::uint64_t bytes) const;
};

// Decimal units, as the limit is meant: 16,000,000,000 bytes is 16 GB, not 16 GiB.
inline constexpr Limits Limits::standard{2'000, 500, 16'000'000'000};

// "1 file", "2,000 files": a count with thousands separated by commas.
std::string counted(std::int64_t count, const std::string& one, const std::string& many);
// "16 GB", "1.5 MB", "900 bytes".
std::string decimalSize(std::uint64_t bytes);

}  // namespace lumivale::ReadingFolder
