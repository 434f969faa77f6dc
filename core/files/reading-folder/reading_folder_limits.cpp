#include "core/files/reading-folder/reading_folder_limits.h"

#include <array>

#include <fmt/format.h>

#include "core/files/reading-folder/reading_folder_note.h"

namespace lumivale {

std::ostream& operator<<(std::ostream& out, const ReadingFolderNote& note) {
  return out << note.path << ": " << note.sentence;
}

namespace ReadingFolder {

std::string counted(std::int64_t count, const std::string& one, const std::string& many) {
  std::string digits = std::to_string(count);
  for (auto at = static_cast<std::ptrdiff_t>(digits.size()) - 3; at > (count < 0 ? 1 : 0);
       at -= 3) {
    digits.insert(static_cast<std::size_t>(at), ",");
  }
  return digits + " " + (count == 1 ? one : many);
}

std::string decimalSize(std::uint64_t bytes) {
  if (bytes < 1000) return counted(static_cast<std::int64_t>(bytes), "byte", "bytes");
  static constexpr std::array<const char*, 4> units{"KB", "MB", "GB", "TB"};
  double value = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  while (value >= 999.95 && unit + 1 < units.size()) {
    value /= 1000;
    ++unit;
  }
  std::string number = fmt::format("{:.1f}", value);
  if (number.ends_with(".0")) number.resize(number.size() - 2);
  return number + " " + units[unit];
}

std::string Limits::describe() const {
  return fmt::format("{} in {} and {}", counted(maxFiles, "file", "files"),
                     counted(maxFolders, "folder", "folders"), decimalSize(maxBytes));
}

std::optional<std::string> Limits::overLimit(std::int64_t files, std::int64_t folders,
                                             std::uint64_t bytes) const {
  if (files <= maxFiles && folders <= maxFolders && bytes <= maxBytes) return std::nullopt;
  const Limits held{static_cast<int>(files), static_cast<int>(folders), bytes};
  return fmt::format(
      "This folder holds {}. A reading folder can hold up to {}, so nothing was copied. Choose a "
      "smaller folder.",
      held.describe(), describe());
}

}  // namespace ReadingFolder
}  // namespace lumivale
