#include "platform/file_pasteboard.h"

#include <fstream>
#include <iterator>

#include <nlohmann/json.hpp>

#include "core/settings/atomic_file.h"
#include "core/settings/file_lock.h"
#include "platform/clip_secret_marks.h"

namespace lumivale {

FilePasteboard::FilePasteboard(std::filesystem::path file) : file_(std::move(file)) {}

std::int64_t FilePasteboard::changeCount() {
  countSeen_ = load().changeCount;
  return countSeen_;
}

PasteboardContent FilePasteboard::read() {
  const Copy copy = load();
  if (copy.changeCount != countSeen_)
    return PasteboardContent::of(PasteboardContent::Kind::changing);
  std::vector<std::string> formats;
  for (const auto& [format, data] : copy.formats)
    formats.push_back(format);
  if (isMarkedSecret(formats, [&](const std::string& format) { return copy.formats.at(format); }))
    return PasteboardContent::of(PasteboardContent::Kind::secret);
  auto text = copy.formats.find(textFormat);
  if (text == copy.formats.end()) return PasteboardContent::of(PasteboardContent::Kind::notText);
  return PasteboardContent::ofText(text->second);
}

std::int64_t FilePasteboard::write(const std::string& text) {
  return copy({{textFormat, text}});
}

std::int64_t FilePasteboard::copy(const std::map<std::string, std::string>& formats) {
  FileLock lock(file_.string() + ".lock");
  const std::int64_t count = load().changeCount + 1;
  nlohmann::json stored{{"changeCount", count}, {"formats", formats}};
  // Replaced whole, so that the other process never reads half a copy.
  writeFileAtomically(file_, stored.dump());
  return count;
}

FilePasteboard::Copy FilePasteboard::load() const {
  std::ifstream in(file_, std::ios::binary);
  if (!in) return {};
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};
  auto json = nlohmann::json::parse(bytes, nullptr, false);
  if (json.is_discarded() || !json.is_object()) return {};
  Copy copy;
  copy.changeCount = json.value("changeCount", std::int64_t{0});
  if (auto formats = json.find("formats"); formats != json.end() && formats->is_object())
    for (const auto& [format, data] : formats->items())
      if (data.is_string()) copy.formats[format] = data.get<std::string>();
  return copy;
}

}  // namespace lumivale
