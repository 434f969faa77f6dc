#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace lumivale::standin {

// The stand-in tablet's clipboard: one JSON file, {"text":..., "sensitive":..., "at":...},
// that the clipboard helper reads and writes on the host JVM and the control socket shows.
class TabletClipboard {
 public:
  explicit TabletClipboard(std::filesystem::path file) : file_(std::move(file)) {}

  const std::filesystem::path& file() const { return file_; }
  // The clip as stored, on one line; empty when nothing was ever copied.
  std::string read() const;
  // Copies as an app on the tablet would: `clipJson` is an object such as {"text":"hi"} or
  // {"text":"pw","sensitive":true} (no "text": not plain text), stamped with the time now
  // unless it has its own "at", and written in one step.
  void copy(std::string_view clipJson) const;

 private:
  std::filesystem::path file_;
};

}  // namespace lumivale::standin
