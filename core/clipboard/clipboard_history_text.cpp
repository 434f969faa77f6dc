// How a listed text is shown: its first lines, one line of it, its length.
#include <fmt/format.h>

#include "core/clipboard/clipboard_history.h"
#include "core/files/utf8.h"

namespace lumivale {
namespace {

bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// The byte length of the first `count` characters of `text` (all of it when shorter).
std::size_t bytesOfCharacters(std::string_view text, std::size_t count) {
  std::size_t at = 0;
  for (; count > 0 && at < text.size(); --count) {
    auto decoded = utf8::decode(text, at);
    at += decoded ? decoded->length : 1;
  }
  return at;
}

// The default sizes of a row's preview.
constexpr std::size_t previewLineCount = 3;
constexpr std::size_t previewLineLength = 80;

}  // namespace

std::size_t ClipboardHistory::characters(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size(); ++count) {
    auto decoded = utf8::decode(text, at);
    at += decoded ? decoded->length : 1;
  }
  return count;
}

std::string ClipboardHistory::oneLine(std::string_view text, std::size_t maxLength) {
  std::string line;
  for (std::size_t at = 0; at < text.size();) {
    if (isSpace(text[at])) {
      ++at;
      continue;
    }
    std::size_t end = at;
    while (end < text.size() && !isSpace(text[end]))
      ++end;
    if (!line.empty()) line += ' ';
    line.append(text.substr(at, end - at));
    at = end;
  }
  if (maxLength == 0 || characters(line) <= maxLength) return line;
  line.resize(bytesOfCharacters(line, maxLength - 1));
  return line + "…";
}

std::pair<std::vector<std::string>, bool> ClipboardHistory::previewLines(
    std::string_view text, std::size_t maxLines, std::size_t maxLineLength) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at <= text.size();) {
    std::size_t end = text.find('\n', at);
    if (end == std::string_view::npos) end = text.size();
    std::string line = oneLine(text.substr(at, end - at), maxLineLength);
    at = end + 1;
    if (line.empty()) continue;
    if (lines.size() == maxLines) return {std::move(lines), true};
    lines.push_back(std::move(line));
  }
  return {std::move(lines), false};
}

std::vector<std::string> ClipboardHistory::Item::preview() const {
  return previewLines(text, previewLineCount, previewLineLength).first;
}

std::string ClipboardHistory::Item::size() const {
  std::size_t count = characters(text);
  return fmt::format("{} character{}", count, count == 1 ? "" : "s");
}

}  // namespace lumivale
