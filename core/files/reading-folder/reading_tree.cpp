#include "core/files/reading-folder/reading_tree.h"

#include <charconv>

namespace lumivale {

ReadingTree ReadingTree::parse(std::string_view findOutput, std::string_view folder) {
  std::string prefix(folder);
  if (!prefix.ends_with('/')) prefix += '/';
  ReadingTree tree;
  std::size_t start = 0;
  while (start < findOutput.size()) {
    std::size_t end = findOutput.find('\0', start);
    if (end == std::string_view::npos) end = findOutput.size();
    const std::string_view record = findOutput.substr(start, end - start);
    start = end + 1;
    const std::size_t first = record.find('|');
    const std::size_t second = record.find('|', first + 1);
    const std::size_t third = record.find('|', second + 1);
    if (first == std::string_view::npos || second == std::string_view::npos ||
        third == std::string_view::npos) {
      continue;
    }
    const std::string_view mode = record.substr(0, first);
    const std::string_view sizeText = record.substr(first + 1, second - first - 1);
    const std::string_view time = record.substr(second + 1, third - second - 1);
    std::string_view path = record.substr(third + 1);
    if (mode.empty() || !path.starts_with(prefix) || path.size() == prefix.size()) continue;
    Item item;
    item.isFolder = mode.front() == 'd';
    if (std::from_chars(sizeText.data(), sizeText.data() + sizeText.size(), item.size).ec !=
        std::errc()) {
      continue;
    }
    double seconds = 0;
    const auto [parsedTo, error] = std::from_chars(time.data(), time.data() + time.size(), seconds);
    if (error == std::errc() && parsedTo == time.data() + time.size()) item.modified = seconds;
    tree.items[std::string(path.substr(prefix.size()))] = item;
  }
  return tree;
}

}  // namespace lumivale
