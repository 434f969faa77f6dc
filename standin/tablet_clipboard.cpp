#include "standin/tablet_clipboard.h"

#include <chrono>
#include <fstream>
#include <iterator>

#include <nlohmann/json.hpp>

#include "core/error.h"

namespace lumivale::standin {

std::string TabletClipboard::read() const {
  std::ifstream in(file_, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void TabletClipboard::copy(std::string_view clipJson) const {
  auto clip = nlohmann::ordered_json::parse(clipJson, nullptr, false);
  if (clip.is_discarded() || !clip.is_object())
    throw Error("a clip is a JSON object such as {\"text\":\"hi\"}");
  if (!clip.contains("at"))
    clip["at"] = std::chrono::duration_cast<std::chrono::milliseconds>(
                     std::chrono::system_clock::now().time_since_epoch())
                     .count();
  const std::filesystem::path staged = file_.string() + ".control";
  {
    std::ofstream out(staged, std::ios::binary | std::ios::trunc);
    out << clip.dump();
    if (!out.flush()) throw Error("could not write " + staged.string());
  }
  std::filesystem::rename(staged, file_);
}

}  // namespace lumivale::standin
