#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "core/clipboard/clip_pasteboard.h"

namespace lumivale {

// A private clipboard in one file, for runs that must not touch the user's: the file named
// by LUMIVALE_CLIP_PASTEBOARD. Several processes may share it: each copy replaces the whole
// file under a lock beside it, so a reader sees one copy or the next, never half of one.
// The file holds {"changeCount": N, "formats": {FORMAT: DATA, ...}}; the text is
// "text/plain;charset=utf-8".
class FilePasteboard : public ClipPasteboard {
 public:
  static constexpr const char* textFormat = "text/plain;charset=utf-8";

  explicit FilePasteboard(std::filesystem::path file);

  std::int64_t changeCount() override;
  // `changing` when a copy came since changeCount() was asked.
  PasteboardContent read() override;
  std::int64_t write(const std::string& text) override;
  // A copy of any formats, as another program makes one; returns the new change count.
  std::int64_t copy(const std::map<std::string, std::string>& formats);

 private:
  struct Copy {
    std::int64_t changeCount = 0;
    std::map<std::string, std::string> formats;
  };
  // The copy in the file; an absent or unreadable file holds none.
  Copy load() const;

  std::filesystem::path file_;
  std::int64_t countSeen_ = 0;
};

}  // namespace lumivale
